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
    fs::create_symlink(path_, folder_ / "link");
    for (const mode_t mode : {0660u, 0606u}) {  // which no usual umask leaves
        ::chmod(path_.c_str(), mode);
        CompoundFile::Create(CreateReplacing(folder_ / "link", Access::Exclusive), 3)->Commit();
        EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
        EXPECT_EQ(static_cast<unsigned>(fs::status(path_).permissions()), mode);
        EXPECT_EQ(FilesInFolder(), 2u);
    }
}

TEST_F(Sharing, WhatALinkNamesIsMadeWhereItIsMissing) {
    fs::create_directory(folder_ / "below");
    fs::create_symlink("below/second", folder_ / "first");
    fs::create_symlink("../missing", folder_ / "below" / "second");
    fs::create_symlink("around", folder_ / "circle");
    fs::create_symlink("circle", folder_ / "around");
    for (const char* name : {"first", "missing"}) {  // made, then replaced
        CompoundFile::Create(CreateReplacing(folder_ / name, Access::Exclusive), 3)->Commit();
        EXPECT_TRUE(fs::is_symlink(folder_ / "first"));
        EXPECT_TRUE(fs::is_symlink(folder_ / "below" / "second"));
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(folder_ / "missing")));
    }
    EXPECT_EQ(StatusOf([&] { return CreateReplacing(folder_ / "circle", Access::Exclusive); }), Status::PathNotFound);
}

// A hard link stays what it was: the new file takes one name.
TEST_F(Sharing, AReplacedFileLivesOnUnderItsOtherNames) {
    fs::create_hard_link(path_, folder_ / "other name");
    CompoundFile::Create(CreateReplacing(path_, Access::Exclusive), 3)->Commit();
    EXPECT_TRUE(GetAll(*Open(Access::ReadShared)).empty());
    EXPECT_EQ(GetAll(*CompoundFile::Open(OpenFile(folder_ / "other name", Access::ReadShared), Access::ReadShared)),
              content_);
}

// Between opening a file and locking it another may take its place. (Elsewhere this is noticed before the commit.)
TEST_F(Sharing, AFileThatIsReplacedWhileItIsOpenedIsNotTheOneThatIsOpen) {
    const auto replace = [&] {
        int replaced = 0;
        for (int i = 0; replaced < 500 && i < 1000000; ++i)
            replaced += StatusOf([&] { Make(Access::Exclusive); }) == Status{} ? 1 : 0;
        fs::create_directory(folder_ / "done");
        return replaced < 500 ? 1 : 0;
    };
    Elsewhere other(replace);
    int stale = 0;
    for (int i = 0; i % 100 != 0 || !fs::exists(folder_ / "done"); ++i)
        StatusOf([&] {
            const auto file = OpenFile(path_, Access::ReadWriteDenyWrite);
            stale += StatusOf([&] { file->RequireName(); }) == Status{} ? 0 : 1;
        });
    EXPECT_EQ(stale, 0);
    EXPECT_EQ(other.Result(), 0);
}

}  // namespace
}  // namespace lumvex::tests
