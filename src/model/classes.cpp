// The class registry, filled from classes.def before anything can be created.
#include <algorithm>
#include <array>

#include "arrays/Data.hpp"
#include "automation/guid_text.hpp"
#include "core/base/guid_order.hpp"
#include "model/project/Project.hpp"
#include "model/specifications/Specifications.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::inside {

namespace {

consteval GUID ParseId(std::string_view text) { return ParseGuidDigits(text).value(); }

template <class Class>
Ref<Object> Create() {
    return Ref<Object>(new Class);
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
    std::apply([&](auto... field) { ((links = links || IsLinkField(PointerOf(field))), ...); }, RecordOf<Class>::fields);
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
            .create = Create<Class>,
            .save = SaveFields<Class>,
            .load = LoadFields<Class>,
            .copy = CopyFields<Class>,
            .swap = SwapFields<Class, Children::Stay>};
}

template <class Class, class Interface, class MemberClass>
ClassInfo CollectionInfo(std::u16string_view name, const GUID& classId, int title) {
    return {.name = name,
            .kind = ClassKind::Collection,
            .classId = classId,
            .interfaceId = kIidOf<Interface>,
            .version = kCollectionVersion,
            .title = title,
            .member = [] { return &ClassOf<MemberClass>(); },
            .create = Create<Class>};
}

template <class Class, class Interface>
ClassInfo RootInfo(std::u16string_view name, const GUID& classId) {
    return {.name = name,
            .kind = ClassKind::Root,
            .classId = classId,
            .interfaceId = kIidOf<Interface>,
            .version = RecordOf<Class>::version,
            .hasChildren = true,
            .create = Class::Create,
            .save = SaveFields<Class>,
            .load = LoadFields<Class>,
            .swap = SwapFields<Class, Children::Too>};
}

}  // namespace

#define LX_ROOT_CLASS(name, interface, id)                                                  \
    template <>                                                                             \
    const ClassInfo& ClassOf<name>() noexcept {                                             \
        static const ClassInfo info = RootInfo<name, interface>(u## #name, ParseId(id));    \
        return info;                                                                        \
    }
#define LX_COLLECTION_CLASS(name, interface, member, title, id)                                                 \
    template <>                                                                                                 \
    const ClassInfo& ClassOf<name>() noexcept {                                                                 \
        static const ClassInfo info = CollectionInfo<name, interface, member>(u## #name, ParseId(id), title);   \
        return info;                                                                                            \
    }
#define LX_ITEM_CLASS(name, interface, id)                                                  \
    template <>                                                                             \
    const ClassInfo& ClassOf<name>() noexcept {                                             \
        static const ClassInfo info = ItemInfo<name, interface>(u## #name, ParseId(id));    \
        return info;                                                                        \
    }
#include "model/classes.def"

// Takes no memory and has nothing to destroy: looking a class up neither fails nor ends before a client's static objects.
std::span<const ClassInfo* const> AllClasses() noexcept {
    static const auto all = [] {
        std::array classes{
#define LX_ROOT_CLASS(name, interface, id) &ClassOf<name>(),
#define LX_COLLECTION_CLASS(name, interface, member, title, id) &ClassOf<name>(),
#define LX_ITEM_CLASS(name, interface, id) &ClassOf<name>(),
#include "model/classes.def"
        };
        std::ranges::sort(classes, GuidLess(), &ClassInfo::classId);
        return classes;
    }();
    static_assert(std::is_trivially_destructible_v<decltype(all)> && std::is_trivially_destructible_v<ClassInfo>);
    return all;
}

const ClassInfo* FindClass(const GUID& classId) noexcept {
    const auto all = AllClasses();
    const auto found = std::ranges::lower_bound(all, classId, GuidLess(), &ClassInfo::classId);
    return found != all.end() && IsEqualGUID((*found)->classId, classId) ? *found : nullptr;
}

}  // namespace lumvex::inside
