#include "core/collection.hpp"

#include <exception>

#include "core/enumerator.hpp"
#include "core/item.hpp"
#include "core/rollback.hpp"
#include "core/strings.hpp"

namespace lumvex::inside {

std::u16string CollectionBase::Name() const { return std::u16string(StringOf(Class().title)); }

Ref<IUnknown> CollectionBase::_NewEnum() {
    std::vector<Descendant> all(members.Count());
    for (std::size_t index = 0; index < all.size(); ++index) all[index] = {members.At(index).id, OwnEntry().id};
    return MakeEnumerator(*this, std::move(all));
}

Ref<Object> CollectionBase::Member(std::size_t index) const {
    return ResolveRoot().Get(members.At(index), *Class().member(), OwnEntry());
}

Ref<Object> CollectionBase::Item(LONG position) {
    if (position < 1 || position > Count()) throw Failure(E_INVALIDARG);
    return Member(static_cast<std::size_t>(position - 1));
}

// What a search passes it has loaded; the index stands for that part of the list from then on.
Ref<Object> CollectionBase::FindName(std::u16string_view name) {
    if (members.Count() == 0) return nullptr;
    Document& document = ResolveRoot();
    NameIndex& names = members.names;
    const bool indexing = names.Covered() != 0 || members.Count() >= NameIndex::kWorthIt;
    Ref<Object> found;
    const auto bearsName = [&](const Reference& reference, bool passing) {
        Ref<Object> member = document.Get(reference, *Class().member(), OwnEntry());
        const std::u16string& its = member->OwnEntry().name;
        if (passing) names.Add(reference, its);
        if (CompareNoCase(its, name) == 0) found = std::move(member);
        return found != nullptr;
    };
    names.ForName(name, [&](const Reference& reference) { return bearsName(reference, false); });
    for (std::size_t index = names.Covered(); !found && index < members.Count(); ++index)
        bearsName(members.At(index), indexing);
    return found;
}

Ref<Object> CollectionBase::FindNameExact(std::u16string_view name) {
    Ref<Object> member = FindName(name);
    if (!member) throw Failure(Message::NotLocated);
    return member;
}

// A miss is an answer here, yet it leaves its error information behind.
LONG CollectionBase::NameExists(std::u16string_view name) {
    try {
        return FindNameExact(name) ? 1 : 0;
    } catch (const Failure& failure) {
        if (failure.MessageNumber() != 0) Report(failure.MessageNumber(), kErrorSource);
        return 0;
    }
}

Ref<Object> CollectionBase::FindID(std::u16string_view text, LONG searchDescendants) {
    const GUID id = ParseGuid(text).value_or(GUID_NULL);
    if (const auto index = members.IndexOf(id)) return Member(*index);
    return searchDescendants != 0 ? FindBelow(*this, id) : nullptr;
}

Ref<Object> CollectionBase::AddNamed(std::u16string_view name) { return AddMember(name, nullptr); }

Ref<Object> CollectionBase::AddLink(const Ref<Object>& target) { return AddMember(target->Name(), target); }

// All or nothing.
Ref<Object> CollectionBase::AddMember(std::u16string_view name, const Ref<Object>& linkTarget) {
    Document& document = ResolveRoot();
    RefuseDuplicate(name);
    Ref<Object> member = Class().member()->create();
    members.Materialise();
    Entry& entry = document.Enter(*member, OwnEntry());
    Rollback leave([&] { document.Erase(entry); });
    entry.name = name;
    static_cast<ItemBase&>(*member).timestamp = LocalTimeNow();
    if (linkTarget)
        member->ForEachReference(
            [&](ReferenceBase& reference) { static_cast<LinkTargetBase&>(reference).Start(*member, linkTarget); });
    TakeIn(*member);
    leave.Done();
    return member;
}

void CollectionBase::RefuseDuplicate(std::u16string_view name) {
    if (RefusesDuplicateNames() && members.Count() != 0 && FindName(name)) throw Failure(Message::NameExists);
}

Ref<Object> CollectionBase::FindCounterpart(ItemBase& other) { return FindName(other.Name()); }

void CollectionBase::TakeIn(Object& member) {
    Document& document = ResolveRoot();
    PrepareToRaise(2);
    document.MarkChanged(*this);
    members.Append({member.OwnEntry().id, member.OwnEntry().tag});
    Raise(document, EventKind::Item, member, LX_EV_CREATE);
    Raise(document, EventKind::Collection, *this, LX_EV_CREATE);
}

void CollectionBase::Remove(LONG position) {
    Document& document = ResolveRoot();
    if (position < 1 || position > Count()) throw Failure(Message::NotLocated);
    const Ref<Object> member = Member(static_cast<std::size_t>(position - 1));
    auto& item = static_cast<ItemBase&>(*member);
    if (item.Locks() != 0) throw Failure(Message::Locked);
    Raise(document, EventKind::Item, item, LX_EV_BEFORE_DELETE);
    DeliverNow();
    try {
        item.RemoveChildren();
    } catch (const std::exception&) {
        Raise(document, EventKind::Item, item, LX_EV_FAIL_DELETE);
        DeliverNow();
        throw;
    }
    PrepareToRaise(1);
    document.MarkChanged(*this);
    Detach(item, static_cast<std::size_t>(position - 1));
    Raise(document, EventKind::Collection, *this, LX_EV_AFTER_REMOVEITEM);
}

void CollectionBase::RemoveAll() {
    Document& document = ResolveRoot();
    Raise(document, EventKind::Collection, *this, LX_EV_BEFORE_REMOVEALL);
    document.MarkChanged(*this);
    DeliverNow();
    for (std::size_t position = members.Count(); position > 0; --position) {
        try {
            if (position > members.Count()) throw Failure(Message::NotLocated);  // a handler was faster
            const Ref<Object> member = Member(position - 1);
            auto& item = static_cast<ItemBase&>(*member);
            if (item.Locks() != 0) throw Failure(Message::Locked);
            item.RemoveChildren();
            Detach(item, position - 1);
        } catch (const Failure& failure) {
            if (failure.MessageNumber() != 0) Report(failure.MessageNumber(), kErrorSource);
        } catch (const PassedOn&) {
            // Its error information stands; the member stays.
        }
    }
    if (members.Count() != 0) {
        Raise(document, EventKind::Collection, *this, LX_EV_FAIL_REMOVEALL);
        throw Failure(Message::NotAllRemoved);
    }
    Raise(document, EventKind::Collection, *this, LX_EV_AFTER_REMOVEALL);
}

// A handler of the event before may have moved or removed the member: its place is looked up again then.
void CollectionBase::Detach(ItemBase& member, std::size_t likely) {
    Document& document = ResolveRoot();
    Entry& entry = member.OwnEntry();
    const bool there = likely < members.Count() && IsEqualGUID(members.At(likely).id, entry.id);
    const auto index = there ? std::optional(likely) : members.IndexOf(entry.id);
    if (!index) throw Failure(Message::NotLocated);
    members.Materialise();
    document.Erase(entry);
    members.Erase(*index);
    member.SetModified(false);
}

Ref<Object> FindBelow(Object& top, const GUID& id) {
    Document& document = top.ResolveRoot();
    Entry* entry = document.Find(id);
    if (!entry || entry == &top.OwnEntry()) return nullptr;
    for (Entry* owner = entry; owner != &document.RootObject().OwnEntry();) {
        if (!owner->parent) owner->parent = Ref<Entry>(&document.OwnerOf(*owner));
        owner = owner->parent.get();
        if (owner == &top.OwnEntry()) return document.Get(*entry);
    }
    return nullptr;
}

}  // namespace lumvex::inside
