#include "server/class_factory.hpp"

#include <atomic>
#include <new>

#include "core/class_info.hpp"
#include "lumvex/create.hpp"

namespace lumvex::inside {

namespace {

// Counts among the live objects while somebody holds it, so that the module stays where its code is needed.
class ClassFactory final : public IClassFactory {
public:
    explicit ClassFactory(REFCLSID clsid) : clsid_(clsid) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        const bool offered = IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IClassFactory);
        *object = offered ? static_cast<IClassFactory*>(this) : nullptr;
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

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        return outer ? CLASS_E_NOAGGREGATION : LumvexCreateInstance(clsid_, iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        if (lock)
            LockModule();
        else
            UnlockModule();
        return S_OK;
    }

private:
    ~ClassFactory() = default;

    LiveObject alive_;
    std::atomic<ULONG> count_{0};
    CLSID clsid_;
};

}  // namespace

HRESULT GetClassFactory(REFCLSID clsid, REFIID iid, void** object) noexcept {
    if (!object) return E_POINTER;
    *object = nullptr;
    const ClassInfo* known = FindClass(clsid);
    if (!known || known->kind != ClassKind::Root) return CLASS_E_CLASSNOTAVAILABLE;
    const Ref<ClassFactory> factory(new (std::nothrow) ClassFactory(clsid));
    return factory ? factory->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

}  // namespace lumvex::inside
