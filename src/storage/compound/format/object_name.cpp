#include "storage/compound/format/object_name.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

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
std::array<char16_t, kTogether> EightOf(std::uint64_t bits) {
    std::uint64_t digits = (bits & 0xFFFFF00000) << 12 | (bits & 0xFFFFF);
    digits = (digits & 0x000FFC00000FFC00) << 6 | (digits & 0x000003FF000003FF);
    digits = (digits & 0x03E003E003E003E0) << 3 | (digits & 0x001F001F001F001F);
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    const std::uint64_t areLetters = ((digits + (0x80 - 10) * kOnes) >> 7) & kOnes;
    const std::uint64_t characters = digits + '0' * kOnes + areLetters * ('A' - '0' - 10);
    std::array<std::uint8_t, kTogether> each;
    for (unsigned at = 0; at < kTogether; ++at) each[at] = static_cast<std::uint8_t>(characters >> (56 - 8 * at));
    std::array<char16_t, kTogether> units;
    std::copy_n(each.begin(), kTogether, units.begin());
    return units;
}

char16_t CharacterOf(unsigned digit) { return static_cast<char16_t>(digit < 10 ? u'0' + digit : u'A' + digit - 10); }

// The 26 characters have the 128 bits and two zeros behind them. `put` gets them eight together, and the last two one
// by one, each with its place.
template <class Put>
void WriteCharacters(const ObjectName& object, Put put) {
    const auto [first, second] = object;
    put(0, EightOf(first >> 24));
    put(8, EightOf(first << 16 | second >> 48));
    put(16, EightOf(second >> 8));
    put(24, std::array{CharacterOf(second >> 3 & 31)});
    put(25, std::array{CharacterOf(second << 2 & 31)});
}

}  // namespace

void WriteText(const ObjectName& object, std::span<char16_t, kObjectNameLength> name) noexcept {
    WriteCharacters(object,
                    [&](std::size_t at, const auto& units) { std::copy(units.begin(), units.end(), &name[at]); });
}

void WriteText(const ObjectName& object, std::byte* littleEndian) noexcept {
    WriteCharacters(object, [&](std::size_t at, const auto& units) {
        if constexpr (std::endian::native == std::endian::little)
            std::memcpy(littleEndian + 2 * at, units.data(), sizeof units);
        else
            for (const char16_t unit : units) Store<char16_t>(littleEndian + 2 * at++, unit);
    });
}

// The body of each loop has no branch, so that the compiler makes vector code of it. Units behind the name are taken
// along, as whole vectors are done in fewer steps, and left out where it matters.
bool ReadNameOfId(std::span<const std::byte, kNameField> name, std::uint64_t& first, std::uint64_t& second) noexcept {
    std::array<std::byte, kNameField / 2> digits;  // more than 31 for what is no digit
    for (std::size_t at = 0; at < digits.size(); ++at) {
        const auto unit = static_cast<std::uint8_t>(Load<std::uint16_t>(&name[2 * at]));
        const auto decimal = static_cast<std::uint8_t>(unit - u'0');
        const auto letter = static_cast<std::uint8_t>((unit | 0x20) - u'a');  // of either case
        const auto digit = static_cast<std::uint8_t>(std::min<std::uint8_t>(letter, 0x80) + 10);
        digits[at] = static_cast<std::byte>(decimal < 10 ? decimal : digit);
    }
    const auto fourUnits = [&name](unsigned place) { return Load<std::uint64_t>(&name[8 * std::size_t{place}]); };
    const std::uint64_t wide = (fourUnits(0) | fourUnits(1) | fourUnits(2) | fourUnits(3) | fourUnits(4) |
                                fourUnits(5) | Load<std::uint32_t>(&name[48])) &
                               0xFF00FF00FF00FF00;
    const auto eightDigits = [&digits](unsigned place) { return Load<std::uint64_t>(&digits[8 * std::size_t{place}]); };
    const std::uint64_t others =
        (eightDigits(0) | eightDigits(1) | eightDigits(2) | (eightDigits(3) & 0xFFFF)) & 0xE0E0E0E0E0E0E0E0;
    std::array<std::uint64_t, 4> bits;  // 40 of eight digits each, the first one lowest in its number
    for (unsigned at = 0; at < bits.size(); ++at) {
        const std::uint64_t eight = eightDigits(at);
        const std::uint64_t pairs = (eight << 5 & 0x03E003E003E003E0) | (eight >> 8 & 0x001F001F001F001F);
        const std::uint64_t fours = (pairs & 0x000003FF000003FF) << 10 | (pairs >> 16 & 0x000003FF000003FF);
        bits[at] = (fours << 20 | fours >> 32) & 0xFFFFFFFFFF;
    }
    first = bits[0] << 24 | bits[1] >> 16;
    second = bits[1] << 48 | bits[2] << 8 | bits[3] >> 32;
    return (wide | others | (bits[3] & 0xC0000000)) == 0;  // the last two bits of the 130 are zero
}

namespace {

// In upper or lower case.
std::optional<ObjectName> ReadText(std::u16string_view text) noexcept {
    if (text.size() != kObjectNameLength) return std::nullopt;
    std::array<std::byte, kNameField> units{};
    for (std::size_t at = 0; at < text.size(); ++at) Store(&units[2 * at], text[at]);
    ObjectName read;
    return ReadNameOfId(units, read.first, read.second) ? std::optional(read) : std::nullopt;
}

}  // namespace

std::optional<ObjectName> ObjectNameOf(std::u16string_view text) noexcept {
    const bool hasLower = std::ranges::any_of(text, [](char16_t unit) { return unit >= u'a' && unit <= u'z'; });
    return hasLower ? std::nullopt : ReadText(text);
}

std::u16string NameOfId(std::span<const std::byte, 16> idInTextOrder) {
    std::u16string name(kObjectNameLength, u'0');
    WriteText({BigEndian(&idInTextOrder[0]), BigEndian(&idInTextOrder[8])},
              std::span<char16_t, kObjectNameLength>(name));
    return name;
}

std::optional<std::array<std::byte, 16>> IdOfName(std::u16string_view name) {
    const auto read = ReadText(name);
    if (!read) return std::nullopt;
    std::array<std::byte, 16> id;
    for (unsigned at = 0; at < 8; ++at) {
        id[at] = static_cast<std::byte>(read->first >> (56 - 8 * at));
        id[8 + at] = static_cast<std::byte>(read->second >> (56 - 8 * at));
    }
    return id;
}

}  // namespace lumvex::compound
