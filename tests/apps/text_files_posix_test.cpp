// Properties of files other than their content on POSIX systems: devices, links, permissions, names that are no valid
// text, dates.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

using namespace std::string_literals;

const std::string kThree = "20.5\t63.1\t-170\n21\t64\t1e-3\n";

TEST(TextFiles, RefuseWholeFilesWithTheReason) {
    const Folder folder;
    std::filesystem::create_directory(folder / "directory.txt");
    ASSERT_EQ(mkfifo((folder / "pipe.txt").c_str(), 0600), 0);
    folder.Write("empty.txt", "");
    folder.Write("mark.txt", "\xEF\xBB\xBF");
    folder.Write("words.csv", "Frequency, Level\n* 20, 1\n");
    folder.Write("half.txt", "\xFF\xFE\x32\0\x30\0\x0A"s);
    std::filesystem::create_symlink(folder / "loop.txt", folder / "loop.txt");
    const struct {
        const char* name;
        const char* message;
    } cases[] = {
        {"missing.txt", "No such file or directory"},
        {"directory.txt", "Is a directory"},
        {"empty.txt/inside.txt", "Not a directory"},
        {"loop.txt", "Too many levels of symbolic links"},
        {"pipe.txt", "expected a file, found a device or pipe"},
        {"empty.txt", "the file is empty"},
        {"mark.txt", "expected lines of 2 or 3 numbers (frequency, level, phase), found none"},
        {"words.csv", "expected lines of 2 or 3 numbers (frequency, level, phase), found none"},
        {"half.txt", "expected an even number of bytes in UTF-16, found half a character at the end"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const auto error = ReadError(folder / test.name);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->Line(), 0u);
        EXPECT_EQ(error->what(), (folder / test.name).string() + ": " + test.message);
    }
}

TEST(TextFiles, SayThatTheyMayNotBeRead) {
    const Folder folder;
    const std::filesystem::path path = folder.Write("secret.txt", kThree);
    std::filesystem::permissions(path, std::filesystem::perms::none);
    const bool root = geteuid() == 0;  // the administrator may read everything
    if (root) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    const auto error = ReadError(path);
    if (root) {
        ASSERT_EQ(seteuid(0), 0);
    }
    ASSERT_TRUE(error);
    EXPECT_EQ(error->what(), path.string() + ": Permission denied");
}

TEST(TextFiles, TakeNameAndDateFromTheFile) {
    const Folder folder;
    const struct {
        const char* file;
        const char* name;
    } cases[] = {{"left 30\xC2\xB0.v2.frd", "left 30\xC2\xB0.v2"},
                 {"plain", "plain"},
                 {".frd", ".frd"},
                 {"latin\xB0.txt", "latin\xEF\xBF\xBD"},
                 {"cut\xE2\x82.txt", "cut\xEF\xBF\xBD\xEF\xBF\xBD"}};
    for (const auto& test : cases) {
        const std::filesystem::path path = folder.Write(test.file, kThree);
        const auto date = std::chrono::sys_seconds(std::chrono::seconds(1234567890)) + std::chrono::milliseconds(900);
        std::filesystem::last_write_time(path, std::chrono::file_clock::from_sys(date));
        const MeasurementFile file = ReadMeasurementFile(path);
        EXPECT_EQ(file.name, test.name);
        EXPECT_EQ(file.modified, 1234567890);
    }
}

}  // namespace
}  // namespace lumvex::app
