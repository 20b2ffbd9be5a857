#include "server/class_factory.hpp"

#include "core/base/module_object.hpp"
#include "core/objects/class_info.hpp"
#include "core/objects/guard.hpp"
#include "lumvex/create.hpp"

namespace lumvex::inside {

namespace {

// The module stays loaded while a client holds the class object.
class ClassFactory final : public ModuleObject<IClassFactory> {
public:
    explicit ClassFactory(REFCLSID clsid) : clsid_(clsid) {}

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
    CLSID clsid_;
};

}  // namespace

HRESULT GetClassFactory(REFCLSID clsid, REFIID iid, void** object) noexcept {
    if (!object) return E_POINTER;
    *object = nullptr;
    return Translated({}, [&] {
        const ClassInfo* known = FindClass(clsid);
        if (!known || known->kind != ClassKind::Root) return CLASS_E_CLASSNOTAVAILABLE;
        return Ref<ClassFactory>(new ClassFactory(clsid))->QueryInterface(iid, object);
    });
}

}  // namespace lumvex::inside
