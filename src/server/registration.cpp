#include "server/registration.hpp"

#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "lumvex/members.hpp"
#include "lumvex/values.hpp"
#include "server/registry_key.hpp"
#include "server/registry_snapshot.hpp"

namespace lumvex::inside {

namespace {

struct Creatable {
    std::wstring clsid, progId, versionedProgId, description;
};

std::wstring Wide(std::string_view text) { return {text.begin(), text.end()}; }

// The classes that have a ProgID.
std::vector<Creatable> CreatableClasses() {
    std::vector<Creatable> creatable;
    for (const ClassDescription& each : kClasses)
        if (!each.progId.empty())
            creatable.push_back(
                {L"{" + Wide(each.id) + L"}", Wide(each.progId), Wide(each.progId) + L".1", Wide(each.description)});
    return creatable;
}

HRESULT WriteProgId(const RegistryKey& root, const std::wstring& progId, const Creatable& creatable) {
    RegistryKey key(root, progId);
    key.Put(L"", creatable.description);
    return RegistryKey(key, L"CLSID").Put(L"", creatable.clsid).Status();
}

HRESULT WriteClass(const RegistryKey& root, const Creatable& creatable, const std::wstring& module) {
    const std::wstring path = L"CLSID\\" + creatable.clsid;
    HRESULT status = WriteProgId(root, creatable.versionedProgId, creatable);
    if (SUCCEEDED(status)) status = WriteProgId(root, creatable.progId, creatable);
    if (SUCCEEDED(status)) status = RegistryKey::Remove(root, path);  // nothing of an earlier version stays
    if (FAILED(status)) return status;
    RegistryKey key(root, path);
    key.Put(L"", creatable.description);
    status = RegistryKey(key, L"ProgID").Put(L"", creatable.versionedProgId).Status();
    if (SUCCEEDED(status)) status = RegistryKey(key, L"VersionIndependentProgID").Put(L"", creatable.progId).Status();
    if (FAILED(status)) return status;
    return RegistryKey(key, L"InprocServer32").Put(L"", module).Put(L"ThreadingModel", L"both").Status();
}

HRESULT WriteClasses(const RegistryKey& root, const std::wstring& module) {
    for (const Creatable& each : CreatableClasses())
        if (const HRESULT status = WriteClass(root, each, module); FAILED(status)) return status;
    return S_OK;
}

// Goes on after a failure, so that as little as possible is left behind, and answers the first failure. The servers of
// 32 and of 64 bits have a class key each and share what leads to it, which stays until the second one is removed.
HRESULT RemoveClasses(const RegistryKey& root) {
    HRESULT first = S_OK;
    const auto remove = [&](const std::wstring& path) {
        const HRESULT status = RegistryKey::Remove(root, path);
        if (SUCCEEDED(first)) first = status;
    };
    for (const Creatable& each : CreatableClasses()) {
        const std::wstring path = L"CLSID\\" + each.clsid;
        remove(path);
        if (RegistryKey::IsThereForOtherBits(root, path + L"\\InprocServer32")) continue;
        remove(each.progId);
        remove(each.versionedProgId);
    }
    return first;
}

HRESULT LoadLibraryOf(const std::wstring& module, std::wstring& path, ITypeLib** library) {
    path = module;
    const HRESULT status = ::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library);
    if (SUCCEEDED(status)) return status;
    const std::size_t folder = path.find_last_of(L"\\/");
    const std::size_t extension = path.find_last_of(L'.');
    if (extension != std::wstring::npos && (folder == std::wstring::npos || extension > folder)) path.resize(extension);
    path += L".tlb";
    return ::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library);
}

// Some functions are not in every version of the system's library, nor in every SDK's. Null where it is missing.
template <class Function>
Function* FindInAutomation(const char* name) {
    const HMODULE automation = ::GetModuleHandleW(L"oleaut32.dll");
    return automation ? reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(automation, name)))
                      : nullptr;
}

using RegisterFunction = HRESULT WINAPI(ITypeLib*, OLECHAR*, OLECHAR*);
using UnregisterFunction = HRESULT WINAPI(REFGUID, WORD, WORD, LCID, SYSKIND);

HRESULT RegisterLibrary(const std::wstring& module, bool forUser) {
    Ref<ITypeLib> library;
    std::wstring path;
    const HRESULT status = LoadLibraryOf(module, path, library.Out());
    if (FAILED(status)) return status;
    std::wstring folder = module.substr(0, module.find_last_of(L"\\/") + 1);
    if (!forUser) return ::RegisterTypeLib(library.get(), path.data(), folder.data());
    auto* const registerForUser = FindInAutomation<RegisterFunction>("RegisterTypeLibForUser");
    return registerForUser ? registerForUser(library.get(), path.data(), folder.data()) : E_NOTIMPL;
}

// For all users and for the current one. The system's function fails where nothing was registered, which is ignored.
HRESULT UnregisterLibrary(const std::wstring& module) {
    Ref<ITypeLib> library;
    std::wstring path;
    HRESULT status = LoadLibraryOf(module, path, library.Out());
    if (FAILED(status)) return status;
    TLIBATTR* attributes = nullptr;
    status = library->GetLibAttr(&attributes);
    if (FAILED(status)) return status;
    for (const char* name : {"UnRegisterTypeLib", "UnRegisterTypeLibForUser"})
        if (auto* const unregister = FindInAutomation<UnregisterFunction>(name))
            unregister(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum, attributes->lcid,
                       attributes->syskind);
    library->ReleaseTLibAttr(attributes);
    return S_OK;
}

const wchar_t kUserClasses[] = L"Software\\Classes";

std::wstring WideIdText(const GUID& id) {
    const std::u16string text = ToText(id);
    return {text.begin(), text.end()};
}

// The keys that the system writes for the type library: its own, and one for each interface in it.
HRESULT FindLibraryKeys(const std::wstring& module, std::vector<std::wstring>& keys) {
    Ref<ITypeLib> library;
    std::wstring path;
    HRESULT status = LoadLibraryOf(module, path, library.Out());
    if (FAILED(status)) return status;
    TLIBATTR* attributes = nullptr;
    status = library->GetLibAttr(&attributes);
    if (FAILED(status)) return status;
    wchar_t version[32];  // the system writes it in hexadecimal
    std::swprintf(version, std::size(version), L"%x.%x", attributes->wMajorVerNum, attributes->wMinorVerNum);
    keys.push_back(L"TypeLib\\" + WideIdText(attributes->guid) + L"\\" + version);
    library->ReleaseTLibAttr(attributes);
    for (UINT i = 0, count = library->GetTypeInfoCount(); i < count; ++i) {
        Ref<ITypeInfo> type;
        TYPEATTR* description = nullptr;
        status = library->GetTypeInfo(i, type.Out());
        if (SUCCEEDED(status)) status = type->GetTypeAttr(&description);
        if (FAILED(status)) return status;
        if (description->typekind == TKIND_INTERFACE || description->typekind == TKIND_DISPATCH)
            keys.push_back(L"Interface\\" + WideIdText(description->guid));
        type->ReleaseTypeAttr(description);
    }
    return S_OK;
}

// Keys that are about to change. Unless the change is kept, they are put back in the end.
class Undo {
public:
    Undo() = default;
    Undo(const Undo&) = delete;
    Undo& operator=(const Undo&) = delete;
    ~Undo() {
        if (isKept_) return;
        for (const RegistrySnapshot& each : before_) each.Restore();
    }

    // Before the change. After a failure nothing may be changed.
    HRESULT Note(const RegistryKey& root, const std::wstring& path) {
        return before_.emplace_back(root, path).Status();
    }
    void Keep() { isKept_ = true; }

private:
    std::vector<RegistrySnapshot> before_;
    bool isKept_ = false;
};

HRESULT RegisterBelow(const RegistryKey& root, const std::wstring& module, bool forUser) {
    std::vector<std::wstring> classKeys, libraryKeys;
    for (const Creatable& each : CreatableClasses())
        classKeys.insert(classKeys.end(), {L"CLSID\\" + each.clsid, each.progId, each.versionedProgId});
    HRESULT status = FindLibraryKeys(module, libraryKeys);

    const RegistryKey all(HKEY_CLASSES_ROOT);  // Wine writes a user's type library there
    Undo undo;
    for (const auto* keys : {&classKeys, &libraryKeys})
        for (const std::wstring& path : *keys) {
            if (SUCCEEDED(status)) status = undo.Note(root, path);
            if (SUCCEEDED(status) && forUser && keys == &libraryKeys) status = undo.Note(all, path);
        }
    if (FAILED(status)) {
        undo.Keep();  // nothing has changed
        return status;
    }
    status = WriteClasses(root, module);
    if (SUCCEEDED(status)) status = RegisterLibrary(module, forUser);
    if (SUCCEEDED(status)) undo.Keep();
    return status;
}

}  // namespace

HRESULT RegisterServer(const std::wstring& module) {
    if (SUCCEEDED(RegisterBelow(RegistryKey(HKEY_CLASSES_ROOT), module, false))) return S_OK;
    const RegistryKey user(HKEY_CURRENT_USER);
    return RegisterBelow(RegistryKey(user, kUserClasses), module, true);
}

HRESULT UnregisterServer(const std::wstring& module) {
    const RegistryKey user(HKEY_CURRENT_USER);
    const HRESULT ofUser = RemoveClasses(RegistryKey(user, kUserClasses));
    const HRESULT ofAll = RemoveClasses(RegistryKey(HKEY_CLASSES_ROOT));
    const HRESULT library = UnregisterLibrary(module);
    return FAILED(ofAll) ? ofAll : FAILED(ofUser) ? ofUser : library;
}

}  // namespace lumvex::inside
