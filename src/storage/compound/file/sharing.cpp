#include "storage/compound/file/sharing.hpp"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "storage/compound/file/hidden_name.hpp"

namespace lumvex::compound {

namespace {

namespace fs = std::filesystem;
using Answer = SystemFile::Answer;
using Leads = SystemFile::Leads;
using Lock = SystemFile::Lock;

constexpr std::uint64_t kWriterByte = std::uint64_t{1} << 62;
constexpr std::uint64_t kPresenceByte = kWriterByte + 1;
constexpr std::uint64_t kGenerationBytes = kWriterByte + 16;
constexpr std::uint64_t kGenerations = std::uint64_t{1} << 32;

// A path stays what it is when the program changes its folder.
fs::path Absolute(fs::path path) {
    if (path.is_absolute()) return path;
    std::error_code ignored;
    fs::path absolute = fs::absolute(path, ignored);
    if (ignored) return path;
    return absolute;
}

// Between opening a file and locking it, another may take its place: then it is opened again.
std::shared_ptr<SystemFile> OpenLocked(const fs::path& path, Access access) {
    constexpr int kMostAttempts = 100;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        std::shared_ptr<SystemFile> file = system::Open(path, access);
        RequireLocksFor(*file, access, path);
        const Leads leads = file->WhereLeads(path);
        if (leads == Leads::Here) return file;
        // On some systems there is no file for a moment while another takes its place.
        if (leads != Leads::Elsewhere) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    throw StorageError(Status::ShareViolation, system::TextOf(path), " is replaced again and again");
}

}  // namespace

Answer LockFor(SystemFile& file, Access access) {
    if (access != Access::ReadShared)
        if (const Answer answer = file.TryLock(Lock::Exclusive, kWriterByte); answer != Answer::Yes) return answer;
    return file.TryLock(access == Access::Exclusive ? Lock::Exclusive : Lock::Shared, kPresenceByte);
}

void RequireLocksFor(SystemFile& file, Access access, const fs::path& path) {
    const Answer answer = LockFor(file, access);
    if (answer == Answer::No) throw StorageError(Status::ShareViolation, system::TextOf(path), " is open elsewhere");
    if (answer == Answer::NotKept && access != Access::ReadShared)
        throw StorageError(Status::LockViolation, system::TextOf(path),
                           " can only be read: its file system keeps no locks");
}

std::shared_ptr<SystemFile> LockReplaced(const fs::path& path, Access access) {
    try {
        return OpenLocked(path, access);
    } catch (const StorageError& error) {
        if (error.status() == Status::NotFound) return nullptr;
        throw;
    }
}

fs::path FolderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : fs::path("."); }

fs::path HiddenPathFor(const fs::path& target) { return FolderOf(target) / fs::path(HiddenNameFor(target)); }

void RemoveLeftBehind(const fs::path& target) noexcept {
    try {
        const fs::path folder = FolderOf(target);
        system::ForEachNameIn(folder, [&](std::string_view name) {
            if (IsHiddenNameFor(target, name)) system::RemoveUnused(folder / fs::path(name));
        });
    } catch (const std::exception&) {
    }
}

SharedFile::SharedFile(std::shared_ptr<SystemFile> opened, Access access, fs::path path, bool hasName,
                       system::Place place)
    : opened_(std::move(opened)),
      access_(access),
      hasName_(hasName),
      path_(access == Access::ReadShared ? fs::path() : Absolute(std::move(path))),
      mayReplace_(place.mayReplace),
      replaced_(std::move(place.replaced)) {}

void SharedFile::RefuseTaken() const {
    throw StorageError(Status::AlreadyExists, system::TextOf(path_), " was made by another program meanwhile");
}

void SharedFile::RequireName() const {
    if (!hasName_) return;
    switch (opened_->WhereLeads(path_)) {
        case Leads::Elsewhere:
            throw StorageError(Status::NotCurrent, system::TextOf(path_), " is another file now");
        case Leads::NoFile:
            throw StorageError(Status::NotFound, system::TextOf(path_), " was removed or moved");
        case Leads::NoFolder:
            throw StorageError(Status::PathNotFound, system::TextOf(path_), " was removed or moved with its folder");
        case Leads::Here:
        case Leads::Unknown:  // nothing says that it leads elsewhere
            break;
    }
}

std::unique_ptr<File> SharedFile::CreateSuccessor() const {
    RequireName();
    return system::CreateBeside(system::TargetOf(path_), access_, {.replaced = opened_});
}

void SharedFile::AnnounceReader(std::uint32_t generation) {
    if (announced_ == generation) return;
    if (opened_->LockShared(kGenerationBytes + generation) == Answer::No)
        throw StorageError(Status::ShareViolation, "generation ", generation, " is locked");
    if (announced_) opened_->Unlock(kGenerationBytes + *announced_);
    announced_ = generation;
}

bool SharedFile::AnyReader(std::uint32_t first, std::uint32_t count) const {
    const std::uint64_t before = std::min<std::uint64_t>(count, kGenerations - first);  // up to the circle's end
    if (before > 0 && opened_->MayBeLocked(kGenerationBytes + first, before)) return true;
    return count > before && opened_->MayBeLocked(kGenerationBytes, count - before);
}

std::unique_ptr<File> OpenFile(fs::path path, Access access) {
    const std::shared_ptr<SystemFile> opened = OpenLocked(path, access);
    return system::FileAt(std::move(path), opened, access);
}

namespace {

fs::path TargetOfNew(const fs::path& path, Access access) {
    if (access == Access::ReadShared) throw StorageError(Status::InvalidFlag, "a new file opened for reading only");
    if (path.empty() || !path.has_filename())
        throw StorageError(Status::PathNotFound, "no file name in '", system::TextOf(path), "'");
    return system::TargetOf(Absolute(path));
}

}  // namespace

std::unique_ptr<File> CreateReplacing(const fs::path& path, Access access) {
    const fs::path target = TargetOfNew(path, access);
    return system::CreateBeside(target, access, {.replaced = LockReplaced(target, access)});
}

std::unique_ptr<File> CreateNew(const fs::path& path, Access access) {
    return system::CreateBeside(TargetOfNew(path, access), access, {.mayReplace = false});
}

}  // namespace lumvex::compound
