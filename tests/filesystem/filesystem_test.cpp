// Documents on file systems that lack something or fail: whatever happens there, a call answers a status, and no
// program ends with it.
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "faults.hpp"
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/maintenance.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

const std::string kDone = "done";

// What the work ends with in a process of its own: done, a status, or a signal.
std::string Outcome(const std::function<void()>& work) {
    int ends[2];
    if (::pipe(ends) != 0) return "no pipe";
    const pid_t child = ::fork();
    if (child == 0) {
        std::string said = kDone;
        try {
            work();
        } catch (const Error& error) {
            said = InHex(error.Status()) + " " + error.what();
        } catch (const std::exception& error) {
            said = error.what();
        }
        if (::write(ends[1], said.data(), said.size()) < 0) ::_exit(1);
        ::_exit(0);
    }
    ::close(ends[1]);
    std::string said(1000, 0);
    const ssize_t length = ::read(ends[0], said.data(), said.size());
    said.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status)) : said;
}

class FileSystem : public ::testing::Test {
protected:
    // False where no such file system can be mounted.
    bool Mount(const char* locks) {
        fs::create_directory(behind);
        fs::create_directory(mount);
        faults.Clear();
        struct stat before = {};
        struct stat now = {};
        ::stat(mount.c_str(), &before);
        server = ::fork();
        if (server == 0) {
            const int silent = ::open("/dev/null", O_WRONLY);
            ::dup2(silent, 2);
            ::execl(LUMVEX_FAILING_FILESYSTEM, "failing_filesystem", behind.c_str(), (folder / "faults").c_str(), locks,
                    mount.c_str(), "-f", nullptr);
            ::_exit(1);
        }
        for (int attempt = 0; attempt < 1000; ++attempt) {
            if (::stat(mount.c_str(), &now) == 0 && now.st_dev != before.st_dev) return true;
            if (::waitpid(server, nullptr, WNOHANG) == server) break;
            ::usleep(10'000);
        }
        server = -1;
        return false;
    }
    ~FileSystem() override {
        if (server < 0) return;
        ::kill(server, SIGTERM);
        ::waitpid(server, nullptr, 0);
        ::umount2(mount.c_str(), MNT_DETACH);
    }

    // On the file system behind, which is sound.
    void MakeDocument(const fs::path& path) {
        Project project = Project::Create();
        for (int member = 0; member < 40; ++member) {
            Datum datum = project.Data().Add(u"member");
            datum.Data(Floats(std::vector<float>(static_cast<std::size_t>(member * 200), 1.0f)));
        }
        project.SaveFileAs(PathText(path));
    }

    struct Operation {
        const char* what;
        std::function<void()> work;
        bool writes = false, publishes = false;
    };
    std::vector<Operation> Operations() const {
        const auto open = [this](LXAccessMode mode) {
            Project project = Project::Create();
            project.AccessMode(mode);
            project.OpenFile(PathText(mount / "a.lvx"));
            return project;
        };
        return {
            {"open and read",
             [=] {
                 const Project project = open(LX_SHARE_READ);
                 for (const Datum& each : project.Data()) static_cast<void>(each.Data());
             }},
            {"check",
             [this] {
                 if (!CheckDocument(mount / "a.lvx").empty()) throw std::runtime_error("problems");
             }},
            {"save",
             [=] {
                 Project project = open(LX_SHARE_READWRITE);
                 project.Data().Item(20).Data(Floats(std::vector<float>(5000, 2.0f)));
                 project.Data().Add(u"another");
                 project.SaveFile();
                 project.CloseFile();
             },
             true},
            {"save as a new file",
             [this] {
                 Project another = Project::Create();
                 another.Data().Add(u"member").Data(Floats(std::vector<float>(100'000, 1.0f)));
                 fs::remove(behind / "new.lvx");
                 another.SaveFileAs(PathText(mount / "new.lvx"));
             },
             true, true},
            {"save as another's name",
             [=, this] { open(LX_EXCLUSIVE_READWRITE).SaveFileAs(PathText(mount / "other.lvx")); }, true, true},
            {"compact", [this] { CompactDocument(mount / "a.lvx"); }, true, true},
        };
    }

    // On the sound file system behind, the documents are whole whatever was done, and there is no other file.
    void ExpectSound() {
        std::size_t files = 0;
        for (const auto& each : fs::directory_iterator(behind)) {
            ++files;
            for (const DocumentProblem& problem : CheckDocument(each.path()))
                ADD_FAILURE() << each.path() << ", " << problem.where << ": " << problem.what;
        }
        EXPECT_LE(files, 3u);
    }

    using Expected = std::function<bool(const Operation&, const std::string&)>;
    void ExpectEach(const std::string& fault, const Expected& expected) {
        for (const char* name : {"a.lvx", "other.lvx"})
            fs::copy_file(folder / "original.lvx", behind / name, fs::copy_options::overwrite_existing);
        for (const Operation& operation : Operations()) {
            const std::string outcome = Outcome(operation.work);
            EXPECT_TRUE(expected(operation, outcome)) << fault << ", " << operation.what << ": " << outcome;
            ExpectSound();
        }
    }

    const Folder folder;
    const fs::path behind = folder / "behind", mount = folder / "mount";
    Faults& faults = SharedFaults((folder / "faults").c_str());
    pid_t server = -1;
};

#define MOUNT_OR_SKIP(locks)                                                                                 \
    if (!Mount(locks)) GTEST_SKIP() << "file systems of one's own cannot be mounted here (FUSE, /dev/fuse)"; \
    MakeDocument(folder / "original.lvx")

const auto isDone = [](const auto&, const std::string& outcome) { return outcome == kDone; };

TEST_F(FileSystem, WithoutUnnamedFilesHasWhatDocumentsNeed) {
    MOUNT_OR_SKIP("kept");
    for (const int error : {0, EINVAL}) {
        faults.newNameError = error;
        ExpectEach("new names " + std::to_string(error), isDone);
        // A file that somebody made meanwhile and has open keeps its place.
        fs::remove(behind / "new.lvx");
        EXPECT_EQ(Outcome([&] {
                      using namespace compound;
                      const auto make = [&] {
                          return CompoundFile::Create(CreateReplacing(mount / "new.lvx", Access::Exclusive), 3);
                      };
                      const auto first = make(), second = make();
                      first->Commit();
                      try {
                          second->Commit();
                      } catch (const compound::StorageError& refusal) {
                          if (refusal.status() == Status::ShareViolation) return;
                      }
                      throw std::runtime_error("the second took the first one's place");
                  }),
                  kDone);
        fs::remove(behind / "new.lvx");
    }
    // Nothing of a file stays that cannot get its name.
    faults.renameError = EIO;
    ExpectEach("renames", [](const Operation& operation, const std::string& outcome) {
        return operation.publishes ? outcome.starts_with("0x8003001D") : outcome == kDone;
    });
    EXPECT_EQ(std::distance(fs::directory_iterator(behind), {}), 2);
}

TEST_F(FileSystem, WithoutLocksLetsReadersOnAndWritersNot) {
    MOUNT_OR_SKIP("asked");
    for (const int error : {ENOLCK, EOPNOTSUPP, EINVAL}) {
        faults.lockError = error;
        ExpectEach("locks " + std::to_string(error), [](const Operation& operation, const std::string& outcome) {
            return operation.writes ? outcome.starts_with("0x80030021") : outcome == kDone;
        });
    }
}

TEST_F(FileSystem, ThatNumbersFilesAnewEachTimeIsUsable) {
    MOUNT_OR_SKIP("kept");
    faults.renumbers = true;
    ExpectEach("numbers", isDone);
}

TEST_F(FileSystem, WithoutMappingsIsUsable) {
    MOUNT_OR_SKIP("kept");
    faults.unmapped = true;
    ExpectEach("no mapping", isDone);
}

TEST_F(FileSystem, ThatCannotReadAnswersAReadFault) {
    MOUNT_OR_SKIP("kept");
    const auto size = static_cast<std::int64_t>(fs::file_size(folder / "original.lvx"));
    for (const bool unmapped : {false, true})
        for (const std::int64_t from : {std::int64_t{0}, std::int64_t{4096}, size / 8, size / 2, size - 4096, size}) {
            faults.unmapped = unmapped;
            faults.readFailsFrom = from;
            ExpectEach("reads fail from " + std::to_string(from),
                       [&](const Operation& operation, const std::string& outcome) {
                           const bool readsNothing = from != 0 || operation.what == std::string("save as a new file");
                           return outcome.starts_with("0x8003001E") || (readsNothing && outcome == kDone) ||
                                  (operation.what == std::string("check") && outcome == "problems");
                       });
        }
}

// What was changed stays in memory while the disk is away, and is saved once it is back.
TEST_F(FileSystem, ThatGoesAwayForAWhileLosesNothing) {
    MOUNT_OR_SKIP("kept");
    for (const bool unmapped : {false, true}) {
        faults.Clear();
        faults.unmapped = unmapped;
        fs::copy_file(folder / "original.lvx", behind / "a.lvx", fs::copy_options::overwrite_existing);
        EXPECT_EQ(Outcome([&] {
                      Project project = Project::Create();
                      project.OpenFile(PathText(mount / "a.lvx"));
                      Datum changed = project.Data().Item(20);
                      changed.Data(Floats(std::vector<float>(5000, 2.0f)));
                      faults.readFailsFrom = faults.writeFailsFrom = 0;
                      faults.writeError = EIO;
                      for (int attempt = 0; attempt < 2; ++attempt) {
                          try {
                              project.SaveFile();
                              throw std::runtime_error("it was saved");
                          } catch (const Error& error) {
                              const std::string status = InHex(error.Status());
                              if (status != "0x8003001E" && status != "0x8003001D") throw;
                          }
                      }
                      if (ContentOf(changed.Data()).values.size() != 5000) throw std::runtime_error("it was lost");
                      faults.Clear();
                      project.SaveFile();
                  }),
                  kDone);
        ExpectSound();
        Project again = Project::Create();
        again.OpenFile(PathText(behind / "a.lvx"));
        EXPECT_EQ(ContentOf(again.Data().Item(20).Data()).values, std::vector<double>(5000, 2.0));
    }
}

TEST_F(FileSystem, ThatCannotWriteAnswersAWriteFaultOrThatItIsFull) {
    MOUNT_OR_SKIP("kept");
    for (const auto& [error, status] : {std::pair{EIO, "0x8003001D"}, std::pair{ENOSPC, "0x80030070"}})
        for (const std::int64_t from : {0, 4096, 60'000, 400'000}) {
            faults.writeError = error;
            faults.writeFailsFrom = from;
            ExpectEach("writes fail from " + std::to_string(from),
                       [&, status = status](const Operation& operation, const std::string& outcome) {
                           return outcome == kDone ? !operation.writes || from > 4096 : outcome.starts_with(status);
                       });
        }
}

}  // namespace
}  // namespace lumvex::tests
