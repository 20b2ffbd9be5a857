#include "core/copy.hpp"

#include <unordered_map>

#include "core/enumerator.hpp"
#include "core/guid_order.hpp"

namespace lumvex::inside {

namespace {

std::vector<ChildSlot*> SlotsOf(Object& owner) {
    std::vector<ChildSlot*> slots;
    owner.ForEachChild([&](ChildSlot& slot, const ClassInfo&) { slots.push_back(&slot); });
    return slots;
}

// One copy in the making. What was entered into the document is taken out again unless the copy is finished.
class Copier {
public:
    explicit Copier(Document& to) : to_(to) {}
    ~Copier() {
        for (auto entry = entered_.rbegin(); entry != entered_.rend(); ++entry)
            if ((*entry)->document) to_.Erase(**entry);
    }
    Copier(const Copier&) = delete;
    Copier& operator=(const Copier&) = delete;

    Ref<Object> Make(ItemBase& source, Entry& owner, bool withChildren) {
        Ref<Object> copy = source.Class().create();
        entered_.reserve(entered_.size() + 1);
        Entry& entry = to_.Enter(*copy, owner);
        entered_.push_back(Ref<Entry>(&entry));
        entry.name = source.OwnEntry().name;
        static_cast<ItemBase&>(*copy).timestamp = source.timestamp;
        source.Class().copy(*copy, source);
        made_.push_back(copy);
        copies_[source.OwnEntry().id] = entry.id;
        if (withChildren) MakeChildren(source, static_cast<ItemBase&>(*copy));
        return copy;
    }

    // References to what was copied point at the copies; others stay, or in another document find the item of that ID.
    void FollowReferences(const Document& from) {
        for (const Ref<Object>& copy : made_) {
            copy->ForEachReference([&](ReferenceBase& reference) {
                const auto target = reference.TargetId();
                if (!target) return;
                const auto follows = copies_.find(*target);
                if (follows != copies_.end())
                    reference.Point(std::optional(follows->second));
                else if (&from != &to_ && !to_.Find(*target))
                    reference.Point(std::optional<GUID>());
            });
            if (copy->Class().isLink)
                copy->ForEachReference([&](ReferenceBase& reference) {
                    to_.LinkMoved(copy->OwnEntry().id, std::nullopt, reference.TargetId());
                });
        }
    }

    void StandsFor(const GUID& source, const GUID& copy) { copies_[source] = copy; }
    void Finish() { entered_.clear(); }

private:
    void MakeChildren(ItemBase& source, ItemBase& copy) {
        Document& from = source.ResolveRoot();
        const std::vector<ChildSlot*> slots = SlotsOf(copy);
        std::size_t next = 0;
        source.ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
            ChildSlot& copySlot = *slots[next++];
            if (!slot.reference) return;
            const Ref<Object> children = from.GetChild(slot, classInfo, source);
            entered_.reserve(entered_.size() + 1);
            const Ref<Object> copies = to_.GetChild(copySlot, classInfo, copy);
            entered_.push_back(Ref<Entry>(&copies->OwnEntry()));
            auto& collection = static_cast<CollectionBase&>(*children);
            for (LONG position = 1; position <= collection.Count(); ++position) {
                const Ref<Object> member = collection.Item(position);
                const Ref<Object> made = Make(static_cast<ItemBase&>(*member), copies->OwnEntry(), true);
                static_cast<CollectionBase&>(*copies).members.Append({made->OwnEntry().id, made->OwnEntry().tag});
            }
        });
    }

    Document& to_;
    std::vector<Ref<Entry>> entered_;
    std::vector<Ref<Object>> made_;
    std::unordered_map<GUID, GUID, GuidHash> copies_;
};

void RefuseLocked(ItemBase& receiver) {
    Document& document = receiver.ResolveRoot();
    for (const Descendant& each : receiver.Descendants()) {
        const Entry* entry = document.Find(each.id);
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
    destination.TakeIn(*copy);
    copier.Finish();
    return copy;
}

Ref<Object> CopyBelow(ItemBase& item, Object& destinationRoot) {
    if (&item.ResolveRoot().RootObject().Class() != &destinationRoot.Class()) throw Failure(E_INVALIDARG);
    std::vector<Ref<Object>> path;  // from the item's own collection up to the top-level one, items between
    for (Ref<Object> owner = item.ResolveParent(); owner->Class().kind != ClassKind::Root;
         owner = owner->ResolveParent())
        path.push_back(owner);
    Ref<Object> at(&destinationRoot);
    for (auto step = path.rbegin(); step != path.rend(); ++step) {
        if ((*step)->Class().kind == ClassKind::Collection) {
            at = ChildOfClass(*at, (*step)->Class());
            continue;
        }
        auto& ancestor = static_cast<ItemBase&>(**step);
        auto& collection = static_cast<CollectionBase&>(*at);
        Ref<Object> match = collection.FindID(ancestor.ID(), 0);
        if (!match) match = collection.FindCounterpart(ancestor);
        at = match ? match : CopyInto(ancestor, collection, false);
    }
    return CopyInto(item, static_cast<CollectionBase&>(*at), true);
}

void ReplaceContents(ItemBase& from, ItemBase& receiver) {
    if (&from.Class() != &receiver.Class()) throw Failure(E_INVALIDARG);
    if (&from == &receiver) return;
    Document& source = from.ResolveRoot();
    Document& document = receiver.ResolveRoot();
    if (from.Class().isLink && &source != &document) throw Failure(Message::OtherDocument);
    RefuseLocked(receiver);

    // A complete copy first; then the receiver's children go, the copy's move in, and the copy itself is given up.
    Copier copier(document);
    const Ref<Object> parent = receiver.ResolveParent();
    const Ref<Object> copy = copier.Make(from, parent->OwnEntry(), true);
    copier.StandsFor(from.OwnEntry().id, receiver.OwnEntry().id);
    copier.FollowReferences(source);
    receiver.RemoveChildren();
    std::optional<GUID> before, after;
    receiver.ForEachReference([&](ReferenceBase& reference) { before = reference.TargetId(); });
    receiver.Class().copy(receiver, *copy);
    receiver.ForEachReference([&](ReferenceBase& reference) { after = reference.TargetId(); });
    receiver.timestamp = from.timestamp;
    const std::vector<ChildSlot*> slots = SlotsOf(receiver);
    std::size_t next = 0;
    copy->ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
        ChildSlot& receiving = *slots[next++];
        if (!slot.reference) return;
        const Ref<Object> children = document.GetChild(slot, classInfo, *copy);
        children->OwnEntry().parent = Ref<Entry>(&receiver.OwnEntry());
        receiving.reference = std::exchange(slot.reference, std::nullopt);
    });
    document.Erase(copy->OwnEntry());
    copier.Finish();
    if (receiver.Class().isLink) document.LinkMoved(receiver.OwnEntry().id, before, after);
    receiver.Commit(LX_EV_DATA_CHANGE);
}

}  // namespace lumvex::inside
