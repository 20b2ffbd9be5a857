// Systems that have POSIX alone, as macOS and the BSDs. Their locks belong to the process and go with the first
// descriptor of the file that it closes, whichever that is. So this keeps a list of what the open files of this process
// have locked, and closes none of a file's descriptors before the last one. A forked child has none of the locks.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "storage/compound/file/posix_lock_calls.hpp"

namespace lumvex::compound::posix {

namespace {

struct Held {
    const OpenedFile* owner;
    OpenedFile::Kind kind;
    off_t byte;
};

// A file that this process has locked something of, by whichever names it was opened.
struct LockedFile {
    std::vector<Held> locks;
    std::vector<const OpenedFile*> users;
    std::vector<int> closeLater;
};

using FileId = std::pair<dev_t, ino_t>;

struct Registry {
    std::mutex mutex;
    pid_t process = ::getpid();
    std::map<FileId, LockedFile> files;

    // What a forked child finds here are the locks of its parent.
    void RequireOwn() {
        if (process == ::getpid()) return;
        files.clear();
        process = ::getpid();
    }
    auto Find(const OpenedFile* user) {
        return std::find_if(files.begin(), files.end(), [user](const auto& each) {
            return std::ranges::find(each.second.users, user) != each.second.users.end();
        });
    }
};

Registry& TheRegistry() {
    static auto* const registry = new Registry;  // for files that are closed when the program ends
    return *registry;
}

}  // namespace

OpenedFile::~OpenedFile() {
    if (fd_ < 0) return;
    Registry& registry = TheRegistry();
    const std::lock_guard guard(registry.mutex);
    registry.RequireOwn();
    const auto found = registry.Find(this);
    if (found == registry.files.end()) {
        // It may be the file of others that hold locks, which its closing would drop.
        struct stat status {};
        const auto same = ::fstat(fd_, &status) == 0 ? registry.files.find({status.st_dev, status.st_ino})
                                                     : registry.files.end();
        if (same == registry.files.end())
            ::close(fd_);
        else
            same->second.closeLater.push_back(fd_);
        return;
    }
    LockedFile& file = found->second;
    while (true) {
        const auto own = std::ranges::find(file.locks, this, &Held::owner);
        if (own == file.locks.end()) break;
        const off_t byte = own->byte;
        file.locks.erase(own);
        if (std::ranges::find(file.locks, byte, &Held::byte) != file.locks.end()) continue;
        struct flock lock = LockRange(F_UNLCK, byte, 1);
        ::fcntl(fd_, F_SETLK, &lock);
    }
    std::erase(file.users, this);
    file.closeLater.push_back(fd_);
    if (!file.users.empty()) return;
    for (const int each : file.closeLater) ::close(each);
    registry.files.erase(found);
}

OpenedFile::Answer OpenedFile::Lock(Kind kind, off_t byte) {
    Registry& registry = TheRegistry();
    const std::lock_guard guard(registry.mutex);
    registry.RequireOwn();
    struct stat status {};
    if (::fstat(fd_, &status) != 0) return Answer::Failed;
    LockedFile& file = registry.files[{status.st_dev, status.st_ino}];
    if (std::ranges::find(file.users, this) == file.users.end()) file.users.push_back(this);
    for (const Held& held : file.locks)
        if (held.byte == byte && held.owner != this && (kind == Kind::Exclusive || held.kind == Kind::Exclusive))
            return Answer::No;
    file.locks.reserve(file.locks.size() + 1);
    struct flock lock = LockRange(LockType(kind), byte, 1);
    if (!CallLock(fd_, F_SETLK, lock)) return LockRefusal();
    file.locks.push_back({this, kind, byte});
    return Answer::Yes;
}

void OpenedFile::Unlock(off_t byte) noexcept {
    Registry& registry = TheRegistry();
    const std::lock_guard guard(registry.mutex);
    registry.RequireOwn();
    const auto found = registry.Find(this);
    if (found == registry.files.end()) return;
    auto& locks = found->second.locks;
    std::erase_if(locks, [&](const Held& held) { return held.owner == this && held.byte == byte; });
    if (std::ranges::find(locks, byte, &Held::byte) != locks.end()) return;
    struct flock lock = LockRange(F_UNLCK, byte, 1);
    ::fcntl(fd_, F_SETLK, &lock);
}

OpenedFile::Answer OpenedFile::IsLockedElsewhere(off_t start, off_t length) const {
    Registry& registry = TheRegistry();
    const std::lock_guard guard(registry.mutex);
    registry.RequireOwn();
    if (const auto found = registry.Find(this); found != registry.files.end())
        for (const Held& held : found->second.locks)
            if (held.owner != this && held.byte >= start && held.byte - start < length) return Answer::Yes;
    struct flock lock = LockRange(F_WRLCK, start, length);
    if (!CallLock(fd_, F_GETLK, lock)) return LockRefusal();
    return lock.l_type == F_UNLCK ? Answer::No : Answer::Yes;
}

int OpenUnnamed(const char*, mode_t) {
    errno = EOPNOTSUPP;
    return -1;
}

int NameUnnamed(int, const char*) {
    errno = EOPNOTSUPP;
    return -1;
}

int MoveToFreeName(const char*, const char*) {
    errno = EOPNOTSUPP;
    return -1;
}

// Access lists and extended attributes have calls of their own on each of these systems and are not copied.
void CopyAttributes(int replaced, int created) {
    struct stat status {}, own {};
    if (::fstat(replaced, &status) != 0) return;
    if (::fchown(created, status.st_uid, status.st_gid) != 0)
        static_cast<void>(::fchown(created, static_cast<uid_t>(-1), status.st_gid));
    // Another group must not get what the replaced file's had.
    const bool isItsGroup = ::fstat(created, &own) == 0 && own.st_gid == status.st_gid;
    const unsigned mostForGroup = isItsGroup ? 7u : status.st_mode & 7u;
    static_cast<void>(::fchmod(created, (status.st_mode & 0707) | (status.st_mode & mostForGroup << 3)));
}

// Where a flush leaves the disk's own memory out, another call has to be asked for.
int FlushContent(int file) {
#ifdef F_FULLFSYNC
    if (::fcntl(file, F_FULLFSYNC) == 0) return 0;
#endif
    return ::fsync(file);
}

std::int64_t Tick() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace lumvex::compound::posix
