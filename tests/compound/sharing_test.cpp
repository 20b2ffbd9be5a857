// Sharing between processes and between files of one process, and what a reader sees while a writer commits.
#include "sharing.hpp"

#include <fstream>

#include "elsewhere.hpp"
#include "storage/compound/file/hidden_name.hpp"

namespace lumvex::tests {
namespace {

constexpr Access kModes[] = {Access::ReadShared, Access::ReadWriteDenyWrite, Access::Exclusive};

TEST_F(Sharing, AllowsWhatTheModesPromise) {
    const bool allowed[3][3] = {{true, true, false}, {true, false, false}, {false, false, false}};
    for (int first = 0; first < 3; ++first)
        for (int second = 0; second < 3; ++second) {
            const int expected = allowed[first][second] ? 0 : LowByte(Status::ShareViolation);
            const auto file = Open(kModes[first]);
            const auto open = [&] { return StatusOf([&] { return Open(kModes[second]); }); };
            EXPECT_EQ(Elsewhere(open).Result(), expected) << first << ", then " << second << " elsewhere";
            EXPECT_EQ(LowByte(open()), expected) << first << ", then " << second << " here";
        }
    EXPECT_EQ(StatusOf([&] { return Open(Access::Exclusive); }), Status{});  // all gone with their files
}

TEST_F(Sharing, GivesTheSystemsReasonsAsStatusCodes) {
    EXPECT_EQ(StatusOf([&] { return OpenFile(folder_ / "missing", Access::ReadShared); }), Status::NotFound);
    EXPECT_EQ(StatusOf([&] { return OpenFile(path_ / "below", Access::ReadShared); }), Status::PathNotFound);
    EXPECT_EQ(StatusOf([&] { return CreateReplacing(folder_ / "missing" / "x", Access::Exclusive); }),
              Status::PathNotFound);
    for (const Access access : kModes)
        EXPECT_EQ(StatusOf([&] { return OpenFile(folder_, access); }), Status::AccessDenied);
    EXPECT_EQ(StatusOf([&] { return CreateReplacing(folder_, Access::Exclusive); }), Status::AccessDenied);
    for (const char* text : {"", "short", "no compound file, however long it may be"}) {
        std::string bytes(text);
        if (bytes.size() > 10) bytes.resize(5000);
        std::ofstream(folder_ / "other") << bytes;
        EXPECT_EQ(StatusOf([&] {
                      return CompoundFile::Open(OpenFile(folder_ / "other", Access::ReadShared), Access::ReadShared);
                  }),
                  Status::NotACompoundFile);
    }
}

TEST_F(Sharing, ANewFileTakesThePathAtItsFirstCommitAndNotBefore) {
    auto reader = Open(Access::ReadShared);
    {
        const auto file = CompoundFile::Create(CreateReplacing(path_, Access::ReadWriteDenyWrite), 4);
        Put(*file, u"new", Pattern(50000, 3));
        EXPECT_EQ(GetAll(*Open(Access::ReadShared)), content_);
        EXPECT_EQ(StatusOf([&] { return Open(Access::ReadWriteDenyWrite); }), Status::ShareViolation);
    }
    EXPECT_EQ(FilesInFolder(), 1u);  // abandoned: nothing is left
    EXPECT_EQ(GetAll(*Open(Access::ReadShared)), content_);
    const auto file = CompoundFile::Create(CreateReplacing(path_, Access::ReadWriteDenyWrite), 4);
    Put(*file, u"new", Pattern(50000, 3));
    file->Commit();
    EXPECT_EQ(GetAll(*reader), content_);  // it keeps the file it opened
    EXPECT_EQ(GetAll(*Open(Access::ReadShared)), (Content{{u"new", Pattern(50000, 3)}}));
    // Nor are programs kept out that let others write but not remove the file, as those of the standard library do.
    EXPECT_TRUE(std::ifstream(path_).is_open());
    Put(*file, u"more", Pattern(10, 4));
    file->Commit();
    EXPECT_TRUE(Open(Access::ReadShared)->Contains(u"more"));
    EXPECT_EQ(StatusOf([&] { return Open(Access::Exclusive); }), Status::ShareViolation);
    reader = nullptr;  // where an open file cannot be replaced, the old one keeps another name until then
    EXPECT_EQ(FilesInFolder(), 1u);
}

TEST_F(Sharing, AFileThatIsOpenForWritingIsNotReplaced) {
    for (const Access access : {Access::ReadWriteDenyWrite, Access::Exclusive}) {
        const auto file = Open(access);
        const auto replace = [&] {
            return StatusOf([&] { return CreateReplacing(path_, Access::ReadWriteDenyWrite); });
        };
        EXPECT_EQ(Elsewhere(replace).Result(), LowByte(Status::ShareViolation));
    }
    const auto reader = Open(Access::ReadShared);
    EXPECT_EQ(StatusOf([&] { return CreateReplacing(path_, Access::Exclusive); }), Status::ShareViolation);
    EXPECT_EQ(StatusOf([&] { return CreateReplacing(path_, Access::ReadWriteDenyWrite); }), Status{});
}

// Both began when nothing had the name; the second must not take the place of what the first has made and holds.
TEST_F(Sharing, OfTwoNewFilesForOnePathTheSecondReplacesTheFirstOnlyOnceThatIsClosed) {
    fs::remove(path_);
    for (const Access access : {Access::ReadWriteDenyWrite, Access::Exclusive}) {
        auto first = CompoundFile::Create(CreateReplacing(path_, access), 3);
        const auto second = CompoundFile::Create(CreateReplacing(path_, access), 3);
        Put(*first, u"first", Pattern(100, 1));
        Put(*second, u"second", Pattern(100, 2));
        first->Commit();
        EXPECT_EQ(StatusOf([&] {
                      second->Commit();
                      return 0;
                  }),
                  Status::ShareViolation);
        Put(*first, u"first", Pattern(200, 1));
        first->Commit();
        first = nullptr;
        EXPECT_EQ(GetAll(*Open(Access::ReadShared)), (Content{{u"first", Pattern(200, 1)}}));
        second->Commit();
        EXPECT_EQ(GetAll(*second), (Content{{u"second", Pattern(100, 2)}}));
        EXPECT_EQ(FilesInFolder(), 1u);
        fs::remove(path_);
    }
}

// Beside the document only those files are removed that a save of this document left and that nobody has open.
TEST_F(Sharing, WhatAKilledSaveLeftBehindGoesWithTheNextOne) {
    const fs::path left = folder_ / HiddenNameFor(path_), empty = folder_ / HiddenNameFor(path_),
                   inUse = folder_ / HiddenNameFor(path_), others = folder_ / HiddenNameFor(folder_ / "file2"),
                   alike = left.string() + "x", folder = folder_ / HiddenNameFor(path_);
    for (const fs::path& each : {left, inUse, others, alike}) fs::copy_file(path_, each);
    std::ofstream(empty).put('x');
    fs::create_directory(folder);
    const auto user = OpenFile(inUse, Access::ReadShared);
    const auto expectThere = [&](bool there) {
        for (const fs::path& each : {left, empty}) EXPECT_EQ(fs::exists(each), there);
        for (const fs::path& each : {path_, inUse, others, alike, folder}) EXPECT_TRUE(fs::exists(each)) << each;
    };
    auto file = Open(Access::ReadWriteDenyWrite);
    Put(*file, u"a", Pattern(10, 1));
    file->Commit();
    file = CompoundFile::Create(CreateReplacing(folder_ / "file2", Access::Exclusive), 3);
    file = nullptr;
    expectThere(true);
    CompoundFile::Create(CreateReplacing(path_, Access::ReadWriteDenyWrite), 3)->Commit();
    expectThere(false);
}

TEST_F(Sharing, AReaderKeepsItsStateWhileAWriterCommits) {
    for (const bool readsEarly : {true, false}) {
        Make(Access::Exclusive);
        const Signal opened, changed;
        Elsewhere reader([&] {
            const auto file = Open(Access::ReadShared);
            if (readsEarly && GetAll(*file) != content_) return 1;
            opened.Give();
            changed.Await();
            return GetAll(*file) == content_ ? 0 : 2;
        });
        opened.Await();
        Content now = content_;
        {
            const auto file = Open(Access::ReadWriteDenyWrite);
            for (unsigned round = 0; round < 60; ++round) {
                const std::u16string name = round % 3 == 0 ? u"a" : Name(round % 5);
                Put(*file, name, now[name] = Pattern(round % 3 == 0 ? 20000 + round : 700 * (round % 10), round));
                if (round == 10) file->Remove(u"b"), now.erase(u"b");
                file->Commit();
                ASSERT_EQ(GetAll(*Open(Access::ReadShared)), now);
            }
        }
        {
            // Another writer meets the reader too.
            const auto file = Open(Access::ReadWriteDenyWrite);
            for (unsigned round = 0; round < 20; ++round) {
                Put(*file, u"a", now[u"a"] = Pattern(25000, 100 + round));
                file->Commit();
            }
        }
        changed.Give();
        EXPECT_EQ(reader.Result(), 0);
        EXPECT_EQ(GetAll(*Open(Access::ReadShared)), now);
        // Without readers what they kept is used again, and the file is cut.
        const auto file = Open(Access::ReadWriteDenyWrite);
        for (unsigned round = 0; round < 20; ++round) {
            Put(*file, u"a", now[u"a"] = Pattern(25000, 200 + round));
            file->Commit();
        }
        EXPECT_LT(file->FileSize(), 3 * 26000u + 65536u);
        EXPECT_EQ(GetAll(*file), now);
        EXPECT_TRUE(CheckStructure(*OpenFile(path_, Access::ReadShared)).empty());
    }
}

TEST_F(Sharing, ReadersThatOpenWhileAWriterCommitsSeeWholeStates) {
    const auto stateOf = [](unsigned round) {
        return Content{{u"a", Pattern(5000 + 700 * (round % 7), round)}, {u"b", Pattern(100, round)}};
    };
    Make(Access::Exclusive);
    const auto read = [&] {
        std::unique_ptr<CompoundFile> kept;  // for a while, through some commits
        Content keptContent;
        for (int i = 0; i < 3000; ++i) {
            auto opened = Open(Access::ReadShared);
            const Content found = GetAll(*opened);
            if (kept && GetAll(*kept) != keptContent) return 2;
            if (i % 7 == 0) kept = std::move(opened), keptContent = found;
            if (found == content_) continue;
            unsigned round = 0;
            while (round < 400 && found.at(u"b") != Pattern(100, round)) ++round;
            if (round == 400 || found != stateOf(round)) return 1;
            if (round == 399) break;
        }
        return 0;
    };
    Elsewhere readers[] = {Elsewhere(read), Elsewhere(read)};
    const auto file = Open(Access::ReadWriteDenyWrite);
    for (unsigned round = 0; round < 400; ++round) {
        PutAll(*file, stateOf(round));
        file->Commit();
    }
    for (Elsewhere& reader : readers) EXPECT_EQ(reader.Result(), 0);
}

// Between reading the header and announcing itself a reader may be overtaken by commits, more than once.
TEST_F(Sharing, AReaderThatIsOvertakenWhileItOpensTakesTheLaterState) {
    FaultyDisk disk(ImageOf(content_, 3));
    std::vector<std::uint32_t> announced;
    disk.OnAnnounce([&](std::uint32_t generation) {
        announced.push_back(generation);
        if (announced.size() > 3) return;
        const auto writer = CompoundFile::Open(disk.Open(), Access::ReadWriteDenyWrite);
        Put(*writer, u"a", content_[u"a"] = Pattern(30000, generation));
        writer->Commit();
    });
    EXPECT_EQ(GetAll(*CompoundFile::Open(disk.Open(), Access::ReadShared)), content_);
    EXPECT_EQ(announced, (std::vector<std::uint32_t>{2, 4, 6, 8}));
}

// Generations count in a circle; who reads the last before it closes is older than the first after it.
TEST_F(Sharing, KnowsReadersOfOlderGenerationsAcrossTheEndOfTheirNumbers) {
    const auto reader = OpenFile(path_, Access::ReadShared);
    const auto writer = OpenFile(path_, Access::ReadWriteDenyWrite);
    EXPECT_FALSE(writer->ReaderOlderThan(5));
    for (const std::uint32_t generation : {5u, 0u, 0x80000000u, 0xFFFFFFFFu}) {
        reader->AnnounceReader(generation);
        EXPECT_FALSE(writer->ReaderOlderThan(generation)) << generation;
        EXPECT_TRUE(writer->ReaderOlderThan(generation + 1)) << generation;
        EXPECT_TRUE(writer->ReaderOlderThan(generation + 1000)) << generation;
        EXPECT_FALSE(writer->ReaderOlderThan(generation - 1)) << generation;
    }
}

}  // namespace
}  // namespace lumvex::tests
