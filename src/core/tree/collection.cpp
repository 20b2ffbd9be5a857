#include "core/tree/collection.hpp"

#include <exception>

#include "core/objects/operation.hpp"
#include "core/published/enumerator.hpp"
#include "core/tree/item.hpp"

namespace lumvex::inside {

std::u16string CollectionBase::Name() const { return std::u16string(Class().title); }

Ref<IUnknown> CollectionBase::_NewEnum() {
    ResolveRoot();
    return MakeMemberEnumerator(*this, members.All());
}

Ref<Object> CollectionBase::Member(std::size_t index) {
    Document& document = ResolveRoot();
    const ReachedMember member = members.Reach(index);
    if (member.ahead) document.Expect(member.ahead->id);
    Entry& own = OwnEntry();
    return document.Get(member.reference, *own.classInfo->member(), own);
}

Ref<Object> CollectionBase::Item(LONG position) {
    if (position < 1 || position > Count()) throw Failure(E_INVALIDARG);
    return Member(static_cast<std::size_t>(position - 1));
}

// Of the members, only the one that is found is loaded.
Ref<Object> CollectionBase::FindName(std::u16string_view name) {
    if (members.Count() == 0) return nullptr;
    Document& document = ResolveRoot();
    if (members.LackSome()) return FindAmongLoaded(name);
    const ClassInfo& memberClass = *Class().member();
    std::optional<Reference> found;
    const auto bearsName = [&](const Reference& reference, std::u16string_view its) {
        if (its.size() == name.size() && CompareNoCase(its, name) == 0) found = reference;
        return found.has_value();
    };
    if (members.Count() < Members::kMarkedFrom) {
        for (std::size_t index = 0; index < members.Count() && !found; ++index) {
            const Reference reference = members.At(index);
            if (bearsName(reference, document.NameOf(reference, memberClass))) members.Reach(index);
        }
    } else {
        FindByMarks(MarkOf(name), bearsName);
    }
    return found ? document.Get(*found, memberClass, OwnEntry()) : nullptr;
}

// In a list of which some members went with the file. Where none of the others bears the name, one of these may have
// borne it.
Ref<Object> CollectionBase::FindAmongLoaded(std::u16string_view name) {
    const Document& document = ResolveRoot();
    for (std::size_t index = 0; index < members.Count(); ++index) {
        const Entry* entry = document.InMemory(members.At(index).id);
        if (entry && entry->object && CompareNoCase(entry->name, name) == 0) return Member(index);
    }
    throw Failure(Message::DoesNotExist);
}

// Reads only the names whose marks equal that of the wanted name or are not known. Marks that were not known are set
// from the names that are read.
void CollectionBase::FindByMarks(NameMark mark, BearsName bearsName) {
    const ClassInfo& memberClass = *Class().member();
    Document& document = ResolveRoot();
    if (members.renamed) ForgetMarksOfRenamed();
    members.ExtendIndex();
    bool isFound = false;
    members.names.ForMark(mark, [&](const Reference& reference) {
        return isFound = bearsName(reference, document.NameOf(reference, memberClass));
    });
    if (isFound) return;
    members.ForMark(mark, members.names.Covered(), [&](std::size_t index, bool isKnown) {
        const Reference reference = members.At(index);
        const std::u16string_view its = document.NameOf(reference, memberClass);
        if (!isKnown) members.SetMark(index, MarkOf(its));
        if (bearsName(reference, its)) isFound = true, members.Reach(index);
        return isFound;
    });
}

bool CollectionBase::HasMarks() const {
    try {
        return members.HasMarks();
    } catch (const Failure&) {
        if (Document* document = OwnEntry().document) document->DistrustMarks();
        return false;
    }
}

// The save has to write the list, with the new mark.
void CollectionBase::MemberRenamed(Entry& member) noexcept {
    members.names.Rename(member.id, MarkOf(member.name));
    member.renamed = members.renamed = true;
    if (Document* document = OwnEntry().document) document->MarkChanged(*this);
}

// Sets the marks of renamed members to unknown. Nothing has to be done where the index covers the whole list, because
// MemberRenamed has put the new names into the index.
void CollectionBase::ForgetMarksOfRenamed() {
    const std::size_t count = members.Count();
    if (members.names.Covered() == count) return;
    const Document& document = ResolveRoot();
    constexpr std::size_t kAsComparing = 32;  // marks: what looking for an entry costs
    members.names.Compared(kAsComparing * count);
    for (std::size_t index = 0; index < count; ++index) {
        Entry* entry = document.InMemory(members.At(index).id);
        if (!entry || !entry->renamed) continue;
        members.SetMark(index, kUnknownMark);
        entry->renamed = false;
    }
    members.renamed = false;
}

void CollectionBase::LeaveFile() {
    const Document* const document = OwnEntry().document;
    members.LeaveFile([document](const GUID& member) {
        const Entry* entry = document ? document->InMemory(member) : nullptr;
        return entry && entry->object;
    });
}

void CollectionBase::FillMarks() {
    const std::size_t count = members.Count();
    if (count < Members::kMarkedFrom) return;
    const Document& document = ResolveRoot();
    for (std::size_t index = 0; index < count; ++index) {
        const auto marks = members.Marks();
        const bool isKnown = !marks.empty() && marks[index] != kUnknownMark;
        if (isKnown && !members.renamed) continue;
        Entry* entry = document.InMemory(members.At(index).id);
        if (!entry || !entry->object || (isKnown && !entry->renamed)) continue;
        members.SetMark(index, MarkOf(entry->name));
        entry->renamed = false;
    }
    members.renamed = false;
}

Ref<Object> CollectionBase::FindNameExact(std::u16string_view name) {
    Ref<Object> member = FindName(name);
    if (!member) throw Failure(Message::NotLocated);
    return member;
}

// That there is no such name is an answer here and no failure, but error information is left as if it were one.
LONG CollectionBase::NameExists(std::u16string_view name) {
    try {
        return FindNameExact(name) ? 1 : 0;
    } catch (const Failure& failure) {
        if (failure.MessageNumber() != 0) Report(failure.MessageNumber(), kErrorSource);
        return 0;
    }
}

Ref<Object> CollectionBase::FindID(std::u16string_view text, LONG searchDescendants) {
    ResolveRoot();
    const std::optional<GUID> id = ParseGuid(text);
    if (!id) return nullptr;
    if (const auto index = members.IndexOf(*id)) return Member(*index);
    Ref<Object> found = searchDescendants != 0 ? FindBelow(*this, *id) : nullptr;
    if (!found && members.LackSome()) throw Failure(Message::DoesNotExist);
    return found;
}

Ref<Object> CollectionBase::AddNamed(std::u16string_view name) { return AddMember(name, nullptr); }

Ref<Object> CollectionBase::AddLink(const Ref<Object>& target) { return AddMember(target->Name(), target); }

Ref<Object> CollectionBase::AddMember(std::u16string_view name, const Ref<Object>& linkTarget) {
    Document& document = ResolveRoot();
    RefuseDuplicate(name);
    Ref<Object> member = Class().member()->create();
    Entry& entry = document.Enter(*member, OwnEntry());
    entry.name = name;
    member->AsItem()->timestamp = LocalTimeNow();
    if (linkTarget)
        member->ForEachReference([&](ReferenceBase& reference, const ClassInfo&) {
            static_cast<LinkTargetBase&>(reference).Move(*member, linkTarget);
        });
    AppendMember(*member);
    return member;
}

void CollectionBase::RefuseDuplicate(std::u16string_view name) {
    if (RefusesDuplicateNames() && members.Count() != 0 && FindName(name)) throw Failure(Message::NameExists);
}

Ref<Object> CollectionBase::FindCounterpart(ItemBase& other) { return FindName(other.Name()); }

void CollectionBase::AppendMember(Object& member) {
    Document& document = ResolveRoot();
    members.MakeRoom();
    RecordStep(OwnEntry(), [](Entry& collection) noexcept {
        if (collection.object) collection.object->AsCollection()->members.EraseLast();
    });
    members.Append({member.OwnEntry().id, member.OwnEntry().tag}, member.OwnEntry().name);
    document.MarkChanged(*this);
    Raise(document, EventKind::Item, member, LX_EV_CREATE);
    Raise(document, EventKind::Collection, *this, LX_EV_CREATE);
}

void CollectionBase::Remove(LONG position) {
    const Ref<Object> root = RootBase(), self(this);  // handlers may release both
    if (position < 1 || position > Count()) throw Failure(Message::NotLocated);
    const Ref<Object> member = Member(static_cast<std::size_t>(position - 1));
    ItemBase& item = *member->AsItem();
    if (item.Locks() != 0) throw Failure(Message::Locked);
    Raise(ResolveRoot(), EventKind::Item, item, LX_EV_BEFORE_DELETE);
    DeliverNow();
    try {
        RemoveMember(item, static_cast<std::size_t>(position - 1));
    } catch (const std::exception&) {
        Document* document = item.OwnEntry().document;
        if (!document) throw;
        Raise(*document, EventKind::Item, item, LX_EV_FAIL_DELETE);
        DeliverNow();
        throw;
    }
}

// Its collections' members are removed one by one, each for itself; the member with its collections is then removed in
// one step, or not at all.
void CollectionBase::RemoveMember(ItemBase& member, std::size_t likely) {
    member.EmptyChildren();
    Operation removal;
    PrepareToRaise(1);
    Detach(member, likely);
    Raise(ResolveRoot(), EventKind::Collection, *this, LX_EV_AFTER_REMOVEITEM);
    removal.Keep();
}

// Each member's removal is an operation of its own: it stays when a later one fails.
void CollectionBase::RemoveAll() {
    const Ref<Object> root = RootBase(), self(this);  // handlers may release both
    Raise(ResolveRoot(), EventKind::Collection, *this, LX_EV_BEFORE_REMOVEALL);
    ResolveRoot().MarkChanged(*this);
    DeliverNow();
    std::exception_ptr broken;
    for (std::size_t position = members.Count(); position > 0; --position) {
        try {
            if (position > members.Count()) throw Failure(Message::NotLocated);  // a handler has removed it
            const Ref<Object> member = Member(position - 1);
            ItemBase& item = *member->AsItem();
            if (item.Locks() != 0) throw Failure(Message::Locked);
            item.EmptyChildren();
            Operation removal;
            Detach(item, position - 1);
            removal.Keep();
        } catch (const Failure& failure) {
            if (failure.MessageNumber() != 0) Report(failure.MessageNumber(), kErrorSource);
        } catch (const PassedOn&) {
            // The error information is there already; the member stays.
        } catch (...) {
            broken = std::current_exception();  // without memory there is no sense in going on
            break;
        }
    }
    if (members.Count() != 0) {
        Raise(ResolveRoot(), EventKind::Collection, *this, LX_EV_FAIL_REMOVEALL);
        KeepWhatIsDone();
        if (broken) std::rethrow_exception(broken);
        throw Failure(Message::NotAllRemoved);
    }
    Raise(ResolveRoot(), EventKind::Collection, *this, LX_EV_AFTER_REMOVEALL);
    KeepWhatIsDone();
}

// Removes the member with its collections, which are empty. Looks up its place again: a handler may have changed the
// list. Nothing has changed when this fails.
void CollectionBase::Detach(ItemBase& member, std::size_t likely) {
    Document& document = ResolveRoot();
    Entry& entry = member.OwnEntry();
    const bool isThere = likely < members.Count() && IsEqualGUID(members.At(likely).id, entry.id);
    const auto index = isThere ? std::optional(likely) : members.IndexOf(entry.id);
    if (!index || entry.document != &document) throw Failure(Message::NotLocated);
    if (member.Locks() != 0) throw Failure(Message::Locked);  // by a handler
    members.Materialise();
    std::vector<Ref<Entry>> leaving = member.EmptyCollections();
    leaving.emplace_back(&entry);
    document.MarkModified();
    document.Erase(leaving);
    members.Erase(*index);
    document.MarkChanged(*this);
}

Ref<Object> FindBelow(Object& top, const GUID& id) {
    Document& document = top.ResolveRoot();
    const Ref<Entry> entry = document.Find(id);
    if (!entry || entry.get() == &top.OwnEntry()) return nullptr;
    for (Ref<Entry> owner = entry; owner && owner.get() != &document.RootObject().OwnEntry();) {
        owner = document.OwnerOf(*owner);
        if (owner.get() == &top.OwnEntry()) return document.Get(*entry);
    }
    return nullptr;
}

}  // namespace lumvex::inside
