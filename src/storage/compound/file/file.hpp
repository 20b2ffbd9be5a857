// The file layer under the engine: bytes, barriers and sharing. Abstract, so that tests can put a failing disk under
// it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "storage/compound/file/status.hpp"

namespace lumvex::compound {

using Piece = std::span<const std::byte>;

// Every function throws Error; a failed Write may have written any part of its bytes.
class File {
public:
    File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    virtual ~File() = default;

    virtual std::uint64_t Size() const = 0;

    // The whole file as it is now; none where it cannot be mapped, or not behind a guard. The view stays valid until the
    // next Map() or destruction; bytes that are written meanwhile may or may not show in it, all others keep their values.
    virtual std::optional<std::span<const std::byte>> Map() = 0;

    // What has become of the bytes that Map() showed. Failed: some could not be read; they, and any others since, may have
    // shown as zeros. Shorter, once: the file has become shorter, other than by Resize(), and what it lacks may have shown
    // as zeros; it is looked at no more often than the system's clock ticks.
    enum class Shown { Whole, Failed, Shorter };
    virtual Shown LookAtMap() { return Shown::Whole; }

    // Reads exactly bytes.size() bytes as last written, or throws ReadFault.
    virtual void Read(std::uint64_t offset, std::span<std::byte> bytes) const = 0;

    // Writes the pieces one after the other from offset on; the file grows where they reach beyond its end.
    virtual void Write(std::uint64_t offset, std::span<const Piece> pieces) = 0;
    void Write(std::uint64_t offset, std::span<const std::byte> bytes) {
        const Piece piece = bytes;
        Write(offset, std::span<const Piece>(&piece, 1));
    }

    // Barrier: all writes before are durable before any write after.
    virtual void Flush() = 0;
    virtual void Resize(std::uint64_t size) = 0;

    // A file made for replacement has no name until Publish(), which throws and leaves the name as it was, or gives it. Where
    // it cannot make the name durable (it is given all the same), the next Flush() does, or throws. Otherwise always
    // published.
    virtual bool Published() const { return true; }
    virtual void Publish() {}

    // Throws where the path under which the file was opened, or which it took, does not lead to it any more: NotFound or
    // PathNotFound where it leads nowhere, NotCurrent where it leads to another file.
    virtual void RequireName() const {}

    // A new file that takes this one's place at Publish(), for whoever has this one open to write and keeps it until
    // then. AccessDenied of a file without a path; else what RequireName() and CreateReplacing() throw.
    [[nodiscard]] virtual std::unique_ptr<File> CreateSuccessor() const {
        throw Failure(Status::AccessDenied, "a file without a path has no successor");
    }

    // Readers beside a writer: a reader announces the generation of the state it reads and is known by it until the
    // file is closed, or until it announces another one. The writer asks before it reuses what they may need: is there a
    // reader of one of so many generations from the first on? Generations count in a circle; count is at most 2^31.
    virtual void AnnounceReader(std::uint32_t generation) { static_cast<void>(generation); }
    virtual bool AnyReader(std::uint32_t first, std::uint32_t count) const {
        static_cast<void>(first), static_cast<void>(count);
        return false;
    }
    // Of one of the 2^31 generations before.
    bool ReaderOlderThan(std::uint32_t generation) const { return AnyReader(generation - (1u << 31), 1u << 31); }
};

enum class Access {
    ReadShared,          // beside other readers and one writer
    ReadWriteDenyWrite,  // beside readers
    Exclusive,           // read and write, alone
};

// An existing file. NotFound, AccessDenied (no permission, a directory), ShareViolation.
[[nodiscard]] std::unique_ptr<File> OpenFile(const std::filesystem::path& path, Access access);

// A new file that takes the path's place at Publish(); until then a file that exists there stays untouched, and a file
// that is abandoned leaves nothing behind. ShareViolation where the existing file is open in a mode that forbids it.
[[nodiscard]] std::unique_ptr<File> CreateReplacing(const std::filesystem::path& path, Access access);

// Do both paths name one existing file, however they spell it?
[[nodiscard]] bool IsSameFile(const std::filesystem::path& left, const std::filesystem::path& right);

// A file in memory, for tests and tools.
[[nodiscard]] std::unique_ptr<File> MemoryFile(std::vector<std::byte> content = {});

}  // namespace lumvex::compound
