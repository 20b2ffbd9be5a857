#include "model/specifications/Configs.hpp"

#include <algorithm>

#include "core/objects/document.hpp"
#include "core/published/snapshot_enumerator.hpp"

namespace lumvex::inside {

namespace {

struct Row {
    LXConfig id;
    LONG outputs;
};

// In the order of positions.
constexpr Row kTable[] = {{LX_SINGLEAMP, 1}, {LX_BIAMP, 2}, {LX_TRIAMP, 3}, {LX_SUBWOOFER, 1}};

struct Listed : std::vector<Ref<CConfig>> {
    bool Put(std::size_t at, VARIANT* value) const {
        Variant::FromDispatch((*this)[at].get()).Detach(value);
        return true;
    }
};

}  // namespace

CConfigs::CConfigs() {
    list_.reserve(std::size(kTable));  // no push_back fails after a configuration was made
    for (const Row& row : kTable) list_.emplace_back(new CConfig(row.id, row.outputs));
}

Ref<CConfig> CConfigs::Item(LONG position) const {
    if (position > Count()) throw Failure(E_FAIL);
    return list_[static_cast<std::size_t>(std::max(position, LONG{1}) - 1)];
}

Ref<IUnknown> CConfigs::_NewEnum() const {
    using Enumerator = SnapshotEnumerator<IEnumVARIANT, VARIANT, Listed>;
    return Ref<IUnknown>::Attach(Enumerator::Make(std::make_shared<const Listed>(Listed{list_})));
}

Ref<CConfig> CConfigs::FindName(std::u16string_view name) const {
    if (name.empty()) throw Failure(E_POINTER);
    const auto found = std::ranges::find_if(list_, [&](const auto& config) { return config->Name() == name; });
    return found != list_.end() ? *found : Ref<CConfig>();
}

Ref<CConfigs> ConfigsOf(const Object& object) {
    const auto* owner = dynamic_cast<const OwnsConfigs*>(&object.ResolveRoot().RootObject());
    if (!owner) throw Failure(Message::Orphaned);
    return owner->Configs.Get(object);
}

}  // namespace lumvex::inside
