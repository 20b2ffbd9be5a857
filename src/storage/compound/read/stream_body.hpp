// Where a stream's bytes are: in sectors or mini sectors of the committed state or, since they were written after the
// last commit, in other sectors of the file or in memory.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "storage/compound/read/committed.hpp"

namespace lumvex::compound {

// A stream's content that is not committed yet: `small` points to it where it is in memory; else it is in these runs.
struct UncommittedContent {
    std::uint64_t size = 0;            // bytes
    const std::byte* small = nullptr;  // owned by whatever `keeper` keeps alive
    std::shared_ptr<const void> keeper;
    std::vector<Run> runs;
    std::uint32_t batch = 0;  // in which the runs were written (see Volume::Batch)
};

struct StreamBody {
    // A stream of the committed state. Corrupt where there cannot be a stream of its size.
    StreamBody(std::shared_ptr<Committed> from, EntryId id);
    StreamBody(std::shared_ptr<Committed> from, SectorId start, std::uint64_t bytes);  // the same, as its entry has it
    StreamBody(std::shared_ptr<Committed> from, UncommittedContent content);

    // Adjacent bytes of the file, at most count, from an offset of the stream on. Not of content in memory.
    struct Extent {
        std::uint64_t offset;  // in the file
        std::uint64_t count;
    };
    Extent ExtentAt(std::uint64_t offset, std::uint64_t count);

    // Both throw ReadFault for bytes beyond the end, of a stream from before the last commit, or of one that was lost
    // with a flush that failed; NotCurrent where another program has changed the file.
    void Read(std::uint64_t offset, std::span<std::byte> bytes);
    const std::byte* Contiguous(std::uint64_t offset, std::uint64_t count);  // as Stream::Contiguous

    std::shared_ptr<Committed> committed;
    std::uint64_t size = 0;
    bool isMini = false;
    Chain chain;                                    // of a committed stream
    std::optional<UncommittedContent> uncommitted;  // takes the place of the chain

private:
    Extent ExtentInChain(Chain& sectors, std::uint64_t offset, std::uint64_t count);
    const std::byte* FindContiguous(std::uint64_t offset, std::uint64_t count);
    void ReadParts(std::uint64_t offset, std::span<std::byte> bytes);
    void RequireWithin(std::uint64_t offset, std::uint64_t count) const;
    void RequireReadable();
};

}  // namespace lumvex::compound
