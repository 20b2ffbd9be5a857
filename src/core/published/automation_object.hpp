// The outermost layer of every class of the tree: one counted identity under its published interface, with error
// information supported. Plain is what the class shares with its kind: ItemBase, CollectionBase or the root document.
#pragma once

#include "automation/counted.hpp"
#include "core/published/published_object.hpp"

namespace lumvex::inside {

template <class Implementation, class Interface, class Plain>
class AutomationObject : public PublishedObject<Implementation, Interface>, public Plain {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        void* found = this->FindOwnInterface(iid);
        if (!found && IsEqualGUID(iid, kInsideInterface)) found = static_cast<Object*>(this);
        if (!found) found = this->Facet(iid);
        if (!found) return PlatformInterface(*Dispatch(), kIidOf<Interface>, &Class(), iid, object);
        return AnswerInterface(static_cast<Object&>(*this), found, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Object::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Object::Release(); }

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
