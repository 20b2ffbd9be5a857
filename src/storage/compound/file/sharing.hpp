// Who may have a file open beside whom, and how a new file takes the place of another one: the protocol that our
// programs keep on every system. Nothing here calls the system; what it offers is in system_file.hpp.
//
// Locks on bytes far beyond any file's end say who has the file open:
//
//   byte                     shared lock                          exclusive lock
//   kWriterByte                                                   whoever writes
//   kPresenceByte            readers, a writer beside them        a writer that is alone
//   kGenerationBytes + n     readers of generation n              on Windows, for a moment: a writer that looks for
//   readers
//
// Where the file system keeps no locks, readers do without. Whoever wants to write is refused, as a writer might change
// the file under them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "storage/compound/file/file.hpp"
#include "storage/compound/file/system_file.hpp"

namespace lumvex::compound {

[[nodiscard]] SystemFile::Answer LockFor(SystemFile& file, Access access);

// ShareViolation where others are in the way; LockViolation where there are no locks and the file is to be written.
void RequireLocksFor(SystemFile& file, Access access, const std::filesystem::path& path);

// The file that is about to be replaced, locked as a writer of it would be; null where there is no file.
[[nodiscard]] std::shared_ptr<SystemFile> LockReplaced(const std::filesystem::path& path, Access access);

[[nodiscard]] std::filesystem::path FolderOf(const std::filesystem::path& path);

// Another name beside the target, which no file has.
[[nodiscard]] std::filesystem::path HiddenPathFor(const std::filesystem::path& target);

// Removes files that programs left behind which were killed while they saved the target. Files of programs that are
// still saving are locked and stay. Ignores what it cannot do.
void RemoveLeftBehind(const std::filesystem::path& target) noexcept;

// An open file that keeps to the protocol; a subclass for each system reads and writes it.
class SharedFile : public File {
public:
    bool HasName() const final { return hasName_; }
    void RequireName() const final;
    std::unique_ptr<File> CreateSuccessor() const final;
    void AnnounceReader(std::uint32_t generation) final;
    bool AnyReader(std::uint32_t first, std::uint32_t count) const final;

protected:
    // A file at its path or, without hasName, a new one that takes the path at TakeName(). place: as in CreateBeside.
    SharedFile(std::shared_ptr<SystemFile> opened, Access access, std::filesystem::path path, bool hasName,
               system::Place place);

    // Of a new file without a name, where something has its name that it may not replace.
    [[noreturn]] void RefuseTaken() const;

    std::shared_ptr<SystemFile> opened_;
    Access access_;
    bool hasName_;
    std::filesystem::path path_;  // absolute; empty in a file that is open to read, which is never asked for it
    bool mayReplace_;
    std::shared_ptr<SystemFile> replaced_;

private:
    std::optional<std::uint32_t> announced_;
};

}  // namespace lumvex::compound
