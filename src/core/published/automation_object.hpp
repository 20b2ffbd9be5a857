// The outermost layer of every class: one counted identity under its published interface, with error information
// supported. Plain is what the class shares with its kind: ItemBase, CollectionBase or the root document.
#pragma once

#include "core/published/bodies.hpp"

namespace lumvex::inside {

template <class Implementation, class Interface, class Plain>
class AutomationObject : public BodyFor<Interface>::template On<Implementation>, public Plain, public ISupportErrorInfo {
    using Body = typename BodyFor<Interface>::template On<Implementation>;

public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (Body::Offers(iid)) {
            *object = static_cast<Interface*>(this);
        } else if (IsEqualGUID(iid, kIidOf<ISupportErrorInfo>)) {
            *object = static_cast<ISupportErrorInfo*>(this);
        } else if (IsEqualGUID(iid, kInsideInterface)) {
            *object = static_cast<Object*>(this);
        } else {
            *object = this->Facet(iid);
            if (!*object) return PlatformInterface(*Dispatch(), kIidOf<Interface>, &Class(), iid, object);
        }
        Object::AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Object::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Object::Release(); }

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
        return Body::Offers(iid) && !IsEqualGUID(iid, kIidOf<IUnknown>) ? S_OK : S_FALSE;
    }

    IDispatch* Dispatch() noexcept override { return static_cast<Interface*>(this); }
    const ClassInfo& Class() const noexcept override { return ClassOf<Implementation>(); }

    // Two objects of the class with one ID are the same to this test; the other one says itself what its ID is.
    YesNo IsSameID(IUnknown* test) const override {
        const Ref<Interface> other = Ref<IUnknown>(test).template As<Interface>();
        if (!other) return YesNo::No;
        Bstr id;
        Check(other->get_ID(id.Out()));
        return id.view() == Object::ID() ? YesNo::Yes : YesNo::No;
    }
};

}  // namespace lumvex::inside
