// The registry's row of one class, made from the class itself. Only the sources that the generator prints for the
// classes include this: it is where objects under their published interfaces are made.
#pragma once

#include "core/published/dispatch_body.hpp"
#include "storage/records/object_record.hpp"
#include "storage/records/record_table.hpp"

namespace lumvex::inside {

template <class Class, class Interface>
Ref<Object> Create() {
    return Ref<Object>::Attach(new Published<Class, Interface>);
}

template <class Class, class Interface>
Ref<Object> CreateRoot() {
    Ref<Class> root = Ref<Class>::Attach(new Published<Class, Interface>);
    root->Construct(Class::kName);
    return Ref<Object>::Attach(root.Detach());
}

template <class Class>
constexpr bool ActsOnArrival() {
    return !std::is_same_v<decltype(&Class::Arrived), decltype(&Object::Arrived)>;
}

template <class Class>
constexpr bool OwnsCollections() {
    bool owns = false;
    std::apply([&](auto... field) { ((owns = owns || IsChildField(PointerOf(field))), ...); }, RecordOf<Class>::fields);
    return owns;
}

template <class Class>
constexpr bool IsLinkClass() {
    bool links = false;
    std::apply([&](auto... field) { ((links = links || IsLinkField(PointerOf(field))), ...); },
               RecordOf<Class>::fields);
    return links;
}

template <class Class, class Interface>
ClassInfo ItemInfo(std::u16string_view name, const GUID& classId) {
    return {.name = name,
            .kind = ClassKind::Item,
            .classId = classId,
            .interfaceId = kIidOf<Interface>,
            .version = RecordOf<Class>::version,
            .hasChildren = OwnsCollections<Class>(),
            .isLink = IsLinkClass<Class>(),
            .actsOnArrival = ActsOnArrival<Class>(),
            .create = Create<Class, Interface>,
            .save = SaveFields<Class>,
            .load = LoadFields<Class>,
            .pass = PassFields<Class>,
            .copy = CopyFields<Class>,
            .swap = SwapFields<Class, Children::Stay>};
}

template <class Class, class Interface, class MemberClass>
ClassInfo CollectionInfo(std::u16string_view name, const GUID& classId, std::u16string_view title) {
    return {.name = name,
            .kind = ClassKind::Collection,
            .classId = classId,
            .interfaceId = kIidOf<Interface>,
            .version = kCollectionVersion,
            .title = title,
            .member = [] { return &ClassOf<MemberClass>(); },
            .actsOnArrival = ActsOnArrival<Class>(),
            .create = Create<Class, Interface>};
}

template <class Class, class Interface>
ClassInfo RootInfo(std::u16string_view name, const GUID& classId) {
    return {.name = name,
            .kind = ClassKind::Root,
            .classId = classId,
            .interfaceId = kIidOf<Interface>,
            .version = RecordOf<Class>::version,
            .hasChildren = true,
            .create = CreateRoot<Class, Interface>,
            .save = SaveFields<Class>,
            .load = LoadFields<Class>,
            .swap = SwapFields<Class, Children::Too>};
}

}  // namespace lumvex::inside
