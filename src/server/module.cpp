// The entry points of the automation server.
#include "core/objects/guard.hpp"
#include "core/objects/thread_context_windows.hpp"
#include "core/published/platform_windows.hpp"
#include "core/published/user_settings_windows.hpp"
#include "server/class_factory.hpp"
#include "server/registration.hpp"

namespace {

HMODULE ownModule = nullptr;

template <class Work>
HRESULT Answered(Work&& work) noexcept {
    return lumvex::inside::Translated({}, [&] { return work(lumvex::inside::ModulePath(ownModule)); });
}

}  // namespace

// A thread's context is its own, so that no lock is needed to make and drop it. Taking the module's here could block
// the whole process: the system holds its loader lock meanwhile, which a thread inside the model may be waiting for.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void* processEnds) {
    using namespace lumvex::inside;
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            ownModule = module;
            [[fallthrough]];
        case DLL_THREAD_ATTACH:
            try {
                CurrentThread();
            } catch (...) {
                return FALSE;
            }
            break;
        case DLL_THREAD_DETACH:
            DetachThread();
            break;
        case DLL_PROCESS_DETACH:
            // When the process ends, the system has stopped all other threads already, in the middle of whatever they
            // did.
            if (!processEnds) DetachProcess();
            break;
        default:
            break;
    }
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    return lumvex::inside::GetClassFactory(clsid, iid, object);
}

STDAPI DllCanUnloadNow() {
    if (lumvex::inside::LiveObjects() != 0) return S_FALSE;
    lumvex::inside::ReleaseTypeLibrary();
    return S_OK;
}

STDAPI DllRegisterServer() { return Answered(lumvex::inside::RegisterServer); }

STDAPI DllUnregisterServer() { return Answered(lumvex::inside::UnregisterServer); }
