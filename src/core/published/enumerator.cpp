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

}  // namespace

Ref<IUnknown> MakeEnumerator(Object& source, std::vector<EnumeratedObject> objects) {
    using Enumerator = SnapshotEnumerator<IEnumVARIANT, VARIANT, EnumeratedObjects>;
    return Ref<IUnknown>::Attach(
        Enumerator::Make(std::make_shared<const EnumeratedObjects>(Ref<Object>(&source), std::move(objects))));
}

}  // namespace lumvex::inside
