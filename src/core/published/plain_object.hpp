// The outermost layer of a class whose objects stand outside the tree: counted, guarded and late bound like all others,
// but without ID, parent or record. Such an object outlives its document for as long as a client holds it.
#pragma once

#include <atomic>

#include "core/published/bodies.hpp"

namespace lumvex::inside {

template <class Implementation, class Interface>
class PlainObject : public BodyFor<Interface>::template On<Implementation>, public ISupportErrorInfo {
    using Body = typename BodyFor<Interface>::template On<Implementation>;

public:
    PlainObject(const PlainObject&) = delete;
    PlainObject& operator=(const PlainObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (Body::Offers(iid))
            *object = static_cast<Interface*>(this);
        else if (IsEqualGUID(iid, kIidOf<ISupportErrorInfo>))
            *object = static_cast<ISupportErrorInfo*>(this);
        else
            return PlatformInterface(*this, kIidOf<Interface>, nullptr, iid, object);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete static_cast<Implementation*>(this);
        return left;
    }

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
        return Body::Offers(iid) && !IsEqualGUID(iid, kIidOf<IUnknown>) ? S_OK : S_FALSE;
    }

    static constexpr std::u16string_view kErrorSource{};

protected:
    PlainObject() = default;
    ~PlainObject() = default;

private:
    LiveObject alive_;
    std::atomic<ULONG> count_{0};
};

}  // namespace lumvex::inside
