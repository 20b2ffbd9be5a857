// Files of a POSIX system. Sharing is kept with locks on bytes far beyond any file's end:
//
//   byte                     shared                            exclusive
//   kWriterByte                                                whoever writes
//   kPresenceByte            readers, and a writer beside them whoever is alone
//   kGenerationBytes + n     readers of generation n
//
// Where the file system keeps no locks, readers go on without: a writer, who might change the file under them, refuses.
#include <dirent.h>
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
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "storage/compound/file/file.hpp"
#include "storage/compound/file/guard.hpp"
#include "storage/compound/file/hidden_name.hpp"
#include "storage/compound/file/posix_system.hpp"

namespace lumvex::compound {

namespace {

namespace fs = std::filesystem;

constexpr off_t kWriterByte = off_t{1} << 62;
constexpr off_t kPresenceByte = kWriterByte + 1;
constexpr off_t kGenerationBytes = kWriterByte + 16;
constexpr std::int64_t kGenerations = std::int64_t{1} << 32;

constexpr int kMostAttempts = 100;  // at a path whose file others exchange at the same time

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

// An open file; copies are the same one, and it is closed, and its locks go, with the last of them.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : file_(fd >= 0 ? std::make_shared<posix::OpenedFile>(fd) : nullptr) {}
    int get() const { return file_->Number(); }
    posix::OpenedFile& Locks() const { return *file_; }
    explicit operator bool() const { return file_ != nullptr; }

private:
    std::shared_ptr<posix::OpenedFile> file_;
};

using Answer = posix::OpenedFile::Answer;
using LockKind = posix::OpenedFile::Kind;

// Yes, No or NotKept.
Answer TryLock(const Descriptor& file, LockKind kind, off_t byte) {
    const Answer answer = file.Locks().Lock(kind, byte);
    if (answer == Answer::Failed) throw SystemError(errno, Status::ShareViolation, "the file cannot be locked");
    return answer;
}

bool IsLocked(const Descriptor& file, off_t start, off_t length) {
    const Answer answer = file.Locks().IsLockedElsewhere(start, length);
    if (answer == Answer::Failed) throw SystemError(errno, Status::ShareViolation, "the file's locks cannot be read");
    return answer != Answer::No;
}

Answer LockFor(const Descriptor& file, Access access) {
    if (access != Access::ReadShared)
        if (const Answer answer = TryLock(file, LockKind::Exclusive, kWriterByte); answer != Answer::Yes) return answer;
    return TryLock(file, access == Access::Exclusive ? LockKind::Exclusive : LockKind::Shared, kPresenceByte);
}

void RequireLocksFor(const Descriptor& file, Access access, const fs::path& path) {
    const Answer answer = LockFor(file, access);
    if (answer == Answer::No) throw Failure(Status::ShareViolation, path.string(), " is open elsewhere");
    if (answer == Answer::NotKept && access != Access::ReadShared)
        throw Failure(Status::LockViolation, path.string(), " can only be read: its file system keeps no locks (",
                      std::strerror(errno), ")");
}

struct stat StatusOf(int fd, const fs::path& path) {
    struct stat status {};
    if (::fstat(fd, &status) != 0) throw SystemError(errno, Status::ReadFault, path.string());
    return status;
}

bool IsSame(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

// Opens and locks what the path names now; a file that was replaced between the two is not what it names any more.
Descriptor OpenLocked(const fs::path& path, Access access) {
    const int flags = (access == Access::ReadShared ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        Descriptor file(::open(path.c_str(), flags));
        if (!file) throw SystemError(errno, Status::AccessDenied, path.string());
        const struct stat opened = StatusOf(file.get(), path);
        if (!S_ISREG(opened.st_mode)) throw Failure(Status::AccessDenied, path.string(), " is no regular file");
        RequireLocksFor(file, access, path);
        struct stat named {};
        if (::stat(path.c_str(), &named) != 0) throw SystemError(errno, Status::ReadFault, path.string());
        if (IsSame(named, opened)) return file;
        // Some file systems number a file anew each time they are asked.
        if (!IsSame(StatusOf(file.get(), path), opened)) return file;
    }
    throw Failure(Status::ShareViolation, path.string(), " is replaced again and again");
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
    if (path.is_absolute()) return path;
    std::error_code ignored;
    fs::path absolute = fs::absolute(path, ignored);
    if (ignored) return path;
    return absolute;
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
        if (posix::FlushContent(fd_.get()) != 0) throw SystemError(errno, Status::WriteFault, "flush");
        if (!FlushName()) throw SystemError(errno, Status::WriteFault, "flush of the folder");
    }

    void Resize(std::uint64_t size) override {
        if (::ftruncate(fd_.get(), static_cast<off_t>(size)) != 0)
            throw SystemError(errno, Status::WriteFault, "resize");
        shown_ = std::min(shown_, size);
    }

    void LockAsNew() { RequireLocksFor(fd_, access_, finalPath_); }

    bool Published() const override { return published_; }
    void Publish() override;
    void RequireName() const override;
    std::unique_ptr<File> CreateSuccessor() const override;

    void AnnounceReader(std::uint32_t generation) override {
        if (announced_ && *announced_ == generation) return;
        if (TryLock(fd_, LockKind::Shared, kGenerationBytes + off_t{generation}) == Answer::No)
            throw Failure(Status::ShareViolation, "generation ", generation, " is locked");
        if (announced_) fd_.Locks().Unlock(kGenerationBytes + off_t{*announced_});
        announced_ = generation;
    }

    bool AnyReader(std::uint32_t first, std::uint32_t count) const override {
        const std::int64_t before = std::min<std::int64_t>(count, kGenerations - first);  // the circle's end
        if (before > 0 && IsLocked(fd_, kGenerationBytes + off_t{first}, before)) return true;
        return count > before && IsLocked(fd_, kGenerationBytes, count - before);
    }

private:
    bool TakeFreeName();
    void TakeNameOfReplaced();

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
    bool replacesEmpty_ = false;  // made here, only to have the name
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
            const auto length = static_cast<std::size_t>(wanted);
            if (length != wanted) continue;  // more than a program of 32 bits can map
            void* base = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, fd_.get(), 0);
            if (base == MAP_FAILED) continue;
            GuardedRange guard(base, length);
            if (!guard) {
                ::munmap(base, length);
                break;
            }
            Unmap();  // kept until there is another
            base_ = base;
            mapped_ = length;
            guard_ = std::move(guard);
            break;
        }
        if (size > mapped_) return std::nullopt;
    }
    shown_ = size;
    lookedAt_ = posix::Tick();
    return std::span(static_cast<const std::byte*>(base_), static_cast<std::size_t>(size));
}

File::Shown PosixFile::LookAtMap() {
    if (guard_.Failed()) return Shown::Failed;
    const std::int64_t tick = posix::Tick();
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
        if (!IsSame(named, opened) && IsSame(StatusOf(fd_.get(), finalPath_), opened))
            throw Failure(Status::NotCurrent, finalPath_.string(), " is another file now");
    } else if (errno == ENOENT || errno == ENOTDIR) {
        throw SystemError(errno, Status::NotFound, finalPath_.string() + " was removed or moved");
    } else if (opened.st_nlink == 0) {
        throw Failure(Status::NotFound, finalPath_.string(), " was removed");
    }
}

fs::path FolderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : fs::path("."); }

// Files that a program left behind which was killed while it saved the same document. Of one that still runs the file
// is locked. Not being able to remove one is no failure.
void RemoveLeftBehind(const fs::path& target) noexcept {
    try {
        const fs::path folder = FolderOf(target);
        // The library's iterator over a folder ends the program when it lacks memory.
        const std::unique_ptr<DIR, int (*)(DIR*)> listed(::opendir(folder.c_str()), ::closedir);
        for (const dirent* entry = nullptr; listed && (entry = ::readdir(listed.get()));) {
            if (!IsHiddenNameFor(target, entry->d_name)) continue;
            const fs::path path = folder / entry->d_name;
            const Descriptor file(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
            if (!file) continue;
            struct stat opened {}, named {};
            const bool isIt = LockFor(file, Access::Exclusive) == Answer::Yes && ::fstat(file.get(), &opened) == 0 &&
                              ::lstat(path.c_str(), &named) == 0 && S_ISREG(named.st_mode) && IsSame(named, opened);
            if (isIt) ::unlink(path.c_str());
        }
    } catch (const std::exception&) {
    }
}

// Where nothing has the name. False where somebody made a file of this name meanwhile.
bool PosixFile::TakeFreeName() {
    const int done = temporaryPath_.empty() ? posix::NameUnnamed(fd_.get(), finalPath_.c_str())
                                            : posix::MoveToFreeName(temporaryPath_.c_str(), finalPath_.c_str());
    if (done == 0) return true;
    if (errno == EEXIST) return false;
    if (temporaryPath_.empty() || errno != EOPNOTSUPP)
        throw SystemError(errno, Status::WriteFault, finalPath_.string());
    // An empty file of our own takes the name first, which is then replaced as any other. A program that is killed
    // between the two leaves it.
    Descriptor empty(::open(finalPath_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!empty) {
        if (errno == EEXIST) return false;
        throw SystemError(errno, Status::WriteFault, finalPath_.string());
    }
    RequireLocksFor(empty, Access::Exclusive, finalPath_);
    replaced_ = std::move(empty);
    replacesEmpty_ = true;
    return false;
}

void PosixFile::TakeNameOfReplaced() {
    struct stat named {};
    const struct stat locked = StatusOf(replaced_.get(), finalPath_);
    if (::stat(finalPath_.c_str(), &named) == 0 && !IsSame(named, locked) &&
        IsSame(StatusOf(replaced_.get(), finalPath_), locked))
        throw Failure(Status::NotCurrent, finalPath_.string(), " is another file now");
    if (temporaryPath_.empty()) {
        fs::path beside = FolderOf(finalPath_) / HiddenNameFor(finalPath_);
        if (posix::NameUnnamed(fd_.get(), beside.c_str()) != 0)
            throw SystemError(errno, Status::WriteFault, finalPath_.string());
        temporaryPath_ = std::move(beside);
    }
    if (::rename(temporaryPath_.c_str(), finalPath_.c_str()) == 0) return;
    const int reason = errno;
    if (std::exchange(replacesEmpty_, false)) {
        ::unlink(finalPath_.c_str());
        replaced_ = Descriptor();
    }
    throw SystemError(reason, Status::WriteFault, finalPath_.string());
}

void PosixFile::Publish() {
    if (published_) return;
    // Whatever may be missing (the folder, memory) is found out before the name is given.
    const fs::path folderPath = FolderOf(finalPath_);
    Descriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) throw SystemError(errno, Status::WriteFault, folderPath.string());
    for (int attempt = 0; !replaced_ && !published_; ++attempt) {
        if (attempt == kMostAttempts)
            throw Failure(Status::ShareViolation, finalPath_.string(), " is replaced again and again");
        published_ = TakeFreeName();
        if (!published_ && !replaced_) replaced_ = LockReplaced(finalPath_, access_);  // somebody made it meanwhile
    }
    if (!published_) TakeNameOfReplaced();
    published_ = true;
    replaced_ = Descriptor();
    unflushedFolder_ = std::move(folder);
    static_cast<void>(FlushName());  // the save has happened, whatever becomes of this
    RemoveLeftBehind(finalPath_);
}

}  // namespace

std::unique_ptr<File> OpenFile(const fs::path& path, Access access) {
    return std::make_unique<PosixFile>(OpenLocked(path, access), access, path, true);
}

namespace {

// A link stays, and what it names is replaced or made.
fs::path TargetOf(fs::path path) {
    constexpr int kMostLinks = 40;
    if (path.empty() || !path.has_filename())
        throw Failure(Status::PathNotFound, "no file name in '", path.string(), "'");
    for (int links = 0;; ++links) {
        std::error_code none;
        const fs::path named = fs::read_symlink(path, none);
        if (none) return path;
        if (links == kMostLinks) throw SystemError(ELOOP, Status::PathNotFound, path.string());
        path = FolderOf(path) / named;
    }
}

std::unique_ptr<File> CreateBeside(const fs::path& target, Access access, Descriptor replaced) {
    const mode_t mode = replaced ? 0600 : 0666;
    fs::path temporary;
    Descriptor fd(posix::OpenUnnamed(FolderOf(target).c_str(), mode));
    if (!fd && errno == EOPNOTSUPP) {
        temporary = FolderOf(target) / HiddenNameFor(target);
        fd = Descriptor(::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    }
    if (!fd) {
        if (errno == ENOENT) throw SystemError(ENOTDIR, Status::PathNotFound, FolderOf(target).string());
        throw SystemError(errno, Status::AccessDenied, target.string());
    }
    if (replaced) posix::CopyAttributes(replaced.get(), fd.get());
    auto file = std::make_unique<PosixFile>(std::move(fd), access, target, false, temporary, std::move(replaced));
    file->LockAsNew();
    return file;
}

std::unique_ptr<File> PosixFile::CreateSuccessor() const {
    RequireName();
    return CreateBeside(TargetOf(finalPath_), access_, fd_);
}

}  // namespace

std::unique_ptr<File> CreateReplacing(const fs::path& path, Access access) {
    if (access == Access::ReadShared) throw Failure(Status::InvalidFlag, "a new file opened for reading only");
    const fs::path target = TargetOf(Absolute(path));
    return CreateBeside(target, access, LockReplaced(target, access));
}

bool IsSameFile(const fs::path& left, const fs::path& right) {
    std::error_code unequal;
    return fs::equivalent(left, right, unequal);
}

}  // namespace lumvex::compound
