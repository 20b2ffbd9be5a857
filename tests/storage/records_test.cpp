// The streams of a document byte for byte: what is written, and that it reads back.
#include <set>

#include "core/base/guid_order.hpp"
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "kit/random.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/records/sorted_records.hpp"

namespace lumvex::tests {
namespace {

// An ID's text as hexadecimal digits of its bytes in memory.
std::string BytesOf(std::u16string_view idText) {
    const GUID id = ParseGuid(idText).value();
    Bytes bytes(sizeof id);
    std::memcpy(bytes.data(), &id, sizeof id);
    return AsHex(bytes) + " ";
}

void ExpectSame(const Streams& found, const Streams& expected) {
    for (const auto& [name, bytes] : expected) {
        const auto stream = found.find(name);
        ASSERT_NE(stream, found.end()) << ToUtf8(name);
        EXPECT_EQ(AsHex(stream->second), AsHex(bytes)) << ToUtf8(name);
    }
    for (const auto& [name, bytes] : found) EXPECT_TRUE(expected.contains(name)) << ToUtf8(name) << " is not expected";
}

class Records : public ::testing::Test {
protected:
    // The small document, opened.
    Project Open(const Streams& streams = SmallDocument()) {
        WriteDocument(path, streams);
        Project project = Project::Create();
        project.OpenFile(PathText(path));
        return project;
    }
    // What stands in the file once the root has let go of it; the version information apart.
    Streams Saved(Project& project) {
        project.SaveFile();
        project = Project();
        EXPECT_TRUE(CheckDocument(path).empty());
        Streams streams = ReadDocument(path);
        streams.erase(u"VERSIONINFO-V000");
        return streams;
    }
    static Streams Expected() {
        Streams streams = SmallDocument();
        streams.erase(u"VERSIONINFO-V000");
        streams[u"PROJECTSETTINGS-V100"] = Hex("01 00 01 80  00 00 00 00");
        return streams;
    }

    const Folder folder;
    const std::filesystem::path path = folder / "small.lvx";
};

TEST_F(Records, TheSmallDocumentReadsAsWhatItSays) {
    Project project = Open();
    EXPECT_EQ(project.ID(), kProjectId);
    EXPECT_EQ(project.VersionSupport(), LX_VER_RW_COMPATIBLE);
    const Data data = project.Data();
    EXPECT_EQ(data.ID(), kDataId);
    ASSERT_EQ(data.Count(), 2);
    const Datum first = data.Item(1), second = data.Item(2);
    EXPECT_EQ(first.ID(), kFirstId);
    EXPECT_EQ(first.Name(), u"A");
    EXPECT_EQ(first.Timestamp(), 1.5);
    EXPECT_EQ(first.SampleRate(), 44100);
    EXPECT_EQ(ContentOf(first.Data()), FloatContent({1, 2, 3}));
    EXPECT_EQ(second.ID(), kSecondId);
    EXPECT_EQ(second.Name(), u"Second");
    EXPECT_TRUE(second.Data().Empty());
    EXPECT_EQ(project.Units(), LX_UNITS_METRIC);
    EXPECT_FALSE(project.Modified()) << "looking changes nothing";
}

TEST_F(Records, ASaveOfNothingKeepsEveryByte) {
    Project project = Open();
    ExpectSame(Saved(project), Expected());
    project = Open();
    EXPECT_EQ(project.Data().Item(1).Name(), u"A");
    EXPECT_EQ(project.Data().Item(2).Name(), u"Second");
    ExpectSame(Saved(project), Expected());
}

TEST_F(Records, RootRecordSettingsAndWorkspace) {
    Project project = Open();
    project.Units(LX_UNITS_IMPERIAL);
    project.WorkspaceData(ArrayOf<BYTE>(VT_UI1, {{3, 2}}, {1, 254, 7}));
    Streams expected = Expected();
    expected[u"PROJECTSETTINGS-V100"] = Hex("01 00 01 80  01 00 00 00");
    Bytes record = SmallRootRecord();
    record.resize(record.size() - 2);
    record = record + Hex("02 00  01 00 00 00  11 00  02 00 00 00 04 00 00 00  01 FE 07");
    expected[u"ROOT"] = record;
    expected[u"ROOT-V200"] = Hex("00 10 00 90") + record;
    ExpectSame(Saved(project), expected);

    Project again = Project::Create();
    again.OpenFile(PathText(path));
    EXPECT_EQ(again.Units(), LX_UNITS_IMPERIAL);
    EXPECT_EQ(ContentOf(again.WorkspaceData()), (Content{VT_UI1, {2}, {3}, {1, 254, 7}}));
    again.Units(static_cast<LXUnits>(-5));
    again.WorkspaceData(Variant());
    expected = Expected();
    expected[u"PROJECTSETTINGS-V100"] = Hex("01 00 01 80  FB FF FF FF");
    ExpectSame(Saved(again), expected);
}

TEST_F(Records, LockCountersAscendAndGoWhenTheyAreZero) {
    Project project = Open();
    project.Data().Item(2).Locks(-5);
    project.Data().Item(1).Locks(3);
    Streams expected = Expected();
    expected[u"LOCKS-V100"] = Hex("02 00 00 00" + kFirstIdBytes + "03 00 00 00" + kSecondIdBytes + "FB FF FF FF");
    ExpectSame(Saved(project), expected);

    project = Project::Create();
    project.OpenFile(PathText(path));
    EXPECT_EQ(project.Data().Item(1).Locks(), 3);
    EXPECT_EQ(project.Data().Item(2).Locks(), -5);
    EXPECT_TRUE(FailsWith(4008, project.Data().Get()->Remove(1)));
    project.Data().Item(1).Locks(0);
    expected[u"LOCKS-V100"] = Hex("01 00 00 00" + kSecondIdBytes + "FB FF FF FF");
    ExpectSame(Saved(project), expected);

    project = Project::Create();
    project.OpenFile(PathText(path));
    project.Data().Item(2).Locks(0);
    ExpectSame(Saved(project), Expected());
}

TEST_F(Records, ChangedItemsAndOlderRecords) {
    Streams older = SmallDocument();
    const Bytes version1 =
        Hex("01 00 01 80  00 00 00 00 00 00 F8 3F  04 00 00 00 41 00 00 00"
            "01 00 01 00 00 00 08 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00 00 00 F0 BF");
    older[kFirstStream] = version1;
    Project project = Open(older);
    EXPECT_EQ(project.Data().Item(1).SampleRate(), 48000);
    EXPECT_EQ(ContentOf(project.Data().Item(1).Data()), FloatContent({-1}));
    project.Data().Item(2).Name(u"");
    project.Data().Item(2).Timestamp(-1.25);
    Streams expected = Expected();
    expected[kFirstStream] = version1;  // not touched, not rewritten
    expected[kSecondStream] = Hex("02 00 01 80  00 00 00 00 00 00 F4 BF  00 00 00 00  00 00  80 BB 00 00");
    ExpectSame(Saved(project), expected);

    project = Project::Create();
    project.OpenFile(PathText(path));
    project.Data().Item(1).SampleRate(-1);
    expected[kFirstStream] =
        Hex("02 00 01 80  00 00 00 00 00 00 F8 3F  04 00 00 00 41 00 00 00"
            "02 00 01 00 00 00 05 00  00 00 00 00 00 00 00 00  00 00 00 00 00 00 F0 BF  FF FF FF FF");
    ExpectSame(Saved(project), expected);
}

TEST_F(Records, RemovedItemsLeaveNothingBehind) {
    Project project = Open();
    project.Data().Item(2).Locks(1);
    project.SaveFile();
    project.Data().Item(2).Locks(0);
    project.Data().RemoveAll();
    Streams expected = Expected();
    expected.erase(kFirstStream);
    expected.erase(kSecondStream);
    expected[kDataStream] = Hex("01 00 01 80  00 00 00 00");
    expected[u"ROOTDIR-V100"] = Hex("02 00 00 00" + kProjectIdBytes + kNoId + kProjectClass + "07 00 00 00" +  //
                                    kDataIdBytes + kNoId + kDataClass + "00 00 00 00");
    ExpectSame(Saved(project), expected);
}

TEST_F(Records, ANewDocument) {
    Project project = Project::Create();
    project.SaveFileAs(PathText(path));
    const std::string root = BytesOf(project.ID());
    const Bytes empty = Hex(root + "00 00 00 00  00 00  00 00  00 00  00 00  00 00  00 00  00 00  00 00");
    Streams expected{{u"ROOT", empty},
                     {u"ROOT-V200", Hex("00 10 00 90") + empty},
                     {u"ROOTDIR-V100", Hex("01 00 00 00" + root + kNoId + kProjectClass + "00 00 00 00")},
                     {u"PROJECTSETTINGS-V100", Hex("01 00 01 80  00 00 00 00")}};
    ExpectSame(Saved(project), expected);

    project = Project::Create();
    project.OpenFile(PathText(path));
    const std::string data = BytesOf(project.Data().ID());
    const Streams found = Saved(project);
    const Bytes record =
        Hex(root + "00 00 00 00  00 00  00 00  00 00  00 00  00 00  00 00  01 00" + data + "00 00 00 00  00 00");
    EXPECT_EQ(AsHex(found.at(u"ROOT")), AsHex(record));
    EXPECT_EQ(found.size(), 5u);
    for (const auto& [name, bytes] : found) {
        if (name.size() == 26) {
            EXPECT_EQ(AsHex(bytes), "01 00 01 80 00 00 00 00") << "an empty collection";
        }
    }
    const bool rootFirst = Hex(root) < Hex(data);
    const std::string rootRow = root + kNoId + kProjectClass + "00 00 00 00",
                      dataRow = data + kNoId + kDataClass + "00 00 00 00";
    EXPECT_EQ(AsHex(found.at(u"ROOTDIR-V100")),
              AsHex(Hex("02 00 00 00" + (rootFirst ? rootRow + dataRow : dataRow + rootRow))));
}

TEST_F(Records, VersionInformationAscendsAndNamesEveryClassOnce) {
    Project project = Project::Create();
    project.SaveFileAs(PathText(path));
    project = Project();
    const Bytes stream = ReadDocument(path).at(u"VERSIONINFO-V000");
    std::uint32_t count = 0;
    std::memcpy(&count, stream.data(), sizeof count);
    ASSERT_EQ(stream.size(), 4 + std::size_t{count} * 20);
    std::map<std::string, std::string> words;
    for (std::size_t at = 4; at < stream.size(); at += 20) {
        const auto entry = stream.begin() + static_cast<std::ptrdiff_t>(at);
        if (at > 4) {
            EXPECT_LT(std::memcmp(&*(entry - 20), &*entry, 16), 0) << "entry " << (at - 4) / 20;
        }
        words[AsHex(Bytes(entry, entry + 16))] = AsHex(Bytes(entry + 16, entry + 20));
    }
    EXPECT_EQ(words.at(kProjectClass), "00 10 00 90");
    EXPECT_EQ(words.at(kDataClass), "01 00 01 80");
    EXPECT_EQ(words.at(kDatumClass), "02 00 01 80");
}

// The order of bytes decides in the tables, not the order of the numbers in the text.
TEST_F(Records, ObjectsAreFoundInTheDirectoryByTheBytesOfTheirIDs) {
    Project project = Project::Create();
    std::vector<std::u16string> ids;
    for (int member = 0; member < 300; ++member) ids.push_back(project.Data().Add(u"member").ID());
    project.SaveFileAs(PathText(path));
    project = Project::Create();
    project.OpenFile(PathText(path));
    for (const std::u16string& id : ids) EXPECT_EQ(project.Load(id).As<Datum>().ID(), id);
    project = Project();
    const Bytes table = ReadDocument(path).at(u"ROOTDIR-V100");
    ASSERT_EQ(table.size(), 4u + 302 * 52);
    for (std::size_t at = 4 + 52; at < table.size(); at += 52)
        EXPECT_LT(std::memcmp(&table[at - 52], &table[at], 16), 0);
}

// IDs of any distribution: random, in a row, in bunches, and both ends of what there is.
TEST(SortedRecords, FindWhatIsThereAndNothingElse) {
    Random random(7);
    const auto idOf = [](std::uint64_t leading, std::uint64_t rest) {
        Bytes bytes(sizeof(GUID));
        for (std::size_t at = 0; at < 8; ++at) bytes[at] = std::byte(leading >> (56 - 8 * at));
        std::memcpy(&bytes[8], &rest, sizeof rest);
        GUID id;
        std::memcpy(&id, bytes.data(), sizeof id);
        return id;
    };
    for (const int kind : {0, 1, 2, 3})
        for (const std::size_t count : {0, 1, 2, 8, 9, 10, 100, 5000}) {
            std::set<GUID, inside::GuidLess> all, expected;
            if (count > 8) all = {idOf(0, 0), idOf(~std::uint64_t{0}, ~std::uint64_t{0})};
            for (std::uint64_t number = 0; all.size() < count; ++number) {
                const std::uint64_t any = random.Next();
                const std::uint64_t leading = kind == 0   ? any
                                              : kind == 1 ? number / 2
                                              : kind == 2 ? (any >> 62 << 62) + number
                                                          : ~std::uint64_t{0} - (any >> 40 << 8);
                all.insert(idOf(leading, kind == 1 ? number % 2 : random.Next()));
            }
            // They come in another order: some with a first table, others with changes to it, which also remove some.
            std::vector<GUID> ids(all.begin(), all.end());
            for (std::size_t at = ids.size(); at > 1; --at) std::swap(ids[at - 1], ids[random.Below(at)]);
            inside::SortedRecords::Changes first(sizeof(GUID)), second(sizeof(GUID));
            for (const GUID& id : ids) {
                const auto fate = random.Below(5);
                if (fate == 0) continue;
                if (fate <= 3) first.put.Append(&id);
                if (fate >= 3) second.put.Append(&id);
                if (fate == 2) second.removed.push_back(id);
                if (fate != 2) expected.insert(id);
            }
            const auto stored = [](const inside::SortedRecords::Content& content) {
                Bytes bytes;
                for (const compound::Piece& piece : content.Pieces())
                    bytes.insert(bytes.end(), piece.begin(), piece.end());
                return std::make_shared<inside::MemorySource>(std::move(bytes));
            };
            inside::SortedRecords table(sizeof(GUID));
            table.Open(stored(table.Merged(std::move(first))));
            table.Open(stored(table.Merged(std::move(second))));
            ASSERT_EQ(table.Count(), expected.size());
            std::size_t at = 0;
            for (const GUID& id : all) {
                const bool isThere = expected.contains(id);
                ASSERT_EQ(table.IndexOf(id), isThere ? std::optional(at) : std::nullopt) << kind << ", " << count;
                at += isThere ? 1 : 0;
            }
        }
}

}  // namespace
}  // namespace lumvex::tests
