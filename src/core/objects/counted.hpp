// The reference count and the only interface of a small object of the platform's kind, which counts among the live ones.
#pragma once

#include <atomic>

#include "core/objects/object.hpp"

namespace lumvex::inside {

// Starts at no reference; the last Release() deletes it.
template <class Interface>
class Counted : public Interface {
public:
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        const bool offered = IsEqualGUID(iid, kIidOf<IUnknown>) || IsEqualGUID(iid, kIidOf<Interface>);
        *object = offered ? static_cast<Interface*>(this) : nullptr;
        if (!offered) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }

protected:
    Counted() = default;
    virtual ~Counted() = default;

private:
    LiveObject alive_;
    std::atomic<ULONG> count_{0};
};

}  // namespace lumvex::inside
