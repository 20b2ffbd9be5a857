// Class information comes from the type library that the module carries among its resources; a program into which the
// model is linked has none. Marshalling is the free-threaded marshaller's: the model locks itself, so that a pointer is
// good on every thread of its process, whatever apartments these are in.
#include "core/published/platform_windows.hpp"

#include <mutex>

#include "core/base/module_object.hpp"
#include "core/objects/guard.hpp"
#include "core/published/user_settings_windows.hpp"

namespace lumvex::inside {

namespace {

constexpr GUID kAgile = {0x94EA2B94, 0xE9CC, 0x49E0, {0xC0, 0xFF, 0xEE, 0x64, 0xCA, 0x8F, 0x5B, 0x90}};

Ref<ITypeLib> LoadOwnLibrary() {
    HMODULE module = nullptr;
    if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<LPCWSTR>(&LoadOwnLibrary), &module))
        return nullptr;
    Ref<ITypeLib> library;
    if (FAILED(::LoadTypeLibEx(ModulePath(module).c_str(), REGKIND_NONE, library.Out()))) return nullptr;
    return library;
}

struct OwnLibrary {
    std::mutex lock;
    bool isTried = false;
    Ref<ITypeLib> library;  // none when the module carries none
};

OwnLibrary& TheLibrary() {
    static OwnLibrary own;
    return own;
}

Ref<ITypeLib> Library() {
    OwnLibrary& own = TheLibrary();
    const std::lock_guard guard(own.lock);
    if (!own.isTried) own.library = LoadOwnLibrary();
    own.isTried = true;
    return own.library;
}

// An object that offers one more interface of another object: it keeps that object alive, and hands out its interfaces.
template <class Interface>
class Facet : public ModuleObject<Interface> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return owner_->QueryInterface(iid, object);
    }

protected:
    explicit Facet(IDispatch& owner) : owner_(&owner) {}

private:
    Ref<IDispatch> owner_;
};

class ClassInformation final : public Facet<IProvideClassInfo2> {
public:
    ClassInformation(IDispatch& owner, REFIID interfaceId, const ClassInfo* info)
        : Facet(owner), interfaceId_(interfaceId), class_(info) {}

    // The type library describes only the creatable classes. A user who needs the type of every object sets
    // "UseTypeLibNames": then each object is described by its interface.
    HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
        if (!info) return E_POINTER;
        *info = nullptr;
        return Translated({}, [&] {
            if (UseTypeLibNames()) return TypeInfoOf(interfaceId_, info);
            return IsRoot() ? TypeInfoOf(class_->classId, info) : TYPE_E_ELEMENTNOTFOUND;
        });
    }

    HRESULT STDMETHODCALLTYPE GetGUID(DWORD kind, GUID* id) override {
        if (!id) return E_POINTER;
        *id = GUID_NULL;
        if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
        if (!IsRoot()) return TYPE_E_ELEMENTNOTFOUND;  // only roots have events
        *id = kIidOf<_ILXDEvents>;
        return S_OK;
    }

private:
    bool IsRoot() const { return class_ && class_->kind == ClassKind::Root; }

    GUID interfaceId_;
    const ClassInfo* class_;
};

class Marshaller final : public Facet<IUnknown> {
public:
    explicit Marshaller(IDispatch& owner) : Facet(owner) {}

    // The marshaller's own interface counts its references here.
    HRESULT Get(REFIID iid, void** found) {
        const HRESULT status = ::CoCreateFreeThreadedMarshaler(this, inner_.Out());
        return FAILED(status) ? status : inner_->QueryInterface(iid, found);
    }

private:
    Ref<IUnknown> inner_;
};

}  // namespace

void ReleaseTypeLibrary() noexcept {
    OwnLibrary& own = TheLibrary();
    const std::lock_guard guard(own.lock);
    own.library = nullptr;
    own.isTried = false;
}

UINT TypeInfoCount() { return Library() ? 1 : 0; }

HRESULT TypeInfoOf(REFIID id, ITypeInfo** info) {
    *info = nullptr;
    const Ref<ITypeLib> library = Library();
    return library ? library->GetTypeInfoOfGuid(id, info) : TYPE_E_CANTLOADLIBRARY;
}

HRESULT PlatformInterface(IDispatch& object, REFIID interfaceId, const ClassInfo* info, REFIID iid,
                          void** found) noexcept {
    *found = nullptr;
    return Translated({}, [&]() -> HRESULT {
        if (IsEqualGUID(iid, kAgile)) return object.QueryInterface(IID_IUnknown, found);
        if (IsEqualGUID(iid, IID_IMarshal)) {
            const auto marshaller = Ref<Marshaller>(new Marshaller(object));
            return marshaller->Get(iid, found);
        }
        if (IsEqualGUID(iid, IID_IProvideClassInfo) || IsEqualGUID(iid, IID_IProvideClassInfo2)) {
            *found = Ref<IProvideClassInfo2>(new ClassInformation(object, interfaceId, info)).Detach();
            return S_OK;
        }
        return E_NOINTERFACE;
    });
}

}  // namespace lumvex::inside
