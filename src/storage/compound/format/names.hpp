// Entry names: which are allowed, and the order of the directory's trees.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "storage/compound/format/format.hpp"

namespace lumvex::compound {

[[nodiscard]] char16_t UpperCaseBeyondAscii(char16_t unit);

[[nodiscard]] inline char16_t UpperCase(char16_t unit) {
    if (unit >= 0x80) return UpperCaseBeyondAscii(unit);
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
}

// A name in the form in which names are compared: in upper case. Its text is part of the object, which allocates
// nothing.
class FoldedName {
public:
    FoldedName() = default;
    explicit FoldedName(std::u16string_view name);  // of its first 31 code units
    explicit FoldedName(const DirectoryEntry& entry);

    std::u16string_view Text() const { return {units_.data(), length_}; }
    std::uint64_t Hash() const;
    bool operator==(const FoldedName& other) const { return Text() == other.Text(); }

    // Orders by length, then by code units in upper case: negative, 0 or positive.
    int Compare(const FoldedName& other) const;
    int Compare(const DirectoryEntry& entry) const;

private:
    template <class UnitAt>
    void Fold(UnitAt unitAt);

    std::array<char16_t, kMaxNameLength + 1> units_{};  // zero beyond the name
    std::uint8_t length_ = 0;
};

void RequireValidName(std::u16string_view name);  // throws InvalidName

}  // namespace lumvex::compound
