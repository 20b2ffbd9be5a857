// A file as the engine uses it: its bytes, flushes, its name, and who else has it open. Abstract, so that tests can put
// a failing disk under the engine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "storage/compound/base/error.hpp"

namespace lumvex::compound {

using Piece = std::span<const std::byte>;

// Every function may throw StorageError. A Write that fails may have written any part of its bytes.
class File {
public:
    File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    virtual ~File() = default;

    virtual std::uint64_t Size() const = 0;

    // The whole file as it is now; none where it cannot be mapped, or not behind a guard. The view stays valid until
    // the next Map() or destruction; bytes that are written meanwhile may or may not show in it, all others keep their
    // values.
    virtual std::optional<std::span<const std::byte>> Map() = 0;

    // What has become of the bytes that Map() returned. Failed: some could not be read; they, and any others since, may
    // have shown as zeros. Shorter, once: the file has become shorter, other than by Resize(), and what it lacks may
    // have shown as zeros; the length is looked at no more often than the system's clock ticks.
    enum class Shown { Whole, Failed, Shorter };
    virtual Shown LookAtMap() { return Shown::Whole; }

    // Somebody has read these bytes of what Map() returned and will hardly read them again. They stay valid, but need
    // not be counted as this process's memory until then.
    virtual void GiveBack(std::uint64_t offset, std::uint64_t count) noexcept {
        static_cast<void>(offset), static_cast<void>(count);
    }

    // Reads exactly bytes.size() bytes as last written, or throws ReadFault.
    virtual void Read(std::uint64_t offset, std::span<std::byte> bytes) const = 0;

    // Writes the pieces one after the other from offset on; the file grows where they reach beyond its end.
    virtual void Write(std::uint64_t offset, std::span<const Piece> pieces) = 0;
    void Write(std::uint64_t offset, std::span<const std::byte> bytes) {
        const Piece piece = bytes;
        Write(offset, std::span<const Piece>(&piece, 1));
    }

    // All writes before this call are durable when it returns.
    virtual void Flush() = 0;
    // Lets the system begin to bring these bytes to the disk, and does not wait for it, so that the next Flush() has
    // less to do. Nothing depends on it.
    virtual void BeginFlush(std::uint64_t offset, std::uint64_t count) noexcept {
        static_cast<void>(offset), static_cast<void>(count);
    }
    virtual void Resize(std::uint64_t size) = 0;

    // A file that is made to replace another one has no name until TakeName(). Where that throws, the name is what it
    // was. Where it cannot make the new name durable it does not throw: the next Flush() makes it so, or throws. All
    // other files have their name.
    virtual bool HasName() const { return true; }
    virtual void TakeName() {}

    // Throws where the path under which the file was opened, or which it took, does not lead to it any more: NotFound
    // or PathNotFound where it leads nowhere, NotCurrent where it leads to another file.
    virtual void RequireName() const {}

    // A new file that takes this one's place at TakeName(), for whoever has this one open to write and keeps it until
    // then. AccessDenied of a file without a path; else what RequireName() and CreateReplacing() throw.
    [[nodiscard]] virtual std::unique_ptr<File> CreateSuccessor() const {
        throw StorageError(Status::AccessDenied, "a file without a path has no successor");
    }

    // A reader announces the generation of the state that it reads. That holds until it announces another one or the
    // file is closed. Before a writer uses sectors again that readers may need, it asks for readers of any of `count`
    // generations from the first on. After the last generation, 2^32 - 1, follows 0; count is at most 2^31.
    virtual void AnnounceReader(std::uint32_t generation) { static_cast<void>(generation); }
    virtual bool AnyReader(std::uint32_t first, std::uint32_t count) const {
        static_cast<void>(first), static_cast<void>(count);
        return false;
    }
    // Older: one of the 2^31 generations before it.
    bool ReaderOlderThan(std::uint32_t generation) const { return AnyReader(generation - (1u << 31), 1u << 31); }
};

enum class Access {
    ReadShared,          // beside other readers and one writer
    ReadWriteDenyWrite,  // beside readers
    Exclusive,           // read and write, alone
};

// An existing file. NotFound, AccessDenied (no permission, a directory), ShareViolation.
[[nodiscard]] std::unique_ptr<File> OpenFile(std::filesystem::path path, Access access);

// A new file that takes the path's place at TakeName(). Until then a file that exists there is not touched, and closing
// the new one leaves nothing behind. ShareViolation where the existing file is open in a mode that forbids replacing
// it.
[[nodiscard]] std::unique_ptr<File> CreateReplacing(const std::filesystem::path& path, Access access);

// The same, but TakeName() throws AlreadyExists where anything has the name by then, and does not touch that.
[[nodiscard]] std::unique_ptr<File> CreateNew(const std::filesystem::path& path, Access access);

// Do both paths name one existing file, however they spell it?
[[nodiscard]] bool IsSameFile(const std::filesystem::path& left, const std::filesystem::path& right);

// A file in memory, for tests and tools.
[[nodiscard]] std::unique_ptr<File> MemoryFile(std::vector<std::byte> content = {});

}  // namespace lumvex::compound
