// Files that other programs change, replace or remove while they are open here: no save reports success into what is
// not the document any more, and none makes a mixture of two.
#include <fstream>

#include "sharing.hpp"

namespace lumvex::tests {
namespace {

using Fault = FaultyDisk::Fault;

class OtherPrograms : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Versions, OtherPrograms, testing::Values(3, 4));

Content TwentyStreams(std::size_t size, unsigned seed) {
    Content content;
    for (unsigned i = 0; i < 20; ++i) content[Name(i)] = Pattern(size + 100 * i, seed + i);
    return content;
}

// The same content, then commits of its own, as a copy that is restored has them.
Bytes Later(const Bytes& image, int commits) {
    FaultyDisk disk(image);
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    for (int i = 0; i < commits; ++i)
        PutAll(*file, TwentyStreams(3000 + 777 * static_cast<unsigned>(i), 50)), file->Commit();
    return disk.Content();
}

void Overwrite(FaultyDisk& disk, const Bytes& image) {
    const auto other = disk.Open();
    other->Write(0, std::span<const std::byte>(image));
    other->Resize(image.size());
}

TEST_P(OtherPrograms, ThatChangeAFileInPlaceMakeTheNextSaveFail) {
    const Bytes image = ImageOf(TwentyStreams(3000, 1), GetParam());
    const auto save = [](CompoundFile& file) {
        Put(file, Name(3), Pattern(70000, 99));
        Put(file, Name(5), Pattern(200, 98));
        file.Remove(Name(7));
        file.Commit();
    };
    int header = 0;  // the operation that writes it, counted after a first save
    {
        FaultyDisk disk(image);
        const auto file = CompoundFile::Open(disk.Open(), Access::ReadWriteDenyWrite);
        Put(*file, Name(0), Pattern(100, 1)), file->Commit();
        disk.FailAt(FaultyDisk::kAfterHeader, Fault::Fails);
        StatusOf([&] { save(*file); });
        header = disk.Operations() - 3;  // its flush, and the old one put back, follow
    }
    EXPECT_GT(header, 4);
    for (const int commits : {1, 3})
        for (int step = 0; step < header; ++step) {
            SCOPED_TRACE(std::to_string(commits) + " commits, before operation " + std::to_string(step));
            FaultyDisk disk(image);
            const auto file = CompoundFile::Open(disk.Open(), Access::ReadWriteDenyWrite);
            Put(*file, Name(0), Pattern(100, 1)), file->Commit();
            const Bytes newer = Later(disk.Content(), commits);
            const Stream found = file->Get(Name(9));
            if (step == 0)
                Overwrite(disk, newer);
            else
                disk.Before(step, [&] { Overwrite(disk, newer); });
            EXPECT_EQ(StatusOf([&] { save(*file); }), Status::NotCurrent);
            const Bytes left = disk.Content();
            EXPECT_TRUE(std::equal(newer.begin(), newer.begin() + 512, left.begin()));
            EXPECT_TRUE(step != 0 || left == newer);
            // Nothing is read out of the mixture, and nothing further written.
            EXPECT_EQ(StatusOf([&] { file->ReadAll([](std::u16string_view, std::span<const std::byte>) {}); }),
                      Status::NotCurrent);
            Bytes bytes(found.Size());
            EXPECT_EQ(StatusOf([&] { found.Read(0, bytes); }), Status::NotCurrent);
            file->Revert();
            EXPECT_EQ(StatusOf([&] { save(*file); }), Status::NotCurrent);
            EXPECT_TRUE(disk.Content() == left);
        }
}

TEST_P(OtherPrograms, ThatReplaceAFileWhileItIsSavedMakeTheSaveFail) {
    FaultyDisk disk(ImageOf(TwentyStreams(3000, 1), GetParam()));
    const auto file = CompoundFile::Open(disk.Open(), Access::ReadWriteDenyWrite);
    disk.Before(3, [&] {
        const auto other = CompoundFile::Create(disk.OpenNew(), 3);
        Put(*other, u"other", Pattern(9000, 1));
        other->Commit();
    });
    EXPECT_EQ(StatusOf([&] { Put(*file, Name(3), Pattern(70000, 99)), Put(*file, Name(4), {}), file->Commit(); }),
              Status::NotCurrent);
    EXPECT_TRUE(ContentOf(disk.Content()) == (Content{{u"other", Pattern(9000, 1)}}));
}

TEST_F(Sharing, AFileThatIsGoneFromItsPathIsNotSaved) {
    for (const Access access : {Access::ReadWriteDenyWrite, Access::Exclusive})
        for (const char* what : {"removed", "moved away", "replaced"}) {
            SCOPED_TRACE(what);
            Make(Access::Exclusive);
            const auto file = Open(access);
            Put(*file, u"a", Pattern(30000, 5));
            file->Commit();
            std::error_code refused;  // by systems that do not do this to an open file
            if (what == std::string_view("removed")) {
                fs::remove(path_, refused);
            } else if (what == std::string_view("moved away")) {
                fs::rename(path_, folder_ / "elsewhere", refused);
            } else {
                std::ofstream(folder_ / "newer") << "newer";
                fs::rename(folder_ / "newer", path_, refused);
            }
            if (refused || (what != std::string_view("replaced") && fs::exists(path_))) continue;
            const Status expected = what == std::string_view("replaced") ? Status::NotCurrent : Status::NotFound;
            for (int round = 0; round < 2; ++round) {
                Put(*file, u"b", Pattern(300, 6));
                Put(*file, u"c", Pattern(80000, 7));
                const std::uint64_t written = file->Counters().bytesWritten;
                EXPECT_EQ(StatusOf([&] { file->Commit(); }), expected);
                EXPECT_EQ(file->Counters().bytesWritten, written);
            }
            // All of it can be saved elsewhere.
            const Content content{{u"a", Pattern(30000, 5)}, {u"b", Pattern(300, 6)}, {u"c", Pattern(80000, 7)}};
            EXPECT_TRUE(GetUncommitted(*file) == content);
            const auto other = CompoundFile::Create(CreateReplacing(folder_ / "other", access), 3);
            PutAll(*other, GetUncommitted(*file));
            other->Commit();
            EXPECT_EQ(fs::exists(path_), what == std::string_view("replaced"));
        }
}

}  // namespace
}  // namespace lumvex::tests
