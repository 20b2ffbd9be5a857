// What registration leaves in the registry. The keys that it writes are redirected to one of the test's own.
#include <map>

#include "server.hpp"

namespace lumvex::tests {
namespace {

const wchar_t kScratch[] = L"Software\\Lumvex registration test";
const std::wstring kProject = L"{09A5CDEB-2933-4F88-9196-E13F80993ABB}";
const std::wstring kSpecifications = L"{AE4045FE-5E8A-48C6-BD0A-62390B58EB09}";
const std::wstring kVersion = L"TypeLib\\{690C798A-F77F-492B-8E4A-A91E88C96DFD}\\5.1";
const wchar_t* const kPlatform = sizeof(void*) == 8 ? L"\\0\\win64\\" : L"\\0\\win32\\";

// The registry does not tell the cases of names apart.
struct NoCase {
    bool operator()(const std::wstring& left, const std::wstring& right) const {
        return ::CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1, TRUE) == CSTR_LESS_THAN;
    }
};

using Values = std::map<std::wstring, std::wstring, NoCase>;  // by key's path, a backslash and the value's name

std::wstring RegisteredText(HKEY key, const std::wstring& value) {
    wchar_t text[1024];
    DWORD size = sizeof text;
    return ::RegGetValueW(key, nullptr, value.c_str(), RRF_RT_REG_SZ, nullptr, text, &size) == ERROR_SUCCESS ? text
                                                                                                             : L"?";
}

void Collect(HKEY parent, const std::wstring& name, const std::wstring& path, Values& values, bool keysToo = false) {
    HKEY key = nullptr;
    if (::RegOpenKeyExW(parent, name.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
    if (keysToo) values[path] = L"a key";
    wchar_t text[256];
    DWORD length = 256;
    for (DWORD at = 0; ::RegEnumValueW(key, at, text, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++at, length = 256)
        values[path + L"\\" + text] = RegisteredText(key, text);
    length = 256;
    for (DWORD at = 0; ::RegEnumKeyExW(key, at, text, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++at, length = 256)
        Collect(key, text, path.empty() ? text : path + L"\\" + text, values, keysToo);
    ::RegCloseKey(key);
}

class Registration : public testing::Test {
protected:
    Registration() {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, kScratch);
        classes_ = Make(L"classes");
        user_ = Make(L"user");
    }
    ~Registration() override {
        ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        ::RegCloseKey(classes_);
        ::RegCloseKey(user_);
        ::RegDeleteTreeW(HKEY_CURRENT_USER, kScratch);
    }

    // Below the test's own key.
    static HKEY Make(const std::wstring& name, DWORD options = REG_OPTION_NON_VOLATILE) {
        HKEY key = nullptr;
        const std::wstring path = std::wstring(kScratch) + L"\\" + name;
        EXPECT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, options, KEY_ALL_ACCESS, nullptr, &key,
                                    nullptr),
                  0);
        return key;
    }

    void Redirect() {
        ASSERT_EQ(::RegOverridePredefKey(HKEY_CLASSES_ROOT, classes_), 0);
        ASSERT_EQ(::RegOverridePredefKey(HKEY_CURRENT_USER, user_), 0);
    }

    static Values All(HKEY key) {
        Values values;
        Collect(key, L"", L"", values);
        return values;
    }
    // What stands there beside the type library's own entries.
    static Values Classes(HKEY key) {
        Values values = All(key);
        std::erase_if(values, [](const auto& each) {
            return ::_wcsnicmp(each.first.c_str(), L"TypeLib\\", 8) == 0 ||
                   ::_wcsnicmp(each.first.c_str(), L"Interface\\", 10) == 0;
        });
        return values;
    }

    Values Expected() const {
        const std::wstring module = Beside(L"Lumvex51.dll").wstring();
        Values values;
        for (const auto& [clsid, progId, description] :
             {std::tuple(kProject, std::wstring(L"Lumvex-Dev.Project"), std::wstring(L"Project Class")),
              std::tuple(kSpecifications, std::wstring(L"Lumvex-Dev.Specifications"),
                         std::wstring(L"Specifications Class"))}) {
            for (const std::wstring& each : {progId, progId + L".1"}) {
                values[each + L"\\"] = description;
                values[each + L"\\CLSID\\"] = clsid;
            }
            const std::wstring path = L"CLSID\\" + clsid;
            values[path + L"\\"] = description;
            values[path + L"\\ProgID\\"] = progId + L".1";
            values[path + L"\\VersionIndependentProgID\\"] = progId;
            values[path + L"\\InprocServer32\\"] = module;
            values[path + L"\\InprocServer32\\ThreadingModel"] = L"both";
        }
        return values;
    }

    Module module_;
    HKEY classes_ = nullptr, user_ = nullptr;
};

TEST_F(Registration, WritesWhatTheSystemLooksFor) {
    Redirect();
    for (const wchar_t* old : {L"Old", L"InprocServer32\\Old"}) {
        HKEY key = nullptr;
        const std::wstring path = L"CLSID\\" + kProject + L"\\" + old;
        ASSERT_EQ(::RegCreateKeyExW(classes_, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
        ::RegSetValueExW(key, L"", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4);
        ::RegCloseKey(key);
    }
    ASSERT_EQ(module_.Register(), S_OK);
    EXPECT_EQ(Classes(classes_), Expected());
    const Values first = All(classes_);
    ASSERT_EQ(module_.Register(), S_OK);
    EXPECT_EQ(All(classes_), first) << "registered twice";
    EXPECT_TRUE(All(user_).empty());

    EXPECT_EQ(first.at(kVersion + L"\\"), L"Lumvex 5.1 Type Library");
    EXPECT_EQ(first.at(kVersion + kPlatform), Beside(L"Lumvex51.dll").wstring());
    EXPECT_EQ(first.at(kVersion + L"\\HELPDIR\\"), Beside(L"").wstring());

    ASSERT_EQ(module_.Unregister(), S_OK);
    EXPECT_EQ(All(classes_), Values());
    HKEY kept = nullptr;
    EXPECT_EQ(::RegOpenKeyExW(classes_, L"CLSID", 0, KEY_READ, &kept), ERROR_SUCCESS) << "belongs to all classes";
    ::RegCloseKey(kept);
    EXPECT_EQ(module_.Unregister(), S_OK) << "there is nothing left";
}

// The first key that is made there takes no keys that are to stay. All others could be made: Wine writes a type library
// to the classes root also when it is for one user.
TEST_F(Registration, IsForTheUserWhereTheClassesRootCannotBeWritten) {
    ::RegCloseKey(Make(L"classes\\Lumvex-Dev.Project.1", REG_OPTION_VOLATILE));
    Redirect();
    ASSERT_EQ(module_.Register(), S_OK);
    HKEY classes = nullptr;
    ASSERT_EQ(::RegOpenKeyExW(user_, L"Software\\Classes", 0, KEY_ALL_ACCESS, &classes), 0);
    EXPECT_EQ(Classes(classes), Expected());
    EXPECT_EQ(Classes(classes_), Values()) << "what could be written there was taken back";
    Values both = All(classes);
    both.merge(All(classes_));
    EXPECT_EQ(both[kVersion + L"\\"], L"Lumvex 5.1 Type Library");
    EXPECT_EQ(both[kVersion + kPlatform], Beside(L"Lumvex51.dll").wstring());

    ASSERT_EQ(module_.Unregister(), S_OK);
    EXPECT_EQ(All(classes), Values());
    EXPECT_EQ(All(classes_), Values());
    ::RegCloseKey(classes);
}

// Of an earlier registration as of none. Nobody can write below the key that is in the way, neither for all nor for the
// user; it is met in the middle of the work.
TEST_F(Registration, ThatFailsLeavesTheRegistryAsItWas) {
    Redirect();
    HKEY userClasses = nullptr;
    ASSERT_EQ(
        ::RegCreateKeyExW(user_, L"Software\\Classes", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &userClasses, nullptr),
        0);
    const auto make = [&](const std::wstring& path, DWORD options) {
        for (HKEY root : {classes_, userClasses}) {
            ::RegDeleteTreeW(root, path.c_str());
            HKEY key = nullptr;
            ASSERT_EQ(
                ::RegCreateKeyExW(root, path.c_str(), 0, nullptr, options, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
            ::RegCloseKey(key);
        }
    };
    const auto both = [&] {
        std::pair<Values, Values> all;
        Collect(classes_, L"", L"", all.first, true);
        Collect(userClasses, L"", L"", all.second, true);
        return all;
    };
    const std::wstring library = kVersion.substr(0, kVersion.rfind(L'\\'));
    for (const bool earlier : {false, true})
        for (const std::wstring& inTheWay : {std::wstring(L"Lumvex-Dev.Specifications"), library}) {
            SCOPED_TRACE(testing::Message() << "earlier " << earlier << ", in the way of " << inTheWay.c_str());
            for (const wchar_t* common : {L"CLSID", L"TypeLib", L"Interface"}) make(common, REG_OPTION_NON_VOLATILE);
            for (const wchar_t* progId : {L"Lumvex-Dev.Project", L"Lumvex-Dev.Specifications"})
                for (HKEY root : {classes_, userClasses}) {
                    ::RegDeleteTreeW(root, progId);
                    ::RegDeleteTreeW(root, (std::wstring(progId) + L".1").c_str());
                }
            if (earlier) {
                ASSERT_EQ(module_.Register(), S_OK);
                const std::wstring path = L"CLSID\\" + kProject + L"\\InprocServer32";
                HKEY key = nullptr;
                ASSERT_EQ(::RegOpenKeyExW(classes_, path.c_str(), 0, KEY_ALL_ACCESS, &key), 0);
                ::RegSetValueExW(key, L"", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"C:\\Old.dll"), 22);
                const DWORD number = 51;
                ::RegSetValueExW(key, L"Old", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
                ::RegCloseKey(key);
            }
            make(inTheWay, REG_OPTION_VOLATILE);
            const auto before = both();
            EXPECT_LT(module_.Register(), 0);
            EXPECT_TRUE(both() == before);
        }
    ::RegCloseKey(userClasses);
}

// The servers of 32 and 64 bits share the ProgIDs; here the other one is only an entry in the registry that its
// programs see.
TEST(SharedProgIds, StayWhileTheServerOfTheOtherBitsIsRegistered) {
    constexpr REGSAM kOther = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
    const auto leadsTo = [](const wchar_t* progId) {
        CLSID clsid;
        return ::CLSIDFromProgID(progId, &clsid) == S_OK;
    };
    HKEY classes = nullptr, other = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Classes\\CLSID", 0, nullptr, 0, KEY_ALL_ACCESS | kOther,
                                nullptr, &classes, nullptr),
              0);
    ASSERT_EQ(::RegCreateKeyExW(classes, (kProject + L"\\InprocServer32").c_str(), 0, nullptr, 0,
                                KEY_ALL_ACCESS | kOther, nullptr, &other, nullptr),
              0);
    ::RegCloseKey(other);
    Module module;
    EXPECT_EQ(module.Unregister(), S_OK);
    EXPECT_TRUE(leadsTo(L"Lumvex-Dev.Project") && leadsTo(L"Lumvex-Dev.Project.1"));
    EXPECT_FALSE(leadsTo(L"Lumvex-Dev.Specifications") || leadsTo(L"Lumvex-Dev.Specifications.1"));
    EXPECT_EQ(::RegDeleteTreeW(classes, kProject.c_str()), ERROR_SUCCESS) << "the other server's own key";
    ::RegCloseKey(classes);
    EXPECT_EQ(module.Unregister(), S_OK);
    EXPECT_FALSE(leadsTo(L"Lumvex-Dev.Project") || leadsTo(L"Lumvex-Dev.Project.1"));
    EXPECT_EQ(module.Register(), S_OK);
}

}  // namespace
}  // namespace lumvex::tests
