// What the model knows of one persistable class: a row of the class registry, of which there is one in the process.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "lumvex/automation.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

class Object;
class RecordReader;
class RecordWriter;

// How a class's record was written: bit 31 says that a minimum reader is named (bits 16-30), bits 0-15 are the
// writer's.
class VersionWord {
public:
    constexpr VersionWord() = default;
    constexpr explicit VersionWord(std::uint32_t word) : word_(word) {}
    constexpr VersionWord(unsigned writer, unsigned minimumReader)
        : word_(0x80000000u | (minimumReader << 16) | writer) {}

    constexpr std::uint32_t Word() const { return word_; }
    constexpr unsigned Writer() const { return word_ & 0xFFFFu; }
    constexpr unsigned MinimumReader() const { return (word_ >> 16) & 0x7FFFu; }
    constexpr bool NamesMinimumReader() const { return (word_ & 0x80000000u) != 0; }

private:
    std::uint32_t word_ = 0;
};

enum class ClassKind { Root, Collection, Item };

struct ClassInfo {
    std::u16string_view name;  // "CDatum"
    ClassKind kind;
    GUID classId;                 // key of the registry, of the object directory and of the version information
    GUID interfaceId;             // of the class's own dual interface
    VersionWord version;          // what this program writes
    std::u16string_view title{};  // collections: their fixed name
    const ClassInfo* (*member)() = nullptr;  // collections: the class of their members
    bool hasChildren = false;                // items: do they own collections
    bool isLink = false;
    bool actsOnArrival = false;  // does it have an Arrived() of its own?
    Ref<Object> (*create)() = nullptr;
    void (*save)(const Object&, RecordWriter&) = nullptr;  // the class's own fields
    void (*load)(Object&, RecordReader&, VersionWord) = nullptr;
    void (*pass)(RecordReader&, VersionWord) = nullptr;      // items: reads past the same, and fails as `load` would
    void (*copy)(Object& to, const Object& from) = nullptr;  // the class's own fields, child collections not
    void (*swap)(Object& one, Object& other) noexcept = nullptr;  // the same; of roots their child collections, too
};

// The registered class of an ID, or null; and all of them, ascending by class ID.
const ClassInfo* FindClass(const GUID& classId) noexcept;
std::span<const ClassInfo* const> AllClasses() noexcept;

// The row of a class known at compile time.
template <class Class>
const ClassInfo& ClassOf() noexcept;

}  // namespace lumvex::inside
