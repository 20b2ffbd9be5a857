#include "storage/compound/format/object_name.hpp"

#include <algorithm>

#include "storage/compound/base/little_endian.hpp"

namespace lumvex::compound {

namespace {

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

}  // namespace

// The 26 characters have the 128 bits and two zeros behind them. They are written eight together; the last eight begin
// with six that are written already.
void WriteNameOfId(std::uint64_t first, std::uint64_t second, std::span<char16_t, kObjectNameLength> name) noexcept {
    WriteEight(first >> 24, &name[0]);
    WriteEight(first << 16 | second >> 48, &name[8]);
    WriteEight(second >> 8, &name[16]);
    WriteEight(second << 2, &name[18]);
}

// The body of each loop has no branch, so that the compiler makes vector code of it.
bool ReadNameOfId(std::span<const std::byte, 2 * kObjectNameLength> units, std::uint64_t& first,
                  std::uint64_t& second) noexcept {
    constexpr std::size_t kTail = 24;  // the units from here on are read one by one
    std::array<std::byte, 2 * kObjectNameLength> digits;
    std::uint16_t areDigits = 1;
    const auto readDigit = [&](std::size_t at) {
        const auto unit = Load<std::uint16_t>(&units[2 * at]);
        const auto decimal = static_cast<std::uint16_t>(unit - u'0');
        const auto letter = static_cast<std::uint16_t>((unit & ~0x20) - u'A');  // of either case
        const std::uint16_t isDecimal = decimal < 10, isLetter = letter < 22;
        Store(&digits[2 * at], isDecimal ? decimal : static_cast<std::uint16_t>(letter + 10));
        areDigits = static_cast<std::uint16_t>(areDigits & (isDecimal | isLetter));
    };
    for (std::size_t at = 0; at < kTail; ++at) readDigit(at);
    for (std::size_t at = kTail; at < kObjectNameLength; ++at) readDigit(at);
    std::array<std::uint64_t, kTail / 4> bits;  // 20 of four digits each
    for (std::size_t at = 0; at < bits.size(); ++at) {
        const auto four = Load<std::uint64_t>(&digits[8 * at]);  // the first one lowest, 16 bits each
        const std::uint64_t pairs = (four << 5 | four >> 16) & 0x000003FF000003FF;
        bits[at] = (pairs << 10 | pairs >> 32) & 0xFFFFF;
    }
    const unsigned last = Load<std::uint16_t>(&digits[2 * kTail]) * 32u + Load<std::uint16_t>(&digits[2 * kTail + 2]);
    first = bits[0] << 44 | bits[1] << 24 | bits[2] << 4 | bits[3] >> 16;
    second = bits[3] << 48 | bits[4] << 28 | bits[5] << 8 | last >> 2;
    return areDigits != 0 && (last & 3) == 0;
}

std::u16string NameOfId(std::span<const std::byte, 16> idInTextOrder) {
    std::u16string name(kObjectNameLength, u'0');
    WriteNameOfId(BigEndian(&idInTextOrder[0]), BigEndian(&idInTextOrder[8]),
                  std::span<char16_t, kObjectNameLength>(name));
    return name;
}

std::optional<std::array<std::byte, 16>> IdOfName(std::u16string_view name) {
    if (name.size() != kObjectNameLength) return std::nullopt;
    std::array<std::byte, 2 * kObjectNameLength> units;
    for (std::size_t at = 0; at < name.size(); ++at) Store(&units[2 * at], name[at]);
    std::uint64_t first = 0, second = 0;
    if (!ReadNameOfId(units, first, second)) return std::nullopt;
    std::array<std::byte, 16> id;
    for (unsigned at = 0; at < 8; ++at) {
        id[at] = static_cast<std::byte>(first >> (56 - 8 * at));
        id[8 + at] = static_cast<std::byte>(second >> (56 - 8 * at));
    }
    return id;
}

}  // namespace lumvex::compound
