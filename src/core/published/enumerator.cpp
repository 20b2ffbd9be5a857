#include "core/published/enumerator.hpp"

#include "core/objects/document.hpp"
#include "core/published/snapshot_enumerator.hpp"

namespace lumvex::inside {

namespace {

class Descendants {
public:
    Descendants(Ref<Object> source, std::vector<Descendant> objects)
        : source_(std::move(source)), objects_(std::move(objects)) {}

    std::size_t size() const { return objects_.size(); }
    bool Put(std::size_t at, VARIANT* value) const {
        Document& document = source_->ResolveRoot();
        const Descendant& object = objects_[at];
        const Ref<Entry> entry = document.Find(object.id);
        if (!entry) return false;
        const bool isItem = entry->classInfo && entry->classInfo->kind == ClassKind::Item;
        if (isItem && !entry->parent && !IsEqualGUID(object.owner, GUID_NULL)) entry->parent = document.Find(object.owner);
        Variant::FromDispatch(document.Get(*entry)->Dispatch()).Detach(value);
        return true;
    }

private:
    Ref<Object> source_;
    std::vector<Descendant> objects_;
};

}  // namespace

Ref<IUnknown> MakeEnumerator(Object& source, std::vector<Descendant> objects) {
    using Enumerator = SnapshotEnumerator<IEnumVARIANT, VARIANT, Descendants>;
    return Ref<IUnknown>::Attach(
        Enumerator::Make(std::make_shared<const Descendants>(Ref<Object>(&source), std::move(objects))));
}

}  // namespace lumvex::inside
