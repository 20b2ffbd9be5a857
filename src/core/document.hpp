// The document as its objects see it: the directory that finds and loads them, and the settings they answer by.
#pragma once

#include "core/entry.hpp"
#include "core/events.hpp"
#include "core/object.hpp"

namespace lumvex::inside {

class Document {
public:
    virtual Object& RootObject() noexcept = 0;

    // The entry of an ID, or null when the document does not have the object.
    virtual Entry* Find(const GUID& id) = 0;
    // The entry's object, loaded from its stream when it is not in memory. Throws 4010 when there is nothing to load it
    // from, else what the reading failed with; the object then stays unloaded.
    virtual Ref<Object> Get(Entry& entry) = 0;
    // A collection's member or an owner's child, whose class and owner are known from where its reference stands.
    virtual Ref<Object> Get(const Reference& reference, const ClassInfo& classInfo, Entry& owner) = 0;
    // The child collection of a slot, created on first use.
    virtual Ref<Object> GetChild(ChildSlot& slot, const ClassInfo& classInfo, Object& owner) = 0;
    // Takes a new object into the directory under a new ID.
    virtual Entry& Enter(Object& object, Entry& owner) = 0;
    // Takes an object out; it is orphaned from now on. All or nothing; of one entered since the last save, never fails.
    virtual void Erase(Entry& entry) = 0;
    // The owner of an object that was reached without one; throws 4009 when nothing in the document owns it.
    virtual Entry& OwnerOf(Entry& entry) = 0;

    // The links of the document that point at an object, each once.
    virtual std::vector<GUID> DependentLinks(const GUID& target) = 0;
    // A link was made, re-pointed or emptied.
    virtual void LinkMoved(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to) = 0;

    virtual void MarkModified() noexcept = 0;
    // The object has to be written by the next save.
    virtual void MarkChanged(Object& object) = 0;

    virtual LXArray ArrayType() const noexcept = 0;
    // Is anybody connected who would be told of events?
    virtual bool IsObserved() const noexcept = 0;
    virtual void Fire(const PendingEvent& event) noexcept = 0;

protected:
    ~Document() = default;
};

}  // namespace lumvex::inside
