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
    explicit ChangeName(ObjectName object) : first_(object.first), isObject_(true), second_(object.second) {}
    explicit ChangeName(std::u16string_view text);  // which has to outlive this; looked up by its first 31 code units

    // Is the name in upper case an object's?
    bool IsObject() const { return isObject_; }
    ObjectName Object() const { return {first_, second_}; }  // where it is one's
    FoldedName Folded() const;
    // The name as it was given; empty where that is Object().
    std::u16string_view Text() const { return text_; }
    std::uint32_t Hash() const;

private:
    // The numbers are apart, so that nobody copies both at once: a processor that reads what was just written in two
    // parts waits until all that was written before is in the cache.
    std::uint64_t first_ = 0;
    bool isObject_ = false;
    std::uint64_t second_ = 0;
    std::optional<FoldedName> folded_;  // unless the name was given as Object()
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

    std::uint64_t first = 0;               // of the name, where isObject; see ChangeName for the order
    EntryId existing = kNoEntry;           // the committed stream that is replaced or removed
    SectorId start = kEndOfChain;          // the first sector in the next state, once a commit has drafted that
    std::uint64_t second = 0;              // of the name, where isObject
    std::uint64_t size = 0;                // bytes; of a Folder its position in CarriedTree::members
    std::byte* small = nullptr;            // of Small content that is not empty: whole mini sectors
    std::unique_ptr<std::u16string> text;  // the name, where it is not just that of Object()
    std::unique_ptr<LargeContent> large;
    Kind kind = Kind::Removed;
    bool isObject = false;  // is the name that of an object, regardless of case?

    ObjectName Object() const { return {first, second}; }
    NameText Name() const { return text ? NameText(*text) : NameText(Object()); }
    FoldedName Folded() const { return FoldedName(Name()); }
    bool Has(const ChangeName& name) const {
        if (isObject || name.IsObject()) return isObject && name.IsObject() && Object() == name.Object();
        return Folded() == name.Folded();
    }
    bool IsStream() const { return kind == Kind::Small || kind == Kind::Large; }
};

}  // namespace lumvex::compound
