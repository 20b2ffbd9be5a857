// The document as its objects see it: the directory that finds and loads them, and the settings they answer by.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "core/objects/entry.hpp"
#include "core/objects/events.hpp"
#include "core/objects/object.hpp"

namespace lumvex::inside {

// What ArrayType() answers while somebody asks for the shapes of arrays alone, and no elements are to be read: a get
// then answers a list of 32-bit integers, the element type as stored and the number of elements in each dimension.
inline constexpr auto kShapesAlone = static_cast<LXArray>(1);

class ByteSpool;  // of storage/records: the document has it, and arrays know what it is

class Document {
public:
    virtual Object& RootObject() noexcept = 0;

    // Entries come as counted references: what is loaded while an entry is in use may push it out of the load cache.

    // The entry of an ID, or null when the document does not have the object.
    virtual Ref<Entry> Find(const GUID& id) = 0;
    // The same without a look into the file: null for an object that was not reached yet. Valid until the next object
    // is loaded.
    virtual Entry* InMemory(const GUID& id) const noexcept = 0;
    // The entry's object, loaded from its stream when it is not in memory. Throws 4010 when there is nothing to load it
    // from, else what the reading failed with; the object then stays unloaded.
    virtual Ref<Object> Get(Entry& entry) = 0;
    // The object of this ID will probably be asked for soon: what finding it needs is brought into the processor's
    // cache.
    virtual void Expect(const GUID& id) const noexcept = 0;
    // The entry of a collection's member or of an owner's child collection, and the object itself. Class and owner
    // follow from the place of the reference, which may be in a list that changes when objects are loaded.
    virtual Ref<Entry> EntryOf(const Reference& reference, const ClassInfo& classInfo, Entry& owner) = 0;
    virtual Ref<Object> Get(const Reference& reference, const ClassInfo& classInfo, Entry& owner) = 0;
    // The name of a collection's member. One that is not in memory is not loaded for this, but fails as loading it
    // would. Valid until the next call.
    virtual std::u16string_view NameOf(const Reference& member, const ClassInfo& memberClass) = 0;
    // A mark of a name in the file may be wrong and cannot be mended: after the next save none counts that it has not
    // written.
    virtual void DistrustMarks() noexcept = 0;
    // The child collection of a slot, created on first use.
    virtual Ref<Object> GetChild(ChildSlot& slot, const ClassInfo& classInfo, Object& owner) = 0;
    // Takes a new object into the directory under a new ID, as a step of the operation under way.
    virtual Entry& Enter(Object& object, Entry& owner) = 0;
    // Takes objects out; they are orphaned from now on. All of them or, when it throws std::bad_alloc, none. It is not
    // taken back when the operation fails, so nothing may fail after it.
    virtual void Erase(std::span<const Ref<Entry>> entries) = 0;
    // Changes whenever objects leave the document.
    virtual std::uint64_t Departures() const noexcept = 0;
    // The owner of an object; null when nothing owns it. Where the object was reached by its ID, its owner is searched
    // for in the whole document.
    virtual Ref<Entry> OwnerOf(Entry& entry) = 0;

    // The links of the document that point at an object, each once.
    virtual std::vector<GUID> DependentLinks(const GUID& target) = 0;
    // A link was made, or is about to be re-pointed or emptied. Throws std::bad_alloc and has then done nothing.
    virtual void LinkMoved(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to) = 0;

    // Something in the document has changed since it was opened. A step of the operation under way.
    virtual void MarkModified() = 0;
    // The next save has to write the object, which is in memory. This is not taken back when the operation fails: the
    // save then writes what the file has already.
    virtual void MarkChanged(Object& object) noexcept = 0;

    virtual LXArray ArrayType() const noexcept = 0;
    // Where arrays wait that are put and not saved yet; null: in memory.
    virtual ByteSpool* Spool() noexcept = 0;
    // Is anybody connected who would be told of events?
    virtual bool IsObserved() const noexcept = 0;
    virtual void Fire(const PendingEvent& event) noexcept = 0;

    // A client has released its last reference to an object while the load cache holds more objects than it should.
    virtual void LetGo(Entry& entry) noexcept = 0;

protected:
    ~Document() = default;
};

}  // namespace lumvex::inside
