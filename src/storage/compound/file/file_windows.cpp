// Files of Windows. Everybody opens with all sharing allowed; who may be there beside whom is kept with locks on bytes
// far beyond any file's end, the same bytes as on other systems:
//
//   byte                     shared                            exclusive
//   kWriterByte                                                whoever writes
//   kPresenceByte            readers, and a writer beside them whoever is alone
//   kGenerationBytes + n     readers of generation n           for a moment, a writer that looks for readers
//
// clang-format off
#include <windows.h>
#include <aclapi.h>
// clang-format on

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "storage/compound/file/file.hpp"
#include "storage/compound/file/guard.hpp"
#include "storage/compound/file/hidden_name.hpp"

namespace lumvex::compound {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kWriterByte = std::uint64_t{1} << 62;
constexpr std::uint64_t kPresenceByte = kWriterByte + 1;
constexpr std::uint64_t kGenerationBytes = kWriterByte + 16;
constexpr std::int64_t kGenerations = std::int64_t{1} << 32;

constexpr int kMostAttempts = 100;  // at a path whose file others exchange at the same time

constexpr DWORD kDiskQuotaExceeded = 1295;

// Of the rename that replaces a file which others have open; SDKs before Windows 10 lack the names.
constexpr auto kRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
constexpr DWORD kReplaceIfExists = 1, kPosixSemantics = 2;

// For messages, as UTF-8; what is no text becomes U+FFFD.
std::string TextOf(const fs::path& path) {
    const std::wstring& text = path.native();
    const auto length = static_cast<int>(text.size());
    std::string shown(3 * text.size(), '\0');
    const int used = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, shown.data(), static_cast<int>(shown.size()),
                                           nullptr, nullptr);
    shown.resize(static_cast<std::size_t>(used));
    return shown;
}

Error SystemError(DWORD code, Status otherwise, const std::string& what) {
    Status status = otherwise;
    switch (code) {
        case ERROR_FILE_NOT_FOUND:
            status = Status::NotFound;
            break;
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_DRIVE:
        case ERROR_NOT_READY:
        case ERROR_BAD_NETPATH:
        case ERROR_BAD_NET_NAME:
        case ERROR_DIRECTORY:
            status = Status::PathNotFound;
            break;
        case ERROR_TOO_MANY_OPEN_FILES:
            status = Status::TooManyOpenFiles;
            break;
        case ERROR_ACCESS_DENIED:
        case ERROR_WRITE_PROTECT:
        case ERROR_NETWORK_ACCESS_DENIED:
            status = Status::AccessDenied;
            break;
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
            status = Status::ShareViolation;
            break;
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_OUTOFMEMORY:
            status = Status::NoMemory;
            break;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
        case kDiskQuotaExceeded:
        case ERROR_FILE_TOO_LARGE:
            status = Status::MediumFull;
            break;
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_FILENAME_EXCED_RANGE:
            status = Status::InvalidName;
            break;
        default:
            break;
    }
    return Failure(status, what, ": error ", code);
}

// The path as the system takes it whatever its length: longer ones need the form that bypasses the 260 characters of
// the plain one, and which must then be absolute and in its canonical spelling.
std::wstring SystemPath(const fs::path& path) {
    constexpr std::size_t kLongestPlain = 240;  // leaves room for a name beside the path
    const std::wstring& given = path.native();
    if (given.empty() || given.starts_with(LR"(\\?\)") || given.starts_with(LR"(\\.\)")) return given;
    std::wstring full(given.size() + MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetFullPathNameW(given.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0) throw SystemError(::GetLastError(), Status::InvalidName, TextOf(path));
        const bool complete = length < full.size();
        full.resize(length);
        if (complete) break;
    }
    if (full.size() <= kLongestPlain) return full;
    if (full.starts_with(LR"(\\)")) return LR"(\\?\UNC)" + full.substr(1);
    return LR"(\\?\)" + full;
}

class Handle {
public:
    Handle() = default;
    explicit Handle(HANDLE handle) : handle_(handle) {}
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Handle() { Close(); }
    void Close() noexcept {
        if (*this) ::CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE));
    }
    HANDLE get() const { return handle_; }
    explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE && handle_ != nullptr; }

private:
    HANDLE handle_ = INVALID_HANDLE_VALUE;
};

Handle Create(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags = 0) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return Handle(::CreateFileW(path.c_str(), access, kShareAll, nullptr, disposition, FILE_ATTRIBUTE_NORMAL | flags,
                                nullptr));
}

OVERLAPPED At(std::uint64_t offset) {
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return at;
}

enum class Answer {
    Yes,
    No,       // another open file stands in the way
    NotKept,  // this file system keeps no locks
};

Answer TryLock(HANDLE file, DWORD flags, std::uint64_t start, std::uint64_t length) {
    OVERLAPPED at = At(start);
    if (::LockFileEx(file, flags, 0, static_cast<DWORD>(length), static_cast<DWORD>(length >> 32), &at))
        return Answer::Yes;
    const DWORD code = ::GetLastError();
    if (code == ERROR_LOCK_VIOLATION || code == ERROR_IO_PENDING) return Answer::No;
    if (code == ERROR_NOT_SUPPORTED || code == ERROR_INVALID_FUNCTION) return Answer::NotKept;
    throw SystemError(code, Status::ShareViolation, "the file cannot be locked");
}

void Unlock(HANDLE file, std::uint64_t start, std::uint64_t length) noexcept {
    OVERLAPPED at = At(start);
    ::UnlockFileEx(file, 0, static_cast<DWORD>(length), static_cast<DWORD>(length >> 32), &at);
}

Answer LockFor(HANDLE file, Access access) {
    constexpr DWORD kNow = LOCKFILE_FAIL_IMMEDIATELY, kAlone = kNow | LOCKFILE_EXCLUSIVE_LOCK;
    if (access != Access::ReadShared)
        if (const Answer answer = TryLock(file, kAlone, kWriterByte, 1); answer != Answer::Yes) return answer;
    return TryLock(file, access == Access::Exclusive ? kAlone : kNow, kPresenceByte, 1);
}

void RequireLocksFor(HANDLE file, Access access, const fs::path& path) {
    const Answer answer = LockFor(file, access);
    if (answer == Answer::No) throw Failure(Status::ShareViolation, TextOf(path), " is open elsewhere");
    if (answer == Answer::NotKept && access != Access::ReadShared)
        throw Failure(Status::LockViolation, TextOf(path), " can only be read: its file system keeps no locks");
}

std::optional<BY_HANDLE_FILE_INFORMATION> InformationOf(const Handle& file) {
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !::GetFileInformationByHandle(file.get(), &information)) return std::nullopt;
    return information;
}

bool IsSame(const std::optional<BY_HANDLE_FILE_INFORMATION>& left,
            const std::optional<BY_HANDLE_FILE_INFORMATION>& right) {
    return left && right && left->dwVolumeSerialNumber == right->dwVolumeSerialNumber &&
           left->nFileIndexHigh == right->nFileIndexHigh && left->nFileIndexLow == right->nFileIndexLow;
}

Handle OpenToAsk(const std::wstring& path) {
    return Create(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
}

// Opens and locks what the path names now; a file that was replaced between the two is not what it names any more.
Handle OpenLocked(const fs::path& path, Access access) {
    if (path.empty()) throw Failure(Status::NotFound, "no file has an empty name");
    const std::wstring systemPath = SystemPath(path);
    const DWORD rights = access == Access::ReadShared ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        Handle file = Create(systemPath, rights, OPEN_EXISTING);
        if (!file) throw SystemError(::GetLastError(), Status::AccessDenied, TextOf(path));
        if (::GetFileType(file.get()) != FILE_TYPE_DISK)
            throw Failure(Status::AccessDenied, TextOf(path), " is no regular file");
        RequireLocksFor(file.get(), access, path);
        const auto opened = InformationOf(file);
        if (!opened) throw SystemError(::GetLastError(), Status::ReadFault, TextOf(path));
        const Handle named = OpenToAsk(systemPath);
        if (!named) {  // gone, or for a moment on its way there
            const DWORD code = ::GetLastError();
            if (code == ERROR_FILE_NOT_FOUND || attempt + 1 == kMostAttempts)
                throw SystemError(code, Status::ReadFault, TextOf(path));
            ::Sleep(1);
            continue;
        }
        if (IsSame(opened, InformationOf(named))) return file;
        // Some file systems number a file anew each time they are asked.
        if (!IsSame(opened, InformationOf(file))) return file;
    }
    throw Failure(Status::ShareViolation, TextOf(path), " is replaced again and again");
}

// The file that is about to be replaced, locked as a writer of it would be; none where there is no file.
Handle LockReplaced(const fs::path& path, Access access) {
    try {
        return OpenLocked(path, access);
    } catch (const Error& error) {
        if (error.status() == Status::NotFound) return Handle();
        throw;
    }
}

fs::path FolderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : fs::path("."); }

// Another name beside the path that nobody has.
std::wstring HiddenNameBeside(const fs::path& path) {
    return SystemPath(FolderOf(path) / fs::path(HiddenNameFor(path)));
}

// Files that a program left behind which was killed while it saved the same document. Of one that still runs the file
// is locked. Not being able to remove one is no failure.
void RemoveLeftBehind(const fs::path& target) noexcept {
    try {
        // The library's iterator over a folder ends the program when it lacks memory.
        WIN32_FIND_DATAW found;
        const HANDLE search = ::FindFirstFileW(SystemPath(FolderOf(target) / L"*").c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) return;
        const std::unique_ptr<void, BOOL(WINAPI*)(HANDLE)> listed(search, ::FindClose);
        do {
            const fs::path name(found.cFileName);
            if (!IsHiddenNameFor(target, TextOf(name))) continue;
            const Handle file = Create(SystemPath(FolderOf(target) / name), GENERIC_READ | GENERIC_WRITE | DELETE,
                                       OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT);
            if (!file || LockFor(file.get(), Access::Exclusive) != Answer::Yes) continue;
            FILE_DISPOSITION_INFO disposition{};
            disposition.DeleteFile = TRUE;
            ::SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition, sizeof disposition);
        } while (::FindNextFileW(search, &found));
    } catch (const std::exception&) {
    }
}

// Who may use the replaced file may use the new one. Where the file system keeps no such list there is nothing to do.
void CopyPermissions(const std::wstring& from, HANDLE to) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (::GetNamedSecurityInfoW(const_cast<wchar_t*>(from.c_str()), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS)
        return;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    if (::GetSecurityDescriptorControl(descriptor, &control, &revision) && (control & SE_DACL_PROTECTED) != 0)
        ::SetSecurityInfo(to, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                          nullptr, list, nullptr);
    ::LocalFree(descriptor);
}

// So that it names the same file whatever the program's folder is later.
fs::path Absolute(const fs::path& path) {
    std::error_code ignored;
    fs::path absolute = fs::absolute(path, ignored);
    return ignored ? path : absolute;
}

class WindowsFile final : public File {
public:
    // At its path, or under another name beside it and takes the path at Publish(). `replaced` is what stands there now,
    // locked.
    WindowsFile(Handle file, Access access, const fs::path& path, bool published, Handle replaced = {})
        : file_(std::move(file)),
          access_(access),
          published_(published),
          finalPath_(access == Access::ReadShared ? fs::path() : Absolute(path)),  // whoever reads does not ask for it
          replaced_(std::move(replaced)) {}

    ~WindowsFile() override {
        Unmap();
        CutShort();
        if (published_ || !file_) return;
        FILE_DISPOSITION_INFO disposition{};
        disposition.DeleteFile = TRUE;
        ::SetFileInformationByHandle(file_.get(), FileDispositionInfo, &disposition, sizeof disposition);
    }

    std::uint64_t Size() const override { return cutTo_ ? *cutTo_ : SizeOnDisk(); }
    std::optional<std::span<const std::byte>> Map() override;
    Shown LookAtMap() override { return guard_.Failed() ? Shown::Failed : Shown::Whole; }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override;
    void Write(std::uint64_t offset, std::span<const Piece> pieces) override;

    void Flush() override {
        if (!::FlushFileBuffers(file_.get())) throw SystemError(::GetLastError(), Status::WriteFault, "flush");
    }

    void Resize(std::uint64_t size) override;

    // For another who needs the file and its locks to stay.
    Handle Duplicate() const {
        HANDLE copy = nullptr;
        const HANDLE process = ::GetCurrentProcess();
        if (!::DuplicateHandle(process, file_.get(), process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
            throw SystemError(::GetLastError(), Status::AccessDenied, "duplicate");
        return Handle(copy);
    }

    // Only now is there a file, which is this object's to remove.
    void MakeAsNew(const std::wstring& hiddenName) {
        const std::wstring target = SystemPath(finalPath_);
        // The rights to rename it and to hand on the replaced file's permissions beside those to use it.
        file_ = Create(hiddenName, GENERIC_READ | GENERIC_WRITE | DELETE | WRITE_DAC, CREATE_NEW);
        if (!file_) {
            const DWORD code = ::GetLastError();
            throw SystemError(code == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : code, Status::AccessDenied,
                              TextOf(finalPath_));
        }
        if (replaced_) CopyPermissions(target, file_.get());
        RequireLocksFor(file_.get(), access_, finalPath_);
    }

    bool Published() const override { return published_; }
    void Publish() override;
    void RequireName() const override;
    std::unique_ptr<File> CreateSuccessor() const override;

    void AnnounceReader(std::uint32_t generation) override {
        if (announced_ && *announced_ == generation) return;
        // Waits for a writer that is just looking for readers; nobody holds these bytes any longer than that.
        if (TryLock(file_.get(), 0, kGenerationBytes + generation, 1) == Answer::No)
            throw Failure(Status::ShareViolation, "generation ", generation, " is locked");
        if (announced_) Unlock(file_.get(), kGenerationBytes + *announced_, 1);
        announced_ = generation;
    }

    bool AnyReader(std::uint32_t first, std::uint32_t count) const override {
        const std::int64_t before = std::min<std::int64_t>(count, kGenerations - first);  // the circle's end
        if (before > 0 && HasReaders(first, before)) return true;
        return count > before && HasReaders(0, count - before);
    }

private:
    std::uint64_t SizeOnDisk() const {
        LARGE_INTEGER size;
        if (!::GetFileSizeEx(file_.get(), &size))
            throw SystemError(::GetLastError(), Status::ReadFault, "the file's size");
        return static_cast<std::uint64_t>(size.QuadPart);
    }

    bool HasReaders(std::int64_t first, std::int64_t count) const {
        const std::uint64_t start = kGenerationBytes + static_cast<std::uint64_t>(first);
        const auto length = static_cast<std::uint64_t>(count);
        if (TryLock(file_.get(), LOCKFILE_FAIL_IMMEDIATELY | LOCKFILE_EXCLUSIVE_LOCK, start, length) != Answer::Yes)
            return true;
        Unlock(file_.get(), start, length);
        return false;
    }

    bool SetSize(std::uint64_t size) noexcept {
        FILE_END_OF_FILE_INFO end{};
        end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
        return ::SetFileInformationByHandle(file_.get(), FileEndOfFileInfo, &end, sizeof end) != 0;
    }

    // A file cannot be cut while it is mapped, here or elsewhere; until it can it only counts as shorter.
    void CutShort() noexcept {
        if (cutTo_ && SetSize(*cutTo_)) cutTo_.reset();
    }

    void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes);

    void Unmap() noexcept {
        const bool isReplaced = guard_.Failed();  // by memory of zeros
        guard_ = GuardedRange();
        if (base_ != nullptr && isReplaced) ::VirtualFree(base_, 0, MEM_RELEASE);
        if (base_ != nullptr && !isReplaced) ::UnmapViewOfFile(base_);
        base_ = nullptr;
        mapped_ = 0;
    }

    Handle file_;
    Access access_;
    bool published_;
    fs::path finalPath_;
    Handle replaced_;
    std::optional<std::uint32_t> announced_;
    std::optional<std::uint64_t> cutTo_;
    void* base_ = nullptr;
    GuardedRange guard_;
    std::uint64_t mapped_ = 0;
};

std::optional<std::span<const std::byte>> WindowsFile::Map() {
    if (cutTo_) {
        Unmap();
        CutShort();
    }
    std::uint64_t size = Size();
    while (size > mapped_) {
        Unmap();
        if (size > std::numeric_limits<SIZE_T>::max()) return std::nullopt;
        const Handle section(::CreateFileMappingW(file_.get(), nullptr, PAGE_READONLY, static_cast<DWORD>(size >> 32),
                                                  static_cast<DWORD>(size), nullptr));
        if (section) {
            base_ = ::MapViewOfFile(section.get(), FILE_MAP_READ, 0, 0, static_cast<SIZE_T>(size));
            if (base_ == nullptr) return std::nullopt;
            mapped_ = size;
            guard_ = GuardedRange(base_, static_cast<std::size_t>(size));
            if (guard_) break;
            Unmap();
            return std::nullopt;
        }
        const std::uint64_t measured = std::exchange(size, Size());
        if (size >= measured) return std::nullopt;  // else a writer cut it meanwhile
    }
    return std::span(static_cast<const std::byte*>(base_), static_cast<std::size_t>(size));
}

void WindowsFile::Read(std::uint64_t offset, std::span<std::byte> bytes) const {
    constexpr std::size_t kMost = std::size_t{1} << 30;
    while (!bytes.empty()) {
        OVERLAPPED at = At(offset);
        DWORD got = 0;
        const bool read =
            ::ReadFile(file_.get(), bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kMost)), &got, &at);
        if (!read && ::GetLastError() != ERROR_HANDLE_EOF)
            throw SystemError(::GetLastError(), Status::ReadFault, "read");
        if (got == 0) throw Failure(Status::ReadFault, "the file ends before byte ", offset);
        offset += got;
        bytes = bytes.subspan(got);
    }
}

void WindowsFile::WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    constexpr std::size_t kMost = std::size_t{1} << 30;
    while (!bytes.empty()) {
        OVERLAPPED at = At(offset);
        DWORD put = 0;
        if (!::WriteFile(file_.get(), bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kMost)), &put, &at))
            throw SystemError(::GetLastError(), Status::WriteFault, "write");
        if (put == 0) throw Failure(Status::MediumFull, "nothing could be written at byte ", offset);
        offset += put;
        bytes = bytes.subspan(put);
    }
}

// The system takes one piece at a time; small ones are put together first.
void WindowsFile::Write(std::uint64_t offset, std::span<const Piece> pieces) {
    constexpr std::size_t kTogether = std::size_t{256} << 10;
    std::vector<std::byte> together;
    const auto writeTogether = [&] {
        WriteAt(offset, together);
        offset += together.size();
        together.clear();
    };
    std::uint64_t end = offset;
    for (const Piece& piece : pieces) {
        end += piece.size();
        if (together.size() + piece.size() > kTogether) writeTogether();
        if (pieces.size() == 1 || piece.size() > kTogether) {
            WriteAt(offset, piece);
            offset += piece.size();
        } else {
            together.insert(together.end(), piece.begin(), piece.end());
        }
    }
    writeTogether();
    if (cutTo_ && end > *cutTo_) cutTo_ = end;
}

void WindowsFile::Resize(std::uint64_t size) {
    cutTo_.reset();
    if (SetSize(size)) return;
    const DWORD code = ::GetLastError();
    if (code != ERROR_USER_MAPPED_FILE || size > SizeOnDisk())
        throw SystemError(code, Status::WriteFault, "resize");
    cutTo_ = size;
}

// Made before the first step of replacing a file, none of which may then fail for want of memory.
class NewName {
public:
    explicit NewName(const std::wstring& name) : buffer_(sizeof(FILE_RENAME_INFO) + name.size() * sizeof(wchar_t)) {
        Information()->FileNameLength = static_cast<DWORD>(name.size() * sizeof(wchar_t));
        std::memcpy(Information()->FileName, name.data(), name.size() * sizeof(wchar_t));
    }
    bool Give(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, DWORD flags) noexcept {
        std::memcpy(Information(), &flags, sizeof flags);  // the plain rename has one byte for "replace" in this place
        return ::SetFileInformationByHandle(file, kind, Information(), static_cast<DWORD>(buffer_.size())) != 0;
    }

private:
    FILE_RENAME_INFO* Information() noexcept { return reinterpret_cast<FILE_RENAME_INFO*>(buffer_.data()); }

    std::vector<std::byte> buffer_;
};

// In one step where the system can replace a file that is open, which since Windows 10 local disks can, or where nobody
// has the replaced one open. Otherwise that one steps aside first, keeping its readers: a program that ends between the
// two steps leaves it under its hidden name.
void WindowsFile::Publish() {
    if (published_) return;
    const std::wstring target = SystemPath(finalPath_);
    NewName name(target);
    if (!replaced_) replaced_ = LockReplaced(finalPath_, access_);  // somebody made it meanwhile
    published_ = name.Give(file_.get(), kRenameInfoEx, replaced_ ? kReplaceIfExists | kPosixSemantics : 0);
    if (!published_) {
        const bool isThere = static_cast<bool>(replaced_);
        replaced_.Close();
        published_ = name.Give(file_.get(), FileRenameInfo, isThere ? 1 : 0);
        if (!published_) {
            const DWORD code = ::GetLastError();
            // Not a name that the next save would take for what a killed one left behind: until the new file has its
            // name this is the document.
            const std::wstring aside = HiddenNameBeside(finalPath_) + L"-old";
            if (!isThere || !::MoveFileExW(target.c_str(), aside.c_str(), 0))
                throw SystemError(code, Status::WriteFault, TextOf(finalPath_));
            published_ = name.Give(file_.get(), FileRenameInfo, 0);
            if (!published_) {
                const DWORD second = ::GetLastError();
                ::MoveFileExW(aside.c_str(), target.c_str(), 0);
                throw SystemError(second, Status::WriteFault, TextOf(finalPath_));
            }
            ::DeleteFileW(aside.c_str());  // goes when its last reader closes it
        }
    }
    replaced_.Close();
    ::FlushFileBuffers(file_.get());  // the new name too; where this fails, the next Flush() says so
    RemoveLeftBehind(finalPath_);
}

// Where the path cannot be looked at, nothing says that it leads elsewhere.
void WindowsFile::RequireName() const {
    if (!published_) return;
    FILE_STANDARD_INFO standard{};
    if (::GetFileInformationByHandleEx(file_.get(), FileStandardInfo, &standard, sizeof standard) &&
        (standard.DeletePending || standard.NumberOfLinks == 0))
        throw Failure(Status::NotFound, TextOf(finalPath_), " was removed");
    const Handle named = OpenToAsk(SystemPath(finalPath_));
    if (!named) {
        const DWORD code = ::GetLastError();
        if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND)
            throw SystemError(code, Status::NotFound, TextOf(finalPath_) + " was removed or moved");
        return;
    }
    const auto opened = InformationOf(file_), found = InformationOf(named);
    if (opened && found && !IsSame(opened, found))
        throw Failure(Status::NotCurrent, TextOf(finalPath_), " is another file now");
}

// A link stays, its target is replaced.
fs::path TargetOf(const fs::path& path) {
    if (path.empty() || !path.has_filename())
        throw Failure(Status::PathNotFound, "no file name in '", TextOf(path), "'");
    std::error_code ignored;
    const fs::path resolved = fs::is_symlink(path, ignored) ? fs::weakly_canonical(path, ignored) : path;
    return ignored || resolved.empty() ? path : resolved;
}

std::unique_ptr<File> CreateBeside(const fs::path& target, Access access, Handle replaced) {
    auto file = std::make_unique<WindowsFile>(Handle(), access, target, false, std::move(replaced));
    file->MakeAsNew(HiddenNameBeside(target));
    return file;
}

std::unique_ptr<File> WindowsFile::CreateSuccessor() const {
    RequireName();
    return CreateBeside(TargetOf(finalPath_), access_, Duplicate());
}

}  // namespace

std::unique_ptr<File> OpenFile(const fs::path& path, Access access) {
    return std::make_unique<WindowsFile>(OpenLocked(path, access), access, path, true);
}

std::unique_ptr<File> CreateReplacing(const fs::path& path, Access access) {
    if (access == Access::ReadShared) throw Failure(Status::InvalidFlag, "a new file opened for reading only");
    const fs::path target = TargetOf(path);
    return CreateBeside(target, access, LockReplaced(target, access));
}

bool IsSameFile(const fs::path& left, const fs::path& right) {
    try {
        const Handle leftFile = OpenToAsk(SystemPath(left)), rightFile = OpenToAsk(SystemPath(right));
        return IsSame(InformationOf(leftFile), InformationOf(rightFile));
    } catch (const Error&) {  // a path that the system cannot read names no file
        return false;
    }
}

}  // namespace lumvex::compound
