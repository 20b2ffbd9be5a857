#include "core/published/enumerator.hpp"

#include "core/objects/document.hpp"
#include "core/published/snapshot_enumerator.hpp"

namespace lumvex::inside {

namespace {

class EnumeratedObjects {
public:
    EnumeratedObjects(Ref<Object> source, std::vector<EnumeratedObject> objects)
        : source_(std::move(source)), objects_(std::move(objects)) {}

    std::size_t size() const { return objects_.size(); }
    bool Put(std::size_t at, VARIANT* value) const {
        Document& document = source_->ResolveRoot();
        const EnumeratedObject& object = objects_[at];
        const Ref<Entry> entry = document.Find(object.id);
        if (!entry) return false;
        const bool isItem = entry->classInfo && entry->classInfo->kind == ClassKind::Item;
        if (isItem && !entry->parent && !IsEqualGUID(object.owner, GUID_NULL))
            entry->parent = document.Find(object.owner);
        Variant::FromDispatch(document.Get(*entry)->Dispatch()).Detach(value);
        return true;
    }

private:
    Ref<Object> source_;
    std::vector<EnumeratedObject> objects_;
};

// As long as nothing has left the document, all members are still there, and none is searched for in the directory.
class EnumeratedMembers {
public:
    EnumeratedMembers(Ref<Object> collection, References members)
        : collection_(std::move(collection)),
          members_(std::move(members)),
          departures_(collection_->ResolveRoot().Departures()) {}

    std::size_t size() const { return members_.size(); }
    bool Put(std::size_t at, VARIANT* value) const {
        Document& document = collection_->ResolveRoot();
        const Reference& member = members_[at];
        if (document.Departures() != departures_ && !document.Find(member.id)) return false;
        if (members_.size() - at > kMembersAhead) document.Expect(members_[at + kMembersAhead].id);
        const Ref<Object> object = document.Get(member, *collection_->Class().member(), collection_->OwnEntry());
        Variant::FromDispatch(object->Dispatch()).Detach(value);
        return true;
    }

private:
    Ref<Object> collection_;
    References members_;
    std::uint64_t departures_;
};

template <class List, class Elements>
Ref<IUnknown> EnumeratorOf(Object& source, Elements elements) {
    return Ref<IUnknown>::Attach(SnapshotEnumerator<IEnumVARIANT, VARIANT, List>::Make(
        std::make_shared<const List>(Ref<Object>(&source), std::move(elements))));
}

}  // namespace

Ref<IUnknown> MakeEnumerator(Object& source, std::vector<EnumeratedObject> objects) {
    return EnumeratorOf<EnumeratedObjects>(source, std::move(objects));
}

Ref<IUnknown> MakeMemberEnumerator(Object& collection, References members) {
    return EnumeratorOf<EnumeratedMembers>(collection, std::move(members));
}

}  // namespace lumvex::inside
