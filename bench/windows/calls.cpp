// Measures what one call of the server costs: early bound, late bound, and through the type information of its library,
// as hosts call that do not use the object's own dispatch.
#include <chrono>
#include <cstdio>
#include <vector>

#include "core/published/user_settings_windows.hpp"
#include "lumvex/lumvex.hpp"

namespace {

using namespace lumvex;

template <class Work>
double NanosecondsPerCall(Work work) {
    constexpr int kCalls = 100000, kRounds = 7;
    double best = 1e300;
    for (int round = 0; round < kRounds; ++round) {
        const auto start = std::chrono::steady_clock::now();
        for (int call = 0; call < kCalls; ++call) Check(work());
        const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count() / kCalls);
    }
    return best;
}

Project CreateProject(HMODULE module) {
    using Function = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto getClassObject =
        reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
    void* object = nullptr;
    Check(getClassObject(kClassOfProject, IID_IClassFactory, &object));
    const auto factory = Ref<IClassFactory>::Attach(static_cast<IClassFactory*>(object));
    Check(factory->CreateInstance(nullptr, kIidOf<::IProject>, &object));
    return Project(Ref<::IProject>::Attach(static_cast<::IProject*>(object)));
}

void Measure(const char* what, double direct, double late, double described) {
    std::printf("%-28s %10.0f %10.0f %10.0f   %.1f\n", what, direct, late, described, described / late);
}

int Run() {
    const std::wstring program = inside::ModulePath(nullptr);
    const HMODULE module = ::LoadLibraryW((program.substr(0, program.rfind(L'\\') + 1) + L"Lumvex51.dll").c_str());
    if (!module) {
        std::fprintf(stderr, "Lumvex51.dll is not beside this program\n");
        return 1;
    }
    const Project project = CreateProject(module);
    Datum datum = project.Data().Add(u"woofer");
    ::IDatum* direct = datum.Get();
    Ref<ITypeInfo> info;
    Check(direct->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.Out()));

    std::printf("nanoseconds a call          early bound late bound  type info   ratio of the last two\n");
    DISPPARAMS none{};
    LONG rate = 0;
    Measure(
        "get SampleRate", NanosecondsPerCall([&] { return direct->get_SampleRate(&rate); }), NanosecondsPerCall([&] {
            Variant result;
            return direct->Invoke(LX_DISPSAMPLERATE, GUID_NULL, 0, DISPATCH_PROPERTYGET, &none, result.Out(), nullptr,
                                  nullptr);
        }),
        NanosecondsPerCall([&] {
            Variant result;
            return info->Invoke(direct, LX_DISPSAMPLERATE, DISPATCH_PROPERTYGET, &none, result.Out(), nullptr, nullptr);
        }));
    Variant value = Variant::FromLong(48000);
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS one{&value, &put, 1, 1};
    Measure("put SampleRate", NanosecondsPerCall([&] { return direct->put_SampleRate(48000); }),
            NanosecondsPerCall([&] {
                return direct->Invoke(LX_DISPSAMPLERATE, GUID_NULL, 0, DISPATCH_PROPERTYPUT, &one, nullptr, nullptr,
                                      nullptr);
            }),
            NanosecondsPerCall([&] {
                return info->Invoke(direct, LX_DISPSAMPLERATE, DISPATCH_PROPERTYPUT, &one, nullptr, nullptr, nullptr);
            }));
    wchar_t text[] = L"SampleRate";
    LPOLESTR name = text;
    DISPID id = 0;
    Measure("name to DISPID", 0, NanosecondsPerCall([&] { return direct->GetIDsOfNames(GUID_NULL, &name, 1, 0, &id); }),
            NanosecondsPerCall([&] { return info->GetIDsOfNames(&name, 1, &id); }));
    return 0;
}

}  // namespace

int main() {
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    try {
        return Run();
    } catch (const lumvex::Error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
