// Entry names: which are allowed, and the order of the directory's trees.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "storage/compound/format/format.hpp"
#include "storage/compound/format/object_name.hpp"

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

// A name as 128 bits: the two numbers of the ID that it is the name of (object_name.hpp), or a hash of it in upper
// case, which other names may have too.
struct NameKey {
    explicit NameKey(const FoldedName& name);
    // First of the units as they are in the entry: folding may still make a name of an ID of those beyond ASCII.
    explicit NameKey(const DirectoryEntry& entry) {
        if (entry.NameLength() == kObjectNameLength)
            isId = ReadNameOfId(std::span<const std::byte, kNameField>(entry.bytes(), kNameField), first, second);
        if (!isId) *this = NameKey(FoldedName(entry));
    }
    NameKey(std::uint64_t firstOfId, std::uint64_t secondOfId) : first(firstOfId), second(secondOfId), isId(true) {}

    bool operator==(const NameKey& other) const {
        return first == other.first && second == other.second && isId == other.isId;
    }

    std::uint64_t first = 0, second = 0;
    bool isId = false;
};

// A name that is looked for: a text, or an ID, of which the text is made only where it is needed.
class EntryName {
public:
    explicit EntryName(std::u16string_view text) : folded_(text) {}
    explicit EntryName(const FoldedName& folded) : folded_(folded) {}
    EntryName(std::uint64_t firstOfId, std::uint64_t secondOfId) : key_(std::in_place, firstOfId, secondOfId) {}

    const FoldedName& Folded() const {
        if (!folded_) FoldKey();
        return *folded_;
    }
    const NameKey& Key() const {
        if (!key_) key_.emplace(*folded_);
        return *key_;
    }

    const NameKey* KnownKey() const { return key_ ? &*key_ : nullptr; }  // null where it was not needed yet

private:
    void FoldKey() const;

    mutable std::optional<FoldedName> folded_;  // at least one of the two
    mutable std::optional<NameKey> key_;
};

void RequireValidName(std::u16string_view name);  // throws InvalidName

}  // namespace lumvex::compound
