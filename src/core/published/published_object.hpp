// What every object with a published interface of ours shares, inside the tree and outside of it: the bodies of the
// interface's methods, and error information.
#pragma once

#include "core/published/bodies.hpp"

namespace lumvex::inside {

template <class Implementation, class Interface>
class PublishedObject : public BodyFor<Interface>::template On<Implementation>, public ISupportErrorInfo {
    using Body = typename BodyFor<Interface>::template On<Implementation>;

public:
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
        return Body::Offers(iid) && !IsEqualGUID(iid, kIidOf<IUnknown>) ? S_OK : S_FALSE;
    }

protected:
    // The published interface, one of its bases or ISupportErrorInfo, as a pointer to it; null for every other. No
    // reference is added.
    void* FindOwnInterface(REFIID iid) noexcept {
        if (Body::Offers(iid)) return static_cast<Interface*>(this);
        if (IsEqualGUID(iid, kIidOf<ISupportErrorInfo>)) return static_cast<ISupportErrorInfo*>(this);
        return nullptr;
    }
};

}  // namespace lumvex::inside
