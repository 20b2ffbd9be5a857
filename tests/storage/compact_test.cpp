// A document's file written anew: shorter, the same content, or left alone.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/maintenance.hpp"

namespace lumvex::tests {
namespace {

class Compacting : public ::testing::Test {
protected:
    Compacting() {
        Project project = Project::Create();
        Data data = project.Data();
        for (int member = 0; member < 400; ++member)
            data.Add(u"member").Data(Floats(std::vector<float>(static_cast<std::size_t>(member * 10), 1.0f)));
        project.SaveFileAs(PathText(path));
        for (int member = 0; member < 300; ++member) data.Remove(1 + member % 60);
        project.SaveFile();
        data.Item(7).Data(Floats(std::vector<float>(30000, 2.0f)));
        project.SaveFile();
    }
    // Refused with that status; not a byte is changed, nothing stays beside it.
    void ExpectLeftAlone(HRESULT status) {
        const Bytes before = FileBytes(path);
        try {
            CompactDocument(path);
            ADD_FAILURE() << "it was compacted";
        } catch (const Error& error) {
            EXPECT_EQ(InHex(error.Status()), InHex(status)) << error.what();
        }
        EXPECT_EQ(FileBytes(path), before);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
    }

    const Folder folder;
    const std::filesystem::path path = folder / "a.lvx";
};

TEST_F(Compacting, KeepsEveryStreamAndTakesTheRoomOut) {
    {
        using namespace compound;
        const auto file = CompoundFile::Open(OpenFile(path, Access::Exclusive), Access::Exclusive);
        const Bytes unknown(5000, std::byte{7});
        const Piece piece = unknown;
        file->Write(u"of another program", std::span(&piece, 1));
        file->Commit();
    }
    const Streams before = ReadDocument(path);
    const std::uint64_t length = std::filesystem::file_size(path);
    std::size_t told = 0;
    const Bytes whole = FileBytes(path);
    const Compaction tried = TryCompactDocument(path);
    EXPECT_EQ(FileBytes(path), whole);
    const Compaction done = CompactDocument(path, [&](std::size_t at, std::size_t total) {
        EXPECT_EQ(at, ++told);
        EXPECT_EQ(total, before.size());
    });
    EXPECT_EQ(told, before.size());
    EXPECT_EQ(done.bytesBefore, length);
    EXPECT_EQ(tried.bytesBefore, length);
    EXPECT_EQ(tried.bytesAfter, done.bytesAfter);
    EXPECT_EQ(done.bytesAfter, std::filesystem::file_size(path));
    EXPECT_LT(done.bytesAfter, length);
    std::uint64_t content = 0;
    for (const auto& [name, bytes] : before) content += bytes.size() + 128;
    EXPECT_LT(done.bytesAfter, content * 11 / 10);
    EXPECT_EQ(ReadDocument(path), before);
    EXPECT_TRUE(CheckDocument(path).empty());
    EXPECT_EQ(CompactDocument(path).bytesAfter, done.bytesAfter);
}

TEST_F(Compacting, LeavesADocumentAloneThatSomebodyHasOpenOrThatWouldLoseSomething) {
    {
        Project project = Project::Create();
        for (const LXAccessMode mode : {LX_SHARE_READ, LX_SHARE_READWRITE, LX_EXCLUSIVE_READWRITE}) {
            project.AccessMode(mode);
            project.OpenFile(PathText(path));
            ExpectLeftAlone(Status(0x80030020));
            project.CloseFile();
        }
    }
    const Bytes bytes = FileBytes(path);
    const auto entryOf = [&](std::u16string_view name) {
        const auto* text = reinterpret_cast<const std::byte*>(name.data());
        return std::search(bytes.begin(), bytes.end(), text, text + name.size() * 2) - bytes.begin();
    };
    constexpr std::ptrdiff_t kStartAt = 116;
    Bytes damaged = bytes;
    std::fill_n(damaged.begin() + entryOf(u"ROOTDIR-V100") + kStartAt, 4, std::byte{0x77});
    WriteFileBytes(path, damaged);
    ExpectLeftAlone(Status(0x80030109));
    WriteFileBytes(path, Hex("00 01 02"));
    ExpectLeftAlone(Status(0x80030050));
    std::filesystem::remove(path);
    {
        using namespace compound;
        const auto file = CompoundFile::Create(CreateReplacing(path, Access::Exclusive), 3);
        const Bytes content(5000, std::byte{7});
        const Piece piece = content;
        file->Write(u"of another program", std::span(&piece, 1));
        file->Commit();
    }
    ExpectLeftAlone(Status(0x80030002));
}

}  // namespace
}  // namespace lumvex::tests
