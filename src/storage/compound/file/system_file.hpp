// What the sharing protocol (sharing.hpp) asks of a system. Implemented once for each: file_posix.cpp,
// file_windows.cpp.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "storage/compound/file/file.hpp"

namespace lumvex::compound {

// An open file as the system has it. It is closed, and its locks end, when the last owner lets go of it.
class SystemFile {
public:
    SystemFile() = default;
    SystemFile(const SystemFile&) = delete;
    SystemFile& operator=(const SystemFile&) = delete;
    virtual ~SystemFile() = default;

    enum class Lock { Shared, Exclusive };
    enum class Answer {
        Yes,
        No,       // another open file, of this process or of another one, has a lock that forbids it
        NotKept,  // this file system keeps no locks
    };

    virtual Answer TryLock(Lock kind, std::uint64_t byte) = 0;
    // A shared lock on a byte that others lock exclusively for moments only: waits for these.
    virtual Answer LockShared(std::uint64_t byte) = 0;
    virtual void Unlock(std::uint64_t byte) noexcept = 0;

    // May another open file hold a lock on one of these bytes?
    virtual bool MayBeLocked(std::uint64_t first, std::uint64_t count) = 0;

    // Where a path leads now.
    enum class Leads { Here, Elsewhere, NoFile, NoFolder, Unknown };
    virtual Leads WhereLeads(const std::filesystem::path& path) const = 0;
};

namespace system {

[[nodiscard]] std::string TextOf(const std::filesystem::path& path);  // for messages

// An existing regular file, without locks. NotFound, PathNotFound, AccessDenied.
[[nodiscard]] std::shared_ptr<SystemFile> Open(const std::filesystem::path& path, Access access);

// The file at this path, which was opened by Open and locked for this access.
[[nodiscard]] std::unique_ptr<File> FileAt(std::filesystem::path path, const std::shared_ptr<SystemFile>& opened,
                                           Access access);

// What a new file finds where it is to have its name.
struct Place {
    bool mayReplace = true;                     // what has the name when the new file takes it
    std::shared_ptr<SystemFile> replaced = {};  // the locked file that has the name now; null: there is none
};

// A new file, locked for this access, that takes the target's place at TakeName().
[[nodiscard]] std::unique_ptr<File> CreateBeside(const std::filesystem::path& target, Access access, Place place);

// What a path names once links are followed, whether it exists or not: a link stays when its target is replaced.
[[nodiscard]] std::filesystem::path TargetOf(const std::filesystem::path& path);

// Nothing where the folder cannot be read.
void ForEachNameIn(const std::filesystem::path& folder, const std::function<void(std::string_view name)>& visit);

// Removes a regular file that nobody has open; nothing where that is not possible.
void RemoveUnused(const std::filesystem::path& path);

}  // namespace system

}  // namespace lumvex::compound
