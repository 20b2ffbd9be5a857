// A root document and its file: what each state allows, and what every refusal leaves.
#include <limits>

#include "kit/hand_made.hpp"
#include "kit/listener.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

// Each member's name and how many numbers its array has, in order: enough to tell documents apart.
std::vector<std::pair<std::u16string, std::size_t>> NamesAndSizes(const Project& project) {
    std::vector<std::pair<std::u16string, std::size_t>> content;
    for (const Datum& datum : project.Data()) content.emplace_back(datum.Name(), ContentOf(datum.Data()).values.size());
    return content;
}
const std::vector<std::pair<std::u16string, std::size_t>> kSmall{{u"A", 3}, {u"Second", 0}};

class Documents : public ::testing::Test {
protected:
    Documents() { WriteDocument(path, SmallDocument()); }

    static Project Opened(const fs::path& from, LXAccessMode mode = LX_EXCLUSIVE_READWRITE) {
        Project project = Project::Create();
        project.AccessMode(mode);
        project.OpenFile(PathText(from));
        return project;
    }
    static HRESULT Open(const Project& project, const fs::path& from) {
        return project.Get()->OpenFile(Bstr(PathText(from)).get());
    }
    static HRESULT SaveAs(const Project& project, const fs::path& to) {
        return project.Get()->SaveFileAs(Bstr(PathText(to)).get());
    }
    static void ExpectUnbound(const Project& project) {
        EXPECT_TRUE(FailsWith(4005, project.Get()->SaveFile(), kProject));
    }

    const Folder folder;
    const fs::path path = folder / "small.lvx";
};

TEST_F(Documents, ANewOne) {
    Project project = Project::Create();
    EXPECT_EQ(project.AccessMode(), LX_EXCLUSIVE_READWRITE);
    EXPECT_EQ(project.SafeArrayType(), LX_R4);
    EXPECT_EQ(project.VersionSupport(), LX_VER_DEPRECATED);
    EXPECT_EQ(project.CacheLowerBound(), 0x7FFFFFFF);
    EXPECT_EQ(project.CacheUpperBound(), 0x7FFFFFFF);
    EXPECT_EQ(project.Units(), LX_UNITS_METRIC);
    EXPECT_FALSE(IsModified(project));
    const Data data = project.Data();
    EXPECT_FALSE(IsModified(project)) << "making a collection ready changes nothing";
    data.Add(u"A");
    EXPECT_TRUE(IsModified(project));
    EXPECT_EQ(project.Get()->CloseFile(), S_OK) << "nothing is open";
    EXPECT_TRUE(IsModified(project));
    EXPECT_EQ(data.Count(), 1);
    EXPECT_NE(project.ID(), Project::Create().ID());
    ExpectUnbound(project);
}

TEST_F(Documents, AccessModesAndCacheBounds) {
    Project project = Project::Create();
    const struct { int put, get; } modes[] = {{1, 1}, {2, 2}, {3, 3}, {7, 3}, {2, 2}, {0, 3}, {1, 1}, {-1, 3}};
    for (const auto& mode : modes) {
        project.AccessMode(static_cast<LXAccessMode>(mode.put));
        EXPECT_EQ(project.AccessMode(), mode.get) << mode.put;
    }
    const LONG low = std::numeric_limits<LONG>::min(), high = std::numeric_limits<LONG>::max();
    const struct {
        LONG lower, upper;
        bool accepted;
    } bounds[] = {{1, 2, true},   {10, 20, true},  {0, 5, false},       {5, 5, false},     {5, 4, false},
                  {-1, 5, false}, {1, high, true}, {high, high, false}, {low, low, false}, {low, high, false}};
    for (const auto& each : bounds) {
        const LONG lower = project.CacheLowerBound(), upper = project.CacheUpperBound();
        const HRESULT status = project.Get()->SetCacheBounds(each.lower, each.upper);
        if (each.accepted) {
            EXPECT_EQ(status, S_OK);
        } else {
            EXPECT_TRUE(FailsWith(4019, status, kProject)) << each.lower << " " << each.upper;
        }
        EXPECT_EQ(project.CacheLowerBound(), each.accepted ? each.lower : lower);
        EXPECT_EQ(project.CacheUpperBound(), each.accepted ? each.upper : upper);
    }
}

TEST_F(Documents, OpenSaveAndClose) {
    Project project = Opened(path);
    EXPECT_EQ(NamesAndSizes(project), kSmall);
    EXPECT_TRUE(FailsWith(4013, Open(project, path), kProject)) << "a file is open already";
    EXPECT_TRUE(FailsWith(4020, project.Get()->put_AccessMode(LX_SHARE_READ), kProject));
    EXPECT_EQ(project.AccessMode(), LX_EXCLUSIVE_READWRITE);
    project.Data().Item(2).Name(u"Changed");
    EXPECT_TRUE(IsModified(project));
    EXPECT_TRUE(FailsWith(4013, Open(project, path), kProject));
    project.SaveFile();
    EXPECT_TRUE(IsModified(project)) << "closing alone takes it away";
    project.CloseFile();
    EXPECT_FALSE(IsModified(project));
    ExpectUnbound(project);
    project.AccessMode(LX_SHARE_READ);

    // Closed and not modified: it may open a file again, the same or another one.
    const Datum before = project.Data().Item(1);
    project.OpenFile(PathText(path));
    EXPECT_EQ(project.Data().Item(2).Name(), u"Changed");
    EXPECT_NE(project.Data().Item(1).Pointer(), before.Pointer());
    Ref<IProject> root;
    EXPECT_TRUE(FailsWith(4009, before.Get()->get_Root(root.Out()))) << "of the tree that was given up";

    Project modified = Project::Create();
    modified.Data().Add(u"new");
    EXPECT_TRUE(FailsWith(4013, Open(modified, path), kProject));
    EXPECT_EQ(modified.Data().Count(), 1);
}

TEST_F(Documents, ReadOnlyReadsAndKeepsChangesToItself) {
    Project project = Opened(path, LX_SHARE_READ);
    Project second = Opened(path, LX_SHARE_READ);
    project.Data().Item(1).Data(Floats({7, 8}));
    project.Data().Add(u"Third");
    EXPECT_TRUE(FailsBare(STG_E_ACCESSDENIED, project.Get()->SaveFile()));
    EXPECT_TRUE(FailsBare(STG_E_ACCESSDENIED, SaveAs(project, folder / "other.lvx")));
    EXPECT_FALSE(fs::exists(folder / "other.lvx"));
    EXPECT_EQ(NamesAndSizes(project).size(), 3u);
    EXPECT_EQ(NamesAndSizes(second), kSmall);
    project.CloseFile();
    EXPECT_EQ(ContentOf(project.Data().Item(1).Data()), FloatContent({7, 8}));
    project.AccessMode(LX_EXCLUSIVE_READWRITE);
    EXPECT_EQ(SaveAs(project, folder / "other.lvx"), S_OK);
    project = Project();
    EXPECT_EQ(NamesAndSizes(Opened(folder / "other.lvx")).size(), 3u);
}

TEST_F(Documents, SharingIsWhatTheModesSay) {
    const LXAccessMode modes[] = {LX_SHARE_READ, LX_SHARE_READWRITE, LX_EXCLUSIVE_READWRITE};
    const bool beside[3][3] = {{true, true, false}, {true, false, false}, {false, false, false}};
    for (int first = 0; first < 3; ++first) {
        for (int second = 0; second < 3; ++second) {
            SCOPED_TRACE(first * 10 + second);
            const Project holder = Opened(path, modes[first]);
            Project project = Project::Create();
            project.AccessMode(modes[second]);
            const HRESULT status = Open(project, path);
            if (beside[first][second]) {
                EXPECT_EQ(status, S_OK);
                EXPECT_EQ(NamesAndSizes(project), kSmall);
            } else {
                EXPECT_TRUE(FailsBare(STG_E_SHAREVIOLATION, status));
                ExpectUnbound(project);
            }
        }
    }
    // Nor may a document be replaced under whoever reads it alone.
    const Project holder = Opened(path);
    Project project = Project::Create();
    project.Data().Add(u"mine");
    EXPECT_TRUE(FailsBare(STG_E_SHAREVIOLATION, SaveAs(project, path)));
    ExpectUnbound(project);
    EXPECT_EQ(NamesAndSizes(holder), kSmall);
}

TEST_F(Documents, AnotherSpellingOfThePathIsASave) {
    fs::create_directory(folder / "below");
    fs::create_hard_link(path, folder / "hard.lvx");
    const fs::path here = fs::current_path();
    fs::current_path(folder.Path());
    LONG rate = 1000;
    for (const fs::path& spelling :
         {path, fs::path("small.lvx"), fs::path("./below/../small.lvx"), folder / "hard.lvx"}) {
        SCOPED_TRACE(spelling);
        Project project = Opened(path);
        project.Data().Item(1).SampleRate(++rate);
        EXPECT_EQ(SaveAs(project, spelling), S_OK);
        project = Project();
        EXPECT_EQ(Opened(path).Data().Item(1).SampleRate(), rate);
        EXPECT_EQ(Opened(folder / "hard.lvx").Data().Item(1).SampleRate(), rate) << "replaced instead of saved";
    }
    fs::current_path(here);
}

TEST_F(Documents, SaveAsThatFailsLeavesTheRootAsItWas) {
    const Bytes before = FileBytes(path);
    fs::create_directory(folder / "directory");
    const std::u16string_view badPaths[] = {u"", u"/", u"nowhere/at/all.lvx", u"directory"};
    for (const bool bound : {true, false}) {
        Project project = bound ? Opened(path) : Project::Create();
        if (!bound) project.Data().Add(u"A");
        project.Data().Item(1).SampleRate(5);
        for (const std::u16string_view bad : badPaths) {
            SCOPED_TRACE(ToUtf8(bad));
            const std::u16string full =
                bad.size() > 1 ? PathText(folder.Path()) + u"/" + std::u16string(bad) : std::u16string(bad);
            const HRESULT status = project.Get()->SaveFileAs(Bstr(full).get());
            EXPECT_EQ(static_cast<unsigned>(status) >> 16, 0x8003u)
                << InHex(status) << " is no status of the storage system";
            EXPECT_FALSE(TakeErrorInfo().present);
        }
        EXPECT_EQ(FileBytes(path), before);
        EXPECT_EQ(project.Data().Item(1).SampleRate(), 5);
        if (bound) {
            EXPECT_EQ(project.Get()->SaveFile(), S_OK);
        } else {
            ExpectUnbound(project);
            EXPECT_EQ(SaveAs(project, folder / "fine.lvx"), S_OK);
        }
        project = Project();
        EXPECT_EQ(Opened(bound ? path : folder / "fine.lvx").Data().Item(1).SampleRate(), 5);
        WriteFileBytes(path, before);
    }
}

// What the system would cut short at a zero must not become the path before it.
TEST_F(Documents, PathsWithZerosAreRefused) {
    const std::u16string bad = PathText(path) + std::u16string(u"\0.lvx", 5);
    const Bytes before = FileBytes(path);
    Project project = Project::Create();
    EXPECT_TRUE(FailsBare(STG_E_INVALIDNAME, project.Get()->OpenFile(Bstr(bad).get())));
    project.Data().Add(u"mine");
    EXPECT_TRUE(FailsBare(STG_E_INVALIDNAME, project.Get()->SaveFileAs(Bstr(bad).get())));
    EXPECT_TRUE(FileBytes(path) == before);
    ExpectUnbound(project);
    EXPECT_TRUE(
        FailsBare(STG_E_FILENOTFOUND, Project::Create().Get()->OpenFile(Bstr(PathText(path) + u"\xD800").get())))
        << "ill-formed text names no file that is there";
}

TEST_F(Documents, PathsOfAnyWellFormedTextWork) {
    for (const std::u16string_view name :
         {u"blank in name.lvx", u"M\u00FCller \u03A9.lvx", u"\xD83D\xDD0A.lvx", u"no-extension"}) {
        Project project = Project::Create();
        project.Data().Add(name);
        const std::u16string full = PathText(folder.Path()) + u"/" + std::u16string(name);
        project.SaveFileAs(full);
        project = Project::Create();
        project.OpenFile(full);
        EXPECT_EQ(project.Data().Item(1).Name(), name);
    }
}

// ---- after the file is gone -----------------------------------------------------------------------------------------

TEST_F(Documents, WhatWasLoadedOutlivesTheFile) {
    Project project = Opened(path);
    const Data data = project.Data();
    Datum first = data.Item(1), second = data.Item(2);
    first.Locks(2);
    project.CloseFile();
    fs::remove(path);
    EXPECT_EQ(ContentOf(first.Data()), FloatContent({1, 2, 3}));
    EXPECT_EQ(data.Item(2).Pointer(), second.Pointer());
    EXPECT_EQ(first.Parent().Pointer(), data.Pointer());
    EXPECT_EQ(first.Root().Pointer(), project.Pointer());
    second.Name(u"renamed");
    data.Add(u"Third");
    EXPECT_EQ(data.FindName(u"RENAMED").Pointer(), second.Pointer());
    EXPECT_EQ(project.FindID(first.ID()).Pointer(), first.Pointer());
    EXPECT_EQ(SaveAs(project, path), S_OK);
    project = Project();
    Project again = Opened(path);
    EXPECT_EQ(again.ID(), kProjectId);
    EXPECT_EQ(NamesAndSizes(again),
              (std::vector<std::pair<std::u16string, std::size_t>>{{u"A", 3}, {u"renamed", 0}, {u"Third", 0}}));
    EXPECT_EQ(again.Data().Item(1).Locks(), 2);
    again = Project();
    const Streams streams = ReadDocument(path);
    const Bytes& table = streams.at(u"ROOTDIR-V100");
    EXPECT_NE(AsHex(table).find(kSecondIdBytes + " " + kSecondIdBytes), std::string::npos)
        << "the second ID is carried";
    EXPECT_NE(AsHex(table).find(kFirstIdBytes + " " + kNoId + " " + kDatumClass + " 05 00 00 00"), std::string::npos)
        << "and the tag";
    EXPECT_TRUE(CheckDocument(path).empty());
}

TEST_F(Documents, TheFileGoesWithTheRootWhoeverHoldsMembers) {
    constexpr LONG kMembers = 400;  // more than a short record lists
    std::u16string last;
    {
        Project project = Opened(path);
        const Data data = project.Data();
        while (data.Count() < kMembers) data.Add(u"member").Data(Floats(std::vector<float>(3000, 1.0f)));
        last = data.Item(kMembers).ID();
        project.SaveFile();
    }
    Project project = Opened(path);
    const Datum datum = project.Load(last).As<Datum>();
    const Data data = project.Data();
    project = Project();
    EXPECT_TRUE(CheckDocument(path).empty()) << "nobody has it open";
    EXPECT_EQ(data.Count(), kMembers);
    EXPECT_EQ(datum.Name(), u"member");
    Variant array;
    EXPECT_TRUE(FailsWith(4009, datum.Get()->get_Data(array.Out())));
}

TEST_F(Documents, WhatWasNeverLoadedWentWithTheFile) {
    Project project = Opened(path);
    const Data data = project.Data();
    const Datum first = data.Item(1);
    project.CloseFile();
    EXPECT_EQ(data.Count(), 2);
    Ref<IDatum> missing;
    EXPECT_TRUE(FailsWith(4010, data.Get()->get_Item(2, missing.Out())));
    EXPECT_EQ(data.Item(1).Pointer(), first.Pointer());
    EXPECT_TRUE(FailsWith(4010, SaveAs(project, folder / "lacking.lvx"), kProject));
    EXPECT_FALSE(fs::exists(folder / "lacking.lvx"));

    // A tree whose collection was never loaded lacks it just as well.
    Project untouched = Opened(path);
    untouched.CloseFile();
    EXPECT_TRUE(FailsWith(4010, SaveAs(untouched, folder / "lacking.lvx"), kProject));
    Ref<IData> none;
    EXPECT_TRUE(FailsWith(4010, untouched.Get()->get_Data(none.Out()), kProject));
    EXPECT_EQ(NamesAndSizes(Opened(path)), kSmall) << "the file itself lacks nothing";
}

// However many members were loaded, and however they were reached, the loaded ones keep their places, and all others
// are told to be gone. Lists that were mostly not loaded keep their loaded members alone.
TEST_F(Documents, ListsKnowWhichOfTheirMembersWentWithTheFile) {
    enum class Way { Item, Name, Id, Enumerator };
    constexpr HRESULT kGone = Status(0x80040FAA);
    const auto nameOf = [](LONG number) { return u"member " + FromUtf8(std::to_string(number)); };
    for (const LONG count : {1, 20, 63, 64, 640}) {
        std::vector<std::u16string> ids;
        {
            Project project = Project::Create();
            for (LONG number = 1; number <= count; ++number) ids.push_back(project.Data().Add(nameOf(number)).ID());
            project.Experiments().Add(u"of another class");
            project.SaveFileAs(PathText(path));
        }
        for (const Way way : {Way::Item, Way::Name, Way::Id, Way::Enumerator}) {
            for (const LONG step : {1, 2, 63, 64, 65, 1000}) {
                SCOPED_TRACE(testing::Message()
                             << count << " members, each " << step << "th, way " << static_cast<int>(way));
                Project project = Opened(path, LX_EXCLUSIVE_READWRITE);
                Data data = project.Data();
                const Experiment other = project.Experiments().Item(1);
                std::map<LONG, Datum> loaded;
                for (LONG number = count; number > 0; number -= step) {
                    if (way == Way::Item) loaded[number] = data.Item(number);
                    if (way == Way::Name) loaded[number] = data.FindName(nameOf(number)).As<Datum>();
                    if (way == Way::Id) loaded[number] = project.Load(ids[number - 1]).As<Datum>();
                    data.Item(count);  // once more
                }
                if (way == Way::Enumerator) {
                    for (const Object& each : data) {
                        loaded[static_cast<LONG>(loaded.size()) + 1] = each.As<Datum>();
                        if (static_cast<LONG>(loaded.size()) * step >= count) break;
                    }
                    loaded[count] = data.Item(count);
                }
                project.CloseFile();
                EXPECT_EQ(data.Count(), count);
                const bool isWhole = loaded.size() == static_cast<std::size_t>(count);
                for (LONG number = 1; number <= count; ++number) {
                    SCOPED_TRACE(number);
                    const auto known = loaded.find(number);
                    const auto expectIt = [&](const auto& find) {
                        if (known != loaded.end())
                            EXPECT_EQ(find().Pointer(), known->second.Pointer());
                        else
                            EXPECT_EQ(StatusOf(find), kGone);
                    };
                    expectIt([&] { return data.Item(number); });
                    expectIt([&] { return data.FindName(nameOf(number)); });
                    expectIt([&] { return data.FindID(ids[number - 1], 0); });
                }
                if (isWhole)
                    EXPECT_FALSE(data.FindName(u"nobody"));
                else
                    EXPECT_EQ(StatusOf([&] { data.FindName(u"nobody"); }), kGone);
                // What is loaded can still be removed, and others be added.
                data.Remove(count);
                EXPECT_EQ(data.Add(u"new").Name(), u"new");
                EXPECT_EQ(data.Count(), count);
                EXPECT_EQ(data.Item(count).Name(), u"new");
                EXPECT_EQ(SaveAs(project, folder / "saved.lvp"), isWhole ? S_OK : kGone);
            }
        }
        // A reader lets go of what was reached and is not held.
        Project reader = Opened(path, LX_SHARE_READ);
        reader.Data().Item(count);
        const Datum held = reader.Load(ids[0]).As<Datum>();
        reader.CloseFile();
        EXPECT_EQ(reader.Data().Item(1).Pointer(), held.Pointer());
        EXPECT_EQ(StatusOf([&] { reader.Data().Item(count); }), count > 1 ? kGone : S_OK);
        // Lists of two classes, of which nothing was loaded.
        Project untouched = Opened(path);
        const Data data = untouched.Data();
        const Experiments experiments = untouched.Experiments();
        untouched.CloseFile();
        EXPECT_EQ(StatusOf([&] { data.Item(1); }), kGone);
        EXPECT_EQ(StatusOf([&] { experiments.Item(1); }), kGone);
    }
}

// Of an object that was loaded by its ID the owner is searched for when the file is closed. That loads what it passes.
TEST_F(Documents, WhatClosingHasLoadedOutlivesTheFile) {
    constexpr LONG kMembers = 400;  // more than is read ahead of a list
    std::u16string last;
    {
        Project project = Opened(path);
        const Experiments passed = project.Experiments();
        for (LONG member = 1; member <= kMembers; ++member) passed.Add(u"passed");
        last = project.Data().Item(2).ID();
        project.SaveFile();
    }
    for (const LONG upperBound : {100000, 3}) {  // of the load cache
        Project project = Opened(path);
        project.SetCacheBounds(2, upperBound);
        const Datum datum = project.Load(last).As<Datum>();
        project.CloseFile();
        EXPECT_EQ(datum.Parent().Pointer(), project.Data().Pointer());
        EXPECT_EQ(project.Data().Item(2).Pointer(), datum.Pointer());
        if (upperBound == 3) continue;
        EXPECT_EQ(project.Experiments().Count(), kMembers);
        EXPECT_EQ(project.Experiments().Item(1).Name(), u"passed");
        EXPECT_EQ(project.Experiments().Item(kMembers).Name(), u"passed");
    }
}

TEST_F(Documents, LoadReachesAnyObjectAndItsOwners) {
    Project project = Opened(path);
    Variant out = Variant::FromLong(3);
    for (const std::u16string_view miss : {u"{99999999-9999-9999-9999-999999999999}", u"no ID", u""}) {
        EXPECT_EQ(project.Get()->Load(Bstr(miss).get(), out.Out()), S_FALSE);
        EXPECT_EQ(out.vt, VT_EMPTY);
    }
    EXPECT_FALSE(project.FindID(kSecondId)) << "not loaded yet";
    Datum second = project.Load(kSecondId).As<Datum>();
    EXPECT_EQ(second.Name(), u"Second");
    EXPECT_EQ(project.FindID(kSecondId).Pointer(), second.Pointer());
    second.SampleRate(32000);
    second.Name(u"reached from below");
    EXPECT_EQ(second.Parent().ID(), kDataId);
    EXPECT_EQ(second.FQName(), u"PROJECT/Data/reached from below");
    EXPECT_EQ(project.Data().Item(2).Pointer(), second.Pointer());
    EXPECT_EQ(project.Load(kDataId).Pointer(), project.Data().Pointer());
    EXPECT_EQ(StatisticsOf(project.Get()).objectsLoaded, 2u);
    project.SaveFile();
    project = Project();
    EXPECT_EQ(Opened(path).Data().Item(2).SampleRate(), 32000);
}

// Searching for it would go through every collection that the root lists before it.
TEST_F(Documents, EnumeratedObjectsKnowTheirOwner) {
    Project project = Project::Create();
    project.Rooms().Add(u"Room").Positions().Add(u"Position");
    for (const char16_t* name : {u"A", u"B", u"C"}) project.Data().Add(name);
    project.SaveFileAs(PathText(folder / "owners.lvx"));
    project = Project();
    project = Opened(folder / "owners.lvx");
    const Data data = project.Data();
    for (const Object& object : data.Enumerate()) EXPECT_EQ(object.As<Datum>().Parent().Pointer(), data.Pointer());
    EXPECT_EQ(StatisticsOf(project.Get()).objectsLoaded, 4u);
}

// ---- texts ----------------------------------------------------------------------------------------------------------

TEST_F(Documents, NamesOfAnyLengthAndAnyUnits) {
    std::u16string all;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) all.push_back(static_cast<char16_t>(unit));
    const std::u16string names[] = {u"",
                                    u" ",
                                    std::u16string(1, u'\0'),
                                    std::u16string(u"a\0b\0", 4),
                                    u"\xD800",
                                    u"\xDFFF\xD800",
                                    u"\xD83D\xDD0A",
                                    u"\uFEFF\uFFFE",
                                    u"line\r\nbreak\ttab",
                                    std::u16string(100000, u'\u00FC'),
                                    all};
    Project project = Project::Create();
    for (const std::u16string& name : names) project.Data().Add(name);
    project.SaveFileAs(PathText(folder / "names.lvx"));
    project = Project();
    project = Opened(folder / "names.lvx");
    LONG position = 0;
    for (const std::u16string& name : names) {
        ++position;
        EXPECT_TRUE(project.Data().Item(position).Name() == name) << position;
        EXPECT_EQ(project.Data().FindName(name).Pointer(), project.Data().Item(position).Pointer()) << position;
    }
    project = Project();
    EXPECT_TRUE(CheckDocument(folder / "names.lvx").empty());
}

}  // namespace
}  // namespace lumvex::tests
