// A document whose file is of version 3 and has grown to what such files may have. What is written of zeros alone is
// left out of the files, so that gigabytes cost little.
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <numeric>

#include "kit/documents.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/compound/check/check.hpp"

namespace {

constexpr off_t kWorthLooking = off_t{1} << 20;

bool IsZero(const iovec& piece) {
    const char* const bytes = static_cast<const char*>(piece.iov_base);
    return piece.iov_len == 0 || (bytes[0] == 0 && std::memcmp(bytes, bytes + 1, piece.iov_len - 1) == 0);
}

bool folderIsFull = false;

}  // namespace

// Instead of the system's.
extern "C" ssize_t pwritev(int fd, const iovec* pieces, int count, off_t offset) {
    if (folderIsFull && offset > off_t{1} << 30) {
        errno = ENOSPC;
        return -1;
    }
    const auto length = std::accumulate(pieces, pieces + count, off_t{0}, [](off_t sum, const iovec& piece) {
        return sum + static_cast<off_t>(piece.iov_len);
    });
    if (length >= kWorthLooking && std::all_of(pieces, pieces + count, IsZero)) {
        if (::lseek(fd, 0, SEEK_END) < offset + length && ::ftruncate(fd, offset + length) != 0) return -1;
        return static_cast<ssize_t>(length);
    }
    return syscall(SYS_pwritev, fd, pieces, count, static_cast<long>(offset), 0L);
}

namespace lumvex::tests {
namespace {

TEST(Outgrown, ADocumentOfVersion3BecomesOneOfVersion4BeforeTwoGigabytes) {
    using namespace compound;
    const Folder folder;
    const auto path = folder / "a.lvx";
    MakeDocument(path, 20);
    {
        const auto file = CompoundFile::Open(OpenFile(path, Access::Exclusive), Access::Exclusive);
        ASSERT_EQ(file->Version(), 3);
        const Bytes zeros(std::size_t{64} << 20);
        for (const char16_t* name : {u"first half", u"second half"}) {  // to 2 MB less than there is room for
            std::vector<Piece> pieces(15, Piece(zeros));
            pieces.push_back(Piece(zeros).first(zeros.size() - (std::size_t{9} << 20)));
            file->Write(name, pieces);
        }
        file->Commit();
        EXPECT_FALSE(file->IsOutgrown());
    }
    std::string seen;
    for (const bool isFull : {true, false}) {
        Project project = Opened(path, LX_SHARE_READWRITE);
        project.Data().Item(3).Data(Floats(std::vector<float>(100, 7.0f)));
        project.SaveFile();
        EXPECT_EQ(InspectDocument(path).sectorBytes, 512u);
        seen = Seen(project);
        project.Data().Item(4).Data(Floats(std::vector<float>(1'000'000, 7.0f)));
        folderIsFull = isFull;
        if (isFull) {
            try {
                project.SaveFile();
                ADD_FAILURE() << "it was saved";
            } catch (const lumvex::Error& error) {
                EXPECT_EQ(InHex(error.Status()), "0x80030070");
            }
            folderIsFull = false;
            project.CloseFile();
            EXPECT_EQ(Seen(Opened(path)), seen);
            EXPECT_EQ(InspectDocument(path).sectorBytes, 512u);
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
            continue;
        }
        const auto reader = Opened(path, LX_SHARE_READ);
        project.SaveFile();
        EXPECT_EQ(InspectDocument(path).sectorBytes, 4096u);
        EXPECT_EQ(Seen(reader), seen);
        seen = Seen(project);
        project.Data().Add(u"one more");
        project.SaveFile();
    }
    Project again = Opened(path, LX_SHARE_READWRITE);
    again.Data().Remove(again.Data().Count());
    EXPECT_EQ(Seen(again), seen);
    EXPECT_TRUE(CheckStructure(*OpenFile(path, Access::ReadShared)).empty());
}

}  // namespace
}  // namespace lumvex::tests
