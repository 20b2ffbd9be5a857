// The methods between each published interface and the class behind it, made from the interface tables. Every one enters
// the guard, checks its pointers, clears its result, calls the plain member of the same name (or the field, which knows
// what a put means) and turns the answer into what crosses the boundary.
//
// IDatumBody<CDatum, IDatum> overrides all of IDatum down to IDispatch; Most is the interface the class really offers.
#pragma once

#include "core/boundary.hpp"
#include "interfaces/dispatch.hpp"
#include "interfaces/for_each.hpp"

namespace lumvex::inside {

template <class Class, class Most>
class IDispatchBody : public Most {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) override {
        if (!pctinfo) return E_POINTER;
        *pctinfo = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** ppTInfo) override {
        if (!ppTInfo) return E_POINTER;
        *ppTInfo = nullptr;
        return DISP_E_BADINDEX;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* rgszNames, UINT cNames, LCID, DISPID* rgDispId) override {
        return DispatchTable::Of<Most>().GetIDsOfNames(rgszNames, cNames, rgDispId);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID, WORD wFlags, DISPPARAMS* pDispParams,
                                     VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) override {
        return DispatchTable::Of<Most>().Invoke(static_cast<Most*>(this), dispIdMember, riid, wFlags, pDispParams,
                                                pVarResult, pExcepInfo, puArgErr);
    }

protected:
    static bool Offers(REFIID iid) noexcept {
        return IsEqualGUID(iid, kIidOf<IUnknown>) || IsEqualGUID(iid, kIidOf<IDispatch>);
    }
    Class& Self() noexcept { return static_cast<Class&>(*this); }
};

// The bodies of an interface: BodyFor<IDatum>::On<CDatum>.
template <class Interface>
struct BodyFor;

// Is Class::name a field? A member function of that name, overloaded or not, is none.
#define LX_IS_FIELD(name) requires { requires std::is_member_object_pointer_v<decltype(&Class::name)>; }
#define LX_INSIDE(type, name, ...) Inside(name)
#define LX_MISSING(type, name, ...) || (std::string_view(#__VA_ARGS__).empty() && IsMissing(name))
#define LX_SPREAD(macro, list) LX_SPREAD_OF(macro, LX_EXPAND2 list)
#define LX_SPREAD_OF(macro, ...) LX_SPREAD_START(macro, __VA_ARGS__)
#define LX_SPREAD_START(macro, ...) __VA_OPT__(LX_EXPAND(LX_SPREAD_STEP(macro, __VA_ARGS__)))
#define LX_SPREAD_STEP(macro, first, ...) macro first __VA_OPT__(LX_SPREAD_AGAIN LX_PARENS(macro, __VA_ARGS__))
#define LX_SPREAD_AGAIN() LX_SPREAD_STEP

#define LX_INTERFACE(name, base, iid, help)            \
    template <class Class, class Most>                 \
    class name##Body : public base##Body<Class, Most> { \
        using Base = base##Body<Class, Most>;          \
                                                       \
    protected:                                         \
        static bool Offers(REFIID id) noexcept { return IsEqualGUID(id, kIidOf<::name>) || Base::Offers(id); } \
                                                       \
    public:
#define LX_GET(id, name, type, parameters, help)                                                       \
    HRESULT STDMETHODCALLTYPE get_##name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) override { \
        return Answered(Class::kErrorSource, pVal, [&]() -> decltype(auto) {                           \
            auto& self = this->Self();                                                                 \
            if constexpr (LX_IS_FIELD(name))                                                           \
                return self.name.Get(LX_EACH_BEFORE(LX_INSIDE, parameters) self);                      \
            else                                                                                       \
                return self.name(LX_EACH(LX_INSIDE, parameters));                                      \
        });                                                                                            \
    }
#define LX_PUT(id, name, type, parameters, help)                                                       \
    HRESULT STDMETHODCALLTYPE put_##name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type newVal) override { \
        return Done(Class::kErrorSource, [&] {                                                         \
            auto& self = this->Self();                                                                 \
            if constexpr (LX_IS_FIELD(name))                                                           \
                self.name.Put(LX_EACH_BEFORE(LX_INSIDE, parameters) Inside(newVal), self);             \
            else                                                                                       \
                self.name(LX_EACH_BEFORE(LX_INSIDE, parameters) Inside(newVal));                       \
        });                                                                                            \
    }
#define LX_METHOD(id, name, type, parameters, help)                                                    \
    HRESULT STDMETHODCALLTYPE name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) override { \
        if (!pVal LX_SPREAD(LX_MISSING, parameters)) return E_POINTER;                                 \
        return Answered(Class::kErrorSource, pVal,                                                     \
                        [&] { return this->Self().Class::name(LX_EACH(LX_INSIDE, parameters)); });     \
    }
#define LX_ACTION(id, name, parameters, help)                                                          \
    HRESULT STDMETHODCALLTYPE name(LX_EACH(LX_PARAMETER_DECLARED, parameters)) override {              \
        if (false LX_SPREAD(LX_MISSING, parameters)) return E_POINTER;                                 \
        return Done(Class::kErrorSource, [&] { this->Self().Class::name(LX_EACH(LX_INSIDE, parameters)); }); \
    }
#define LX_TEST(id, name, parameters, help)                                                            \
    HRESULT STDMETHODCALLTYPE name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) LONG* pVal) override { \
        if (false LX_SPREAD(LX_MISSING, parameters)) return E_POINTER;                                 \
        return Tested(Class::kErrorSource, pVal,                                                       \
                      [&] { return this->Self().Class::name(LX_EACH(LX_INSIDE, parameters)); });       \
    }
#define LX_INTERFACE_END(name)                  \
    };                                           \
    template <>                                  \
    struct BodyFor<::name> {                     \
        template <class Class>                   \
        using On = name##Body<Class, ::name>;    \
    };
#include "interfaces/interfaces.def"

}  // namespace lumvex::inside
