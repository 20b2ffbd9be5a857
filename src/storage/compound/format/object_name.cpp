#include "storage/compound/format/object_name.hpp"

#include <cstdint>

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

std::optional<std::uint32_t> DigitOf(char16_t character) {
    if (character >= u'0' && character <= u'9') return static_cast<std::uint32_t>(character - u'0');
    if (character >= u'A' && character <= u'V') return static_cast<std::uint32_t>(character - u'A' + 10);
    if (character >= u'a' && character <= u'v') return static_cast<std::uint32_t>(character - u'a' + 10);
    return std::nullopt;
}

}  // namespace

void WriteNameOfId(std::span<const std::byte, 16> idInTextOrder, std::span<char16_t, kObjectNameLength> name) noexcept {
    // The thirteenth character has bits of both halves.
    const std::uint64_t first = BigEndian(&idInTextOrder[0]), second = BigEndian(&idInTextOrder[8]);
    const auto digit = [](std::uint64_t bits) { return u"0123456789ABCDEFGHIJKLMNOPQRSTUV"[bits & 31]; };
    for (unsigned at = 0; at < 12; ++at) name[at] = digit(first >> (59 - kBitsPerCharacter * at));
    name[12] = digit(first << 1 | second >> 63);
    for (unsigned at = 13; at < 25; ++at) name[at] = digit(second >> (58 - kBitsPerCharacter * (at - 13)));
    name[25] = digit(second << 2);
}

std::u16string NameOfId(std::span<const std::byte, 16> idInTextOrder) {
    std::u16string name(kObjectNameLength, u'0');
    WriteNameOfId(idInTextOrder, std::span<char16_t, kObjectNameLength>(name));
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
