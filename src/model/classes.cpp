// The class registry.
#include <algorithm>
#include <array>

#include "core/base/guid_order.hpp"
#include "published/classes.hpp"

namespace lumvex::inside {

// Takes no memory and has nothing to destroy: looking a class up neither fails nor ends before a client's static
// objects.
std::span<const ClassInfo* const> AllClasses() noexcept {
    static const auto all = [] {
        std::array classes = ListOfClasses();
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
