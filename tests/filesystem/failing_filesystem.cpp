// failing_filesystem FOLDER FAULTS LOCKS MOUNT [OPTION...]: shows the folder at the mount point, as a file system that
// fails where the file of faults says so, and that has no files without a name. LOCKS "kept" or "asked": whether the
// system keeps locks without asking, or each is refused with the error of the faults.
#define FUSE_USE_VERSION 35
#include <dirent.h>
#include <fuse3/fuse.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "faults.hpp"

namespace {

using lumvex::tests::Faults;

std::string folder;
Faults* faults = nullptr;

std::string At(const char* path) { return folder + path; }
int Answer(long result) { return result < 0 ? -errno : static_cast<int>(result); }

// An open file has no path once it was removed.
int GetAttributes(const char* path, struct stat* status, fuse_file_info* info) {
    const int answer =
        Answer(path == nullptr ? ::fstat(static_cast<int>(info->fh), status) : ::lstat(At(path).c_str(), status));
    static ino_t number = 1;
    if (faults->renumbers) status->st_ino = ++number;
    return answer;
}

int Open(const char* path, fuse_file_info* info) {
    const int fd = ::open(At(path).c_str(), info->flags);
    if (fd < 0) return -errno;
    info->fh = static_cast<std::uint64_t>(fd);
    info->direct_io = faults->unmapped;
    return 0;
}

int Create(const char* path, mode_t mode, fuse_file_info* info) {
    const int fd = ::open(At(path).c_str(), info->flags, mode);
    if (fd < 0) return -errno;
    info->fh = static_cast<std::uint64_t>(fd);
    info->direct_io = faults->unmapped;
    return 0;
}

int Read(const char*, char* bytes, std::size_t size, off_t offset, fuse_file_info* info) {
    const std::int64_t from = faults->readFailsFrom;
    if (from >= 0 && offset + static_cast<off_t>(size) > from) return -EIO;
    return Answer(::pread(static_cast<int>(info->fh), bytes, size, offset));
}

int Write(const char*, const char* bytes, std::size_t size, off_t offset, fuse_file_info* info) {
    const std::int64_t from = faults->writeFailsFrom;
    if (from >= 0 && offset + static_cast<off_t>(size) > from) return -faults->writeError;
    return Answer(::pwrite(static_cast<int>(info->fh), bytes, size, offset));
}

int Truncate(const char* path, off_t size, fuse_file_info* info) {
    return Answer(path == nullptr ? ::ftruncate(static_cast<int>(info->fh), size) : ::truncate(At(path).c_str(), size));
}
int Flush(const char*, int, fuse_file_info* info) { return Answer(::fsync(static_cast<int>(info->fh))); }
int FlushFolder(const char*, int, fuse_file_info*) { return 0; }
int Release(const char*, fuse_file_info* info) { return Answer(::close(static_cast<int>(info->fh))); }
int Remove(const char* path) { return Answer(::unlink(At(path).c_str())); }
int Permissions(const char* path, mode_t mode, fuse_file_info* info) {
    return Answer(path == nullptr ? ::fchmod(static_cast<int>(info->fh), mode) : ::chmod(At(path).c_str(), mode));
}
int Owner(const char* path, uid_t user, gid_t group, fuse_file_info* info) {
    return Answer(path == nullptr ? ::fchown(static_cast<int>(info->fh), user, group)
                                  : ::lchown(At(path).c_str(), user, group));
}

int Rename(const char* from, const char* to, unsigned flags) {
    if (flags != 0 && faults->newNameError != 0) return -faults->newNameError;
    if (faults->renameError != 0) return -faults->renameError;
    return Answer(::renameat2(AT_FDCWD, At(from).c_str(), AT_FDCWD, At(to).c_str(), flags));
}

DIR* FolderOf(const fuse_file_info* info) { return reinterpret_cast<DIR*>(info->fh); }

int OpenFolder(const char* path, fuse_file_info* info) {
    DIR* const opened = ::opendir(At(path).c_str());
    info->fh = reinterpret_cast<std::uint64_t>(opened);
    return opened == nullptr ? -errno : 0;
}

int List(const char*, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info* info, fuse_readdir_flags) {
    ::rewinddir(FolderOf(info));
    while (const dirent* entry = ::readdir(FolderOf(info)))
        fill(buffer, entry->d_name, nullptr, 0, fuse_fill_dir_flags{});
    return 0;
}

int CloseFolder(const char*, fuse_file_info* info) { return Answer(::closedir(FolderOf(info))); }

int Lock(const char*, fuse_file_info*, int, struct flock*) { return -faults->lockError; }

// Nothing is remembered of what files are like.
void* Start(fuse_conn_info*, fuse_config* settings) {
    settings->use_ino = settings->hard_remove = settings->nullpath_ok = 1;
    settings->attr_timeout = settings->entry_timeout = settings->negative_timeout = 0;
    return nullptr;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 5) {
        std::fputs("usage: failing_filesystem FOLDER FAULTS kept|asked MOUNT [OPTION...]\n", stderr);
        return 2;
    }
    folder = arguments[1];
    faults = &lumvex::tests::SharedFaults(arguments[2]);
    fuse_operations operations{};
    operations.getattr = GetAttributes;
    operations.open = Open;
    operations.create = Create;
    operations.read = Read;
    operations.write = Write;
    operations.truncate = Truncate;
    operations.fsync = Flush;
    operations.fsyncdir = FlushFolder;
    operations.release = Release;
    operations.unlink = Remove;
    operations.chmod = Permissions;
    operations.chown = Owner;
    operations.rename = Rename;
    operations.opendir = OpenFolder;
    operations.readdir = List;
    operations.releasedir = CloseFolder;
    operations.init = Start;
    if (std::strcmp(arguments[3], "asked") == 0) operations.lock = Lock;
    arguments[3] = arguments[0];
    return fuse_main(count - 3, arguments + 3, &operations, nullptr);
}
