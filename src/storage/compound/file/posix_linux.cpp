// Linux, whose locks can belong to the open file. A forked child shares them with the file.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "storage/compound/base/little_endian.hpp"
#include "storage/compound/file/posix_lock_calls.hpp"

namespace lumvex::compound::posix {

namespace {

// Extended attributes as the system lists them; none where it has none.
std::vector<char> ListAttributes(int file) {
    std::vector<char> names;
    for (ssize_t size = ::flistxattr(file, nullptr, 0); size > 0;) {
        names.resize(static_cast<std::size_t>(size));
        const ssize_t got = ::flistxattr(file, names.data(), names.size());
        if (got >= 0) {
            names.resize(static_cast<std::size_t>(got));
            return names;
        }
        if (errno != ERANGE) break;  // ERANGE: there are more by now
        size = ::flistxattr(file, nullptr, 0);
    }
    return {};
}

bool ReadAttribute(int file, const char* name, std::vector<std::byte>& value) {
    for (int attempt = 0; attempt < 8; ++attempt) {
        const ssize_t size = ::fgetxattr(file, name, nullptr, 0);
        if (size < 0) return false;
        value.resize(static_cast<std::size_t>(size));
        const ssize_t got = ::fgetxattr(file, name, value.data(), value.size());
        if (got >= 0) {
            value.resize(static_cast<std::size_t>(got));
            return true;
        }
        if (errno != ERANGE) return false;
    }
    return false;
}

constexpr const char* kAccessList = "system.posix_acl_access";

// An access list as the attribute holds it: a version, then entries of tag, permissions and ID. In the mode of a file
// that has an access list the group's bits are not what the group may do: they are the list's mask, a limit for all
// that are named.
class AccessList {
public:
    explicit AccessList(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}

    const std::vector<std::byte>& Bytes() const { return bytes_; }
    unsigned GroupPermissions() const {
        const std::byte* group = Find(kOwningGroup);
        const std::byte* mask = Find(kMask);
        if (group == nullptr) return 0;
        return Load<std::uint16_t>(group + 2) & (mask == nullptr ? 7u : Load<std::uint16_t>(mask + 2)) & 7u;
    }
    void LimitGroup(unsigned permissions) {
        if (std::byte* group = Find(kOwningGroup))
            Store<std::uint16_t>(group + 2, static_cast<std::uint16_t>(Load<std::uint16_t>(group + 2) & permissions));
    }

private:
    static constexpr std::size_t kHead = 4, kEntry = 8;
    static constexpr std::uint16_t kOwningGroup = 0x04, kMask = 0x10;

    const std::byte* Find(std::uint16_t tag) const {
        for (std::size_t at = kHead; at + kEntry <= bytes_.size(); at += kEntry)
            if (Load<std::uint16_t>(&bytes_[at]) == tag) return &bytes_[at];
        return nullptr;
    }
    std::byte* Find(std::uint16_t tag) { return const_cast<std::byte*>(std::as_const(*this).Find(tag)); }

    std::vector<std::byte> bytes_;
};

}  // namespace

OpenedFile::~OpenedFile() {
    if (fd_ >= 0) ::close(fd_);
}

OpenedFile::Answer OpenedFile::Lock(Kind kind, off_t byte) {
    struct flock lock = LockRange(LockType(kind), byte, 1);
    return CallLock(fd_, F_OFD_SETLK, lock) ? Answer::Yes : LockRefusal();
}

void OpenedFile::Unlock(off_t byte) noexcept {
    struct flock lock = LockRange(F_UNLCK, byte, 1);
    ::fcntl(fd_, F_OFD_SETLK, &lock);
}

OpenedFile::Answer OpenedFile::IsLockedElsewhere(off_t start, off_t length) const {
    struct flock lock = LockRange(F_WRLCK, start, length);
    if (!CallLock(fd_, F_OFD_GETLK, lock)) return LockRefusal();
    return lock.l_type == F_UNLCK ? Answer::No : Answer::Yes;
}

namespace {

std::string PathOf(int file) { return "/proc/self/fd/" + std::to_string(file); }

}  // namespace

int OpenUnnamed(const char* folder, mode_t mode) {
    if (::access("/proc/self/fd", X_OK) != 0) {  // NameUnnamed would fail later
        errno = EOPNOTSUPP;
        return -1;
    }
    const int file = ::open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
    if (file < 0 && (errno == EISDIR || errno == EINVAL)) errno = EOPNOTSUPP;  // from systems that do not know the flag
    return file;
}

int NameUnnamed(int file, const char* path) {
    return ::linkat(AT_FDCWD, PathOf(file).c_str(), AT_FDCWD, path, AT_SYMLINK_FOLLOW);
}

int MoveToFreeName(const char* from, const char* to) {
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
    if (errno == EINVAL || errno == ENOSYS) errno = EOPNOTSUPP;
    return -1;
}

void CopyAttributes(int replaced, int created) {
    struct stat status {
    }, own{};
    if (::fstat(replaced, &status) != 0) return;
    if (::fchown(created, status.st_uid, status.st_gid) != 0)
        static_cast<void>(::fchown(created, static_cast<uid_t>(-1), status.st_gid));
    const std::vector<char> names = ListAttributes(replaced);
    std::vector<std::byte> value;
    for (const char* name = names.data(); name < names.data() + names.size(); name += std::strlen(name) + 1)
        if (std::string_view(name).starts_with("user.") && ReadAttribute(replaced, name, value))
            static_cast<void>(::fsetxattr(created, name, value.data(), value.size(), 0));

    // Where the group could not be kept, the new file's group gets no more than all others.
    const bool isItsGroup = ::fstat(created, &own) == 0 && own.st_gid == status.st_gid;
    const unsigned mostForGroup = isItsGroup ? 7u : status.st_mode & 7u;
    unsigned forGroup = status.st_mode >> 3 & 7u;
    const bool hasList = ReadAttribute(replaced, kAccessList, value);
    AccessList list(std::move(value));
    if (hasList) forGroup = list.GroupPermissions();
    ::fremovexattr(created, kAccessList);  // which the folder may have given it
    static_cast<void>(::fchmod(created, (status.st_mode & 0707) | (forGroup & mostForGroup) << 3));
    if (!hasList) return;
    list.LimitGroup(mostForGroup);
    static_cast<void>(::fsetxattr(created, kAccessList, list.Bytes().data(), list.Bytes().size(), 0));
}

int FlushContent(int file) { return ::fdatasync(file); }

// Where this fails, FlushContent() says so.
void BeginFlush(int file, off_t start, off_t length) noexcept {
    static_cast<void>(::sync_file_range(file, start, length, SYNC_FILE_RANGE_WRITE));
}

void GiveBackMapped(void* begin, std::size_t size) noexcept {
    static_cast<void>(::madvise(begin, size, MADV_DONTNEED));
}

std::int64_t Tick() {
    struct timespec now {};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace lumvex::compound::posix
