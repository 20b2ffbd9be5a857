#include "storage/compound/format/object_name.hpp"

#include <algorithm>

namespace lumvex::compound {

namespace {

constexpr unsigned kBitsPerCharacter = 5;

// Written so that compilers make one instruction of it.
std::uint64_t BigEndian(const std::byte* bytes) {
    const auto at = [bytes](unsigned place) {
        return std::to_integer<std::uint64_t>(bytes[place]) << (56 - 8 * place);
    };
    return at(0) | at(1) | at(2) | at(3) | at(4) | at(5) | at(6) | at(7);
}

constexpr std::size_t kTogether = 8;

// The eight characters of the lowest 40 bits, the highest five bits first. All are computed together, in the eight
// bytes of one number.
void WriteEight(std::uint64_t bits, char16_t* name) {
    std::uint64_t digits = (bits & 0xFFFFF00000) << 12 | (bits & 0xFFFFF);
    digits = (digits & 0x000FFC00000FFC00) << 6 | (digits & 0x000003FF000003FF);
    digits = (digits & 0x03E003E003E003E0) << 3 | (digits & 0x001F001F001F001F);
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    const std::uint64_t areLetters = ((digits + (0x80 - 10) * kOnes) >> 7) & kOnes;
    const std::uint64_t characters = digits + '0' * kOnes + areLetters * ('A' - '0' - 10);
    std::array<std::uint8_t, kTogether> each;
    for (unsigned at = 0; at < kTogether; ++at) each[at] = static_cast<std::uint8_t>(characters >> (56 - 8 * at));
    std::copy_n(each.begin(), kTogether, name);
}

std::optional<std::uint32_t> DigitOf(char16_t character) {
    if (character >= u'0' && character <= u'9') return static_cast<std::uint32_t>(character - u'0');
    if (character >= u'A' && character <= u'V') return static_cast<std::uint32_t>(character - u'A' + 10);
    if (character >= u'a' && character <= u'v') return static_cast<std::uint32_t>(character - u'a' + 10);
    return std::nullopt;
}

}  // namespace

// The 26 characters have the 128 bits and two zeros behind them. They are written eight together; the last eight begin
// with six that are written already.
void WriteNameOfId(std::uint64_t first, std::uint64_t second, std::span<char16_t, kObjectNameLength> name) noexcept {
    WriteEight(first >> 24, &name[0]);
    WriteEight(first << 16 | second >> 48, &name[8]);
    WriteEight(second >> 8, &name[16]);
    WriteEight(second << 2, &name[18]);
}

std::u16string NameOfId(std::span<const std::byte, 16> idInTextOrder) {
    std::u16string name(kObjectNameLength, u'0');
    WriteNameOfId(BigEndian(&idInTextOrder[0]), BigEndian(&idInTextOrder[8]),
                  std::span<char16_t, kObjectNameLength>(name));
    return name;
}

std::optional<std::array<std::byte, 16>> IdOfName(std::u16string_view name) {
    if (name.size() != kObjectNameLength) return std::nullopt;
    std::array<std::byte, 16> id{};
    std::size_t filled = 0;
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const char16_t character : name) {
        const auto digit = DigitOf(character);
        if (!digit) return std::nullopt;
        bits = (bits << kBitsPerCharacter) | *digit;
        count += kBitsPerCharacter;
        if (count >= 8) {
            count -= 8;
            id[filled++] = static_cast<std::byte>(bits >> count);
        }
    }
    if ((bits & ((1u << count) - 1)) != 0) return std::nullopt;  // NameOfId leaves these padding bits zero
    return id;
}

}  // namespace lumvex::compound
