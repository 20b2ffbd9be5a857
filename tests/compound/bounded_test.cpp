// Room: what readers, failed saves and files made for it may cost.
#include "sharing.hpp"

namespace lumvex::tests {
namespace {

using Fault = FaultyDisk::Fault;

class Bounded : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Versions, Bounded, testing::Values(3, 4));

// Sectors that were written and freed since a reader opened are no part of what it reads.
TEST_P(Bounded, ReadersThatStayOpenCostTheStateTheyReadAndNoMore) {
    constexpr std::size_t kSize = 100000;
    Content content{{u"a", Pattern(kSize, 0)}, {u"small", Pattern(500, 0)}};
    FaultyDisk disk(ImageOf(content, GetParam()));
    std::vector<std::pair<std::unique_ptr<CompoundFile>, Content>> readers;
    for (const bool another : {false, true}) {  // process
        const auto writer = CompoundFile::Open(disk.Open(), Access::ReadWriteDenyWrite);
        for (unsigned round = 1; round <= 500; ++round) {
            if (round == 1 || (round == 250 && !another))
                readers.emplace_back(CompoundFile::Open(disk.Open(), Access::ReadShared), content);
            Put(*writer, u"a", content[u"a"] = Pattern(kSize, round));
            if (round % 3 == 0) Put(*writer, u"small", content[u"small"] = Pattern(400 + round, round));
            writer->Commit();
            // The live state and each that is read, twice the live one at most besides, and this save.
            ASSERT_LT(writer->FileSize(), (readers.size() + 2) * (kSize + 20 * 4096)) << round;
        }
    }
    for (const auto& [reader, state] : readers) EXPECT_TRUE(GetAll(*reader) == state);
    readers.clear();
    const auto writer = CompoundFile::Open(disk.Open(), Access::ReadWriteDenyWrite);
    for (unsigned round = 0; round < 5; ++round) Put(*writer, u"small", Pattern(400 + round, round)), writer->Commit();
    EXPECT_LT(writer->FileSize(), 2 * kSize + 64 * 1024);
}

// Whoever opened while the flush of a header failed reads a state that was never committed; those who write next do not
// know of it but by its announcement.
TEST_P(Bounded, AReaderOfAFailedSaveKeepsItsStateWhoeverWritesNext) {
    Content content{{u"a", Pattern(50000, 0)}};
    FaultyDisk disk(ImageOf(content, GetParam()));
    std::unique_ptr<CompoundFile> reader;
    {
        const auto writer = CompoundFile::Open(disk.Open(), Access::ReadWriteDenyWrite);
        Put(*writer, u"b", Pattern(100, 1)), writer->Commit();
        Put(*writer, u"a", Pattern(60000, 1));
        disk.Before(FaultyDisk::kAfterHeader, [&] {
            reader = CompoundFile::Open(disk.Open(), Access::ReadShared);
            disk.FailAt(FaultyDisk::kNow, Fault::Fails);
        });
        EXPECT_EQ(StatusOf([&] { writer->Commit(); }), Status::WriteFault);
    }
    ASSERT_NE(reader, nullptr);
    const Content read = GetAll(*reader);
    EXPECT_TRUE(read.at(u"a") == Pattern(60000, 1));
    const std::uint32_t failed = (Load32(&disk.Content()[52]) & ~1u) + 2;
    const auto next = CompoundFile::Open(disk.Open(), Access::ReadWriteDenyWrite);
    for (unsigned round = 0; round < 10; ++round) {
        Put(*next, u"a", Pattern(60000 + round, 50 + round)), next->Commit();
        EXPECT_NE(Load32(&disk.Content()[52]) & ~1u, failed);
        EXPECT_TRUE(GetAll(*reader) == read) << round;
    }
}

TEST_P(Bounded, ASaveThatFailsForWantOfRoomGivesTheRoomBack) {
    FaultyDisk disk(ImageOf({{u"a", Pattern(50000, 0)}}, GetParam()));
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    Put(*file, u"b", Pattern(100, 1)), file->Commit();
    const std::uint64_t before = file->FileSize();
    disk.FailAt(20, Fault::Full, 1000);
    EXPECT_EQ(StatusOf([&] {
                  for (unsigned i = 0; i < 100; ++i) Put(*file, Name(i), Pattern(100000, i));
                  file->Commit();
              }),
              Status::MediumFull);
    EXPECT_GT(file->FileSize(), before + 500000);
    disk.FailAt(FaultyDisk::kNever, Fault::Full);
    file->Revert();
    EXPECT_LE(file->FileSize(), before + before / 16);
    EXPECT_EQ(Problems(disk.Content()), "");
}

TEST_P(Bounded, StreamsThatShareAChainAreNotReadOneByOne) {
    Content content{{u"large", Pattern(200000, 1)}, {u"smaller", Pattern(3000, 2)}};
    for (unsigned i = 0; i < 100; ++i) content[Name(i)] = Pattern(1, i), content[u"L" + Name(i)] = Pattern(5000, i);
    for (const bool large : {true, false}) {
        Bytes image = ImageOf(content, GetParam());
        const std::u16string model = large ? u"large" : u"smaller", others = large ? u"L" : u"";
        const CommittedImage sound(image);
        const std::size_t from = sound.OffsetOf(model);
        for (unsigned i = 0; i < 100; ++i) {
            const std::size_t to = sound.OffsetOf(others + Name(i));
            std::copy_n(image.begin() + static_cast<std::ptrdiff_t>(from + 116), 12,
                        image.begin() + static_cast<std::ptrdiff_t>(to + 116));
        }
        std::uint64_t handedOut = 0;
        const auto file = OpenBytes(image);
        EXPECT_EQ(StatusOf([&] {
                      file->ReadAll(
                          [&](std::u16string_view, std::span<const std::byte> bytes) { handedOut += bytes.size(); });
                  }),
                  Status::Corrupt);
        EXPECT_LE(handedOut, image.size());
    }
}

}  // namespace
}  // namespace lumvex::tests
