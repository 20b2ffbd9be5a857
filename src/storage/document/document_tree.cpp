#include "storage/document/document_tree.hpp"

#include "automation/random.hpp"
#include "core/objects/operation.hpp"
#include "core/tree/collection.hpp"
#include "core/tree/references.hpp"
#include "core/tree/tree_walk.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::inside {

// The file is closed even if clients hold objects whose arrays and lists are still in it: they are orphans now, of
// which neither can be asked for.
DocumentTree::~DocumentTree() { file_->Replace(nullptr); }

// ---- finding and loading --------------------------------------------------------------------------------------------

Ref<Object> DocumentTree::FindLoaded(const GUID& id) const {
    const Entry* entry = directory_.FindInMemory(id);
    return entry ? entry->object : nullptr;
}

Ref<Object> DocumentTree::Load(const GUID& id) {
    const Ref<Entry> entry = directory_.Find(id);
    return entry ? Get(*entry) : nullptr;
}

// After the file was closed. A function of its own, so that Referred(), which everything goes through, stays short.
[[gnu::noinline]] void DocumentTree::RequireInMemory(const GUID& id) const {
    if (!directory_.FindInMemory(id)) throw Failure(Message::DoesNotExist);
}

// Valid until the next object is loaded. Checks the class: a damaged file may give one ID to objects of two classes.
[[gnu::always_inline]] inline Entry& DocumentTree::Referred(const Reference& reference, const ClassInfo& classInfo,
                                                            Entry& owner) {
    if (mayLackObjects_) RequireInMemory(reference.id);
    Entry& entry = directory_.FindReferred(reference, classInfo);
    if (entry.classInfo != &classInfo) throw Failure(static_cast<HRESULT>(compound::Status::Corrupt));
    if (!entry.parent) entry.parent = Ref<Entry>(&owner);
    return entry;
}

Ref<Entry> DocumentTree::EntryOf(const Reference& reference, const ClassInfo& classInfo, Entry& owner) {
    return Ref<Entry>(&Referred(reference, classInfo, owner));
}

// Lets a new object do what its class does when it has come. This is an operation of its own: the object stays loaded
// even if the operation under way fails.
[[gnu::noinline]] void DocumentTree::Arrive(Entry& entry, Object& object, Object::Arrival how) {
    try {
        Operation arrival;
        object.Arrived(how);
        arrival.Keep();
    } catch (...) {
        directory_.Unload(entry);
        throw;
    }
}

// Puts a new object into the directory.
inline void DocumentTree::Place(Entry& entry, Object& object, Object::Arrival how) {
    directory_.Cache().Add(entry, object);
    if (how == Object::Arrival::Made) MarkChanged(object);
    if (entry.classInfo->actsOnArrival) Arrive(entry, object, how);
}

// The object holds its entry, which the load cache may take out of the directory once others are loaded. A function of
// its own, for its room.
[[gnu::noinline]] Ref<Object> DocumentTree::Read(Entry& entry) {
    DocumentFile::RecordRoom room;
    auto record = file_->ReadRecord(entry.id, room);
    if (!record) return nullptr;
    Ref<Object> object = entry.classInfo->create();
    object->Bind(entry);
    ReadObject(*object, *std::move(record), marksEpoch_);
    Place(entry, *object, Object::Arrival::Loaded);
    return object;
}

// Null where the open file has no stream for the object.
[[gnu::always_inline]] inline Ref<Object> DocumentTree::Reach(Entry& entry) {
    if (Object* const loaded = entry.object.get()) {
        directory_.Cache().Touch(entry);
        loaded->AddRefInCall();
        return Ref<Object>::Attach(loaded);
    }
    if (&entry == &root_.OwnEntry()) return Ref<Object>(&root_);
    if (!entry.classInfo || entry.classInfo->kind == ClassKind::Root || !file_->IsOpen())
        throw Failure(Message::DoesNotExist);
    return Read(entry);
}

[[gnu::always_inline]] inline Ref<Object> DocumentTree::Reached(Entry& entry) {
    Ref<Object> object = Reach(entry);
    if (!object) throw Failure(Message::DoesNotExist);
    return object;
}

Ref<Object> DocumentTree::Get(Entry& entry) { return Reached(entry); }

Ref<Object> DocumentTree::Get(const Reference& reference, const ClassInfo& classInfo, Entry& owner) {
    return Reached(Referred(reference, classInfo, owner));
}

std::u16string_view DocumentTree::NameOf(const Reference& member, const ClassInfo& memberClass) {
    if (const Entry* entry = directory_.FindInMemory(member.id)) {
        if (entry->classInfo != &memberClass) throw Failure(static_cast<HRESULT>(compound::Status::Corrupt));
        if (entry->object) return entry->name;
    }
    DocumentFile::RecordRoom room;
    auto record = file_->IsOpen() ? file_->ReadRecord(member.id, room) : std::nullopt;
    if (!record) throw Failure(Message::DoesNotExist);
    ReadName(memberClass, *std::move(record), nameRead_);
    return nameRead_;
}

// Making a collection ready is no change of the document yet, though the next save writes it.
Ref<Object> DocumentTree::GetChild(ChildSlot& slot, const ClassInfo& classInfo, Object& owner) {
    if (slot.reference) {
        const Ref<Entry> entry = EntryOf(*slot.reference, classInfo, owner.OwnEntry());
        if (Ref<Object> child = Reach(*entry)) return child;
        entry->stored = false;
        Ref<Object> child = classInfo.create();
        child->Bind(*entry);
        Place(*entry, *child, Object::Arrival::Made);
        return child;
    }
    Ref<Object> child = classInfo.create();
    const Entry& entry = Enter(*child, owner.OwnEntry());
    RecordStep(owner, &slot,
               [](Object&, void* filled) noexcept { static_cast<ChildSlot*>(filled)->reference.reset(); });
    slot.reference = Reference{entry.id, entry.tag};
    if (&owner != &root_) MarkChanged(owner);
    child->Arrived(Object::Arrival::Made);
    return child;
}

// The first search goes through the document as far as the object. Whoever searches again probably follows many links:
// from then on all owners are noted, as searches that each began at the root would take as long as their number times
// the size of the document.
Ref<Entry> DocumentTree::OwnerOf(Entry& entry) {
    if (entry.parent || &entry == &root_.OwnEntry()) return entry.parent;
    entry.parent = owners_.Find(entry.id);
    if (entry.parent) return entry.parent;
    if (std::exchange(hasSearched_, true) && NoteOwners())
        entry.parent = owners_.Find(entry.id);
    else
        SearchOwner(entry);
    return entry.parent;
}

// Notes the owners of all objects that it passes and that are in memory, too.
void DocumentTree::SearchOwner(Entry& entry) {
    WalkBelow(root_, [&](const Reference& reference, const ClassInfo&, Object& owner) {
        Entry* passed = directory_.FindInMemory(reference.id);
        if (passed && !passed->parent) passed->parent = Ref<Entry>(&owner.OwnEntry());
        return !entry.parent;
    });
}

// False where the document is damaged, so that not all of it could be walked through. A search may still succeed, as
// the damage may be behind what it looks for.
bool DocumentTree::NoteOwners() {
    owners_.Forget();
    try {
        WalkBelow(root_, [&](const Reference& reference, const ClassInfo&, Object& owner) {
            owners_.Add(reference.id, owner.OwnEntry());
            return true;
        });
    } catch (const Failure&) {
        owners_.Forget();
        return false;
    }
    return true;
}

// Its entries may have left the document.
void DocumentTree::ForgetOwners() noexcept {
    owners_.Forget();
    hasSearched_ = false;
}

void DocumentTree::ListEverything() {
    WalkBelow(root_, [&](const Reference& reference, const ClassInfo& classInfo, Object& owner) {
        directory_.EnsureListed(*EntryOf(reference, classInfo, owner.OwnEntry()));
        return true;
    });
}

// ---- entering and leaving -------------------------------------------------------------------------------------------

void DocumentTree::EnterRoot(std::u16string_view name) {
    GUID id;
    Check(CoCreateGuid(&id));
    Entry& entry = directory_.Add(id, root_.Class(), nullptr);
    entry.name = name;
    root_.Bind(entry);
}

Entry& DocumentTree::Enter(Object& object, Entry& owner) {
    GUID id;
    Check(CoCreateGuid(&id));
    if (const auto next = GuessNextGuid()) directory_.Expect(*next);
    MakeRoomForSteps(1);
    Entry& entry = directory_.Add(id, object.Class(), &owner);
    object.Bind(entry);
    directory_.Cache().Add(entry, object);
    MarkChanged(object);
    RecordStep(entry, [](Entry& entered) noexcept {
        const Ref<Entry> own(&entered);
        if (entered.document) entered.document->Erase(std::span(&own, 1));
    });
    return entry;
}

void DocumentTree::Erase(std::span<const Ref<Entry>> entries) {
    directory_.PrepareToErase(entries);
    for (const Ref<Entry>& entry : entries) {
        if (!links_.IsMade() || !entry->object || !entry->object->Class().isLink) continue;
        entry->object->ForEachReference(
            [&](ReferenceBase& reference, const ClassInfo&) { links_.Move(entry->id, reference.Id(), std::nullopt); });
    }
    directory_.Erase(entries);
}

// ---- changes --------------------------------------------------------------------------------------------------------

void DocumentTree::MarkModified() {
    if (modified_) return;
    RecordStep(root_, this, [](Object&, void* tree) noexcept { static_cast<DocumentTree*>(tree)->modified_ = false; });
    modified_ = true;
}

void DocumentTree::MarkChanged(Object& object) noexcept { directory_.MarkChanged(object.OwnEntry()); }

// The first question reads every link of the document once.
std::vector<GUID> DocumentTree::DependentLinks(const GUID& target) {
    if (!links_.IsMade()) {
        links_.Forget();
        for (const GUID& id : directory_.IdsOf([](const ClassInfo& info) { return info.isLink; })) {
            const Ref<Entry> entry = directory_.Find(id);
            if (!entry) continue;
            const Ref<Object> link = Get(*entry);
            link->ForEachReference([&](ReferenceBase& reference, const ClassInfo& targetClass) {
                links_.Move(id, std::nullopt, reference.IdIn(*this, targetClass));
            });
        }
        links_.Made();
    }
    return links_.LinksTo(target);
}

// When the operation under way fails, the index is dropped, and made again when it is next asked for.
void DocumentTree::LinkMoved(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to) {
    if (!links_.IsMade()) return;
    RecordStep(root_, this, [](Object&, void* tree) noexcept { static_cast<DocumentTree*>(tree)->links_.Forget(); });
    links_.Move(link, from, to);
}

// ---- the file -------------------------------------------------------------------------------------------------------

void DocumentTree::CloseFile(bool onlyHeld) {
    std::vector<Ref<Object>> staying;
    struct Release {
        DocumentTree& tree;
        ~Release() {
            tree.directory_.CloseFile();
            tree.ForgetOwners();
            tree.file_->Replace(nullptr);
            tree.marksEpoch_ = 0;
            tree.mayLackObjects_ = true;
        }
    } release{*this};
    if (onlyHeld) directory_.Cache().ReleaseUnheld();
    staying = LoadOwners();
    root_.LeaveFile();
    CountLoadedMembers();
    ForEachLoaded([](const Entry& entry) { entry.object->LeaveFile(); });
    directory_.ReadFromTable();
}

// Calls visit(entry) for the entries of all loaded objects; it must not load any.
template <class Visit>
void DocumentTree::ForEachLoaded(Visit&& visit) {
    for (Entry* entry = directory_.Cache().Oldest(); entry; entry = entry->newer) {
        entry->ExpectNeighbours();
        visit(*entry);
    }
}

// So that each list knows how many of its members stay.
void DocumentTree::CountLoadedMembers() {
    const Entry* last = nullptr;  // neighbours mostly have the same owner
    CollectionBase* collection = nullptr;
    ForEachLoaded([&](const Entry& entry) {
        const Entry* const owner = entry.parent.get();
        if (owner != std::exchange(last, owner))
            collection = owner && owner->object ? owner->object->AsCollection() : nullptr;
        if (collection) collection->members.CountLoaded();
    });
}

// Loads all objects that own a loaded one; mostly all of them are loaded already. Where one was not, the answer holds
// every loaded object, so that the bounds of the cache push none of them out before the file is closed.
std::vector<Ref<Object>> DocumentTree::LoadOwners() {
    const Entry* const root = &root_.OwnEntry();
    std::vector<Ref<Object>> held;
    std::vector<Ref<Entry>> below;  // objects of which the owner is not loaded or not known
    do {
        below.clear();
        ForEachLoaded([&](Entry& entry) {
            const Entry* const owner = entry.parent.get();
            if (entry.stays || owner == root || (owner && owner->object)) return;
            entry.stays = true;
            below.emplace_back(&entry);
        });
        if (!below.empty()) ForEachLoaded([&](const Entry& entry) { held.push_back(entry.object); });
        for (std::size_t next = 0; next < below.size(); ++next) {
            const Ref<Entry> owner = OwnerOf(*below[next]);
            if (!owner || owner->stays || owner.get() == root) continue;
            held.push_back(Get(*owner));
            owner->stays = true;
            below.push_back(owner);
        }
    } while (!below.empty());  // the search for an owner may load further objects
    return held;
}

void DocumentTree::Swap(DocumentTree& other) noexcept {
    directory_.Swap(other.directory_);
    file_.swap(other.file_);
    std::swap(modified_, other.modified_);
    std::swap(mayLackObjects_, other.mayLackObjects_);
    std::swap(marksEpoch_, other.marksEpoch_);
    for (DocumentTree* tree : {this, &other}) {
        tree->links_.Forget();
        tree->ForgetOwners();
    }
}

}  // namespace lumvex::inside
