#include "storage/compound/names.hpp"

#include <algorithm>
#include <cstring>

#include "storage/compound/status.hpp"

namespace lumvex::compound {

namespace {

// Letters from first to last, every step-th of them, stand delta before or after their upper case.
struct CaseRange {
    char16_t first, last;
    int step, delta;
};

constexpr CaseRange kCaseRanges[] = {
    {0xE0, 0xF6, 1, -32},     {0xF8, 0xFE, 1, -32},     {0xFF, 0xFF, 1, 121},   {0x101, 0x12F, 2, -1},
    {0x133, 0x137, 2, -1},    {0x13A, 0x148, 2, -1},    {0x14B, 0x177, 2, -1},  {0x17A, 0x17E, 2, -1},
    {0x183, 0x185, 2, -1},    {0x1CE, 0x1DC, 2, -1},    {0x1DF, 0x1EF, 2, -1},  {0x1F9, 0x21F, 2, -1},
    {0x223, 0x233, 2, -1},    {0x3AC, 0x3AC, 1, -38},   {0x3AD, 0x3AF, 1, -37}, {0x3B1, 0x3C1, 1, -32},
    {0x3C2, 0x3C2, 1, -31},   {0x3C3, 0x3CB, 1, -32},   {0x3CC, 0x3CC, 1, -64}, {0x3CD, 0x3CE, 1, -63},
    {0x430, 0x44F, 1, -32},   {0x450, 0x45F, 1, -80},   {0x461, 0x481, 2, -1},  {0x48B, 0x4BF, 2, -1},
    {0x4C2, 0x4CE, 2, -1},    {0x4D1, 0x52F, 2, -1},    {0x561, 0x586, 1, -48}, {0x1E01, 0x1E95, 2, -1},
    {0x1EA1, 0x1EFF, 2, -1},  {0x1F00, 0x1F07, 1, 8},   {0x1F10, 0x1F15, 1, 8}, {0x1F20, 0x1F27, 1, 8},
    {0x1F30, 0x1F37, 1, 8},   {0x1F40, 0x1F45, 1, 8},   {0x1F60, 0x1F67, 1, 8}, {0x2170, 0x217F, 1, -16},
    {0x24D0, 0x24E9, 1, -26}, {0xFF41, 0xFF5A, 1, -32},
};

}  // namespace

char16_t UpperCaseBeyondAscii(char16_t unit) {
    const auto* range = std::lower_bound(std::begin(kCaseRanges), std::end(kCaseRanges), unit,
                                         [](const CaseRange& at, char16_t value) { return at.last < value; });
    if (range == std::end(kCaseRanges) || unit < range->first || (unit - range->first) % range->step != 0) return unit;
    return static_cast<char16_t>(unit + range->delta);
}

FoldedName::FoldedName(std::u16string_view name)
    : length_(static_cast<std::uint8_t>(std::min(name.size(), kMaxNameLength))) {
    std::copy_n(name.begin(), length_, units_.begin());
    char16_t all = 0;
    for (char16_t& unit : units_) {  // without a branch inside, so that it becomes vector code
        all |= unit;
        unit = static_cast<char16_t>(static_cast<char16_t>(unit - u'a') < 26 ? unit - 32 : unit);
    }
    if (all >= 0x80) std::transform(units_.begin(), units_.begin() + length_, units_.begin(), UpperCase);
}

std::uint64_t FoldedName::Hash() const {
    std::uint64_t hash = 0x9E3779B97F4A7C15u + length_;
    for (std::size_t i = 0; i < length_; i += 4) {
        std::uint64_t four = 0;
        std::memcpy(&four, &units_[i], sizeof four);
        hash = (hash ^ four) * 0xFF51AFD7ED558CCDu;
        hash ^= hash >> 32;
    }
    return hash;
}

int FoldedName::Compare(const FoldedName& other) const {
    if (length_ != other.length_) return length_ < other.length_ ? -1 : 1;
    return Text().compare(other.Text());
}

int FoldedName::Compare(const Entry& entry) const {
    const std::size_t units = entry.NameBytes() / 2u;
    const std::size_t length = units == 0 ? 0 : std::min(units - 1, kMaxNameLength);
    if (length_ != length) return length_ < length ? -1 : 1;
    std::size_t same = 0;  // units that are equal as they stand, four at a time
    constexpr std::size_t kFour = 4 * sizeof(char16_t);
    while (same + 4 <= length && std::memcmp(&units_[same], entry.bytes() + 2 * same, kFour) == 0) same += 4;
    for (std::size_t i = same; i < length; ++i) {
        const char16_t unit = UpperCase(Load<char16_t>(entry.bytes() + 2 * i));
        if (units_[i] != unit) return units_[i] < unit ? -1 : 1;
    }
    return 0;
}

void RequireValidName(std::u16string_view name) {
    if (name.empty() || name.size() > kMaxNameLength)
        throw Failure(Status::InvalidName, "a name of ", name.size(), " characters, not 1 to ", kMaxNameLength);
    const auto isForbidden = [](char16_t unit) {
        return (unit == 0) | (unit == u'/') | (unit == u'\\') | (unit == u':') | (unit == u'!');
    };
    unsigned forbidden = 0;
    for (const char16_t unit : name) forbidden |= static_cast<unsigned>(isForbidden(unit));
    if (forbidden == 0) return;
    for (const char16_t unit : name)
        if (isForbidden(unit))
            throw Failure(Status::InvalidName, "a name holds the character with code ", static_cast<unsigned>(unit));
}

}  // namespace lumvex::compound
