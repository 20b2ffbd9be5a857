// Saves that fail at any of their operations, in every way in which a system call can fail, or whose process is killed
// there or at any moment: the document is the old one or the new one, sound, and other programs can read it.
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <random>
#include <set>

#include "kit/documents.hpp"
#include "lumvex/diagnostics.hpp"

namespace {

enum class Fault {
    None,
    Killed,   // the process ends; a write has done its first half
    Fails,    // an input/output error; a write has done its first half
    Full,     // no room left; the same
    Short,    // the first write does its first half only and says so: no failure
    Missing,  // nothing is done, and all that follow fail too
};

// Operations that are still carried out before the fault; negative: there is none.
long operationsLeft = -1;
Fault fault = Fault::None;
bool struck = false;
std::string
    calls;  // since it was cleared: w write, f flush, d flush of the folder, n a name is given, c the file is cut

bool Strikes() {
    if (operationsLeft < 0) return false;
    if (operationsLeft > 0) {
        --operationsLeft;
        return false;
    }
    if (fault != Fault::Missing) operationsLeft = -1;
    struck = true;
    if (fault == Fault::Killed) _exit(99);
    return true;
}

// For the operations that are done or not.
bool Refused() {
    if (!Strikes() || fault == Fault::Short) return false;
    errno = fault == Fault::Full ? ENOSPC : EIO;
    return true;
}

}  // namespace

// The calls through which the library changes files, instead of the system's.
extern "C" {

ssize_t pwritev(int fd, const iovec* pieces, int count, off_t offset) {
    const auto write = [&](const iovec* from, long number) {
        return syscall(SYS_pwritev, fd, from, number, static_cast<long>(offset), 0L);
    };
    if (operationsLeft == 0 && count > 0 && fault != Fault::Missing) {
        iovec half = pieces[0];
        half.iov_len = (half.iov_len + 1) / 2;
        const ssize_t done = write(&half, 1);
        if (fault == Fault::Short) {
            Strikes();
            return done;
        }
    }
    if (Refused()) return -1;
    calls += 'w';
    return write(pieces, count);
}
int ftruncate(int fd, off_t size) noexcept {
    if (Refused()) return -1;
    calls += 'c';
    return static_cast<int>(syscall(SYS_ftruncate, fd, static_cast<long>(size)));
}
// What a process has written outlives it; waiting for the disk would be most of the time.
int fdatasync(int) { return Refused() ? -1 : (calls += 'f', 0); }
int fsync(int) { return Refused() ? -1 : (calls += 'd', 0); }
int linkat(int from, const char* fromPath, int to, const char* toPath, int flags) noexcept {
    if (Refused()) return -1;
    calls += 'n';
    return static_cast<int>(syscall(SYS_linkat, from, fromPath, to, toPath, flags));
}
int rename(const char* from, const char* to) noexcept {
    if (Refused()) return -1;
    calls += 'n';
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
}

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

struct SaveKind {
    const char* what;
    bool givesName;                      // to a new file
    bool isNew;                          // nothing stands at the path before
    std::function<Project()> prepare;    // what is to be saved
    std::function<void(Project&)> save;  // binds it to the path
};

class Saves : public ::testing::Test {
protected:
    void ExpectSound(const fs::path& file) {
        for (const DocumentProblem& problem : CheckDocument(file))
            ADD_FAILURE() << problem.where << ": " << problem.what;
    }
    // Without its ID, which is new with each new document. Readers stand beside a writer.
    static std::string Shape(const Project& project) {
        const std::string seen = Seen(project);
        return seen.substr(seen.find(' '));
    }
    std::string SeenOrNothing() const { return fs::exists(path) ? Shape(Opened(path, LX_SHARE_READ)) : ""; }

    // One process for each kind of save and fault.
    void ExpectReadableElsewhere(const fs::path& file) {
        const std::string list = "gsf list '" + file.string() + "' > /dev/null 2>&1";
        EXPECT_EQ(std::system(list.c_str()), 0);
    }

    std::vector<SaveKind> Kinds() {
        const auto saveHere = [](Project& project) { project.SaveFile(); };
        const auto saveAs = [this](Project& project) { project.SaveFileAs(PathText(path)); };
        const auto changed = [this](const std::function<void(Project&)>& change) {
            return [this, change] {
                Project project = Opened(path, LX_SHARE_READWRITE);
                change(project);
                return project;
            };
        };
        return {
            {"a new document", true, true,
             [] {
                 Project project = Project::Create();
                 project.AccessMode(LX_SHARE_READWRITE);
                 for (int member = 0; member < 5; ++member) project.Data().Add(u"member");
                 return project;
             },
             saveAs},
            {"a document under another's name", true, false, [this] { return Opened(other, LX_SHARE_READWRITE); },
             saveAs},
            {"changes of every kind", false, false, changed([](Project& project) { ChangeEverything(project, 1); }),
             saveHere},
            {"a second save", false, false, changed([](Project& project) {
                 ChangeEverything(project, 1);
                 project.SaveFile();
                 ChangeEverything(project, 2);
             }),
             saveHere},
            {"growth", false, false, changed([](Project& project) {
                 for (int member = 0; member < 300; ++member)
                     project.Data().Add(u"member").Data(Floats(std::vector<float>(500, 3.0f)));
             }),
             saveHere},
            {"most of it removed, so that the file is cut", false, false, changed([](Project& project) {
                 Data data = project.Data();
                 while (data.Count() > 6) data.Remove(data.Count());
             }),
             saveHere},
        };
    }

    const Folder folder;
    const fs::path path = folder / "a.lvx", original = folder / "original.lvx", other = folder / "other.lvx";
};

// The order that a power cut asks for: what a header leads to is on the disk before the header is, a file before it has
// a name.
void ExpectFlushesInTheirPlaces(const SaveKind& kind) {
    std::string last = calls.substr(0, calls.find_last_not_of('c') + 1);
    if (kind.givesName) {
        EXPECT_TRUE(last.ends_with("fnd") || last.ends_with("fnnd")) << calls;
    } else {
        EXPECT_TRUE(last.ends_with("wfwfw")) << calls;  // with the mark that the header is on the disk
    }
}

// In a process of its own, which dies; answers whether it came to its end.
bool RunToKill(const SaveKind& kind, long operations) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            Project project = kind.prepare();
            operationsLeft = operations;
            kind.save(project);
            _exit(0);
        } catch (const std::exception&) {
            _exit(1);
        }
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 99)) << "status " << status;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(Saves, ThatFailAtAnyOperationLeaveTheOldDocumentOrTheNewOne) {
    MakeDocument(original, 60);
    MakeDocument(other, 3);
    int survived = 0;
    const auto start = [&](const SaveKind& kind) {
        if (kind.isNew)
            fs::remove(path);
        else
            fs::copy_file(original, path, fs::copy_options::overwrite_existing);
    };
    for (const SaveKind& kind : Kinds()) {
        for (const Fault each : {Fault::Killed, Fault::Fails, Fault::Full, Fault::Short, Fault::Missing}) {
            for (long operations = 0;; ++operations) {
                SCOPED_TRACE(std::string(kind.what) + ", fault " + std::to_string(static_cast<int>(each)) +
                             " at operation " + std::to_string(operations));
                start(kind);
                Project project = kind.prepare();
                const std::string before = SeenOrNothing(), after = Shape(project);
                fault = each;
                struck = false;
                calls.clear();
                bool saved = false;
                if (each == Fault::Killed) {
                    project = Project();
                    start(kind);
                    saved = RunToKill(kind, operations);
                    struck = !saved;
                } else {
                    operationsLeft = operations;
                    try {
                        kind.save(project);
                        saved = true;
                    } catch (const Error& error) {
                        EXPECT_NE(each, Fault::Short) << error.what();
                    }
                    operationsLeft = -1;
                    EXPECT_EQ(Shape(project), after);
                }
                const std::string found = SeenOrNothing();
                EXPECT_TRUE(found == after || (!saved && found == before)) << found;
                // Nothing is said to have failed that was done.
                if (each != Fault::Killed && kind.givesName) {
                    EXPECT_EQ(saved, found == after);
                }
                if (each != Fault::Killed && !struck) ExpectFlushesInTheirPlaces(kind);
                if (saved && struck && kind.givesName && !calls.ends_with('d') && each != Fault::Short) {
                    project.Units(LX_UNITS_IMPERIAL);
                    calls.clear();
                    project.SaveFile();  // flushes the folder, which could not be before
                    EXPECT_NE(calls.find('d'), std::string::npos) << calls;
                    project.Units(LX_UNITS_METRIC);
                    project.SaveFile();
                }
                if (!found.empty()) {
                    if (operations == 3) ExpectReadableElsewhere(path);
                    ExpectSound(path);
                }
                if (!saved && each == Fault::Killed) {  // the next save takes away what was left behind
                    Project next = Opened(other, LX_SHARE_READWRITE);
                    next.SaveFileAs(PathText(path));
                    next = Project();
                    std::size_t files = 0;
                    for (const auto& entry : fs::directory_iterator(folder.Path())) {
                        EXPECT_NE(entry.path().filename().native().substr(0, 2), ".~");
                        ++files;
                    }
                    EXPECT_EQ(files, 3u);
                }
                if (!saved && project) {  // the program lives on and saves after all
                    kind.save(project);
                    project = Project();
                    EXPECT_EQ(SeenOrNothing(), after);
                    ExpectSound(path);
                }
                if (!struck) break;  // past the last operation
                ++survived;
                ASSERT_LT(operations, 500);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
    std::printf("%d injected faults survived\n", survived);
    EXPECT_GT(survived, 150);
}

// Each save makes one more round of everything: whatever moment the process is killed at, all of the document is of one
// round, and no round that was saved is lost.
TEST_F(Saves, OfAProcessThatIsKilledAtAnyMomentAreWholeRounds) {
    constexpr int kKills = 200;
    Project made = Project::Create();
    for (int member = 0; member < 30; ++member) made.Data().Add(u"member").SampleRate(1);
    made.SaveFileAs(PathText(path));
    made = Project();
    std::mt19937 random(3);
    LONG last = 1;
    std::set<LONG> rounds;
    for (int kill = 0; kill < kKills && !HasFailure(); ++kill) {
        const pid_t child = fork();
        if (child == 0) {
            try {
                Project project = Opened(path);
                for (LONG round = last + 1;; ++round) {
                    for (Datum datum : project.Data()) {
                        datum.SampleRate(round);
                        datum.Data(Floats(std::vector<float>(static_cast<std::size_t>(2 + round * 37 % 900), 1.0f)));
                    }
                    project.SaveFile();
                }
            } catch (const std::exception&) {
                _exit(1);
            }
        }
        ::usleep(static_cast<useconds_t>(500 + random() % 12000));
        ::kill(child, SIGKILL);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status)) << "it ended by itself";
        Project project = Opened(path);
        const LONG round = project.Data().Item(1).SampleRate();
        for (const Datum& datum : project.Data()) EXPECT_EQ(datum.SampleRate(), round);
        project = Project();
        ExpectSound(path);
        EXPECT_GE(round, last);
        last = round;
        rounds.insert(round);
    }
    ExpectReadableElsewhere(path);
    std::printf("%d kills survived, %d of them with a save between\n", kKills, static_cast<int>(rounds.size()) - 1);
    EXPECT_GT(rounds.size(), 2u);
}

}  // namespace
}  // namespace lumvex::tests
