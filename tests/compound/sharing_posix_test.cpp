// Permissions and links, which other systems have otherwise.
#include <sys/stat.h>
#include <unistd.h>

#include "elsewhere.hpp"
#include "sharing.hpp"

namespace lumvex::tests {
namespace {

TEST_F(Sharing, AFileWithoutThePermissionIsNotOpened) {
    ::chmod(folder_.c_str(), 0755);
    ::chmod(path_.c_str(), 0444);
    const auto asOrdinaryUser = [&] {  // who may do less than an administrator
        if (::geteuid() == 0 && ::setuid(65534) != 0) return Status::NoMemory;
        if (StatusOf([&] { return Open(Access::ReadShared); }) != Status{}) return Status::ReadFault;
        return StatusOf([&] { return Open(Access::ReadWriteDenyWrite); });
    };
    EXPECT_EQ(Elsewhere(asOrdinaryUser).Result(), LowByte(Status::AccessDenied));
}

TEST_F(Sharing, AReplacedFileKeepsItsPermissionsAndALinkItsTarget) {
    ::chmod(path_.c_str(), 0606);  // which no usual mask makes
    fs::create_symlink(path_, folder_ / "link");
    const auto file = CompoundFile::Create(CreateReplacing(folder_ / "link", Access::Exclusive), 3);
    file->Commit();
    EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
    EXPECT_EQ(static_cast<unsigned>(fs::status(path_).permissions()), 0606u);
    EXPECT_EQ(FilesInFolder(), 2u);
}

}  // namespace
}  // namespace lumvex::tests
