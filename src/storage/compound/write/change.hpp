// One stream that was written or removed since the last commit.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/compound/format/names.hpp"
#include "storage/compound/format/object_name.hpp"
#include "storage/compound/format/sector_table.hpp"

namespace lumvex::compound {

// Content in sectors of its own, which are free in the committed state.
struct LargeContent {
    std::vector<Run> runs;         // all of it
    std::vector<Run> fresh;        // those that were written for this change
    bool keepsOldSectors = false;  // the other runs are the committed stream's
    std::uint32_t batch = 0;       // in which it was written (see Volume::Batch)
};

// A name as changes are looked up by it. Nearly all names are those of objects, which are two numbers.
class ChangeName {
public:
    explicit ChangeName(const ObjectName& object) : object_(object) {}
    explicit ChangeName(std::u16string_view text);  // which has to outlive this; looked up by its first 31 code units

    // What the name is in upper case.
    const std::optional<ObjectName>& Object() const { return object_; }
    FoldedName Folded() const;
    // The name as it was given, unless it is Object().
    std::u16string_view Text() const { return text_; }
    std::uint32_t Hash() const;

private:
    std::optional<ObjectName> object_;
    std::optional<FoldedName> folded_;  // unless it is an object's
    std::u16string_view text_;
};

// The text of a name, in the object itself.
class NameText {
public:
    explicit NameText(const ObjectName& object) : length_(kObjectNameLength) {
        WriteText(object, std::span(units_).first<kObjectNameLength>());
    }
    explicit NameText(std::u16string_view text) : length_(text.copy(units_.data(), units_.size())) {}
    operator std::u16string_view() const { return {units_.data(), length_}; }

private:
    std::array<char16_t, kMaxNameLength> units_;
    std::size_t length_;
};

struct Change {
    enum class Kind : std::uint8_t { Erased, Removed, Small, Large, Folder };

    ObjectName object;                     // the name, where isObject
    EntryId existing = kNoEntry;           // the committed stream that is replaced or removed
    SectorId start = kEndOfChain;          // the first sector in the next state, once a commit has drafted that
    std::uint64_t size = 0;                // bytes; of a Folder its position in CarriedTree::members
    std::byte* small = nullptr;            // of Small content that is not empty: whole mini sectors
    std::unique_ptr<std::u16string> text;  // the name, where it is not just that of `object`
    std::unique_ptr<LargeContent> large;
    Kind kind = Kind::Removed;
    bool isObject = false;  // is the name that of an object, regardless of case?

    NameText Name() const { return text ? NameText(*text) : NameText(object); }
    FoldedName Folded() const { return FoldedName(Name()); }
    bool Has(const ChangeName& name) const {
        if (isObject || name.Object()) return isObject && object == name.Object();
        return Folded() == name.Folded();
    }
    bool IsStream() const { return kind == Kind::Small || kind == Kind::Large; }
};

}  // namespace lumvex::compound
