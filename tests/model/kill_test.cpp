// A process that is killed in the middle of a save: whatever it was writing, the document is the old one or the new
// one.
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "lumvex/diagnostics.hpp"
#include "model/documents.hpp"

namespace {

// Writes that are still carried out before the process dies, in the middle of the next one; negative: it lives.
long writesLeft = -1;

void CountDown() {
    if (writesLeft >= 0 && writesLeft-- == 0) _exit(99);
}

}  // namespace

// The calls through which the library changes files, instead of the system's.
extern "C" {

ssize_t pwritev(int fd, const iovec* pieces, int count, off_t offset) {
    if (writesLeft == 0 && count > 0) {
        iovec half = pieces[0];
        half.iov_len /= 2;
        syscall(SYS_pwritev, fd, &half, 1L, static_cast<long>(offset), 0L);
    }
    CountDown();
    return syscall(SYS_pwritev, fd, pieces, static_cast<long>(count), static_cast<long>(offset), 0L);
}
int ftruncate(int fd, off_t size) noexcept {
    CountDown();
    return static_cast<int>(syscall(SYS_ftruncate, fd, static_cast<long>(size)));
}
int fdatasync(int fd) {
    CountDown();
    return static_cast<int>(syscall(SYS_fdatasync, fd));
}
int linkat(int from, const char* fromPath, int to, const char* toPath, int flags) noexcept {
    CountDown();
    return static_cast<int>(syscall(SYS_linkat, from, fromPath, to, toPath, flags));
}
int rename(const char* from, const char* to) noexcept {
    CountDown();
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
}

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

// Runs `work` in a process of its own that dies at its nth write; answers whether it came to its end. `prepare` is not
// counted.
template <class Prepare, class Work>
bool RunToWrite(long nth, Prepare prepare, Work work) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            auto prepared = prepare();
            writesLeft = nth;
            work(prepared);
            _exit(0);
        } catch (const std::exception&) {
            _exit(1);
        }
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 99)) << "write " << nth;
    return WIFEXITED(status) && WEXITSTATUS(status) != 99;
}

class Killed : public ::testing::Test {
protected:
    void ExpectSound(const fs::path& file) {
        for (const DocumentProblem& problem : CheckDocument(file))
            ADD_FAILURE() << problem.where << ": " << problem.what;
    }

    const Folder folder;
    const fs::path path = folder / "a.lvx", original = folder / "original.lvx";
};

TEST_F(Killed, AtEveryWriteOfTwoSaves) {
    for (const int members : {5, 400}) {
        MakeDocument(original, members);
        const auto prepare = [&] {
            Project project = Opened(path);
            ChangeEverything(project, 1);
            return project;
        };
        const auto work = [](Project& project) {
            project.SaveFile();
            ChangeEverything(project, 2);
            project.SaveFile();
        };
        std::set<std::string> seen;
        long writes = 0;
        for (bool finished = false; !finished && !HasFailure(); ++writes) {
            SCOPED_TRACE("write " + std::to_string(writes));
            fs::copy_file(original, path, fs::copy_options::overwrite_existing);
            finished = RunToWrite(writes, prepare, work);
            seen.insert(Seen(path));
            ExpectSound(path);
            if (writes == 0) {
                EXPECT_TRUE(seen.contains(Seen(original)));
            }
        }
        EXPECT_EQ(seen.size(), 3u) << "the original, after the first save, after the second";
        EXPECT_GT(writes, 8);
    }
}

TEST_F(Killed, AtEveryWriteOfASaveOverAnotherDocument) {
    MakeDocument(original, 30);
    const fs::path other = folder / "other.lvx";
    MakeDocument(other, 3);
    const std::string before = Seen(other);
    std::set<std::string> seen;
    for (long writes = 0;; ++writes) {
        SCOPED_TRACE("write " + std::to_string(writes));
        fs::copy_file(other, path, fs::copy_options::overwrite_existing);
        const bool finished = RunToWrite(
            writes, [&] { return Opened(original); }, [&](Project& project) { project.SaveFileAs(PathText(path)); });
        seen.insert(Seen(path));
        ExpectSound(path);
        if (finished || HasFailure()) break;
    }
    EXPECT_TRUE(seen.contains(before));
    EXPECT_TRUE(seen.contains(Seen(original)));
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_EQ(Seen(path), Seen(original));
}

TEST_F(Killed, AtEveryWriteOfANewDocument) {
    for (long writes = 0;; ++writes) {
        SCOPED_TRACE("write " + std::to_string(writes));
        fs::remove(path);
        const bool finished = RunToWrite(
            writes,
            [] {
                Project project = Project::Create();
                for (int member = 0; member < 5; ++member) project.Data().Add(u"member");
                return project;
            },
            [&](Project& project) { project.SaveFileAs(PathText(path)); });
        if (fs::exists(path)) {
            EXPECT_EQ(Opened(path).Data().Count(), 5);
            ExpectSound(path);
        }
        if (finished || HasFailure()) {
            EXPECT_TRUE(fs::exists(path));
            break;
        }
    }
}

}  // namespace
}  // namespace lumvex::tests
