// A compound file: named streams in the root storage of one file, read lazily and changed all or nothing. Calls are not
// synchronised; the caller holds its lock. Every function throws StorageError unless it says otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "storage/compound/base/error.hpp"
#include "storage/compound/file/file.hpp"
#include "storage/compound/format/names.hpp"
#include "storage/compound/read/statistics.hpp"
#include "storage/compound/read/stream.hpp"

namespace lumvex::compound {

class CompoundFile {
public:
    // Reads the header only. NotACompoundFile, InvalidHeader.
    [[nodiscard]] static std::unique_ptr<CompoundFile> Open(std::unique_ptr<File> file, Access access);

    // An empty compound file in an empty file, version 3 (512-byte sectors) or 4 (4096); on disk after the first
    // Commit. Its commits are numbered from `number` on.
    [[nodiscard]] static std::unique_ptr<CompoundFile> Create(std::unique_ptr<File> file, int version,
                                                              std::uint32_t number = 0);

    // An empty compound file that takes this one's place at its first commit; until then this one stays open and as it
    // is.
    [[nodiscard]] std::unique_ptr<CompoundFile> CreateSuccessor(int version, std::uint32_t number = 0) const;

    ~CompoundFile();  // forgets what is not committed
    CompoundFile(const CompoundFile&) = delete;
    CompoundFile& operator=(const CompoundFile&) = delete;

    // Streams of the root storage, those included that were written after the last Commit. Names compare without regard
    // to case.
    bool Contains(std::u16string_view name) const;
    std::optional<Stream> Find(std::u16string_view name) const;
    Stream Get(std::u16string_view name) const;  // NotFound

    // A stream that fits into the buffer is read into it at once, and only its size is returned; a longer one is found.
    struct Found {
        static constexpr std::size_t kNotRead = ~std::size_t{0};
        std::optional<Stream> stream;
        std::size_t read = kNotRead;
    };
    Found FindOrRead(const EntryName& name, std::span<std::byte> buffer) const;

    // Creates or replaces a stream. Content of 4096 bytes or more is written to free sectors at once and not kept in
    // memory. Pieces may point into this file's own mapped streams. AccessDenied on a file open for reading, or where a
    // folder has the name; InvalidName; MediumFull.
    void Write(std::u16string_view name, std::span<const Piece> content);
    void Write(ObjectName name, std::span<const Piece> content);
    void Remove(std::u16string_view name);  // NotFound
    // About so many streams are going to be written: their names then need not be arranged anew again and again.
    void ExpectWrites(std::size_t streams);
    // The stream is going to be written soon: where its name will be is brought into the processor's cache.
    void ExpectWrite(ObjectName name) const;

    // All or nothing: after a StorageError the committed state is what it was, and what is pending stays pending. Large
    // streams that a failing disk may have lost cannot be read and fail every further Commit (WriteFault) until they
    // are written again, removed or reverted. NotFound or NotCurrent where other programs have removed, replaced or
    // changed the file; only a changed one cannot be read any more.
    void Commit();
    void Revert() noexcept;  // forgets everything since the last commit

    // In the order of the directory's tree: by length, then by upper-cased code units.
    void ForEachStream(const std::function<void(std::u16string_view name, std::uint64_t size)>& visit) const;

    // Every stream of the state last committed, in file order: the fastest way to read most of them. The bytes are
    // valid during the visit, which must not write to this file. Where this throws, what was visited may be wrong:
    // NotCurrent where another program has changed the file, ReadFault where a part of it could not be read.
    void ReadAll(const std::function<void(std::u16string_view name, std::span<const std::byte> bytes)>& visit) const;

    // Other programs put folders into the root storage, which this class keeps but does not show. A new file takes them
    // over from another one's last committed state, with all they hold, and the class ID, state bits and times of the
    // root storage. Once, before the first commit; AccessDenied where a stream was written under a folder's name.
    void CarryFrom(const CompoundFile& other);

    // What CarryFrom would take over: the bytes of each stream inside of folders, 0 for each folder.
    void ForEachInFolders(const std::function<void(std::uint64_t size)>& visit) const;

    bool IsChanged() const;  // is anything pending?

    // The number of the committed state: what the header has in bytes 52-55, without the lowest bit. Each commit has
    // another one. Programs that count no commits leave 0.
    std::uint32_t Number() const;
    // Of the state that the next Commit makes, unless an earlier one fails. Throws as Write does.
    std::uint32_t NextNumber();

    int Version() const;

    // Other readers refuse files of version 3 from 2 GB on. Is this file as long, or has something failed since the
    // last commit because it would have become so (MediumFull)?
    bool IsOutgrown() const;
    std::uint64_t FileSize() const;  // bytes

    const Statistics& Counters() const;

private:
    struct State;
    explicit CompoundFile(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

}  // namespace lumvex::compound
