// The server as its clients meet it: a module that is loaded, registered, and asked for objects.
#pragma once

#include <gtest/gtest.h>

#include "beside.hpp"
#include "lumvex/lumvex.hpp"

namespace lumvex::tests {

class Module {
public:
    Module() : module_(::LoadLibraryW(Beside(L"Lumvex51.dll").c_str())) {}
    ~Module() { ::FreeLibrary(module_); }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    HRESULT Register() const { return Call("DllRegisterServer"); }
    HRESULT Unregister() const { return Call("DllUnregisterServer"); }
    HRESULT CanUnload() const { return Call("DllCanUnloadNow"); }
    HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) const {
        using Function = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
        return reinterpret_cast<Function>(Find("DllGetClassObject"))(clsid, iid, object);
    }

private:
    void* Find(const char* name) const { return reinterpret_cast<void*>(::GetProcAddress(module_, name)); }
    HRESULT Call(const char* name) const { return reinterpret_cast<HRESULT(WINAPI*)()>(Find(name))(); }

    HMODULE module_;
};

// A thread's membership in an apartment.
class Apartment {
public:
    explicit Apartment(DWORD kind) { EXPECT_GE(::CoInitializeEx(nullptr, kind), 0); }
    ~Apartment() { ::CoUninitialize(); }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
};

// As registered.
template <class Class>
Class Activate(const wchar_t* progId) {
    CLSID clsid;
    void* object = nullptr;
    Check(::CLSIDFromProgID(progId, &clsid));
    Check(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, kIidOf<typename Class::Interface>, &object));
    return Class(Ref<typename Class::Interface>::Attach(static_cast<typename Class::Interface*>(object)));
}

// Runs server_client and answers its exit code.
inline HRESULT RunClient(const std::wstring& arguments) {
    std::wstring line = L"\"" + Beside(L"server_client.exe").wstring() + L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
        return HRESULT_FROM_WIN32(::GetLastError());
    ::WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    ::GetExitCodeProcess(process.hProcess, &code);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return static_cast<HRESULT>(code);
}

}  // namespace lumvex::tests
