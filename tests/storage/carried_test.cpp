// What this program does not know, or never looked at, goes along unchanged.
#include "kit/folders.hpp"
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/maintenance.hpp"

namespace lumvex::tests {
namespace {

const std::string kForeignId = "E0 E1 E2 E3 E4 E5 E6 E7 E8 E9 EA EB EC ED EE EF ";
const std::string kForeignClass = "77 77 77 77 77 77 77 77 77 77 77 77 77 77 77 77 ";
const std::u16string kForeignStream = u"SFHE3O79SNJUDQ79T7LEPRFFTS";  // any ID's name will do

Streams WithForeignParts() {
    Streams streams = SmallDocument();
    // A library that is nowhere: ID and path.
    const Bytes record = Hex(kProjectIdBytes + "07 00 00 00" +                                                 //
                             "00 00  00 00  00 00  00 00  00 00" +                                             //
                             "01 00" + kForeignId + "0E 00 00 00 61 00 2F 00 62 00 2E 00 6C 00 73 00 00 00" +  //
                             "01 00" + kDataIdBytes + "00 00 00 00  00 00");
    streams[u"ROOT"] = record;
    streams[u"ROOT-V200"] = Hex("00 10 00 90") + record;
    streams[u"ROOTDIR-V100"] = Hex("05 00 00 00" +                                                  //
                                   kProjectIdBytes + kNoId + kProjectClass + "07 00 00 00" +        //
                                   kDataIdBytes + kNoId + kDataClass + "00 00 00 00" +              //
                                   kFirstIdBytes + kNoId + kDatumClass + "05 00 00 00" +            //
                                   kSecondIdBytes + kSecondIdBytes + kDatumClass + "00 00 00 00" +  //
                                   kForeignId + kForeignId + kForeignClass + "FF FF FF FF");
    streams[u"LOCKS-V100"] = Hex("02 00 00 00" + kSecondIdBytes + "01 00 00 00" + kForeignId + "02 00 00 00");
    streams[u"PROJECTSETTINGS-V100"] = Hex("01 00 01 80  00 00 00 00");
    streams[kForeignStream] = Bytes(5000, std::byte{0x5A});
    streams[u"Somebody else's"] = Hex("DE AD BE EF");
    streams[u"Empty"] = {};
    return streams;
}

void ExpectCarried(const std::filesystem::path& path, const Streams& changed) {
    Streams expected = WithForeignParts();
    for (const auto& [name, bytes] : changed) expected[name] = bytes;
    Streams found = ReadDocument(path);
    EXPECT_TRUE(found.erase(u"VERSIONINFO-V000"));
    expected.erase(u"VERSIONINFO-V000");
    for (const auto& [name, bytes] : expected) {
        ASSERT_TRUE(found.contains(name)) << ToUtf8(name);
        EXPECT_TRUE(found[name] == bytes) << ToUtf8(name) << ": " << AsHex(found[name]).substr(0, 600);
    }
    EXPECT_EQ(found.size(), expected.size());
}

class Carried : public ::testing::Test {
protected:
    Carried() {
        WriteDocument(folder / "from.lvx", WithForeignParts());
        project.OpenFile(PathText(folder / "from.lvx"));
    }
    const Folder folder;
    Project project = Project::Create();
};

TEST_F(Carried, ThroughASave) {
    project.Data().Item(1).Timestamp(1.5);
    project.SaveFile();
    project = Project();
    ExpectCarried(folder / "from.lvx", {});
}

TEST_F(Carried, ThroughSaveAsWithNothingLoaded) {
    project.SaveFileAs(PathText(folder / "to.lvx"));
    project = Project();
    ExpectCarried(folder / "to.lvx", {});
    ExpectCarried(folder / "from.lvx", {});
}

TEST_F(Carried, ThroughSaveAsWithSomeChanged) {
    project.Data().Item(2).SampleRate(96000);
    Bytes second = SecondRecord();
    second.resize(second.size() - 4);
    project.SaveFileAs(PathText(folder / "to.lvx"));
    project = Project();
    ExpectCarried(folder / "to.lvx", {{kSecondStream, second + Hex("00 77 01 00")}});
}

TEST_F(Carried, AndThenNothingIsLostWithTheSource) {
    const Datum held = project.Data().Item(1);
    project.SaveFileAs(PathText(folder / "to.lvx"));
    std::filesystem::remove(folder / "from.lvx");
    EXPECT_EQ(ContentOf(held.Data()), FloatContent({1, 2, 3}));
    EXPECT_EQ(project.Data().Item(2).Name(), u"Second");
    EXPECT_EQ(project.Data().Item(2).Locks(), 1);
}

// Folders with what they hold, and what the root storage says of itself: class ID, state bits, times.
TEST_F(Carried, FoldersOfOtherProgramsGoAlongToo) {
    Streams streams = WithForeignParts();
    const std::map<std::u16string, std::u16string> folderOf{
        {u"short", u"Folder"}, {u"long", u"Below"}, {u"Below", u"Folder"}, {u"Somebody else's", u"Second folder"}};
    streams[u"short"] = Bytes(100, std::byte{1});
    streams[u"long"] = Bytes(100'000, std::byte{2});
    streams[u"Folder"] = streams[u"Below"] = streams[u"Second folder"] = {};
    WriteDocument(folder / "folders.lvx", streams);
    Bytes image = FileBytes(folder / "folders.lvx");
    PutIntoFolders(image, folderOf);
    WriteFileBytes(folder / "folders.lvx", image);
    auto expected = Everything(image);
    ASSERT_EQ(expected.count(u"/Folder/Below/long"), 1u);

    const auto expectAt = [&](const char* name) {
        auto found = Everything(FileBytes(folder / name));
        for (auto* each : {&expected, &found}) each->erase(u"/VERSIONINFO-V000");
        EXPECT_TRUE(found == expected) << name;
        for (const DocumentProblem& problem : CheckDocument(folder / name))
            EXPECT_NE(problem.where, "header") << problem.what;
    };
    project = Project::Create();
    project.AccessMode(LX_SHARE_READWRITE);
    project.OpenFile(PathText(folder / "folders.lvx"));
    project.SaveFileAs(PathText(folder / "to.lvx"));
    expectAt("to.lvx");
    project.SaveFile();
    expectAt("to.lvx");
    project = Project();
    CompactDocument(folder / "to.lvx");
    expectAt("to.lvx");
}

TEST_F(Carried, AnOldFilesDirectoryIsRebuiltFromWhatTheRootReaches) {
    Streams streams = SmallDocument();
    streams.erase(u"ROOTDIR-V100");
    streams.erase(u"VERSIONINFO-V000");
    WriteDocument(folder / "old.lvx", streams);
    EXPECT_TRUE(CheckDocument(folder / "old.lvx").empty());
    project = Project::Create();
    project.OpenFile(PathText(folder / "old.lvx"));
    EXPECT_EQ(project.Load(kSecondId).As<Datum>().Name(), u"Second");
    project.SaveFile();
    project = Project();
    EXPECT_EQ(AsHex(ReadDocument(folder / "old.lvx").at(u"ROOTDIR-V100")),
              AsHex(Hex("04 00 00 00" +                                            //
                        kProjectIdBytes + kNoId + kProjectClass + "07 00 00 00" +  //
                        kDataIdBytes + kNoId + kDataClass + "00 00 00 00" +        //
                        kFirstIdBytes + kNoId + kDatumClass + "05 00 00 00" +      //
                        kSecondIdBytes + kNoId + kDatumClass + "00 00 00 00")));

    // A lock counter of an object that is nowhere: it would be saved with the new directory, which lacks the object.
    streams[u"LOCKS-V100"] = Hex("02 00 00 00" + kSecondIdBytes + "01 00 00 00" + kForeignId + "02 00 00 00");
    WriteDocument(folder / "locks.lvx", streams);
    const auto locks = CheckDocument(folder / "locks.lvx");
    ASSERT_EQ(locks.size(), 1u);
    EXPECT_EQ(locks[0].where, "lock counters");
    EXPECT_NE(locks[0].what.find("E3E2E1E0-E5E4-E7E6-E8E9-EAEBECEDEEEF"), std::string::npos) << locks[0].what;

    // Which kind of document it is, its root record says: of a library, two references.
    WriteDocument(folder / "library.lvx", {{u"ROOT", Hex(kProjectIdBytes + "00 00 00 00  00 00  00 00")}});
    EXPECT_TRUE(CheckDocument(folder / "library.lvx").empty());
    WriteDocument(folder / "neither.lvx", {{u"ROOT", Hex(kProjectIdBytes + "00 00 00 00  00 00  00 00  00")}});
    const auto problems = CheckDocument(folder / "neither.lvx");
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_EQ(problems[0].what, "nothing says which kind of document this is");
}

TEST_F(Carried, TheCheckSaysThatAFileWasCutShort) {
    WriteDocument(folder / "whole.lvx", SmallDocument());
    Bytes bytes = FileBytes(folder / "whole.lvx");
    bytes.resize(bytes.size() - 100);
    WriteFileBytes(folder / "cut.lvx", bytes);
    std::string told;
    for (const DocumentProblem& problem : CheckDocument(folder / "cut.lvx")) told += problem.what + "\n";
    EXPECT_NE(told.find("it was cut short"), std::string::npos) << told;
}

}  // namespace
}  // namespace lumvex::tests
