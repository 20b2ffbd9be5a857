// Searching long collections by name, against a plain list that does the same.
#include <random>

#include "core/tree/collection.hpp"
#include "kit/hand_made.hpp"
#include "kit/listener.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/maintenance.hpp"
#include "storage/document/document_file.hpp"
#include "storage/document/marks_stamp.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::tests {
namespace {

class NameSearch : public ::testing::Test {
protected:
    struct Known {
        std::u16string name, id;
    };
    Folder folder;
    Specifications library = Specifications::Create();
    std::vector<Known> list;
    std::mt19937 random{20260101};

    std::size_t Any(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random); }

    // Few enough names that they repeat, in either case.
    std::u16string AnyName() {
        const std::u16string number = FromUtf8(std::to_string(Any(60)));
        return (Any(2) == 0 ? u"Mikrofon \u00E4" : u"MIKROFON \u00C4") + number;
    }

    void Step() {
        Microphones microphones = library.Microphones();
        switch (Any(list.size() < 80 ? 4 : 6)) {
            case 0:
            case 1: {
                const std::u16string name = AnyName();
                list.push_back({name, microphones.Add(name).ID()});
                break;
            }
            case 2:
            case 3:
                if (list.empty()) return;
                {
                    const std::size_t at = Any(list.size());
                    list[at].name = AnyName();
                    microphones.Item(static_cast<LONG>(at + 1)).Name(list[at].name);
                }
                break;
            default: {
                const std::size_t at = Any(list.size());
                list.erase(list.begin() + static_cast<std::ptrdiff_t>(at));
                microphones.Remove(static_cast<LONG>(at + 1));
            }
        }
    }

    void ExpectFound(const std::u16string& name) {
        const auto known =
            std::ranges::find_if(list, [&](const Known& each) { return CompareNoCase(each.name, name) == 0; });
        const Microphone found = library.Microphones().FindName(name).As<Microphone>();
        ASSERT_EQ(static_cast<bool>(found), known != list.end()) << ToUtf8(name);
        if (found) {
            ASSERT_EQ(ToUtf8(found.ID()), ToUtf8(known->id)) << ToUtf8(name) << " is not the first";
        }
    }
};

// Members that are changed and saved, in memory and in the file alone, renamed through the list and found by their ID.
TEST_F(NameSearch, FindsTheFirstOfTheNameWhereverTheMembersAre) {
    library.AccessMode(LX_SHARE_READWRITE);
    library.SaveFileAs(PathText(folder / "a.lvs"));
    for (int round = 0; round < 60; ++round) {
        for (std::size_t steps = Any(30); steps > 0; --steps) Step();
        if (!list.empty()) {
            Known& known = list[Any(list.size())];
            known.name = AnyName();
            library.Load(known.id).As<Microphone>().Name(known.name);
        }
        if (Any(2) == 0) library.SaveFile();
        // So many searches of one list make an index.
        for (std::size_t search = Any(6) == 0 ? 1100 : 0; search > 0; --search)
            ASSERT_FALSE(library.Microphones().NameExists(u"nobody"));
        for (int search = 0; search < 5; ++search) ASSERT_NO_FATAL_FAILURE(ExpectFound(AnyName())) << round;
        if (Any(3) != 0) continue;
        library.SaveFile();
        library = Specifications::Create();
        library.AccessMode(LX_SHARE_READWRITE);
        library.OpenFile(PathText(folder / "a.lvs"));
        for (std::size_t search = Any(5); search > 0; --search)
            ASSERT_NO_FATAL_FAILURE(ExpectFound(AnyName())) << round;
    }
}

// Forty microphones "0" to "39" of which one, or its stream, is damaged.
TEST_F(NameSearch, AMemberThatCannotBeLoadedEndsTheSearchBeforeIt) {
    constexpr unsigned kCount = 40, kDamaged = 20;
    library.AccessMode(LX_SHARE_READWRITE);
    std::u16string damaged;
    for (unsigned number = 0; number < kCount; ++number) {
        const Microphone made = library.Microphones().Add(FromUtf8(std::to_string(number)));
        if (number == kDamaged) damaged = made.ID();
    }
    library.SaveFileAs(PathText(folder / "a.lvs"));
    library.CloseFile();
    Streams streams = ReadDocument(folder / "a.lvs");
    streams[inside::StreamNameOf(ParseGuid(damaged).value())].resize(20);
    WriteDocument(folder / "a.lvs", streams);
    library = Specifications::Create();
    library.OpenFile(PathText(folder / "a.lvs"));
    const Microphones microphones = library.Microphones();
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(microphones.FindName(u"19"));
        for (const char16_t* beyond : {u"20", u"21", u"nobody"}) {
            Variant found;
            EXPECT_TRUE(FailsBare(inside::kReadFault, microphones.Get()->FindName(Bstr(beyond).get(), found.Out())));
            EXPECT_EQ(found.vt, VT_EMPTY);
        }
    }
}

TEST_F(NameSearch, OrphanedCollectionsFailHoweverOftenTheyWereSearched) {
    Microphones microphones = library.Microphones();
    for (int number = 0; number < 100; ++number) microphones.Add(FromUtf8(std::to_string(number)));
    EXPECT_FALSE(microphones.FindName(u"nobody"));
    library = Specifications();
    Variant found;
    EXPECT_TRUE(FailsWith(4009, microphones.Get()->FindName(Bstr(u"nobody").get(), found.Out())));
    EXPECT_TRUE(FailsWith(4009, microphones.Get()->FindName(Bstr(u"5").get(), found.Out())));
}

// ---- marks of names in the file ----

// A library of so many microphones, its file, and their names as they should be found.
class NameMarks : public ::testing::Test {
protected:
    const Folder folder;
    std::filesystem::path path = folder / "a.lvs";
    std::vector<std::u16string> names;
    std::u16string listId;

    static std::u16string Number(std::size_t number) { return FromUtf8(std::to_string(number)); }

    // Every fifth name is that of the one before, in capitals.
    void Save(std::size_t count) {
        path = folder / ("of " + std::to_string(count) + ".lvs");
        names.clear();
        Specifications library = Specifications::Create();
        for (std::size_t at = 0; at < count; ++at) {
            const bool isSecond = at % 5 == 4;
            names.push_back((isSecond ? u"MIKROFON \u00C4\u03A3 " : u"Mikrofon \u00E4\u03C2 ") + Number(at - isSecond));
            library.Microphones().Add(names.back());
        }
        listId = library.Microphones().ID();
        library.SaveFileAs(PathText(path));
        library.CloseFile();
    }
    Specifications Open(LXAccessMode mode = LX_SHARE_READWRITE) const {
        Specifications library = Specifications::Create();
        library.AccessMode(mode);
        library.OpenFile(PathText(path));
        return library;
    }
    Microphone Named(const Specifications& library, std::size_t at) const {
        return library.Microphones().Item(static_cast<LONG>(at + 1));
    }
    void Rename(const Specifications& library, std::size_t at, std::u16string_view name) {
        Named(library, at).Name(name);
        names[at] = name;
    }

    // Each search is the first one in a document that was just opened, unless `opened` is given.
    void ExpectFound(const std::u16string& wanted, const Specifications* opened = nullptr) const {
        const Specifications library = opened ? *opened : Open(LX_SHARE_READ);
        const auto known =
            std::ranges::find_if(names, [&](const auto& each) { return CompareNoCase(each, wanted) == 0; });
        const Microphone found = library.Microphones().FindName(wanted).As<Microphone>();
        ASSERT_EQ(static_cast<bool>(found), known != names.end()) << ToUtf8(wanted);
        EXPECT_EQ(library.Microphones().NameExists(wanted), known != names.end());
        if (!found) return;
        const Microphone first = Named(library, static_cast<std::size_t>(known - names.begin()));
        EXPECT_EQ(ToUtf8(found.ID()), ToUtf8(first.ID())) << ToUtf8(wanted) << " is not the first";
    }
    void ExpectAllFound(const Specifications* opened = nullptr) const {
        const std::size_t step = std::max<std::size_t>(1, names.size() / 40);
        for (std::size_t at = 0; at < names.size(); at += step) ExpectFound(names[at], opened);
        for (const char16_t* other : {u"nobody", u"", u"mIKROFON \u00E4\u03C3 0", u"renamed", u"Renamed", u"late"})
            ExpectFound(other, opened);
        ExpectFound(names.back(), opened);
    }
    // Does a search pass over the others' names without reading them?
    bool AreMarked() const {
        const Specifications library = Open(LX_SHARE_READ);
        const Microphones microphones = library.Microphones();
        const std::uint64_t before = StatisticsOf(library.Get()).bytesRead;
        EXPECT_FALSE(microphones.FindName(u"somebody who is not there"));
        return StatisticsOf(library.Get()).bytesRead - before < 40 * names.size();
    }

    // What a program does that does not know of marks. With `countsCommits` it is one that numbers the states of the
    // file, else one that leaves the number as it finds it, and writes the versions of its classes.
    void RenameByAnotherProgram(std::size_t at, std::u16string_view name, bool countsCommits) {
        const GUID id = ParseGuid(Named(Open(LX_SHARE_READ), at).ID()).value();
        const Bytes before = FileBytes(path);
        {
            using namespace compound;
            const auto file = CompoundFile::Open(OpenFile(path, Access::Exclusive), Access::Exclusive);
            const auto write = [&](std::u16string_view stream, const auto& change) {
                const Stream old = file->Get(stream);
                Bytes bytes(old.Size());
                old.Read(0, bytes);
                change(bytes);
                const Piece piece = bytes;
                file->Write(stream, std::span(&piece, 1));
            };
            write(inside::StreamName(id), [&](Bytes& record) {
                inside::RecordWriter text;
                text.Text(name);
                std::uint32_t length = 0;
                std::memcpy(&length, &record[12], sizeof length);
                const Bytes head(record.begin(), record.begin() + 12), tail(record.begin() + 16 + length, record.end());
                record = head + text.Joined() + tail;
            });
            if (!countsCommits)
                write(inside::kVersionInfoStream, [](Bytes& bytes) { bytes.resize(bytes.size() - 20); });
            file->Commit();
        }
        Bytes after = FileBytes(path);
        if (!countsCommits) std::copy_n(before.begin() + 52, 4, after.begin() + 52);
        WriteFileBytes(path, after);
        names[at] = name;
    }
    void Repair(std::size_t losses, const std::function<void(Bytes& list)>& damage) {
        Streams streams = ReadDocument(path);
        damage(streams[inside::StreamNameOf(ParseGuid(listId).value())]);
        WriteDocument(path, streams);
        const std::filesystem::path repaired = folder / (path.stem().string() + " repaired.lvs");
        std::filesystem::remove(repaired);
        EXPECT_EQ(SalvageDocument(path, repaired).losses.size(), losses);
        path = repaired;
    }
    void SaveAnew(const std::function<void(const Specifications&)>& change) {
        Specifications library = Open();
        change(library);
        library.SaveFile();
    }
};

TEST_F(NameMarks, AreReadInsteadOfNamesInListsThatAreLongEnough) {
    for (const std::size_t count : {1, 31, 32, 33, 128, 129, 1000, 4096, 4097}) {
        SCOPED_TRACE(count);
        Save(count);
        EXPECT_TRUE(CheckDocument(path).empty());
        ExpectAllFound();
        const Streams streams = ReadDocument(path);
        const Bytes& list = streams.at(inside::StreamNameOf(ParseGuid(listId).value()));
        const Bytes& versions = streams.at(inside::kVersionInfoStream.data());
        std::uint32_t classes = 0;
        std::memcpy(&classes, versions.data(), sizeof classes);
        const std::size_t unmarked = 8 + 20 * count, unstamped = 4 + 20 * std::size_t{classes};
        if (count < 32) {
            EXPECT_EQ(list.size(), unmarked);
            EXPECT_EQ(versions.size(), unstamped);
            continue;
        }
        ASSERT_EQ(list.size(), unmarked + 16 + 4 * count);
        ASSERT_EQ(versions.size(), unstamped + 20);
        const Bytes marker = Hex("4C 56 4D 41 52 4B 53 31");
        EXPECT_EQ(AsHex(Bytes(list.begin() + unmarked, list.begin() + unmarked + 8)), AsHex(marker));
        EXPECT_EQ(AsHex(Bytes(versions.begin() + unstamped, versions.begin() + unstamped + 8)), AsHex(marker));
        EXPECT_EQ(std::memcmp(&list[unmarked + 8], &versions[unstamped + 8], 8), 0) << "the epoch";
        std::uint32_t header = 0, stamp = 0;
        std::memcpy(&header, &FileBytes(path)[52], sizeof header);
        std::memcpy(&stamp, &versions[unstamped + 16], sizeof stamp);
        EXPECT_EQ(stamp, header & ~1u);
        for (const std::size_t at : {std::size_t{0}, count / 2, count - 1}) {
            std::uint32_t mark = 0;
            std::memcpy(&mark, &list[unmarked + 16 + 4 * at], sizeof mark);
            EXPECT_EQ(mark, inside::MarkOf(names[at]));
        }
        const Specifications library = Open(LX_SHARE_READ);
        EXPECT_TRUE(library.Microphones().FindName(names.back()));
        EXPECT_LE(StatisticsOf(library.Get()).objectsLoaded, 2u);
        EXPECT_TRUE(count < 128 || AreMarked());
    }
}

// As docs/file-format.md has them. The sum is over all 65,536 names of one unit: with other upper-case letters, files
// would have other marks, under another marker.
TEST_F(NameMarks, AreTheSameInAllVersions) {
    const std::pair<std::u16string_view, std::uint32_t> known[] = {
        {u"", 0x811C9DC5}, {u"a", 0xC40BF6CC}, {u"A", 0xC40BF6CC}, {u"Mikrofon \u00E4\u03C2 12", 0x2246EB0A}};
    for (const auto& [name, mark] : known) EXPECT_EQ(inside::MarkOf(name), mark) << ToUtf8(name);
    std::uint32_t sum = 0;
    for (std::uint32_t unit = 0; unit < 0x10000; ++unit) {
        const auto single = static_cast<char16_t>(unit), upper = ToUpper(single);
        sum = sum * 31 + inside::MarkOf({&single, 1});
        ASSERT_EQ(inside::MarkOf({&single, 1}), inside::MarkOf({&upper, 1})) << unit;
    }
    EXPECT_EQ(sum, 3987956747u);
}

TEST_F(NameMarks, AreCurrentWhateverWasDoneToTheDocument) {
    struct Case {
        const char* what;
        bool marked;  // afterwards
        std::function<void()> does;
    };
    std::u16string other = PathText(folder / "other.lvs");
    const Case cases[] = {
        {"nothing", true, [] {}},
        {"the last renamed to the first's name", true,
         [&] { SaveAnew([&](auto& library) { Rename(library, names.size() - 1, names[0]); }); }},
        {"the first renamed, with searches before it and behind", true,
         [&] {
             SaveAnew([&](auto& library) {
                 ExpectAllFound(&library);
                 Rename(library, 0, u"renamed");
                 ExpectAllFound(&library);
                 Rename(library, 1, u"RENAMED");
                 ExpectAllFound(&library);
             });
         }},
        {"renamed in another case", true,
         [&] { SaveAnew([&](auto& library) { Rename(library, 7, u"mIKROFON \u00C4\u03C3 7"); }); }},
        {"renamed by its ID, with nothing else loaded", true,
         [&] {
             const std::u16string id = Named(Open(LX_SHARE_READ), 20).ID();
             SaveAnew([&](auto& library) { library.Load(id).template As<Microphone>().Name(u"renamed"); });
             names[20] = u"renamed";
         }},
        {"renamed, the save failing once", true,
         [&] {
             SaveAnew([&](auto& library) {
                 Rename(library, 3, u"renamed");
                 struct Stopped {};
                 EXPECT_THROW(SaveDocument(library.Get(), [](std::size_t, std::size_t) { throw Stopped(); }), Stopped);
                 ExpectAllFound(&library);
             });
         }},
        {"members added, removed and renamed", true,
         [&] {
             SaveAnew([&](auto& library) {
                 Rename(library, 10, u"late");
                 library.Microphones().Remove(1);
                 names.erase(names.begin());
                 library.Microphones().Remove(17);
                 names.erase(names.begin() + 16);
                 names.push_back(u"renamed");
                 library.Microphones().Add(names.back());
                 ExpectAllFound(&library);
             });
         }},
        {"a copy put into a renamed member", true,
         [&] {
             SaveAnew([&](auto& library) {
                 Rename(library, 5, u"renamed");
                 Named(library, 6).CopyContents(Named(library, 5));
                 names.push_back(names[8]);
                 Named(library, 8).Copy(library.Microphones());
             });
         }},
        {"something else changed twice", true,
         [&] {
             for (int times = 0; times < 2; ++times)
                 SaveAnew([&](auto& library) { library.Manufacturers().Add(u"a manufacturer"); });
         }},
        {"saved under another name, with a member renamed", true,
         [&] {
             Specifications library = Open();
             Rename(library, 2, u"renamed");
             library.SaveFileAs(other);
             path = other;
         }},
        {"closed, renamed and saved", true,
         [&] {
             Specifications library = Open();
             for (Microphone each : library.Microphones()) each.SampleRate(1);
             library.CloseFile();
             Rename(library, 2, u"renamed");
             ExpectAllFound(&library);
             library.SaveFileAs(other);
             path = other;
         }},
        {"compacted after another save", true,  // which has another number than the first one of the compacted file
         [&] {
             SaveAnew([&](auto& library) { library.Manufacturers().Add(u"a manufacturer"); });
             CompactDocument(path);
         }},
        {"repaired", false, [&] { Repair(0, [](Bytes&) {}); }},
        {"repaired, the number of members being wrong", false,
         [&] { Repair(0, [](Bytes& list) { list[5] = std::byte{9}; }); }},
        {"repaired, the marks being cut off", false,
         [&] { Repair(1, [](Bytes& list) { list.resize(list.size() - 20); }); }},
        {"written anew by another program", false, [&] { WriteDocument(path, ReadDocument(path)); }},
        {"renamed by another program that numbers states", false,
         [&] { RenameByAnotherProgram(names.size() - 1, u"renamed", true); }},
        {"renamed by another program that does not", false, [&] { RenameByAnotherProgram(4, u"renamed", false); }},
        {"the same, then saved here without the list", false,
         [&] {
             RenameByAnotherProgram(4, u"renamed", false);
             SaveAnew([&](auto& library) { library.Manufacturers().Add(u"a manufacturer"); });
         }},
        {"the same, then saved here with a marked list beside it", false,
         [&] {
             RenameByAnotherProgram(4, u"renamed", true);
             SaveAnew([&](auto& library) {
                 for (int count = 0; count < 40; ++count) library.Manufacturers().Add(u"a manufacturer");
             });
         }},
        {"the same, then the list searched, changed and saved here", true,
         [&] {
             RenameByAnotherProgram(4, u"renamed", true);
             SaveAnew([&](auto& library) {
                 ExpectAllFound(&library);
                 names.push_back(u"late");
                 library.Microphones().Add(names.back());
             });
         }},
    };
    for (const std::size_t count : {32, 200}) {
        for (const Case& each : cases) {
            SCOPED_TRACE(std::to_string(count) + ": " + each.what);
            Save(count);
            each.does();
            for (const DocumentProblem& problem : CheckDocument(path)) ADD_FAILURE() << problem.where << problem.what;
            ExpectAllFound();
            EXPECT_TRUE(count < 200 || AreMarked() == each.marked);
            SaveAnew([&](auto& library) { Rename(library, 30, u"renamed at last"); });
            EXPECT_TRUE(CheckDocument(path).empty());
            ExpectAllFound();
        }
    }
}

TEST_F(NameMarks, GoWithTheMembersThatAnItemTakesOver) {
    Save(1);
    SaveAnew([](const Specifications& library) {
        for (const char16_t* maker : {u"one", u"other"}) {
            const Models models = library.Manufacturers().Add(maker).Models();
            for (int model = 0; model < 40; ++model) models.Add(maker + Number(static_cast<std::size_t>(model)));
        }
    });
    const auto expectModels = [](const Specifications& library) {
        for (LONG maker = 1; maker <= 2; ++maker) {
            const Models models = library.Manufacturers().Item(maker).Models();
            EXPECT_TRUE(models.FindName(u"ONE39"));
            EXPECT_FALSE(models.FindName(u"other39"));
        }
    };
    SaveAnew([&](const Specifications& library) {
        library.Manufacturers().Item(1).CopyContents(library.Manufacturers().Item(2));
        expectModels(library);
    });
    expectModels(Open(LX_SHARE_READ));
}

// As from a file whose end cannot be read at the moment.
class MarksThatCannotBeRead final : public inside::StoredMembers {
public:
    explicit MarksThatCannotBeRead(inside::References list) : StoredMembers(list.size()), list_(std::move(list)) {}
    inside::Reference At(std::size_t index) const override { return list_[index]; }
    inside::References All() const override { return list_; }
    bool HasMarks() const override {
        if (!std::exchange(asked_, true)) throw inside::Failure(inside::kReadFault);
        return false;
    }
    void ReadMarks(std::size_t, std::span<inside::NameMark>) const override { ADD_FAILURE(); }
    inside::ReachedMember Reach(std::size_t index) override { return {list_[index], nullptr}; }
    bool LacksMembers() const override { return false; }
    void LeaveFile(std::size_t, IsLoaded) override {}

private:
    inside::References list_;
    mutable bool asked_ = false;
};

TEST_F(NameMarks, DoNotCountOnceOneOfThemCannotBeMended) {
    Save(200);
    SaveAnew([&](auto& library) {
        const Microphones microphones = library.Microphones();
        inside::Members& members = inside::InsideOf(microphones.Get())->AsCollection()->members;
        members.Load(std::make_unique<MarksThatCannotBeRead>(members.All()));
        Rename(library, 150, u"renamed");
        ExpectAllFound(&library);
    });
    EXPECT_FALSE(AreMarked());
    ExpectAllFound();
}

// Marks that are wrong, cut off, or of more members than there are: the check says so, and nothing else breaks.
TEST_F(NameMarks, ThatAreWrongAreToldByTheCheck) {
    constexpr std::size_t kCount = 40, kMarksAt = 8 + 20 * kCount;
    const std::tuple<const char*, std::size_t, std::function<void(Bytes&)>> damages[] = {
        {"mark", 1, [](Bytes& list) { list[kMarksAt + 16 + 4 * 7] ^= std::byte{1}; }},
        {"", 0, [](Bytes& list) { std::fill_n(&list[kMarksAt + 16], 8, std::byte{}); }},
        {"bytes follow", 1, [](Bytes& list) { list.pop_back(); }},
        {"bytes follow", 1, [](Bytes& list) { list.push_back(std::byte{}); }},
        {"bytes follow", 1, [](Bytes& list) { list.resize(kMarksAt + 12); }},
        {"bytes follow", 1, [](Bytes& list) { list[kMarksAt] = std::byte{}; }},
        {"", 0, [](Bytes& list) { list[kMarksAt + 9] ^= std::byte{1}; }},
    };
    for (const auto& [told, problems, damage] : damages) {
        Save(kCount);
        {
            using namespace compound;
            const std::u16string name = inside::StreamNameOf(ParseGuid(listId).value());
            Streams streams = ReadDocument(path);
            damage(streams[name]);
            const auto file = CompoundFile::Open(OpenFile(path, Access::Exclusive), Access::Exclusive);
            Bytes& versions = streams[inside::kVersionInfoStream.data()];
            versions = inside::Restamped(versions, file->Number(), file->NextNumber());
            for (const auto& changed : {name, std::u16string(inside::kVersionInfoStream)}) {
                const Piece piece = streams[changed];
                file->Write(changed, std::span(&piece, 1));
            }
            file->Commit();
        }
        const auto found = CheckDocument(path);
        ASSERT_EQ(found.size(), problems) << told;
        EXPECT_TRUE(problems == 0 || found[0].what.find(told) != std::string::npos) << found[0].what;
        if (std::string_view(told) != "mark") ExpectAllFound();
    }
}

}  // namespace
}  // namespace lumvex::tests
