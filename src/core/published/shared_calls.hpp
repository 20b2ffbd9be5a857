// The methods of the shared base interfaces, written once for all classes: every class's body of _Collectable,
// _Collection and _Root hands over to these, with itself as the plain base.
#pragma once

#include "interfaces/for_each.hpp"
#include "lumvex/interfaces.hpp"

namespace lumvex::inside {

class ItemBase;
class CollectionBase;
class RootDocument;

// The plain base behind each shared interface.
template <class Interface>
struct PlainOf;
template <>
struct PlainOf<::_Collectable> {
    using Type = ItemBase;
};
template <>
struct PlainOf<::_Collection> {
    using Type = CollectionBase;
};
template <>
struct PlainOf<::_Root> {
    using Type = RootDocument;
};

#define LX_INTERFACE(name, base, iid, help) \
    struct name##Calls {                    \
        using Self = typename PlainOf<::name>::Type;
#define LX_GET(id, name, type, parameters, help) \
    static HRESULT get_##name(Self& self, LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) noexcept;
#define LX_PUT(id, name, type, parameters, help) \
    static HRESULT put_##name(Self& self, LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type newVal) noexcept;
#define LX_METHOD(id, name, type, parameters, help) \
    static HRESULT name(Self& self, LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) noexcept;
#define LX_ACTION(id, name, parameters, help) \
    static HRESULT name(Self& self LX_EACH_AFTER(LX_PARAMETER_DECLARED, parameters)) noexcept;
#define LX_TEST(id, name, parameters, help) LX_METHOD(id, name, LONG, parameters, help)
#define LX_INTERFACE_END(name) };
#include "interfaces/rows/bases.def"
#undef LX_INTERFACE
#undef LX_GET
#undef LX_PUT
#undef LX_METHOD
#undef LX_ACTION
#undef LX_TEST
#undef LX_INTERFACE_END

}  // namespace lumvex::inside
