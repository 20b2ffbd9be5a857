#include "storage/compound/format/names.hpp"

#include <algorithm>
#include <cstring>

#include "storage/compound/base/error.hpp"
#include "unicode/upper_case.hpp"

namespace lumvex::compound {

// The format compares names by the simple upper case of each code unit and nothing beyond it: the Kelvin sign, for
// example, is another letter than K.
char16_t UpperCaseBeyondAscii(char16_t unit) { return unicode::UpperCase(unit); }

FoldedName::FoldedName(std::u16string_view name)
    : length_(static_cast<std::uint8_t>(std::min(name.size(), kMaxNameLength))) {
    Fold([&](std::size_t i) { return name[i]; });
}

FoldedName::FoldedName(const DirectoryEntry& entry) : length_(static_cast<std::uint8_t>(entry.NameLength())) {
    Fold([&](std::size_t i) { return Load<char16_t>(entry.bytes() + 2 * i); });
}

// The units are folded on their way here: reading back what was just written in parts of another size would wait until
// everything that was written before is in the cache.
template <class UnitAt>
void FoldedName::Fold(UnitAt unitAt) {
    char16_t all = 0;
    const std::size_t length = length_;
    for (std::size_t i = 0; i < length; ++i) {  // the body has no branch, so that the compiler makes vector code of it
        const char16_t unit = unitAt(i);
        all |= unit;
        units_[i] = static_cast<char16_t>(static_cast<char16_t>(unit - u'a') < 26 ? unit - 32 : unit);
    }
    if (all >= 0x80) std::transform(units_.begin(), units_.begin() + length_, units_.begin(), UpperCase);
}

std::uint64_t FoldedName::Hash() const {
    std::uint64_t hash = 0x9E3779B97F4A7C15u + length_;
    const auto add = [&hash](std::uint64_t units) {
        hash = (hash ^ units) * 0xFF51AFD7ED558CCDu;
        hash ^= hash >> 32;
    };
    std::size_t i = 0;
    for (; i + 4 <= length_; i += 4) {
        std::uint64_t four = 0;
        std::memcpy(&four, &units_[i], sizeof four);
        add(four);
    }
    std::uint64_t rest = 0;  // one by one, as Fold() wrote them
    for (; i < length_; ++i) rest = rest << 16 | units_[i];
    add(rest);
    return hash;
}

int FoldedName::Compare(const FoldedName& other) const {
    if (length_ != other.length_) return length_ < other.length_ ? -1 : 1;
    return Text().compare(other.Text());
}

int FoldedName::Compare(const DirectoryEntry& entry) const {
    const std::size_t length = entry.NameLength();
    if (length_ != length) return length_ < length ? -1 : 1;
    std::size_t same = 0;  // so many units are equal without changing their case; compared four at a time
    constexpr std::size_t kFour = 4 * sizeof(char16_t);
    while (same + 4 <= length && std::memcmp(&units_[same], entry.bytes() + 2 * same, kFour) == 0) same += 4;
    for (std::size_t i = same; i < length; ++i) {
        const char16_t unit = UpperCase(Load<char16_t>(entry.bytes() + 2 * i));
        if (units_[i] != unit) return units_[i] < unit ? -1 : 1;
    }
    return 0;
}

NameKey::NameKey(const FoldedName& name) {
    if (name.Text().size() == kObjectNameLength) {
        std::array<std::byte, kNameField> units{};
        for (std::size_t i = 0; i < kObjectNameLength; ++i) Store(&units[2 * i], name.Text()[i]);
        isId = ReadNameOfId(units, first, second);
    }
    if (isId) return;
    first = name.Hash();
    second = 0;
}

void EntryName::FoldKey() const {
    std::array<char16_t, kObjectNameLength> text;
    WriteText({key_->first, key_->second}, text);
    folded_.emplace(std::u16string_view(text.data(), text.size()));
}

void RequireValidName(std::u16string_view name) {
    if (name.empty() || name.size() > kMaxNameLength)
        throw StorageError(Status::InvalidName, "a name of ", name.size(), " characters, not 1 to ", kMaxNameLength);
    const auto isForbidden = [](char16_t unit) {
        return (unit == 0) | (unit == u'/') | (unit == u'\\') | (unit == u':') | (unit == u'!');
    };
    unsigned forbidden = 0;
    for (const char16_t unit : name) forbidden |= static_cast<unsigned>(isForbidden(unit));
    if (forbidden == 0) return;
    for (const char16_t unit : name)
        if (isForbidden(unit))
            throw StorageError(Status::InvalidName, "a name holds the character with code ",
                               static_cast<unsigned>(unit));
}

}  // namespace lumvex::compound
