// Files of a POSIX system. Sharing is kept with locks of open file descriptions on bytes far beyond any file's end:
//
//   byte                     shared                            exclusive
//   kWriterByte                                                whoever writes
//   kPresenceByte            readers, and a writer beside them whoever is alone
//   kGenerationBytes + n     readers of generation n
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <utility>

#include "storage/compound/file.hpp"
#include "storage/compound/guard.hpp"

namespace lumvex::compound {

namespace {

namespace fs = std::filesystem;

constexpr off_t kWriterByte = off_t{1} << 62;
constexpr off_t kPresenceByte = kWriterByte + 1;
constexpr off_t kGenerationBytes = kWriterByte + 16;
constexpr std::int64_t kGenerations = std::int64_t{1} << 32;

Error SystemError(int code, Status otherwise, const std::string& what) {
    Status status = otherwise;
    switch (code) {
        case ENOENT:
            status = Status::NotFound;
            break;
        case ENOTDIR:
        case ELOOP:
            status = Status::PathNotFound;
            break;
        case EMFILE:
        case ENFILE:
            status = Status::TooManyOpenFiles;
            break;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR:
        case ETXTBSY:
            status = Status::AccessDenied;
            break;
        case ENOMEM:
            status = Status::NoMemory;
            break;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            status = Status::MediumFull;
            break;
        case EFAULT:  // what was to be written stands in another mapped file and cannot be read
            status = Status::ReadFault;
            break;
        case ENAMETOOLONG:
            status = Status::InvalidName;
            break;
        default:
            break;
    }
    return Failure(status, what, ": ", std::strerror(code));
}

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

struct flock Lock(short type, off_t start, off_t length) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    return lock;
}

// False where another open file stands in the way.
bool TryLock(int fd, short type, off_t start) {
    struct flock lock = Lock(type, start, 1);
    while (::fcntl(fd, F_OFD_SETLK, &lock) != 0) {
        if (errno == EACCES || errno == EAGAIN) return false;
        if (errno != EINTR) throw SystemError(errno, Status::ShareViolation, "the file cannot be locked");
    }
    return true;
}

bool IsLocked(int fd, off_t start, off_t length) {
    struct flock lock = Lock(F_WRLCK, start, length);
    while (::fcntl(fd, F_OFD_GETLK, &lock) != 0)
        if (errno != EINTR) throw SystemError(errno, Status::ShareViolation, "the file's locks cannot be read");
    return lock.l_type != F_UNLCK;
}

void LockFor(int fd, Access access, const fs::path& path) {
    const bool free = (access == Access::ReadShared || TryLock(fd, F_WRLCK, kWriterByte)) &&
                      TryLock(fd, access == Access::Exclusive ? F_WRLCK : F_RDLCK, kPresenceByte);
    if (!free) throw Failure(Status::ShareViolation, path.string(), " is open elsewhere");
}

struct stat StatusOf(int fd, const fs::path& path) {
    struct stat status {};
    if (::fstat(fd, &status) != 0) throw SystemError(errno, Status::ReadFault, path.string());
    return status;
}

// Opens and locks what the path names now; a file that was replaced between the two is not what it names any more.
Descriptor OpenLocked(const fs::path& path, Access access) {
    const int flags = (access == Access::ReadShared ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    for (;;) {
        Descriptor fd(::open(path.c_str(), flags));
        if (!fd) throw SystemError(errno, Status::AccessDenied, path.string());
        const struct stat opened = StatusOf(fd.get(), path);
        if (!S_ISREG(opened.st_mode)) throw Failure(Status::AccessDenied, path.string(), " is no regular file");
        LockFor(fd.get(), access, path);
        struct stat named {};
        if (::stat(path.c_str(), &named) != 0) {
            if (errno == ENOENT) throw SystemError(errno, Status::NotFound, path.string());
        } else if (named.st_dev == opened.st_dev && named.st_ino == opened.st_ino) {
            return fd;
        }
    }
}

// The file that is about to be replaced, locked as a writer of it would be; none where there is no file.
Descriptor LockReplaced(const fs::path& path, Access access) {
    try {
        return OpenLocked(path, access);
    } catch (const Error& error) {
        if (error.status() == Status::NotFound) return Descriptor();
        throw;
    }
}

// So that it names the same file whatever the program's folder is later.
fs::path Absolute(const fs::path& path) {
    std::error_code ignored;
    fs::path absolute = fs::absolute(path, ignored);
    return ignored ? path : absolute;
}

class PosixFile final : public File {
public:
    // At its path, or a file without a name that takes the path's place at Publish(). `replaced` is what stands there
    // now, locked.
    PosixFile(Descriptor fd, Access access, const fs::path& path, bool published, fs::path temporaryPath = {},
              Descriptor replaced = {})
        : fd_(std::move(fd)),
          access_(access),
          published_(published),
          finalPath_(access == Access::ReadShared ? fs::path() : Absolute(path)),  // whoever reads does not ask for it
          temporaryPath_(std::move(temporaryPath)),
          replaced_(std::move(replaced)) {}

    ~PosixFile() override {
        Unmap();
        if (!published_ && !temporaryPath_.empty()) ::unlink(temporaryPath_.c_str());
    }

    std::uint64_t Size() const override {
        struct stat status {};
        if (::fstat(fd_.get(), &status) != 0) throw SystemError(errno, Status::ReadFault, "the file's size");
        return static_cast<std::uint64_t>(status.st_size);
    }

    std::optional<std::span<const std::byte>> Map() override;
    Shown LookAtMap() override;
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override;
    void Write(std::uint64_t offset, std::span<const Piece> pieces) override;

    void Flush() override {
        if (::fdatasync(fd_.get()) != 0) throw SystemError(errno, Status::WriteFault, "flush");
        if (!FlushName()) throw SystemError(errno, Status::WriteFault, "flush of the folder");
    }

    void Resize(std::uint64_t size) override {
        if (::ftruncate(fd_.get(), static_cast<off_t>(size)) != 0)
            throw SystemError(errno, Status::WriteFault, "resize");
        shown_ = std::min(shown_, size);
    }

    // Its locks last as long as one of both descriptors.
    Descriptor Duplicate() const {
        Descriptor same(::fcntl(fd_.get(), F_DUPFD_CLOEXEC, 0));
        if (!same) throw SystemError(errno, Status::AccessDenied, "the file cannot be held");
        return same;
    }

    void LockAsNew() { LockFor(fd_.get(), access_, finalPath_); }

    bool Published() const override { return published_; }
    void Publish() override;
    void RequireName() const override;

    void AnnounceReader(std::uint32_t generation) override {
        if (announced_ && *announced_ == generation) return;
        if (!TryLock(fd_.get(), F_RDLCK, kGenerationBytes + off_t{generation}))
            throw Failure(Status::ShareViolation, "generation ", generation, " is locked");
        if (announced_) {
            struct flock unlock = Lock(F_UNLCK, kGenerationBytes + off_t{*announced_}, 1);
            ::fcntl(fd_.get(), F_OFD_SETLK, &unlock);
        }
        announced_ = generation;
    }

    bool AnyReader(std::uint32_t first, std::uint32_t count) const override {
        const std::int64_t before = std::min<std::int64_t>(count, kGenerations - first);  // the circle's end
        if (before > 0 && IsLocked(fd_.get(), kGenerationBytes + off_t{first}, before)) return true;
        return count > before && IsLocked(fd_.get(), kGenerationBytes, count - before);
    }

private:
    // Some file systems do not flush folders: there is nothing more to do then.
    bool FlushName() noexcept {
        if (unflushedFolder_ && ::fsync(unflushedFolder_.get()) != 0 && errno != EINVAL && errno != ENOTSUP) return false;
        unflushedFolder_ = Descriptor();
        return true;
    }

    void Unmap() noexcept {
        guard_ = GuardedRange();
        if (base_ != nullptr) ::munmap(base_, mapped_);
        base_ = nullptr;
        mapped_ = 0;
    }

    Descriptor fd_;
    Access access_;
    bool published_;
    fs::path finalPath_, temporaryPath_;
    Descriptor replaced_;
    Descriptor unflushedFolder_;  // in which the name was given
    std::optional<std::uint32_t> announced_;
    void* base_ = nullptr;
    std::size_t mapped_ = 0;
    GuardedRange guard_;
    std::uint64_t shown_ = 0;  // the file's size when it was mapped last
    std::int64_t lookedAt_ = 0;
};

// A writer's mapping reaches beyond the file's end, where pages become readable as the file grows, so that growing
// moves no view.
std::optional<std::span<const std::byte>> PosixFile::Map() {
    const std::uint64_t size = Size();
    if (size > mapped_) {
        constexpr std::uint64_t kRoom = std::uint64_t{64} << 20;
        const std::uint64_t room = access_ == Access::ReadShared ? 0 : std::max(kRoom, size / 2);
        for (const std::uint64_t wanted : {size + room, size}) {
            void* base = ::mmap(nullptr, wanted, PROT_READ, MAP_SHARED | MAP_NORESERVE, fd_.get(), 0);
            if (base == MAP_FAILED) continue;
            GuardedRange guard(base, wanted);
            if (!guard) {
                ::munmap(base, wanted);
                break;
            }
            Unmap();  // kept until there is another
            base_ = base;
            mapped_ = wanted;
            guard_ = std::move(guard);
            break;
        }
        if (size > mapped_) return std::nullopt;
    }
    shown_ = size;
    return std::span(static_cast<const std::byte*>(base_), static_cast<std::size_t>(size));
}

File::Shown PosixFile::LookAtMap() {
    if (guard_.Failed()) return Shown::Failed;
    struct timespec now {};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const std::int64_t tick = std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
    if (std::exchange(lookedAt_, tick) == tick) return Shown::Whole;
    const std::uint64_t size = Size();
    return size < std::exchange(shown_, std::min(shown_, size)) ? Shown::Shorter : Shown::Whole;
}

void PosixFile::Read(std::uint64_t offset, std::span<std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t got = ::pread(fd_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw SystemError(errno, Status::ReadFault, "read");
        if (got == 0) throw Failure(Status::ReadFault, "the file ends before byte ", offset);
        offset += static_cast<std::uint64_t>(got);
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
}

void PosixFile::Write(std::uint64_t offset, std::span<const Piece> pieces) {
    constexpr std::size_t kMostPieces = std::min(IOV_MAX, 256);
    std::array<iovec, kMostPieces> vectors;
    std::size_t within = 0;  // bytes of the first piece that are written already
    for (;;) {
        int count = 0;
        for (std::size_t i = 0; i < std::min(pieces.size(), kMostPieces); ++i) {
            const Piece piece = pieces[i].subspan(i == 0 ? within : 0);
            vectors[static_cast<std::size_t>(count++)] = {const_cast<std::byte*>(piece.data()), piece.size()};
        }
        if (count == 0) return;
        ssize_t put = ::pwritev(fd_.get(), vectors.data(), count, static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) throw SystemError(errno, Status::WriteFault, "write");
        offset += static_cast<std::uint64_t>(put);
        auto done = static_cast<std::size_t>(put);
        if (done == 0 && std::any_of(vectors.begin(), vectors.begin() + count, [](auto& v) { return v.iov_len != 0; }))
            throw Failure(Status::MediumFull, "nothing could be written at byte ", offset);
        while (!pieces.empty() && done >= pieces.front().size() - within) {
            done -= pieces.front().size() - within;
            within = 0;
            pieces = pieces.subspan(1);
        }
        within += done;
    }
}

// Where the path cannot be looked at, nothing says that it leads elsewhere.
void PosixFile::RequireName() const {
    if (!published_) return;
    const struct stat opened = StatusOf(fd_.get(), finalPath_);
    struct stat named {};
    if (::stat(finalPath_.c_str(), &named) == 0) {
        if (named.st_dev != opened.st_dev || named.st_ino != opened.st_ino)
            throw Failure(Status::NotCurrent, finalPath_.string(), " is another file now");
    } else if (errno == ENOENT || errno == ENOTDIR) {
        throw SystemError(errno, Status::NotFound, finalPath_.string() + " was removed or moved");
    } else if (opened.st_nlink == 0) {
        throw Failure(Status::NotFound, finalPath_.string(), " was removed");
    }
}

fs::path FolderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : fs::path("."); }

// Another name beside the path that nobody has.
fs::path HiddenNameBeside(const fs::path& path) {
    std::random_device random;
    std::string name = ".~" + std::to_string(random()) + std::to_string(random());
    return FolderOf(path) / name;
}

void PosixFile::Publish() {
    if (published_) return;
    // Whatever may be missing (the folder, memory) is found out before the name is given.
    const fs::path folderPath = FolderOf(finalPath_);
    Descriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) throw SystemError(errno, Status::WriteFault, folderPath.string());
    if (temporaryPath_.empty()) {
        const std::string self = "/proc/self/fd/" + std::to_string(fd_.get());
        // The plain name first: where nothing has it yet, that is all there is to do.
        if (!replaced_ && ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, finalPath_.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            published_ = true;
        } else {
            if (!replaced_) replaced_ = LockReplaced(finalPath_, access_);  // somebody made it meanwhile
            fs::path beside = HiddenNameBeside(finalPath_);
            if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, beside.c_str(), AT_SYMLINK_FOLLOW) != 0)
                throw SystemError(errno, Status::WriteFault, finalPath_.string());
            temporaryPath_ = std::move(beside);
        }
    }
    if (!published_) {
        if (::rename(temporaryPath_.c_str(), finalPath_.c_str()) != 0)
            throw SystemError(errno, Status::WriteFault, finalPath_.string());
        published_ = true;
    }
    replaced_ = Descriptor();
    unflushedFolder_ = std::move(folder);
    static_cast<void>(FlushName());  // the save has happened, whatever becomes of this
}

}  // namespace

std::unique_ptr<File> OpenFile(const fs::path& path, Access access) {
    return std::make_unique<PosixFile>(OpenLocked(path, access), access, path, true);
}

namespace {

// A link stays, its target is replaced.
fs::path TargetOf(const fs::path& path) {
    if (path.empty() || !path.has_filename())
        throw Failure(Status::PathNotFound, "no file name in '", path.string(), "'");
    std::error_code ignored;
    const fs::path resolved = fs::is_symlink(path, ignored) ? fs::weakly_canonical(path, ignored) : path;
    return ignored || resolved.empty() ? path : resolved;
}

std::unique_ptr<File> CreateBeside(const fs::path& target, Access access, Descriptor replaced) {
    const mode_t mode = replaced ? StatusOf(replaced.get(), target).st_mode & 0777 : 0666;
    fs::path temporary;
    // An unnamed file where the file system has such and a name can be given to it later.
    Descriptor fd;
    if (::access("/proc/self/fd", X_OK) == 0)
        fd = Descriptor(::open(FolderOf(target).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
    else
        errno = EOPNOTSUPP;
    if (!fd && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
        temporary = HiddenNameBeside(target);
        fd = Descriptor(::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    }
    if (!fd) {
        if (errno == ENOENT) throw SystemError(ENOTDIR, Status::PathNotFound, FolderOf(target).string());
        throw SystemError(errno, Status::AccessDenied, target.string());
    }
    if (replaced) static_cast<void>(::fchmod(fd.get(), mode));  // the replaced file's permissions, whatever the mask is
    auto file = std::make_unique<PosixFile>(std::move(fd), access, target, false, temporary, std::move(replaced));
    file->LockAsNew();
    return file;
}

}  // namespace

std::unique_ptr<File> CreateReplacing(const fs::path& path, Access access) {
    if (access == Access::ReadShared) throw Failure(Status::InvalidFlag, "a new file opened for reading only");
    const fs::path target = TargetOf(path);
    return CreateBeside(target, access, LockReplaced(target, access));
}

std::unique_ptr<File> CreateReplacing(const fs::path& path, const File& openThere) {
    return CreateBeside(TargetOf(path), Access::Exclusive, dynamic_cast<const PosixFile&>(openThere).Duplicate());
}

bool IsSameFile(const fs::path& left, const fs::path& right) {
    std::error_code unequal;
    return fs::equivalent(left, right, unequal);
}

}  // namespace lumvex::compound
