// Files of a POSIX system; calls that differ between POSIX systems are in posix_system.hpp.
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

#include "storage/compound/file/guard.hpp"
#include "storage/compound/file/posix_system.hpp"
#include "storage/compound/file/sharing.hpp"

namespace lumvex::compound {

namespace {

namespace fs = std::filesystem;

StorageError SystemError(int code, Status otherwise, const std::string& what) {
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
        case EFAULT:  // what is to be written is in another mapped file, a part of which cannot be read
            status = Status::ReadFault;
            break;
        case ENAMETOOLONG:
            status = Status::InvalidName;
            break;
        default:
            break;
    }
    return StorageError(status, what, ": ", std::strerror(code));
}

struct stat StatusOf(int fd, const fs::path& path) {
    struct stat status {};
    if (::fstat(fd, &status) != 0) throw SystemError(errno, Status::ReadFault, path.string());
    return status;
}

bool IsSame(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

class Descriptor final : public SystemFile {
public:
    Descriptor(int fd, const fs::path& path) : file_(fd), status_(StatusOf(fd, path)) {}

    int Number() const { return file_.Number(); }
    const struct stat& StatusAtOpening() const { return status_; }

    Answer TryLock(Lock kind, std::uint64_t byte) override {
        using Kind = posix::OpenedFile::Kind;
        return AnswerOf(file_.Lock(kind == Lock::Exclusive ? Kind::Exclusive : Kind::Shared, static_cast<off_t>(byte)));
    }
    // Nobody locks such a byte exclusively here, so there is nothing to wait for.
    Answer LockShared(std::uint64_t byte) override { return TryLock(Lock::Shared, byte); }
    void Unlock(std::uint64_t byte) noexcept override { file_.Unlock(static_cast<off_t>(byte)); }
    bool MayBeLocked(std::uint64_t first, std::uint64_t count) override {
        return AnswerOf(file_.IsLockedElsewhere(static_cast<off_t>(first), static_cast<off_t>(count))) != Answer::No;
    }
    Leads WhereLeads(const fs::path& path) const override;

private:
    static Answer AnswerOf(posix::OpenedFile::Answer answer) {
        switch (answer) {
            case posix::OpenedFile::Answer::Yes:
                return Answer::Yes;
            case posix::OpenedFile::Answer::No:
                return Answer::No;
            case posix::OpenedFile::Answer::NotKept:
                return Answer::NotKept;
            case posix::OpenedFile::Answer::Failed:
                break;
        }
        throw SystemError(errno, Status::ShareViolation, "the file's locks");
    }

    posix::OpenedFile file_;
    struct stat status_;
};

SystemFile::Leads Descriptor::WhereLeads(const fs::path& path) const {
    struct stat named {};
    if (::stat(path.c_str(), &named) == 0) {
        if (IsSame(named, status_)) return Leads::Here;
        // Some file systems number a file anew each time they are asked.
        return IsSame(StatusOf(Number(), path), status_) ? Leads::Elsewhere : Leads::Here;
    }
    if (errno == ENOENT) return Leads::NoFile;
    if (errno == ENOTDIR) return Leads::NoFolder;
    return StatusOf(Number(), path).st_nlink == 0 ? Leads::NoFile : Leads::Unknown;
}

class PosixFile final : public SharedFile {
public:
    // temporaryPath: the name that a new file has until TakeName(); empty where it has none.
    PosixFile(const std::shared_ptr<SystemFile>& opened, int fd, Access access, fs::path path, bool hasName,
              fs::path temporaryPath = {}, system::Place place = {})
        : SharedFile(opened, access, std::move(path), hasName, std::move(place)),
          fd_(fd),
          temporaryPath_(std::move(temporaryPath)) {}

    ~PosixFile() override {
        Unmap();
        if (!hasName_ && !temporaryPath_.empty()) ::unlink(temporaryPath_.c_str());
    }

    std::uint64_t Size() const override {
        struct stat status {};
        if (::fstat(fd_, &status) != 0) throw SystemError(errno, Status::ReadFault, "the file's size");
        return static_cast<std::uint64_t>(status.st_size);
    }

    std::optional<std::span<const std::byte>> Map() override;
    Shown LookAtMap() override;
    void GiveBack(std::uint64_t offset, std::uint64_t count) noexcept override {
        if (offset <= mapped_ && count <= mapped_ - offset)
            posix::GiveBackMapped(static_cast<std::byte*>(base_) + offset, static_cast<std::size_t>(count));
    }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override;
    void Write(std::uint64_t offset, std::span<const Piece> pieces) override;

    void Flush() override {
        if (posix::FlushContent(fd_) != 0) throw SystemError(errno, Status::WriteFault, "flush");
        if (!FlushName()) throw SystemError(errno, Status::WriteFault, "flush of the folder");
    }

    void BeginFlush(std::uint64_t offset, std::uint64_t count) noexcept override {
        posix::BeginFlush(fd_, static_cast<off_t>(offset), static_cast<off_t>(count));
    }

    void Resize(std::uint64_t size) override {
        if (::ftruncate(fd_, static_cast<off_t>(size)) != 0) throw SystemError(errno, Status::WriteFault, "resize");
        shown_ = std::min(shown_, size);
    }

    void TakeName() override;

private:
    bool TakeFreeName();
    void TakeNameOfReplaced();

    // Some file systems cannot flush folders, and say so; nothing more can be done there.
    bool FlushName() noexcept {
        if (unflushedFolder_ && ::fsync(unflushedFolder_->Number()) != 0 && errno != EINVAL && errno != ENOTSUP)
            return false;
        unflushedFolder_.reset();
        return true;
    }

    void Unmap() noexcept {
        guard_ = GuardedRange();
        if (base_ != nullptr) ::munmap(base_, mapped_);
        base_ = nullptr;
        mapped_ = 0;
    }

    int fd_;  // of opened_
    fs::path temporaryPath_;
    bool replacesEmpty_ = false;                          // replaced_ was made here, to take the name
    std::unique_ptr<posix::OpenedFile> unflushedFolder_;  // where the name was given
    void* base_ = nullptr;
    std::size_t mapped_ = 0;
    GuardedRange guard_;
    std::uint64_t shown_ = 0;  // the file's size when it was mapped last
    std::int64_t lookedAt_ = 0;
};

// A writer maps more than the file. Pages behind its end become readable as the file grows, so that what was mapped
// need not move.
std::optional<std::span<const std::byte>> PosixFile::Map() {
    const std::uint64_t size = Size();
    if (size > mapped_) {
        constexpr std::uint64_t kRoom = std::uint64_t{64} << 20;
        const std::uint64_t room = access_ == Access::ReadShared ? 0 : std::max(kRoom, size / 2);
        for (const std::uint64_t wanted : {size + room, size}) {
            const auto length = static_cast<std::size_t>(wanted);
            if (length != wanted) continue;  // more than a program of 32 bits can map
            void* base = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, fd_, 0);
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
        const ssize_t got = ::pread(fd_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw SystemError(errno, Status::ReadFault, "read");
        if (got == 0) throw StorageError(Status::ReadFault, "the file ends before byte ", offset);
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
        ssize_t put = ::pwritev(fd_, vectors.data(), count, static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) throw SystemError(errno, Status::WriteFault, "write");
        offset += static_cast<std::uint64_t>(put);
        auto done = static_cast<std::size_t>(put);
        if (done == 0 && std::any_of(vectors.begin(), vectors.begin() + count, [](auto& v) { return v.iov_len != 0; }))
            throw StorageError(Status::MediumFull, "nothing could be written at byte ", offset);
        while (!pieces.empty() && done >= pieces.front().size() - within) {
            done -= pieces.front().size() - within;
            within = 0;
            pieces = pieces.subspan(1);
        }
        within += done;
    }
}

// Gives the new file its name where no file has that. False where somebody has made one meanwhile.
bool PosixFile::TakeFreeName() {
    const int done = temporaryPath_.empty() ? posix::NameUnnamed(fd_, path_.c_str())
                                            : posix::MoveToFreeName(temporaryPath_.c_str(), path_.c_str());
    if (done == 0) return true;
    if (errno == EEXIST) return false;
    if (temporaryPath_.empty() || errno != EOPNOTSUPP) throw SystemError(errno, Status::WriteFault, path_.string());
    // An empty file of our own takes the name first and is then replaced as any other. A program that is killed between
    // the two steps leaves the empty file.
    const int fd = ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        if (errno == EEXIST) return false;
        throw SystemError(errno, Status::WriteFault, path_.string());
    }
    auto empty = std::make_shared<Descriptor>(fd, path_);
    RequireLocksFor(*empty, Access::Exclusive, path_);
    replaced_ = std::move(empty);
    replacesEmpty_ = true;
    return false;
}

void PosixFile::TakeNameOfReplaced() {
    if (replaced_->WhereLeads(path_) == SystemFile::Leads::Elsewhere)
        throw StorageError(Status::NotCurrent, path_.string(), " is another file now");
    if (temporaryPath_.empty()) {
        fs::path beside = HiddenPathFor(path_);
        if (posix::NameUnnamed(fd_, beside.c_str()) != 0) throw SystemError(errno, Status::WriteFault, path_.string());
        temporaryPath_ = std::move(beside);
    }
    if (::rename(temporaryPath_.c_str(), path_.c_str()) == 0) return;
    const int reason = errno;
    if (std::exchange(replacesEmpty_, false)) {
        ::unlink(path_.c_str());
        replaced_.reset();
    }
    throw SystemError(reason, Status::WriteFault, path_.string());
}

void PosixFile::TakeName() {
    if (hasName_) return;
    // Opened before the name is given, as opening it may fail.
    const fs::path folderPath = FolderOf(path_);
    const int fd = ::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) throw SystemError(errno, Status::WriteFault, folderPath.string());
    auto folder = std::make_unique<posix::OpenedFile>(fd);
    constexpr int kMostAttempts = 100;
    for (int attempt = 0; !replaced_ && !hasName_; ++attempt) {
        if (attempt == kMostAttempts)
            throw StorageError(Status::ShareViolation, path_.string(), " is replaced again and again");
        hasName_ = TakeFreeName();
        if (hasName_ || replaced_) continue;
        if (!mayReplace_) RefuseTaken();
        replaced_ = LockReplaced(path_, access_);  // somebody made it meanwhile
    }
    if (!hasName_) TakeNameOfReplaced();
    hasName_ = true;
    replaced_.reset();
    unflushedFolder_ = std::move(folder);
    static_cast<void>(FlushName());  // where this fails, the next Flush() says so
    RemoveLeftBehind(path_);
}

}  // namespace

namespace system {

std::string TextOf(const fs::path& path) { return path.string(); }

std::shared_ptr<SystemFile> Open(const fs::path& path, Access access) {
    const int flags = (access == Access::ReadShared ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const int fd = ::open(path.c_str(), flags);
    if (fd < 0) throw SystemError(errno, Status::AccessDenied, path.string());
    auto opened = std::make_shared<Descriptor>(fd, path);
    if (!S_ISREG(opened->StatusAtOpening().st_mode))
        throw StorageError(Status::AccessDenied, path.string(), " is no regular file");
    return opened;
}

std::unique_ptr<File> FileAt(fs::path path, const std::shared_ptr<SystemFile>& opened, Access access) {
    const int fd = static_cast<const Descriptor&>(*opened).Number();
    return std::make_unique<PosixFile>(opened, fd, access, std::move(path), true);
}

std::unique_ptr<File> CreateBeside(const fs::path& target, Access access, Place place) {
    const mode_t mode = place.replaced ? 0600 : 0666;
    fs::path temporary;
    int fd = posix::OpenUnnamed(FolderOf(target).c_str(), mode);
    if (fd < 0 && errno == EOPNOTSUPP) {
        temporary = HiddenPathFor(target);
        fd = ::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    }
    if (fd < 0) {
        if (errno == ENOENT) throw SystemError(ENOTDIR, Status::PathNotFound, FolderOf(target).string());
        throw SystemError(errno, Status::AccessDenied, target.string());
    }
    const auto opened = std::make_shared<Descriptor>(fd, target);
    if (place.replaced) posix::CopyAttributes(static_cast<const Descriptor&>(*place.replaced).Number(), fd);
    auto file = std::make_unique<PosixFile>(opened, fd, access, target, false, std::move(temporary), std::move(place));
    RequireLocksFor(*opened, access, target);
    return file;
}

fs::path TargetOf(const fs::path& path) {
    constexpr int kMostLinks = 40;
    fs::path target = path;
    for (int links = 0;; ++links) {
        std::error_code none;
        const fs::path named = fs::read_symlink(target, none);
        if (none) return target;
        if (links == kMostLinks) throw SystemError(ELOOP, Status::PathNotFound, path.string());
        target = FolderOf(target) / named;
    }
}

void ForEachNameIn(const fs::path& folder, const std::function<void(std::string_view)>& visit) {
    // Not the standard library's iterator, which ends the program where it lacks memory.
    const std::unique_ptr<DIR, int (*)(DIR*)> listed(::opendir(folder.c_str()), ::closedir);
    for (const dirent* entry = nullptr; listed && (entry = ::readdir(listed.get()));) visit(entry->d_name);
}

void RemoveUnused(const fs::path& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return;
    Descriptor file(fd, path);
    struct stat named {};
    const bool isIt = LockFor(file, Access::Exclusive) == SystemFile::Answer::Yes &&
                      ::lstat(path.c_str(), &named) == 0 && S_ISREG(named.st_mode) &&
                      IsSame(named, file.StatusAtOpening());
    if (isIt) ::unlink(path.c_str());
}

}  // namespace system

bool IsSameFile(const fs::path& left, const fs::path& right) {
    std::error_code unequal;
    return fs::equivalent(left, right, unequal);
}

}  // namespace lumvex::compound
