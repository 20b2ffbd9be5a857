#include "core/tree/copy.hpp"

#include <unordered_map>

#include "core/base/guid_order.hpp"
#include "core/published/enumerator.hpp"
#include "core/tree/tree_walk.hpp"

namespace lumvex::inside {

namespace {

std::vector<ChildSlot*> SlotsOf(Object& owner) {
    std::vector<ChildSlot*> slots;
    owner.ForEachChild([&](ChildSlot& slot, const ClassInfo&) { slots.push_back(&slot); });
    return slots;
}

std::vector<ReferenceBase*> ReferencesOf(Object& object) {
    std::vector<ReferenceBase*> references;
    object.ForEachReference([&](ReferenceBase& reference, const ClassInfo&) { references.push_back(&reference); });
    return references;
}

// Makes one copy of a subtree: objects that the document has entered, but that its root does not lead to yet.
class Copier {
public:
    explicit Copier(Document& to) : to_(to) {}
    Copier(const Copier&) = delete;
    Copier& operator=(const Copier&) = delete;

    Ref<Object> Make(ItemBase& source, Entry& owner, bool withChildren) {
        Ref<Object> copy = source.Class().create();
        Entry& entry = to_.Enter(*copy, owner);
        entry.name = source.OwnEntry().name;
        copy->AsItem()->timestamp = source.timestamp;
        source.Class().copy(*copy, source);
        DropDeadReferences(source, *copy);
        made_.push_back(copy);
        copies_[source.OwnEntry().id] = entry.id;
        if (withChildren) MakeChildren(source, *copy->AsItem());
        return copy;
    }

    // References to copied objects are pointed at the copies. Others stay as they are; in a copy in another document
    // they lead to the item of the same ID there, or are emptied.
    void FollowReferences(const Document& from) {
        for (const Ref<Object>& copy : made_) {
            copy->ForEachReference([&](ReferenceBase& reference, const ClassInfo& targetClass) {
                if (!reference.Id()) return;
                const auto follows = copies_.find(*reference.Id());
                if (follows != copies_.end())
                    reference.PointTo(std::optional(follows->second));
                else if (&from != &to_ && !reference.IdIn(to_, targetClass))
                    reference.PointTo(std::optional<GUID>());
                if (copy->Class().isLink) to_.LinkMoved(copy->OwnEntry().id, std::nullopt, reference.Id());
            });
        }
    }

    // References to `source` follow to `copy` as well.
    void NoteCopy(const GUID& source, const GUID& copy) { copies_[source] = copy; }

private:
    // A reference to an object that the source's document does not have any more must not find one in the other
    // document.
    static void DropDeadReferences(Object& source, Object& copy) {
        const std::vector<ReferenceBase*> copied = ReferencesOf(copy);
        std::size_t next = 0;
        source.ForEachReference([&](ReferenceBase& reference, const ClassInfo& targetClass) {
            copied[next++]->PointTo(reference.IdIn(source.ResolveRoot(), targetClass));
        });
    }

    void MakeChildren(ItemBase& source, ItemBase& copy) {
        Document& from = source.ResolveRoot();
        const std::vector<ChildSlot*> slots = SlotsOf(copy);
        std::size_t next = 0;
        source.ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
            ChildSlot& copySlot = *slots[next++];
            if (!slot.reference) return;
            const Ref<Object> children = from.GetChild(slot, classInfo, source);
            const Ref<Object> copies = to_.GetChild(copySlot, classInfo, copy);
            CollectionBase& collection = *children->AsCollection();
            for (LONG position = 1; position <= collection.Count(); ++position) {
                const Ref<Object> member = collection.Item(position);
                const Ref<Object> made = Make(*member->AsItem(), copies->OwnEntry(), true);
                copies->AsCollection()->members.Append({made->OwnEntry().id, made->OwnEntry().tag},
                                                       made->OwnEntry().name);
            }
        });
    }

    Document& to_;
    std::vector<Ref<Object>> made_;
    std::unordered_map<GUID, GUID, GuidHash> copies_;
};

void RefuseLocked(ItemBase& receiver) {
    Document& document = receiver.ResolveRoot();
    for (const EnumeratedObject& each : receiver.ItemsBelow()) {
        const Ref<Entry> entry = document.Find(each.id);
        if (entry && entry->locks != 0) throw Failure(Message::Locked);
    }
}

// The child collection of a class below an owner, made when the owner has none yet.
Ref<Object> ChildOfClass(Object& owner, const ClassInfo& wanted) {
    Ref<Object> found;
    Document& document = owner.ResolveRoot();
    owner.ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
        if (&classInfo == &wanted) found = document.GetChild(slot, classInfo, owner);
    });
    if (!found) throw Failure(E_INVALIDARG);
    return found;
}

}  // namespace

Ref<Object> CopyInto(ItemBase& item, CollectionBase& destination, bool withChildren) {
    if (destination.Class().member() != &item.Class()) throw Failure(E_INVALIDARG);
    Document& from = item.ResolveRoot();
    Document& to = destination.ResolveRoot();
    if (item.Class().isLink && &from != &to) throw Failure(Message::OtherDocument);
    destination.RefuseDuplicate(item.OwnEntry().name);
    Copier copier(to);
    Ref<Object> copy = copier.Make(item, destination.OwnEntry(), withChildren);
    copier.FollowReferences(from);
    destination.AppendMember(*copy);
    return copy;
}

Ref<Object> CopyBelow(ItemBase& item, Object& destinationRoot) {
    if (&item.ResolveRoot().RootObject().Class() != &destinationRoot.Class()) throw Failure(E_INVALIDARG);
    if (item.Class().isLink && &item.ResolveRoot() != &destinationRoot.ResolveRoot())
        throw Failure(Message::OtherDocument);
    std::vector<Ref<Object>> path;  // from the item's own collection up to the top-level one, items between
    for (Ref<Object> owner = item.ResolveParent(); owner->Class().kind != ClassKind::Root;
         owner = owner->ResolveParent())
        path.push_back(owner);
    Ref<Object> at(&destinationRoot);
    for (auto step = path.rbegin(); step != path.rend(); ++step) {
        ItemBase* ancestor = (*step)->AsItem();
        if (!ancestor) {
            at = ChildOfClass(*at, (*step)->Class());
            continue;
        }
        CollectionBase& collection = *at->AsCollection();
        Ref<Object> match = collection.FindID(ancestor->ID(), 0);
        if (!match) match = collection.FindCounterpart(*ancestor);
        at = match ? match : CopyInto(*ancestor, collection, false);
    }
    return CopyInto(item, *at->AsCollection(), true);
}

namespace {

// Everything that the receiver takes over, made and loaded before it changes anything.
class Replacement {
public:
    Replacement(ItemBase& from, ItemBase& receiver)
        : document_(receiver.ResolveRoot()), receiver_(receiver), timestamp_(from.timestamp) {
        Copier copier(document_);
        const Ref<Object> parent = receiver.ResolveParent();
        copy_ = copier.Make(from, parent->OwnEntry(), true);
        copier.NoteCopy(from.OwnEntry().id, receiver.OwnEntry().id);
        copier.FollowReferences(from.ResolveRoot());
        // Values that the class does not let others replace stay those of the receiver.
        values_ = receiver.Class().create();
        receiver.Class().copy(*values_, receiver);
        receiver.Class().copy(*values_, *copy_);
        PairCollections();
        leaving_.emplace_back(&copy_->OwnEntry());
    }

    // All of it or, when it throws std::bad_alloc, nothing.
    void Apply() {
        PrepareToRaise(1 + pairs_.size());
        if (receiver_.Class().isLink) document_.LinkMoved(receiver_.OwnEntry().id, IdOf(receiver_), IdOf(*values_));
        document_.Erase(leaving_);
        // From here on nothing can fail.
        receiver_.Class().swap(receiver_, *values_);
        receiver_.timestamp = timestamp_;
        receiver_.Commit(LX_EV_DATA_CHANGE);
        for (const Pair& pair : pairs_) Exchange(pair);
    }

private:
    // A collection of the receiver and the one of the copy whose members it takes over. Either may be missing: without
    // the receiver's the copy's own becomes the receiver's, without the copy's there is nothing to take over.
    struct Pair {
        ChildSlot* slot;
        Ref<Object> own, copied;
    };

    void PairCollections() {
        const std::vector<ChildSlot*> copied = SlotsOf(*copy_);
        std::size_t next = 0;
        receiver_.ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
            ChildSlot& copiedSlot = *copied[next++];
            Pair pair{&slot, {}, {}};
            if (slot.reference) pair.own = document_.GetChild(slot, classInfo, receiver_);
            if (copiedSlot.reference) pair.copied = document_.GetChild(copiedSlot, classInfo, *copy_);
            if (pair.own) {
                MembersOf(*pair.own).Materialise();
                for (Ref<Entry>& entry : EntriesBelow(*pair.own)) leaving_.push_back(std::move(entry));
                if (pair.copied) leaving_.emplace_back(&pair.copied->OwnEntry());
            }
            if (pair.own || pair.copied) pairs_.push_back(std::move(pair));
        });
    }

    void Exchange(const Pair& pair) noexcept {
        Object& collection = pair.own ? *pair.own : *pair.copied;
        if (!pair.own) {
            pair.slot->reference = Reference{collection.OwnEntry().id, collection.OwnEntry().tag};
            collection.OwnEntry().parent = Ref<Entry>(&receiver_.OwnEntry());
        } else {
            Members nothing;
            MembersOf(collection).Swap(pair.copied ? MembersOf(*pair.copied) : nothing);
            const Members& members = MembersOf(collection);
            for (std::size_t index = 0; index < members.Count(); ++index)
                document_.Find(members.At(index).id)->parent = Ref<Entry>(&collection.OwnEntry());
        }
        document_.MarkChanged(collection);
        const bool isEmpty = MembersOf(collection).Count() == 0;
        Raise(document_, EventKind::Collection, collection, isEmpty ? LX_EV_AFTER_REMOVEALL : LX_EV_CREATE);
    }

    static Members& MembersOf(Object& collection) { return collection.AsCollection()->members; }
    static std::optional<GUID> IdOf(Object& link) {
        const std::vector<ReferenceBase*> references = ReferencesOf(link);
        return references.empty() ? std::nullopt : references.front()->Id();
    }

    Document& document_;
    ItemBase& receiver_;
    DATE timestamp_;
    Ref<Object> copy_;    // entered into the document until Apply() has what it needs of it
    Ref<Object> values_;  // outside of the document
    std::vector<Pair> pairs_;
    std::vector<Ref<Entry>> leaving_;
};

}  // namespace

void ReplaceContents(ItemBase& from, ItemBase& receiver) {
    if (&from.Class() != &receiver.Class()) throw Failure(E_INVALIDARG);
    if (&from == &receiver) return;
    if (from.Class().isLink && &from.ResolveRoot() != &receiver.ResolveRoot()) throw Failure(Message::OtherDocument);
    from.ResolveRoot();
    RefuseLocked(receiver);
    Replacement(from, receiver).Apply();
}

}  // namespace lumvex::inside
