// Sharing between processes and between files of one process, and what a reader sees while a writer commits.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "support.hpp"

namespace lumvex::test {
namespace {

namespace fs = std::filesystem;

class Sharing : public testing::Test {
protected:
    Sharing() {
        std::string pattern = (fs::temp_directory_path() / "sharing-XXXXXX").string();
        folder_ = ::mkdtemp(pattern.data());
        ::chmod(folder_.c_str(), 0755);
        path_ = folder_ / "file";
        Make(Access::Exclusive);
    }
    ~Sharing() override { fs::remove_all(folder_); }

    std::unique_ptr<CompoundFile> Make(Access access) {
        auto file = CompoundFile::Create(CreateReplacing(path_, access), 3);
        PutAll(*file, content_);
        file->Commit();
        return file;
    }
    std::unique_ptr<CompoundFile> Open(Access access) { return CompoundFile::Open(OpenFile(path_, access), access); }

    // The low byte of the work's result as another process has it.
    template <class Work>
    static pid_t Start(Work&& work) {
        const pid_t child = ::fork();
        if (child == 0) ::_exit(static_cast<int>(work()) & 0xFF);
        return child;
    }
    static int ResultOf(pid_t child) {
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    static int LowByte(Status status) { return static_cast<int>(status) & 0xFF; }

    std::size_t FilesInFolder() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
    }

    fs::path folder_, path_;
    Content content_{{u"a", Pattern(20000, 1)}, {u"b", Pattern(100, 2)}};
};

constexpr Access kModes[] = {Access::ReadShared, Access::ReadWriteDenyWrite, Access::Exclusive};

TEST_F(Sharing, AllowsWhatTheModesPromise) {
    const bool allowed[3][3] = {{true, true, false}, {true, false, false}, {false, false, false}};
    for (int first = 0; first < 3; ++first)
        for (int second = 0; second < 3; ++second) {
            const int expected = allowed[first][second] ? 0 : LowByte(Status::ShareViolation);
            const auto file = Open(kModes[first]);
            const auto open = [&] { return StatusOf([&] { return Open(kModes[second]); }); };
            EXPECT_EQ(ResultOf(Start(open)), expected) << first << ", then " << second << " elsewhere";
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
    ::chmod(path_.c_str(), 0444);
    const auto asOrdinaryUser = [&] {  // who may do less than an administrator
        if (::geteuid() == 0 && ::setuid(65534) != 0) return Status::NoMemory;
        if (StatusOf([&] { return Open(Access::ReadShared); }) != Status{}) return Status::ReadFault;
        return StatusOf([&] { return Open(Access::ReadWriteDenyWrite); });
    };
    EXPECT_EQ(ResultOf(Start(asOrdinaryUser)), LowByte(Status::AccessDenied));
}

TEST_F(Sharing, ANewFileTakesThePathAtItsFirstCommitAndNotBefore) {
    const auto reader = Open(Access::ReadShared);
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
    EXPECT_EQ(FilesInFolder(), 1u);
    EXPECT_EQ(GetAll(*reader), content_);  // it keeps the file it opened
    EXPECT_EQ(GetAll(*Open(Access::ReadShared)), (Content{{u"new", Pattern(50000, 3)}}));
    Put(*file, u"more", Pattern(10, 4));
    file->Commit();
    EXPECT_TRUE(Open(Access::ReadShared)->Contains(u"more"));
    EXPECT_EQ(StatusOf([&] { return Open(Access::Exclusive); }), Status::ShareViolation);
}

TEST_F(Sharing, AFileThatIsOpenForWritingIsNotReplaced) {
    for (const Access access : {Access::ReadWriteDenyWrite, Access::Exclusive}) {
        const auto file = Open(access);
        EXPECT_EQ(ResultOf(Start(
                      [&] { return StatusOf([&] { return CreateReplacing(path_, Access::ReadWriteDenyWrite); }); })),
                  LowByte(Status::ShareViolation));
    }
    const auto reader = Open(Access::ReadShared);
    EXPECT_EQ(StatusOf([&] { return CreateReplacing(path_, Access::Exclusive); }), Status::ShareViolation);
    EXPECT_EQ(StatusOf([&] { return CreateReplacing(path_, Access::ReadWriteDenyWrite); }), Status{});
}

TEST_F(Sharing, AReplacedFileKeepsItsPermissionsAndALinkItsTarget) {
    ::chmod(path_.c_str(), 0640);
    fs::create_symlink(path_, folder_ / "link");
    const auto file = CompoundFile::Create(CreateReplacing(folder_ / "link", Access::Exclusive), 3);
    file->Commit();
    EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
    EXPECT_EQ(static_cast<unsigned>(fs::status(path_).permissions()), 0640u);
    EXPECT_EQ(FilesInFolder(), 2u);
}

class Signal {
public:
    Signal() {
        if (::pipe(ends_) != 0) ends_[0] = ends_[1] = -1;
    }
    ~Signal() { ::close(ends_[0]), ::close(ends_[1]); }
    void Give() const { EXPECT_EQ(::write(ends_[1], "x", 1), 1); }
    void Await() const {
        char got = 0;
        EXPECT_EQ(::read(ends_[0], &got, 1), 1);
    }

private:
    int ends_[2];
};

TEST_F(Sharing, AReaderKeepsItsStateWhileAWriterCommits) {
    for (const bool readsEarly : {true, false}) {
        Make(Access::Exclusive);
        const Signal opened, changed;
        const pid_t reader = Start([&] {
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
        EXPECT_EQ(ResultOf(reader), 0);
        EXPECT_EQ(GetAll(*Open(Access::ReadShared)), now);
        // Without readers what they kept is used again, and the file is cut.
        const std::uint64_t grown = fs::file_size(path_);
        const auto file = Open(Access::ReadWriteDenyWrite);
        for (unsigned round = 0; round < 20; ++round) {
            Put(*file, u"a", now[u"a"] = Pattern(25000, 200 + round));
            file->Commit();
        }
        EXPECT_LT(file->FileSize(), grown / 3);
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
    const pid_t readers[] = {Start(read), Start(read)};
    const auto file = Open(Access::ReadWriteDenyWrite);
    for (unsigned round = 0; round < 400; ++round) {
        PutAll(*file, stateOf(round));
        file->Commit();
    }
    for (const pid_t reader : readers) EXPECT_EQ(ResultOf(reader), 0);
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
    EXPECT_EQ(announced, (std::vector<std::uint32_t>{1, 2, 3, 4}));
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
}  // namespace lumvex::test
