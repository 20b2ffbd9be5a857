// Obstacles to writing on POSIX systems: full disks, permissions, links.
#include <sys/resource.h>

#include <csignal>

#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

using Kind = MeasurementFile::Kind;

// Imitates a full disk: no file may grow beyond this number of bytes.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : signal_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit limit{bytes, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, signal_);
    }

private:
    rlimit old_{};
    void (*signal_)(int);
};

TEST(Writing, LeavesTheOldFileWhenTheNewOneCannotBeFinished) {
    const Folder folder;
    for (const char* name : {"a.frd", "a.csv", "a.wav"}) {
        const std::filesystem::path path = folder.Write(name, "old");
        const bool wav = path.extension() == ".wav";
        const MeasurementFile file = Table(wav ? Kind::Impulse : Kind::Response, 2, std::vector<float>(100000, 0.125f));
        for (rlim_t limit : {0, 1, 100, 5000, 390000}) {
            SCOPED_TRACE(std::string(name) + " within " + std::to_string(limit) + " bytes");
            std::optional<FileError> error;
            {
                const FileSizeLimit full(limit);
                error = ErrorOf([&] { WriteMeasurementFile(path, file); });
            }
            ASSERT_TRUE(error);
            EXPECT_EQ(error->what(), path.string() + ": File too large");
            EXPECT_EQ(Bytes(path), "old");
        }
        std::filesystem::remove(path);
    }
    EXPECT_EQ(folder.Count(), 0u);
}

TEST(Writing, ReplacesOnlyWhatMayBeReplaced) {
    const Folder folder;
    const MeasurementFile file = Table(Kind::Response, 2, {20, 1});
    const auto failure = [&](const std::filesystem::path& path) {
        const auto error = ErrorOf([&] { WriteMeasurementFile(path, file); });
        return error ? std::string(error->what()).substr(path.string().size()) : "no error";
    };
    std::filesystem::create_directory(folder / "directory.txt");
    EXPECT_EQ(failure(folder / "directory.txt"), ": Is a directory");
    EXPECT_EQ(failure(folder / "nowhere/a.txt"), ": No such file or directory");
    const std::filesystem::path locked = folder.Write("locked.txt", "old");
    std::filesystem::permissions(locked, std::filesystem::perms::owner_read);
    EXPECT_EQ(failure(locked), ": Permission denied");
    EXPECT_EQ(Bytes(locked), "old");

    // The file behind a link is replaced, and keeps its permissions; the longest name leaves no room for another.
    const std::string longest = std::string(251, 'n') + ".txt";
    const std::filesystem::path real = folder.Write(longest, "old");
    std::filesystem::permissions(real, std::filesystem::perms(0640));
    std::filesystem::create_symlink(longest, folder / "link.txt");
    EXPECT_EQ(failure(folder / "link.txt"), "no error");
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.txt"));
    EXPECT_EQ(ReadMeasurementFile(real).values, (std::vector<float>{20, 1}));
    EXPECT_EQ(std::filesystem::status(real).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(folder.Count(), 4u);
}

}  // namespace
}  // namespace lumvex::app
