// Which files are ours to read: the version information and the word at the head of the root record.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

struct Opened {
    HRESULT status;
    LXVersionSupport support;
};

// Opens a document; one that opens must be whole, one that is refused must leave the root without a file.
Opened Open(const Streams& streams) {
    const Folder folder;
    WriteDocument(folder / "a.lvx", streams);
    Project project = Project::Create();
    const HRESULT status = project.Get()->OpenFile(Bstr(PathText(folder / "a.lvx")).get());
    const ErrorInformation told = TakeErrorInfo();
    EXPECT_EQ(told.present, FAILED(status));
    if (SUCCEEDED(status)) {
        EXPECT_EQ(project.Data().Item(1).Name(), u"A");
        EXPECT_EQ(project.ID(), kProjectId);
    } else {
        EXPECT_EQ(told.description, u"The file format is not recognized");
        EXPECT_EQ(told.source, kProject);
        EXPECT_TRUE(FailsWith(4005, project.Get()->SaveFile(), kProject));
        EXPECT_NE(project.ID(), kProjectId);
    }
    return {status, project.VersionSupport()};
}

std::string LittleEndian(std::uint32_t word) {
    Bytes bytes(sizeof word);
    std::memcpy(bytes.data(), &word, sizeof word);
    return AsHex(bytes) + " ";
}

constexpr HRESULT kRefused = Status(0x80040FAE);

TEST(Versions, TheWordOfTheRootRecord) {
    const struct {
        std::uint32_t word;
        bool withInformation, withoutInformation;  // does the file open
    } cases[] = {
        {0x90001000, true, true},   // what we write
        {0x90011000, false, true},  // minimum reader 0x1001
        {0x9000FFFF, true, false},  // written by a newer program for readers like this one
        {0x80001001, true, false},
        {0x90000FFF, false, true},  // a minimum reader above its own writer
        {0x80010001, true, true},
        {0x80000000, true, true},
        {0xFFFFFFFF, false, false},
        {0xFFFF1000, false, true},
        {0x00001000, true, true},  // names no minimum reader
        {0x00000001, true, true},
        {0x00001001, false, false},
        {0x00010001, true, true},  // bits 16 and 19 do not
                                   // matter then
        {0x00080001, true, true},
        {0x00020001, false, true},  // bits 17, 18, 20 to 30 do
        {0x00040001, false, true},
        {0x00100001, false, true},
        {0x40000001, false, true},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(InHex(Status(each.word)));
        Streams streams = SmallDocument();
        streams[u"ROOT-V200"] = Hex(LittleEndian(each.word)) + SmallRootRecord();
        Opened opened = Open(streams);
        EXPECT_EQ(opened.status, each.withInformation ? S_OK : kRefused);
        EXPECT_EQ(opened.support, each.withInformation ? LX_VER_RW_COMPATIBLE : LX_VER_INCOMPATIBLE);
        streams.erase(u"VERSIONINFO-V000");
        opened = Open(streams);
        EXPECT_EQ(opened.status, each.withoutInformation ? S_OK : kRefused);
        EXPECT_EQ(opened.support, each.withoutInformation ? LX_VER_DEPRECATED : LX_VER_INCOMPATIBLE);
    }
}

TEST(Versions, TheOlderRootStream) {
    Streams streams = SmallDocument();
    streams.erase(u"ROOT-V200");
    EXPECT_EQ(Open(streams).status, S_OK);
    streams.erase(u"VERSIONINFO-V000");
    EXPECT_EQ(Open(streams).support, LX_VER_DEPRECATED);
    streams.erase(u"ROOTDIR-V100");
    EXPECT_EQ(Open(streams).status, S_OK) << "the oldest files have nothing but the older root record";

    // With both, the newer stands; of the older nothing is read.
    streams = SmallDocument();
    streams[u"ROOT"] = Hex("FF");
    EXPECT_EQ(Open(streams).status, S_OK);
}

TEST(Versions, TheVersionInformation) {
    const auto entry = [](const std::string& id, std::uint32_t word) { return id + " " + LittleEndian(word); };
    const std::string unknown = "77 77 77 77 77 77 77 77 77 77 77 77 77 77 77 77";
    const struct {
        const char* what;
        std::string stream;
        int support;
    } cases[] = {
        {"no entries", "00 00 00 00", 0},
        {"our own words", "02 00 00 00" + entry(kDatumClass, 0x80010002) + entry(kProjectClass, 0x90001000), 0},
        {"an older writer", "01 00 00 00" + entry(kDatumClass, 0x80010001), 0},
        {"an unknown class, whatever its word", "01 00 00 00" + entry(unknown, 0xFFFF0001), 0},
        {"a newer writer", "01 00 00 00" + entry(kDatumClass, 0x80010003), 1},
        {"a newer writer for readers like us", "01 00 00 00" + entry(kDatumClass, 0x80020007), 1},
        {"one of several", "02 00 00 00" + entry(kDataClass, 0x80010001) + entry(kDatumClass, 0x8001FFFF), 1},
        {"a newer root", "01 00 00 00" + entry(kProjectClass, 0x90001001), 1},
        {"a newer minimum reader", "01 00 00 00" + entry(kDatumClass, 0x80030003), 3},
        {"the flag does not matter", "01 00 00 00" + entry(kDatumClass, 0x00030003), 3},
        {"nothing is read behind it", "09 00 00 00" + entry(kDatumClass, 0x80030003), 3},
        {"a minimum reader above its writer", "01 00 00 00" + entry(kDatumClass, 0x80020001), -1},
        {"and above ours", "01 00 00 00" + entry(kDatumClass, 0x80030002), -1},
        {"an entry short", "02 00 00 00" + entry(kDatumClass, 0x80010002), -1},
        {"a byte short", "01 00 00 00" + kDatumClass + "02 00 01", -1},
        {"a count of all there are", "FF FF FF FF" + entry(kDatumClass, 0x80010002), -1},
        {"half a count", "00 00", -1},
        {"nothing", "", -1},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        Streams streams = SmallDocument();
        streams[u"VERSIONINFO-V000"] = Hex(each.stream);
        const Opened opened = Open(streams);
        EXPECT_EQ(opened.support, each.support);
        EXPECT_EQ(opened.status, each.support == 0 || each.support == 1 ? S_OK : kRefused);
    }
}

TEST(Versions, RecordsOfNewerReadersAreRefusedOneByOne) {
    const Folder folder;
    Streams streams = SmallDocument();
    streams[kDataStream] = Hex("02 00 02 80  00 00 00 00");
    WriteDocument(folder / "collection.lvx", streams);
    Project project = Project::Create();
    project.OpenFile(PathText(folder / "collection.lvx"));
    Ref<IData> data;
    EXPECT_TRUE(FailsWith(4014, project.Get()->get_Data(data.Out()), kProject));
    EXPECT_FALSE(data);

    streams = SmallDocument();
    streams[u"PROJECTSETTINGS-V100"] = Hex("02 00 02 80  01 00 00 00");
    EXPECT_EQ(Open(streams).status, kRefused);
    streams[u"PROJECTSETTINGS-V100"] = Hex("02 00 01 80  01 00 00 00  99");
    EXPECT_EQ(Open(streams).status, S_OK) << "a newer writer appends";
}

}  // namespace
}  // namespace lumvex::tests
