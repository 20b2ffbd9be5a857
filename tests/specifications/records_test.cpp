// The records of a library as older programs wrote them.
#include "kit/hand_made.hpp"
#include "kit/listener.hpp"
#include "storage/document/document_file.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::tests {
namespace {

const std::string kNoTag = "00 00 00 00 ";

// One whose file can be read while it is open.
Specifications NewLibrary() {
    Specifications library = Specifications::Create();
    library.AccessMode(LX_SHARE_READWRITE);
    return library;
}

// Bytes of the ID {n0, n1, ... nF}: the library is 0, Manufacturers 1, Microphones 2, and so on.
std::string Id(unsigned n) {
    Bytes bytes;
    for (unsigned at = 0; at < 16; ++at) bytes.push_back(static_cast<std::byte>(n * 16 + at));
    return AsHex(bytes) + " ";
}
std::u16string Stream(unsigned n) {
    GUID id;
    std::memcpy(&id, Hex(Id(n)).data(), sizeof id);
    return inside::StreamNameOf(id);
}

// Name "X", undated.
const std::string kHead = "00 00 00 00 00 00 00 00  04 00 00 00  58 00  00 00 ";

// One manufacturer, one model, one model configuration, one microphone; without directory and version information.
Streams OldLibrary(const std::string& modelConfig, const std::string& microphone) {
    const std::string collection = "01 00 01 80  01 00 00 00", item = "01 00 01 80" + kHead + "01 00";
    return {{u"ROOT", Hex(Id(0) + kNoTag + "01 00" + Id(1) + kNoTag + "01 00" + Id(2) + kNoTag)},
            {Stream(1), Hex(collection + Id(3) + kNoTag)},
            {Stream(2), Hex(collection + Id(4) + kNoTag)},
            {Stream(3), Hex(item + Id(5) + kNoTag)},
            {Stream(4), Hex(microphone)},
            {Stream(5), Hex(collection + Id(6) + kNoTag)},
            {Stream(6), Hex(item + Id(7) + kNoTag)},
            {Stream(7), Hex(collection + Id(8) + kNoTag)},
            {Stream(8), Hex(modelConfig)}};
}

const std::string kMicrophone = "03 00 02 80" + kHead + "01 00 00 00  00 00 00 00  00 00 80 3F  00 00  80 BB 00 00";

Specifications Opened(const Folder& folder, const Streams& streams) {
    WriteDocument(folder / "old.lvs", streams);
    Specifications library = NewLibrary();
    library.OpenFile(PathText(folder / "old.lvs"));
    return library;
}

TEST(LibraryRecords, OddModelConfigurations) {
    const struct {
        std::string what, record;
        HRESULT status;
        int id;
    } cases[] = {
        {"0 with what looks like a number behind", "00 00 00 00" + kHead + "00 00  03 00 00 00", S_OK, 1},
        {"1", "01 00 00 00" + kHead + "00 00  03 00 00 00", S_OK, 3},
        {"1, any flag but 0", "01 00 01 80" + kHead + "00 80" + Id(9) + kNoTag + "04 00 00 00", S_OK, 4},
        {"2, number 0", "02 00 02 80" + kHead + "00 00 00 00", S_OK, 1},
        {"2, a negative number", "02 00 02 80" + kHead + "F9 FF FF FF", S_OK, 1},
        {"2, beyond the table", "02 00 02 80" + kHead + "05 00 00 00", E_FAIL, 0},
        {"1, beyond the table", "01 00 01 80" + kHead + "00 00  FF FF FF 7F", E_FAIL, 0},
        {"one that needs a newer reader", "05 00 03 80" + kHead + "02 00 00 00", Status(0x80040FAE), 0},
        {"1, cut in the older reference", "01 00 01 80" + kHead + "01 00" + Id(9), inside::kReadFault, 0},
        {"2, cut", "02 00 02 80" + kHead + "01 00 00", inside::kReadFault, 0},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE("version " + each.what);
        const Folder folder;
        const Specifications library = Opened(folder, OldLibrary(each.record, kMicrophone));
        const ModelConfigs configs = library.Manufacturers().Item(1).Models().Item(1).ModelConfigs();
        ASSERT_EQ(configs.Count(), 1);
        Ref<IModelConfig> reached;
        EXPECT_EQ(configs.Get()->get_Item(1, reached.Out()), each.status);
        if (!reached) continue;
        const ModelConfig config(reached);
        EXPECT_EQ(static_cast<int>(config.ConfigID()), each.id);
        EXPECT_EQ(config.Config().Pointer(), library.Configs().Item(each.id).Pointer());
        EXPECT_EQ(config.Name(), u"X");
    }
    TakeErrorInfo();
}

// The empty record of one kind of root would do for the other.
TEST(LibraryRecords, ADocumentOfTheOtherKindIsRefused) {
    const Folder folder;
    Specifications library = Specifications::Create();
    library.SaveFileAs(PathText(folder / "a.lvs"));
    library.CloseFile();
    Project project = Project::Create();
    project.SaveFileAs(PathText(folder / "a.lvp"));
    project.CloseFile();
    const Bytes bytes = FileBytes(folder / "a.lvs");
    EXPECT_TRUE(FailsWith(4014, library.Get()->OpenFile(Bstr(PathText(folder / "a.lvp")).get()),
                          u"Lumvex-Dev.Specifications.1"));
    EXPECT_TRUE(FailsWith(4014, project.Get()->OpenFile(Bstr(PathText(folder / "a.lvs")).get()), kProject));
    EXPECT_EQ(FileBytes(folder / "a.lvs"), bytes);
    library.OpenFile(PathText(folder / "a.lvs"));
}

}  // namespace
}  // namespace lumvex::tests
