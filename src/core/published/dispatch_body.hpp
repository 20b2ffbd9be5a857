// What every published object has between IDispatch and its class. The bodies of the interfaces, which the generator
// prints (published/IDatum.hpp and so on), stand on IDispatchBody; Published closes them off and is what is created.
//
//     Published<CDatum, IDatum> -> IDatumBody -> _CollectableBody -> IDispatchBody -> CDatum, IDatum
//
// A class knows nothing of its interface: it has plain members, and the bodies call them.
#pragma once

#include "automation/counted.hpp"
#include "core/published/boundary.hpp"
#include "core/published/platform.hpp"
#include "interfaces/dispatch.hpp"

namespace lumvex::inside {

// Most is the interface that the class really offers; it comes first, so that calls through it need no adjustment.
template <class Class, class Most>
class IDispatchBody : public Most, public ISupportErrorInfo, public Class {
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
    // The member that is called enters the guard itself, with its lock and its events; converting its arguments needs
    // neither. Flat, because the call that the table would take otherwise is a tenth of the time of getting a number;
    // where a line of the cache begins, because that time should not depend on where the function is linked.
    [[gnu::flatten, gnu::aligned(64)]] HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID,
                                                                        WORD wFlags, DISPPARAMS* pDispParams,
                                                                        VARIANT* pVarResult, EXCEPINFO* pExcepInfo,
                                                                        UINT* puArgErr) override {
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
};

// The bodies of an interface: BodyFor<IDatum>::On<CDatum>.
template <class Interface>
struct BodyFor;

// An object of Class under its published interface, with one counted identity. Class is an item, a collection, a root,
// or a PlainObject, which has no place in a tree.
template <class Class, class Interface>
class Published final : public BodyFor<Interface>::template On<Class> {
    using Body = typename BodyFor<Interface>::template On<Class>;
    static constexpr bool kIsInTree = std::is_base_of_v<Object, Class>;

public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        void* found = nullptr;
        if (Body::Offers(iid)) {
            found = static_cast<Interface*>(this);
        } else if (IsEqualGUID(iid, kIidOf<ISupportErrorInfo>)) {
            found = static_cast<ISupportErrorInfo*>(this);
        } else if constexpr (kIsInTree) {
            if (IsEqualGUID(iid, kInsideInterface))
                found = static_cast<Object*>(this);
            else
                found = this->Facet(iid);
        }
        if (!found) return PlatformInterface(*Dispatch(), kIidOf<Interface>, Info(), iid, object);
        return AnswerInterface(*this, found, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Class::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Class::Release(); }

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
        return Body::Offers(iid) && !IsEqualGUID(iid, kIidOf<IUnknown>) ? S_OK : S_FALSE;
    }

    IDispatch* Dispatch() noexcept override { return static_cast<Interface*>(this); }

private:
    const ClassInfo* Info() const noexcept {
        if constexpr (kIsInTree) return &ClassOf<Class>();
        return nullptr;
    }
};

}  // namespace lumvex::inside
