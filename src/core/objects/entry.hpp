// One object's entry in the object directory: what a document knows of an object, whether it is loaded or not.
#pragma once

#include <cstdint>
#include <vector>

#include "core/objects/block_pool.hpp"
#include "core/objects/class_info.hpp"
#include "generic/prefetch.hpp"
#include "generic/short_text.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

class Document;
class Object;

// How one object names another in a stored record: its ID and the tag that travels with it.
struct Reference {
    GUID id{};
    std::uint32_t tag = 0;
};
using References = std::vector<Reference, BlockAllocator<Reference>>;

// Whoever goes through the members of a collection calls Document::Expect for the member so many places ahead.
inline constexpr std::size_t kMembersAhead = 4;

// A number of 48 bits: making a million entries a second takes nine years to use them up.
class OrderOfMaking {
public:
    OrderOfMaking& operator=(std::uint64_t order) noexcept {
        for (std::uint16_t& part : parts_) {
            part = static_cast<std::uint16_t>(order);
            order >>= 16;
        }
        return *this;
    }
    operator std::uint64_t() const noexcept {
        return std::uint64_t{parts_[2]} << 32 | std::uint64_t{parts_[1]} << 16 | parts_[0];
    }

private:
    std::uint16_t parts_[3] = {};
};

// Owned by the directory and by the object it describes (counted; under the module lock). An entry that has left its
// directory has no document any more: its object is orphaned but keeps ID and name.
class Entry {
public:
    Entry(const GUID& objectId, const ClassInfo* objectClass);
    static void* operator new(std::size_t size) { return TakeBlock(size); }
    static void operator delete(void* entry, std::size_t size) { GiveBlock(entry, size); }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

    void AddRef() noexcept { ++count_; }
    void Release() noexcept;
    unsigned Holders() const noexcept { return count_; }

    // For whoever goes through many entries in the order in which they were made: mostly those that come next follow in
    // memory, and are brought into the processor's cache.
    [[gnu::always_inline]] inline void ExpectNeighbours() const noexcept {
        constexpr std::size_t kAhead = 8;
        Prefetch(reinterpret_cast<const std::byte*>(this) + kAhead * sizeof(Entry), sizeof(Entry));
    }

    // The second ID that the file's directory has of the object is carried unchanged. Mostly it is all zero.
    GUID Second() const;
    void CarrySecond(const GUID& second);  // throws std::bad_alloc and has then done nothing

    // The fields are in an order that leaves no gaps in memory, as there is an entry for each object.
    GUID id;
    const ClassInfo* classInfo;  // null: a class this program does not know
    std::uint32_t tag = 0;
    LONG locks = 0;
    ShortText name;  // known once the object was loaded
    Document* document = nullptr;
    Ref<Entry> parent;   // the collection or item that owns the object; empty until it is known
    Ref<Object> object;  // the live object while it is loaded; never the root's, which owns the directory

    // Kept by the directory; eventWaits by the event queue.
    Entry* newer = nullptr;  // neighbours among the loaded objects, by last use
    Entry* older = nullptr;
    LONG storedLocks = 0;  // the lock counter in the open file
    OrderOfMaking order;   // rises with every entry made
    // Eight bits, a whole byte: a part of one would be read before it is written for the first time, and a page of
    // fresh memory that is read first takes the system two page faults.
    bool stored : 1 = false;   // the open file holds the object's stream
    bool listed : 1 = false;   // the open file's directory lists the object
    bool assumed : 1 = false;  // `listed` is assumed, as a stored record refers to it; the next save looks it up
    bool rowRead : 1 = true;   // the second ID is what the file's directory has, or the file lacks the entry
    bool stays : 1 = false;    // closing the file has taken hold of its object
    bool joins : 1 = false;    // the next save adds it to the file's directory
    bool changed : 1 = false;  // the next save writes the object
    bool renamed : 1 = false;  // its name is not the one whose mark its collection has

    // A whole byte as well, together with hasSecond_, which follows it in memory.
    bool eventWaits : 1 = false;  // in the event queue of the call under way

private:
    ~Entry();
    std::uint8_t hasSecond_ : 7 = 0;  // 1: its second ID is in the list of those that are not all zero
    unsigned count_ = 0;
};
static_assert(sizeof(void*) != 8 || sizeof(Entry) == 120, "every byte more is one for each object");

}  // namespace lumvex::inside
