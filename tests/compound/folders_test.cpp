// Folders that a new file takes over from another one: all they hold, however deep and in whichever version.
#include "kit/folders.hpp"

#include "support.hpp"

namespace lumvex::tests {
namespace {

struct Versions {
    int from, to;
};

class Folders : public testing::TestWithParam<Versions> {
protected:
    // Streams of all sizes in folders inside of folders, beside those of the root; an empty folder.
    Bytes Foreign() const {
        Content content{{u"Root stream", Pattern(5000, 1)}, {u"Outer", {}}, {u"Inner", {}}, {u"Empty", {}}};
        std::map<std::u16string, std::u16string> folderOf{
            {u"Inner", u"Outer"}, {u"Empty", u"Inner"}, {u"last", u"Empty"}};
        content[u"last"] = {};
        for (const unsigned size : {0u, 1u, 63u, 64u, 65u, 511u, 512u, 513u, 4095u, 4096u, 4097u, 70000u})
            for (const char16_t* folder : {u"Outer", u"Inner"}) {
                const std::u16string name = Name(size) + folder;
                content[name] = Pattern(size, size + static_cast<unsigned>(folder[0]));
                folderOf[name] = folder;
            }
        Bytes image = ImageOf(content, GetParam().from);
        PutIntoFolders(image, folderOf);
        return image;
    }
};
INSTANTIATE_TEST_SUITE_P(Versions, Folders,
                         testing::Values(Versions{3, 3}, Versions{3, 4}, Versions{4, 3}, Versions{4, 4}));

TEST_P(Folders, AreCarriedIntoANewFileAndThroughItsCommits) {
    const Bytes image = Foreign();
    ASSERT_EQ(Problems(image), "");
    auto expected = Everything(image);
    ASSERT_EQ(expected.size(), 30u);  // the root, its stream, three folders, 24 streams inside, the last
    const auto from = OpenBytes(image);
    std::size_t counted = 0;
    std::uint64_t bytes = 0;
    from->ForEachInFolders([&](std::uint64_t size) { ++counted, bytes += size; });
    EXPECT_EQ(counted, 28u);
    EXPECT_EQ(bytes, 2 * (0 + 1 + 63 + 64 + 65 + 511 + 512 + 513 + 4095 + 4096 + 4097 + 70000));

    FaultyDisk disk;
    const auto to = CompoundFile::Create(disk.Open(), GetParam().to);
    PutAll(*to, GetAll(*from));
    to->CarryFrom(*from);
    EXPECT_FALSE(to->Contains(u"Outer"));
    EXPECT_FALSE(to->Find(u"Outer"));
    EXPECT_EQ(StatusOf([&] {
                  Put(*to, u"OUTER", {});
                  return 0;
              }),
              Status::AccessDenied);
    EXPECT_EQ(StatusOf([&] {
                  to->Remove(u"Outer");
                  return 0;
              }),
              Status::NotFound);
    EXPECT_EQ(StatusOf([&] {
                  to->CarryFrom(*from);
                  return 0;
              }),
              Status::AccessDenied);
    EXPECT_EQ(GetUncommitted(*to), GetAll(*from));
    to->Commit();
    EXPECT_TRUE(Everything(disk.Content()) == expected);
    EXPECT_EQ(Problems(disk.Content()), "");
    EXPECT_EQ(StatusOf([&] {
                  to->CarryFrom(*from);
                  return 0;
              }),
              Status::AccessDenied);
    for (unsigned round = 0; round < 30; ++round) {
        for (unsigned i = 0; i < round; ++i) Put(*to, Name(i), expected[u"/" + Name(i)] = Pattern(100 * i, round));
        if (round % 3 == 2) to->Remove(Name(0)), expected.erase(u"/" + Name(0));
        to->Commit();
        ASSERT_TRUE(Everything(disk.Content()) == expected) << round;
        ASSERT_EQ(Problems(disk.Content()), "");
    }
}

TEST_P(Folders, ThatCannotBeCarriedLeaveTheNewFileAsItWas) {
    const auto from = OpenBytes(Foreign());
    FaultyDisk disk;
    const auto to = CompoundFile::Create(disk.Open(), GetParam().to);
    const auto carry = [&] {
        return StatusOf([&] {
            to->CarryFrom(*from);
            return 0;
        });
    };
    Put(*to, u"OUTER", Pattern(9000, 1));
    EXPECT_EQ(carry(), Status::AccessDenied);
    to->Remove(u"Outer");
    Put(*to, u"other", Pattern(9000, 1));
    int failed = 0;
    for (int step = 1;; ++step) {
        disk.FailAt(step, FaultyDisk::Fault::Fails);
        if (carry() == Status{}) break;
        ++failed;
        EXPECT_EQ(GetUncommitted(*to), (Content{{u"other", Pattern(9000, 1)}}));
    }
    EXPECT_GT(failed, 0);
    disk.FailAt(0, FaultyDisk::Fault::Fails);
    to->Commit();
    auto expected = Everything(Foreign());
    expected.erase(u"/Root stream");
    expected[u"/other"] = Pattern(9000, 1);
    EXPECT_TRUE(Everything(disk.Content()) == expected);
    EXPECT_EQ(Problems(disk.Content()), "");
}

TEST(FoldersOfAFile, MayBeAsDeepAndAsManyAsTheyAre) {
    Content content;
    std::map<std::u16string, std::u16string> folderOf;
    constexpr unsigned kDepth = 20000;
    for (unsigned i = 0; i <= kDepth; ++i) {
        content[Name(i)] = {};
        if (i > 0) folderOf[Name(i)] = Name(i % 2 == 0 ? i - 1 : i > 2 ? i - 2 : 0);  // each second one has two inside
    }
    Bytes image = ImageOf(content, 3);
    PutIntoFolders(image, folderOf);
    const auto to = CompoundFile::Create(MemoryFile(), 4);
    to->CarryFrom(*OpenBytes(image));
    to->Commit();
    std::size_t count = 0;
    to->ForEachInFolders([&](std::uint64_t) { ++count; });
    EXPECT_EQ(count, kDepth + 1u);
}

// Of a file's folders no more is made than the file has bytes, and nothing is followed in a circle.
TEST(FoldersOfAFile, ThatContradictThemselvesAreRefused) {
    Content content{{u"Folder", {}}, {u"b", Pattern(40000, 1)}, {u"c", Pattern(40000, 2)}, {u"d", Pattern(100, 2)}};
    Bytes sound = ImageOf(content, 3);
    PutIntoFolders(sound, {{u"b", u"Folder"}, {u"c", u"Folder"}, {u"d", u"Folder"}});
    const CommittedImage places(sound);
    struct Patch {
        std::u16string_view entry;
        std::size_t at;
        std::uint32_t value;
    };
    const auto carried = [&](const std::vector<Patch>& patches) {
        Bytes image = sound;
        for (const Patch& patch : patches) Store32(&image[places.OffsetOf(patch.entry) + patch.at], patch.value);
        FaultyDisk disk;
        const auto to = CompoundFile::Create(disk.Open(), 4);
        const Status status = StatusOf([&] {
            to->CarryFrom(*OpenBytes(image));
            return 0;
        });
        to->Commit();
        EXPECT_EQ(Problems(disk.Content()), "");
        EXPECT_EQ(Everything(disk.Content()).size(), status == Status{} ? 5u : 1u);
        return status;
    };
    const auto valueOf = [&](std::u16string_view entry, std::size_t at) {
        return Load32(&sound[places.OffsetOf(entry) + at]);
    };
    constexpr std::size_t kLeft = 68, kRight = 72, kChild = 76, kStart = 116, kSize = 120;
    const std::uint32_t shared = valueOf(u"b", kStart), first = valueOf(u"Folder", kChild);
    EXPECT_EQ(carried({}), Status{});
    EXPECT_EQ(carried({{u"c", kStart, shared}}), Status{});  // no more bytes than the file
    EXPECT_EQ(carried({{u"c", kStart, shared}, {u"d", kStart, shared}, {u"d", kSize, 40000}}), Status::Corrupt);
    for (const Patch& patch : {Patch{u"Folder", kChild, 0}, Patch{u"Folder", kChild, 1000}, Patch{u"d", kLeft, first},
                               Patch{u"b", kRight, 0xFFFFFFF0}, Patch{u"b", kStart, 0xFFFFFFF0},
                               Patch{u"b", kSize, 0x7FFFFFFF}, Patch{u"Folder", 64, 0x01010002}})
        EXPECT_EQ(carried({patch}), Status::Corrupt) << patch.at << ", " << patch.value;
}

}  // namespace
}  // namespace lumvex::tests
