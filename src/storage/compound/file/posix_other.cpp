// Systems that have no more than POSIX, as macOS and the BSDs. Locks belong to the process there, and all of a file's
// locks end as soon as the process closes any descriptor of that file. So this keeps a list of what each open file of
// this process has locked, and closes no descriptor of a file before the last of them can go. A forked child has none
// of the locks.
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

// A file on which this process holds locks, however often and under whichever names it is open.
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

    // A forked child finds the list of its parent, whose locks it does not have.
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
    static auto* const registry = new Registry;  // never deleted: files may be closed while the program ends
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
        // This open file has no locks, but closing it would end those of others on the same file.
        struct stat status {};
        const auto same =
            ::fstat(fd_, &status) == 0 ? registry.files.find({status.st_dev, status.st_ino}) : registry.files.end();
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
    struct stat status {
    }, own{};
    if (::fstat(replaced, &status) != 0) return;
    if (::fchown(created, status.st_uid, status.st_gid) != 0)
        static_cast<void>(::fchown(created, static_cast<uid_t>(-1), status.st_gid));
    // Where the group could not be kept, the new file's group gets no more than all others.
    const bool isItsGroup = ::fstat(created, &own) == 0 && own.st_gid == status.st_gid;
    const unsigned mostForGroup = isItsGroup ? 7u : status.st_mode & 7u;
    static_cast<void>(::fchmod(created, (status.st_mode & 0707) | (status.st_mode & mostForGroup << 3)));
}

// On some systems fsync does not make the disk write its own cache; another call does.
int FlushContent(int file) {
#ifdef F_FULLFSYNC
    if (::fcntl(file, F_FULLFSYNC) == 0) return 0;
#endif
    return ::fsync(file);
}

void BeginFlush(int, off_t, off_t) noexcept {}

void GiveBackMapped(void*, std::size_t) noexcept {}

std::int64_t Tick() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace lumvex::compound::posix
