// The methods between each published interface and the class behind it, made from the interface tables. Every one enters
// the guard, checks its pointers, clears its result, calls the plain member of the same name (or the field, which knows
// what a put means) and turns the answer into what crosses the boundary.
//
// IDatumBody<CDatum, IDatum> overrides all of IDatum down to IDispatch; Most is the interface the class really offers.
#pragma once

#include "core/published/boundary.hpp"
#include "core/published/platform.hpp"
#include "core/published/shared_calls.hpp"
#include "interfaces/dispatch.hpp"
#include "interfaces/for_each.hpp"

namespace lumvex::inside {

template <class Class, class Most>
class IDispatchBody : public Most {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) override {
        if (!pctinfo) return E_POINTER;
        *pctinfo = 0;
        return Translated({}, [&] {
            *pctinfo = TypeInfoCount();
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT iTInfo, LCID, ITypeInfo** ppTInfo) override {
        if (!ppTInfo) return E_POINTER;
        *ppTInfo = nullptr;
        return Translated(
            {}, [&] { return iTInfo < TypeInfoCount() ? TypeInfoOf(kIidOf<Most>, ppTInfo) : DISP_E_BADINDEX; });
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* rgszNames, UINT cNames, LCID, DISPID* rgDispId) override {
        return DispatchTable::Of<Most>().GetIDsOfNames(rgszNames, cNames, rgDispId);
    }
    // The member that is called enters the guard itself, with its lock and its events; what is converted for it does not
    // need them.
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID, WORD wFlags, DISPPARAMS* pDispParams,
                                     VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) override {
        static const DispatchTable& table = DispatchTable::Of<Most>();
        return Translated({}, [&] {
            return table.Invoke(static_cast<Most*>(this), dispIdMember, riid, wFlags, pDispParams, pVarResult,
                                pExcepInfo, puArgErr);
        });
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

// The shared bases: one line each, into the calls that all classes have in common.
#define LX_INTERFACE(name, base, iid, help)             \
    template <class Class, class Most>                  \
    class name##Body : public base##Body<Class, Most> { \
        using Base = base##Body<Class, Most>;           \
        using Calls = name##Calls;                      \
                                                        \
    protected:                                          \
        static bool Offers(REFIID id) noexcept { return IsEqualGUID(id, kIidOf<::name>) || Base::Offers(id); } \
                                                        \
    public:
#define LX_GET(id, name, type, parameters, help)                                                                  \
    HRESULT STDMETHODCALLTYPE get_##name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) override { \
        return Calls::get_##name(this->Self(), LX_EACH_BEFORE(LX_PARAMETER_NAME, parameters) pVal);               \
    }
#define LX_PUT(id, name, type, parameters, help)                                                                     \
    HRESULT STDMETHODCALLTYPE put_##name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type newVal) override { \
        return Calls::put_##name(this->Self(), LX_EACH_BEFORE(LX_PARAMETER_NAME, parameters) newVal);              \
    }
#define LX_METHOD(id, name, type, parameters, help)                                                          \
    HRESULT STDMETHODCALLTYPE name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) override { \
        return Calls::name(this->Self(), LX_EACH_BEFORE(LX_PARAMETER_NAME, parameters) pVal);               \
    }
#define LX_ACTION(id, name, parameters, help)                                              \
    HRESULT STDMETHODCALLTYPE name(LX_EACH(LX_PARAMETER_DECLARED, parameters)) override { \
        return Calls::name(this->Self() LX_EACH_AFTER(LX_PARAMETER_NAME, parameters));    \
    }
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

// Every other interface: its own members are the class's.
#define LX_INTERFACE(name, base, iid, help)            \
    template <class Class, class Most>                 \
    class name##Body : public base##Body<Class, Most> { \
        using Base = base##Body<Class, Most>;          \
                                                       \
    protected:                                         \
        static bool Offers(REFIID id) noexcept { return IsEqualGUID(id, kIidOf<::name>) || Base::Offers(id); } \
                                                       \
    public:
#define LX_GET(id, name, type, parameters, help) LX_GET_BODY(Pointer, name, type, parameters)
#define LX_GET_INVALIDARG(id, name, type, parameters, help) LX_GET_BODY(Argument, name, type, parameters)
#define LX_GET_OWNED(id, name, type, parameters, help) LX_GET_BODY(OwnersFirst, name, type, parameters)
#define LX_GET_BODY(result, name, type, parameters)                                                    \
    HRESULT STDMETHODCALLTYPE get_##name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) override { \
        return Got<ResultCheck::result>(this->Self(), pVal, [&]() -> decltype(auto) {                  \
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
        if (!pVal) return MissingPointer();                                                            \
        Clear(pVal);                                                                                   \
        if (false LX_SPREAD(LX_MISSING, parameters)) return MissingPointer();                          \
        return Answered(Class::kErrorSource, pVal,                                                     \
                        [&] { return this->Self().Class::name(LX_EACH(LX_INSIDE, parameters)); });     \
    }
#define LX_OVERLOAD(id, name, type, parameters, help) \
    using Base::name;                                 \
    LX_METHOD(id, name, type, parameters, help)
#define LX_ACTION(id, name, parameters, help)                                                          \
    HRESULT STDMETHODCALLTYPE name(LX_EACH(LX_PARAMETER_DECLARED, parameters)) override {              \
        if (false LX_SPREAD(LX_MISSING, parameters)) return MissingPointer();                          \
        return Done(Class::kErrorSource, [&] { this->Self().Class::name(LX_EACH(LX_INSIDE, parameters)); }); \
    }
#define LX_TEST(id, name, parameters, help)                                                            \
    HRESULT STDMETHODCALLTYPE name(LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) LONG* pVal) override { \
        if (false LX_SPREAD(LX_MISSING, parameters)) return MissingPointer();                          \
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
#define LX_WITHOUT_BASES
#include "interfaces/rows/interfaces.def"
#undef LX_WITHOUT_BASES
#undef LX_GET_BODY

}  // namespace lumvex::inside
