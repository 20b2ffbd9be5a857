// The registered server through the system: activation, identity across apartments, unloading, other processes.
#include <future>
#include <thread>

#include "lumvex/events.hpp"
#include "server.hpp"

namespace lumvex::tests {
namespace {

// The apartment is left last: the server's objects are gone then.
class Activation : public testing::Test {
protected:
    Apartment apartment_{COINIT_MULTITHREADED};
};

class TemporaryFile {
public:
    explicit TemporaryFile(const std::wstring& name)
        : path_(std::filesystem::temp_directory_path() / (std::to_wstring(::GetCurrentProcessId()) + name)) {}
    ~TemporaryFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    std::u16string Text() const { return path_.u16string(); }
    std::wstring Quoted() const { return L"\"" + path_.wstring() + L"\""; }

private:
    std::filesystem::path path_;
};

TEST_F(Activation, FindsTheClassesByEveryNameTheyHave) {
    const std::pair<const wchar_t*, GUID> classes[] = {{L"Lumvex-Dev.Project.1", kClassOfProject},
                                                       {L"Lumvex-Dev.Project", kClassOfProject},
                                                       {L"Lumvex-Dev.Specifications.1", kClassOfSpecifications},
                                                       {L"Lumvex-Dev.Specifications", kClassOfSpecifications}};
    for (const auto& [progId, clsid] : classes) {
        CLSID found;
        ASSERT_EQ(::CLSIDFromProgID(progId, &found), S_OK);
        EXPECT_TRUE(IsEqualGUID(found, clsid));
        void* object = nullptr;
        ASSERT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, kIidOf<::_Root>, &object), S_OK);
        const auto root = Ref<::_Root>::Attach(static_cast<::_Root*>(object));
        LONG lower = 0;
        EXPECT_EQ(root->get_CacheLowerBound(&lower), S_OK);
        EXPECT_TRUE(root.As<ISupportErrorInfo>());
        EXPECT_TRUE(root.As<IConnectionPointContainer>());

        const auto information = root.As<IProvideClassInfo2>();
        ASSERT_TRUE(information);
        EXPECT_TRUE(root.As<IUnknown>() == information.As<IUnknown>());
        GUID events;
        EXPECT_EQ(information->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events), S_OK);
        EXPECT_TRUE(IsEqualGUID(events, kIidOf<::_ILXDEvents>));
        Ref<ITypeInfo> type;
        ASSERT_EQ(information->GetClassInfo(type.Out()), S_OK);
        TYPEATTR* attributes = nullptr;
        ASSERT_EQ(type->GetTypeAttr(&attributes), S_OK);
        EXPECT_TRUE(IsEqualGUID(attributes->guid, clsid));
        type->ReleaseTypeAttr(attributes);
    }
}

TEST_F(Activation, FactoriesKeepTheModuleAndRefuseAggregation) {
    const Module module;
    EXPECT_EQ(module.CanUnload(), S_OK);
    void* object = &object;
    EXPECT_EQ(module.GetClassObject(kIidOf<::IProject>, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(module.GetClassObject(kClassOfProject, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(module.GetClassObject(kClassOfProject, IID_IDispatch, &object), E_NOINTERFACE);
    EXPECT_EQ(module.CanUnload(), S_OK) << "nothing was handed out";

    ASSERT_EQ(module.GetClassObject(kClassOfProject, IID_IClassFactory, &object), S_OK);
    auto factory = Ref<IClassFactory>::Attach(static_cast<IClassFactory*>(object));
    EXPECT_EQ(module.CanUnload(), S_FALSE);
    object = &object;
    EXPECT_EQ(factory->CreateInstance(factory.get(), IID_IUnknown, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, kIidOf<::ISpecifications>, &object), E_NOINTERFACE);
    ASSERT_EQ(factory->CreateInstance(nullptr, kIidOf<::IProject>, &object), S_OK);
    auto project = Project(Ref<::IProject>::Attach(static_cast<::IProject*>(object)));
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    factory = nullptr;

    // What holds any part of the tree holds the module: an item, an enumerator, the sinks' list.
    Object kept = project.Data().Add(u"kept");
    Ref<IEnumConnections> connections;
    Ref<IConnectionPoint> point;
    ASSERT_EQ(Ref<IDispatch>(project.Pointer())
                  .As<IConnectionPointContainer>()
                  ->FindConnectionPoint(kIidOf<::_ILXDEvents>, point.Out()),
              S_OK);
    ASSERT_EQ(point->EnumConnections(connections.Out()), S_OK);
    point = nullptr;
    project = Project();
    EXPECT_EQ(module.CanUnload(), S_FALSE);
    ASSERT_EQ(module.GetClassObject(kClassOfProject, IID_IClassFactory, &object), S_OK);
    Ref<IClassFactory>::Attach(static_cast<IClassFactory*>(object))->LockServer(FALSE);
    EXPECT_EQ(module.CanUnload(), S_FALSE);
    kept = Object();
    EXPECT_EQ(module.CanUnload(), S_FALSE);
    connections = nullptr;
    EXPECT_EQ(module.CanUnload(), S_OK);
}

// What the library says of where a member stands and what it takes is what the object has there.
TEST_F(Activation, ObjectsAreCalledThroughTheirTypeInformationToo) {
    const auto project = Activate<Project>(L"Lumvex-Dev.Project");
    const auto data = project.Data();
    UINT count = 0;
    ASSERT_EQ(data.Get()->GetTypeInfoCount(&count), S_OK);
    ASSERT_EQ(count, 1u);
    Ref<ITypeInfo> info;
    ASSERT_EQ(data.Get()->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.Out()), S_OK);
    const auto call = [&](DISPID id, WORD kind, std::vector<Variant> arguments) {
        std::vector<VARIANTARG> reversed(arguments.rbegin(), arguments.rend());
        DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
        Variant result;
        EXPECT_EQ(info->Invoke(data.Get(), id, kind, &parameters, result.Out(), nullptr, nullptr), S_OK) << id;
        return result;
    };
    const Variant added = call(LX_DISPADD, DISPATCH_METHOD, {Variant::FromText(u"A")});
    ASSERT_EQ(added.vt, VT_DISPATCH);
    const Variant id = Variant::FromText(Object(Ref<IDispatch>(added.pdispVal)).As<Datum>().ID());
    EXPECT_EQ(call(LX_DISPCOUNT, DISPATCH_PROPERTYGET, {}).lVal, 1);
    EXPECT_TRUE(call(LX_DISPITEM, DISPATCH_PROPERTYGET, {Variant::FromLong(1)}).pdispVal == added.pdispVal);
    EXPECT_TRUE(call(LX_DISPFINDID, DISPATCH_METHOD, {id}).pdispVal == added.pdispVal) << "with its default left out";
}

TEST_F(Activation, APointerIsGoodInEveryApartment) {
    const auto project = Activate<Project>(L"Lumvex-Dev.Project.1");
    const auto data = project.Data();
    std::vector<DWORD> heardOn;
    const Subscription subscription(project, [&](const Change&) { heardOn.push_back(::GetCurrentThreadId()); });
    IStream* marshalled = nullptr;
    ASSERT_EQ(::CoMarshalInterThreadInterfaceInStream(kIidOf<::IData>, data.Get(), &marshalled), S_OK);
    DWORD other = 0;
    std::thread([&] {
        const Apartment apartment(COINIT_APARTMENTTHREADED);
        other = ::GetCurrentThreadId();
        void* object = nullptr;
        ASSERT_EQ(::CoGetInterfaceAndReleaseStream(marshalled, kIidOf<::IData>, &object), S_OK);
        const Data here(Ref<::IData>::Attach(static_cast<::IData*>(object)));
        EXPECT_TRUE(here.Get() == data.Get()) << "there is nothing between";
        here.Add(u"from there");
        try {
            here.FindNameExact(u"nobody");
            ADD_FAILURE() << "found";
        } catch (const Error& error) {
            EXPECT_EQ(error.Status(), static_cast<HRESULT>(0x80040FAB));
            EXPECT_STRNE(error.what(), "");
        }
    }).join();
    EXPECT_EQ(data.Count(), 1);
    ASSERT_FALSE(heardOn.empty());
    EXPECT_EQ(heardOn, std::vector<DWORD>(heardOn.size(), other)) << "on the thread that made the change";

    // Created over there, used here after that apartment is gone.
    Project made;
    std::thread([&] {
        const Apartment apartment(COINIT_APARTMENTTHREADED);
        made = Activate<Project>(L"Lumvex-Dev.Project.1");
    }).join();
    made.Data().Add(u"from here");
    EXPECT_EQ(made.Data().Count(), 1);
}

TEST_F(Activation, ThreadsComeAndGo) {
    const auto project = Activate<Project>(L"Lumvex-Dev.Project.1");
    const auto data = project.Data();
    std::vector<std::thread> threads;
    for (char16_t each = 0; each < 8; ++each)
        threads.emplace_back([&data, each] {
            for (char16_t round = 0; round < 25; ++round)
                data.Add(std::u16string{u'n', static_cast<char16_t>(u'a' + each), static_cast<char16_t>(u'a' + round)});
        });
    for (std::thread& each : threads) each.join();
    EXPECT_EQ(data.Count(), 200);
}

// A thread that has called the module may still live when that goes.
TEST_F(Activation, TheModuleGoesWhenNobodyNeedsIt) {
    const auto isLoaded = [] {
        ::CoFreeUnusedLibrariesEx(0, 0);
        ::CoFreeUnusedLibrariesEx(0, 0);
        return ::GetModuleHandleW(L"Lumvex51.dll") != nullptr;
    };
    for (int round = 0; round < 3; ++round) {
        std::promise<void> called, gone;
        auto project = Activate<Project>(L"Lumvex-Dev.Project.1");
        std::thread other([&] {
            project.Data().Add(u"x");
            called.set_value();
            gone.get_future().wait();
        });
        called.get_future().wait();
        EXPECT_TRUE(isLoaded());
        project = Project();
        EXPECT_FALSE(isLoaded());
        gone.set_value();
        other.join();
    }
}

TEST_F(Activation, ProcessesShareADocumentAsTheirModesSay) {
    const TemporaryFile file(L" \u0416\u65E5 shared.lvp");
    auto project = Activate<Project>(L"Lumvex-Dev.Project.1");
    project.Data().Add(u"one");
    project.SaveFileAs(file.Text());
    project.CloseFile();
    const auto open = [&](LXAccessMode mode) {
        return RunClient(L"open " + std::to_wstring(mode) + L" " + file.Quoted());
    };
    const auto violated = static_cast<HRESULT>(0x80030020);
    constexpr LXAccessMode kModes[] = {LX_SHARE_READ, LX_SHARE_READWRITE, LX_EXCLUSIVE_READWRITE};
    const bool allowed[3][3] = {{true, true, false}, {true, false, false}, {false, false, false}};
    for (int first = 0; first < 3; ++first) {
        auto here = Activate<Project>(L"Lumvex-Dev.Project.1");
        here.AccessMode(kModes[first]);
        here.OpenFile(file.Text());
        for (int second = 0; second < 3; ++second)
            EXPECT_EQ(open(kModes[second]), allowed[first][second] ? 1 : violated) << first << ", then " << second;
        if (kModes[first] != LX_SHARE_READWRITE) continue;
        here.Data().Add(u"two");
        EXPECT_EQ(open(LX_SHARE_READ), 1) << "not saved yet";
        here.SaveFile();
        EXPECT_EQ(open(LX_SHARE_READ), 2);
        here.Data().Remove(2);
        here.SaveFile();
    }
}

TEST_F(Activation, TypeNamesAreGivenWhereTheUserAsksForThem) {
    const wchar_t key[] = L"Software\\Torvane\\Lumvex", name[] = L"UseTypeLibNames";
    ::RegDeleteTreeW(HKEY_CURRENT_USER, key);
    EXPECT_EQ(RunClient(L"names"), 4);
    HKEY made = nullptr;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, key, 0, KEY_READ, &made), 0) << "the key is made where it is missing";
    ::RegCloseKey(made);
    const auto answerFor = [&](DWORD type, const void* data, DWORD size) {
        EXPECT_EQ(::RegSetKeyValueW(HKEY_CURRENT_USER, key, name, type, data, size), 0);
        return RunClient(L"names");
    };
    const DWORD on = 1, other = 2;
    const ULONGLONG wide = 1;
    EXPECT_EQ(answerFor(REG_DWORD, &on, sizeof on), 3);
    EXPECT_EQ(answerFor(REG_DWORD, &other, sizeof other), 4);
    EXPECT_EQ(answerFor(REG_SZ, L"1", 4), 4);
    EXPECT_EQ(answerFor(REG_QWORD, &wide, sizeof wide), 4);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, key);
}

}  // namespace
}  // namespace lumvex::tests
