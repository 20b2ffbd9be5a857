// Files of Windows, which are opened with all sharing allowed: locks alone say who has a file open.
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

#include "storage/compound/file/guard.hpp"
#include "storage/compound/file/sharing.hpp"

namespace lumvex::compound {

namespace {

namespace fs = std::filesystem;

constexpr DWORD kDiskQuotaExceeded = 1295;

// For the rename that replaces a file which others have open. SDKs older than Windows 10 lack these names.
constexpr auto kRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
constexpr DWORD kReplaceIfExists = 1, kPosixSemantics = 2;

using system::TextOf;

StorageError SystemError(DWORD code, Status otherwise, const std::string& what) {
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
    return StorageError(status, what, ": error ", code);
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

// Closes it at the end.
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

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

Handle Create(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags = 0) {
    return Handle(
        ::CreateFileW(path.c_str(), access, kShareAll, nullptr, disposition, FILE_ATTRIBUTE_NORMAL | flags, nullptr));
}

// The file goes with its last handle. This one has to have been opened with the right to delete it (DELETE).
void RemoveWhenClosed(HANDLE file) noexcept {
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = TRUE;
    ::SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition);
}

OVERLAPPED At(std::uint64_t offset) {
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return at;
}

std::optional<BY_HANDLE_FILE_INFORMATION> InformationOf(const Handle& file) {
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !::GetFileInformationByHandle(file.get(), &information)) return std::nullopt;
    return information;
}

// A volume of 0 is one that the system cannot name: the index alone tells the files apart then. Wine cannot name it for
// a handle whose file was renamed through another handle, as every new file is.
bool IsSame(const std::optional<BY_HANDLE_FILE_INFORMATION>& left,
            const std::optional<BY_HANDLE_FILE_INFORMATION>& right) {
    if (!left || !right) return false;
    const DWORD volume = left->dwVolumeSerialNumber, other = right->dwVolumeSerialNumber;
    return (volume == other || volume == 0 || other == 0) && left->nFileIndexHigh == right->nFileIndexHigh &&
           left->nFileIndexLow == right->nFileIndexLow;
}

Handle OpenToAsk(const std::wstring& path) {
    return Create(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
}

class OpenedHandle final : public SystemFile {
public:
    explicit OpenedHandle(Handle handle = Handle()) : handle_(std::move(handle)) {}

    HANDLE get() const { return handle_.get(); }
    explicit operator bool() const { return static_cast<bool>(handle_); }
    void Become(Handle handle) noexcept { handle_ = std::move(handle); }

    Answer TryLock(Lock kind, std::uint64_t byte) override {
        return Call(LOCKFILE_FAIL_IMMEDIATELY | (kind == Lock::Exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0), byte, 1);
    }
    Answer LockShared(std::uint64_t byte) override { return Call(0, byte, 1); }
    void Unlock(std::uint64_t byte) noexcept override { Unlock(byte, 1); }

    // Nothing says who has locks but trying to have them all.
    bool MayBeLocked(std::uint64_t first, std::uint64_t count) override {
        if (Call(LOCKFILE_FAIL_IMMEDIATELY | LOCKFILE_EXCLUSIVE_LOCK, first, count) != Answer::Yes) return true;
        Unlock(first, count);
        return false;
    }

    Leads WhereLeads(const fs::path& path) const override;

private:
    Answer Call(DWORD flags, std::uint64_t start, std::uint64_t length) {
        OVERLAPPED at = At(start);
        if (::LockFileEx(get(), flags, 0, static_cast<DWORD>(length), static_cast<DWORD>(length >> 32), &at))
            return Answer::Yes;
        const DWORD code = ::GetLastError();
        if (code == ERROR_LOCK_VIOLATION || code == ERROR_IO_PENDING) return Answer::No;
        if (code == ERROR_NOT_SUPPORTED || code == ERROR_INVALID_FUNCTION) return Answer::NotKept;
        throw SystemError(code, Status::ShareViolation, "the file cannot be locked");
    }
    void Unlock(std::uint64_t start, std::uint64_t length) noexcept {
        OVERLAPPED at = At(start);
        ::UnlockFileEx(get(), 0, static_cast<DWORD>(length), static_cast<DWORD>(length >> 32), &at);
    }

    Handle handle_;
};

SystemFile::Leads OpenedHandle::WhereLeads(const fs::path& path) const {
    FILE_STANDARD_INFO standard{};
    const bool isRemoved = ::GetFileInformationByHandleEx(get(), FileStandardInfo, &standard, sizeof standard) &&
                           (standard.DeletePending || standard.NumberOfLinks == 0);
    const Handle named = OpenToAsk(SystemPath(path));
    const DWORD code = named ? ERROR_SUCCESS : ::GetLastError();
    if (code == ERROR_PATH_NOT_FOUND) return Leads::NoFolder;
    if (code == ERROR_FILE_NOT_FOUND) return Leads::NoFile;
    const auto opened = InformationOf(handle_), found = InformationOf(named);
    // Some file systems number a file anew each time they are asked.
    if (opened && found && !IsSame(opened, found) && IsSame(opened, InformationOf(handle_))) return Leads::Elsewhere;
    if (isRemoved) return Leads::NoFile;
    return named ? Leads::Here : Leads::Unknown;
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

// A name for the rename calls. Made before the first of them, none of which may fail for want of memory.
class NewName {
public:
    explicit NewName(const std::wstring& name) : buffer_(sizeof(FILE_RENAME_INFO) + name.size() * sizeof(wchar_t)) {
        Information()->FileNameLength = static_cast<DWORD>(name.size() * sizeof(wchar_t));
        std::memcpy(Information()->FileName, name.data(), name.size() * sizeof(wchar_t));
    }
    bool Give(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, DWORD flags) noexcept {
        std::memcpy(Information(), &flags,
                    sizeof flags);  // of the plain rename, the first of these bytes says whether to replace
        return ::SetFileInformationByHandle(file, kind, Information(), static_cast<DWORD>(buffer_.size())) != 0;
    }

private:
    FILE_RENAME_INFO* Information() noexcept { return reinterpret_cast<FILE_RENAME_INFO*>(buffer_.data()); }

    std::vector<std::byte> buffer_;
};

class WindowsFile final : public SharedFile {
public:
    WindowsFile(const std::shared_ptr<OpenedHandle>& opened, Access access, fs::path path, bool hasName,
                system::Place place = {})
        : SharedFile(opened, access, std::move(path), hasName, std::move(place)), file_(*opened) {}

    ~WindowsFile() override {
        Unmap();
        CutShort();
        if (maker_ && !hasName_) RemoveWhenClosed(maker_.get());
    }

    // Takes over the handle that the file was made with. As long as the file has no name, it is removed with this
    // object.
    void MadeWith(Handle maker) noexcept { maker_ = std::move(maker); }

    std::uint64_t Size() const override { return cutTo_ ? *cutTo_ : SizeOnDisk(); }
    std::optional<std::span<const std::byte>> Map() override;
    Shown LookAtMap() override { return guard_.Failed() ? Shown::Failed : Shown::Whole; }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override;
    void Write(std::uint64_t offset, std::span<const Piece> pieces) override;

    void Flush() override {
        if (!::FlushFileBuffers(file_.get())) throw SystemError(::GetLastError(), Status::WriteFault, "flush");
    }

    void Resize(std::uint64_t size) override;
    void TakeName() override;

private:
    void TakeNameInTwoSteps(NewName& name, const std::wstring& target, DWORD reason);

    std::uint64_t SizeOnDisk() const {
        LARGE_INTEGER size;
        if (!::GetFileSizeEx(file_.get(), &size))
            throw SystemError(::GetLastError(), Status::ReadFault, "the file's size");
        return static_cast<std::uint64_t>(size.QuadPart);
    }

    bool SetSize(std::uint64_t size) noexcept {
        FILE_END_OF_FILE_INFO end{};
        end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
        return ::SetFileInformationByHandle(file_.get(), FileEndOfFileInfo, &end, sizeof end) != 0;
    }

    // A file cannot be cut while it is mapped, here or elsewhere. Until then it keeps its length and only counts as
    // shorter.
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

    OpenedHandle& file_;  // opened_
    // What a file without a name was made with; it may rename and remove the file. Closed once the file has its name:
    // as long as such a handle is open, the system refuses the file to programs that do not share it for deletion, as
    // most do not.
    Handle maker_;
    std::optional<std::uint64_t> cutTo_;  // the length that the file should have, where it could not be cut
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
        if (got == 0) throw StorageError(Status::ReadFault, "the file ends before byte ", offset);
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
        if (put == 0) throw StorageError(Status::MediumFull, "nothing could be written at byte ", offset);
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
    if (code != ERROR_USER_MAPPED_FILE || size > SizeOnDisk()) throw SystemError(code, Status::WriteFault, "resize");
    cutTo_ = size;
}

// In one step where the system can replace a file that is open (local disks since Windows 10 can), or where nobody has
// the replaced one open.
void WindowsFile::TakeName() {
    if (hasName_) return;
    const std::wstring target = SystemPath(path_);
    NewName name(target);
    if (!replaced_ && mayReplace_) replaced_ = LockReplaced(path_, access_);  // somebody may have made it meanwhile
    const bool isThere = replaced_ != nullptr;
    hasName_ = name.Give(maker_.get(), kRenameInfoEx, isThere ? kReplaceIfExists | kPosixSemantics : 0);
    replaced_.reset();
    if (!hasName_) hasName_ = name.Give(maker_.get(), FileRenameInfo, isThere ? 1 : 0);
    if (!hasName_) {
        const DWORD reason = ::GetLastError();
        if (!mayReplace_ && (reason == ERROR_ALREADY_EXISTS || reason == ERROR_FILE_EXISTS)) RefuseTaken();
        if (!isThere) throw SystemError(reason, Status::WriteFault, TextOf(path_));
        TakeNameInTwoSteps(name, target, reason);
    }
    maker_.Close();
    ::FlushFileBuffers(file_.get());  // the new name too; where this fails, the next Flush() says so
    RemoveLeftBehind(path_);
}

// The replaced file takes another name first, and its readers keep it. A program that ends between the two steps leaves
// it under that name.
void WindowsFile::TakeNameInTwoSteps(NewName& name, const std::wstring& target, DWORD reason) {
    // The next save must not take it for what a killed one left behind: until the new file has its name this is the
    // document.
    const std::wstring aside = SystemPath(HiddenPathFor(path_)) + L"-old";
    if (!::MoveFileExW(target.c_str(), aside.c_str(), 0)) throw SystemError(reason, Status::WriteFault, TextOf(path_));
    hasName_ = name.Give(maker_.get(), FileRenameInfo, 0);
    if (!hasName_) {
        const DWORD second = ::GetLastError();
        ::MoveFileExW(aside.c_str(), target.c_str(), 0);
        throw SystemError(second, Status::WriteFault, TextOf(path_));
    }
    ::DeleteFileW(aside.c_str());  // is gone when its last reader closes it
}

}  // namespace

namespace system {

// As UTF-8. What is no text becomes U+FFFD.
std::string TextOf(const fs::path& path) {
    const std::wstring& text = path.native();
    const auto length = static_cast<int>(text.size());
    std::string shown(3 * text.size(), '\0');
    const int used = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, shown.data(),
                                           static_cast<int>(shown.size()), nullptr, nullptr);
    shown.resize(static_cast<std::size_t>(used));
    return shown;
}

std::shared_ptr<SystemFile> Open(const fs::path& path, Access access) {
    if (path.empty()) throw StorageError(Status::NotFound, "no file has an empty name");
    const DWORD rights = access == Access::ReadShared ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    Handle file = Create(SystemPath(path), rights, OPEN_EXISTING);
    if (!file) throw SystemError(::GetLastError(), Status::AccessDenied, TextOf(path));
    if (::GetFileType(file.get()) != FILE_TYPE_DISK)
        throw StorageError(Status::AccessDenied, TextOf(path), " is no regular file");
    return std::make_shared<OpenedHandle>(std::move(file));
}

std::unique_ptr<File> FileAt(fs::path path, const std::shared_ptr<SystemFile>& opened, Access access) {
    return std::make_unique<WindowsFile>(std::static_pointer_cast<OpenedHandle>(opened), access, std::move(path), true);
}

std::unique_ptr<File> CreateBeside(const fs::path& target, Access access, Place place) {
    const bool isThere = place.replaced != nullptr;
    const auto opened = std::make_shared<OpenedHandle>();
    auto file = std::make_unique<WindowsFile>(opened, access, target, false, std::move(place));
    // Rights are checked when a handle is opened. So both are opened before the replaced file's permissions are handed
    // on, which may not allow all of this: `maker` to rename the file and to set its permissions, `used` to read and
    // write.
    constexpr DWORD kUse = GENERIC_READ | GENERIC_WRITE;
    Handle maker = Create(SystemPath(HiddenPathFor(target)), kUse | DELETE | WRITE_DAC, CREATE_NEW);
    if (!maker) {
        const DWORD code = ::GetLastError();
        throw SystemError(code == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : code, Status::AccessDenied,
                          TextOf(target));
    }
    const HANDLE made = maker.get();
    file->MadeWith(std::move(maker));
    Handle used(::ReOpenFile(made, kUse, kShareAll, 0));
    if (!used) throw SystemError(::GetLastError(), Status::AccessDenied, TextOf(target));
    opened->Become(std::move(used));
    if (isThere) CopyPermissions(SystemPath(target), made);
    RequireLocksFor(*opened, access, target);
    return file;
}

fs::path TargetOf(const fs::path& path) {
    std::error_code ignored;
    const fs::path resolved = fs::is_symlink(path, ignored) ? fs::weakly_canonical(path, ignored) : path;
    return ignored || resolved.empty() ? path : resolved;
}

void ForEachNameIn(const fs::path& folder, const std::function<void(std::string_view)>& visit) {
    // Not the standard library's iterator, which ends the program where it lacks memory.
    WIN32_FIND_DATAW found;
    const HANDLE search = ::FindFirstFileW(SystemPath(folder / L"*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    const std::unique_ptr<void, BOOL(WINAPI*)(HANDLE)> listed(search, ::FindClose);
    do visit(TextOf(fs::path(found.cFileName)));
    while (::FindNextFileW(search, &found));
}

void RemoveUnused(const fs::path& path) {
    OpenedHandle file(
        Create(SystemPath(path), GENERIC_READ | GENERIC_WRITE | DELETE, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT));
    if (!file || LockFor(file, Access::Exclusive) != SystemFile::Answer::Yes) return;
    RemoveWhenClosed(file.get());
}

}  // namespace system

bool IsSameFile(const fs::path& left, const fs::path& right) {
    try {
        const Handle leftFile = OpenToAsk(SystemPath(left)), rightFile = OpenToAsk(SystemPath(right));
        return IsSame(InformationOf(leftFile), InformationOf(rightFile));
    } catch (const StorageError&) {  // a path that the system cannot read names no file
        return false;
    }
}

}  // namespace lumvex::compound
