// What a replaced file carries beside its content: owner, access list, extended attributes.
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "elsewhere.hpp"
#include "sharing.hpp"

namespace lumvex::tests {
namespace {

// An access list as an attribute's value.
struct AclEntry {
    std::uint16_t tag, permissions;
    std::uint32_t id = 0xFFFFFFFF;
};
constexpr std::uint16_t kOwner = 1, kUser = 2, kOwningGroup = 4, kMask = 16, kOthers = 32;

std::string AccessList(const std::vector<AclEntry>& entries) {
    std::string bytes("\2\0\0\0", 4);
    for (const AclEntry& entry : entries)
        bytes.append(reinterpret_cast<const char*>(&entry), 4).append(reinterpret_cast<const char*>(&entry.id), 4);
    return bytes;
}

// The group may read, a user named 4321 may write: the mode shows 0660.
const std::string kWriterBesideGroup =
    AccessList({{kOwner, 6}, {kUser, 6, 4321}, {kOwningGroup, 4}, {kMask, 6}, {kOthers, 0}});

class Attributes : public Sharing {
protected:
    static std::string Get(const fs::path& path, const char* name) {
        std::string value(1000, 0);
        const ssize_t size = ::getxattr(path.c_str(), name, value.data(), value.size());
        return value.substr(0, size < 0 ? 0 : static_cast<std::size_t>(size));
    }
    static bool Set(const fs::path& path, const char* name, const std::string& value) {
        return ::setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
    }
    static struct stat Of(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        return status;
    }
    void Replace() { CompoundFile::Create(CreateReplacing(path_, Access::Exclusive), 3)->Commit(); }
};

TEST_F(Attributes, GoAlongWithAReplacedFile) {
    if (!Set(path_, "user.note", "calibrated") || !Set(path_, "system.posix_acl_access", kWriterBesideGroup))
        GTEST_SKIP() << "no extended attributes in " << folder_;
    Set(path_, "user.long", std::string(900, 'x'));
    const bool isAdministrator = ::geteuid() == 0;
    EXPECT_EQ(isAdministrator ? ::chown(path_.c_str(), 1234, 2345) : 0, 0);
    const struct stat before = Of(path_);
    EXPECT_EQ(before.st_mode & 0777, 0660u);
    Replace();
    const struct stat after = Of(path_);
    EXPECT_NE(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(Get(path_, "user.note"), "calibrated");
    EXPECT_EQ(Get(path_, "user.long"), std::string(900, 'x'));
    EXPECT_EQ(Get(path_, "system.posix_acl_access"), kWriterBesideGroup);
}

// A folder may give new files an access list of its own.
TEST_F(Attributes, AFolderGivesNoPermissionsToWhatReplacesAFile) {
    ::chmod(path_.c_str(), 0640);
    if (!Set(folder_, "system.posix_acl_default", kWriterBesideGroup)) GTEST_SKIP() << "no access lists in " << folder_;
    Replace();
    EXPECT_EQ(Get(path_, "system.posix_acl_access"), "");
    EXPECT_EQ(Of(path_).st_mode & 0777, 0640u);
}

// Who may not give the file its group back gives no other group what that one had.
TEST_F(Attributes, AnotherGroupGetsWhatOthersHad) {
    if (::geteuid() != 0) GTEST_SKIP() << "only an administrator can make a file of another group";
    ::chmod(folder_.c_str(), 0777);
    for (const bool hasList : {false, true}) {
        Make(Access::Exclusive);
        ASSERT_EQ(::chown(path_.c_str(), 1234, 2345), 0);
        ::chmod(path_.c_str(), 0664);
        const std::string list =
            AccessList({{kOwner, 6}, {kUser, 6, 65534}, {kOwningGroup, 6}, {kMask, 6}, {kOthers, 4}});
        if (hasList && !Set(path_, "system.posix_acl_access", list)) GTEST_SKIP() << "no access lists in " << folder_;
        const auto asOrdinaryUser = [&] {
            if (::setgid(4000) != 0 || ::setuid(65534) != 0) return Status::NoMemory;
            return StatusOf([&] {
                Replace();
                return 0;
            });
        };
        if (!hasList) ::chmod(path_.c_str(), 0676);
        EXPECT_EQ(Elsewhere(asOrdinaryUser).Result(), 0);
        EXPECT_EQ(Of(path_).st_uid, 65534u);
        EXPECT_EQ(Of(path_).st_gid, 4000u);
        EXPECT_EQ(Of(path_).st_mode & 0777, hasList ? 0664u : 0666u);
        const std::string limited =
            AccessList({{kOwner, 6}, {kUser, 6, 65534}, {kOwningGroup, 4}, {kMask, 6}, {kOthers, 4}});
        EXPECT_EQ(Get(path_, "system.posix_acl_access"), hasList ? limited : "");
        fs::remove(path_);
    }
}

}  // namespace
}  // namespace lumvex::tests
