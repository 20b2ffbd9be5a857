// Where a stream's bytes are: in the committed state's sectors or mini sectors, in sectors written since, or in memory.
#pragma once

#include <memory>
#include <vector>

#include "storage/compound/read/committed.hpp"
#include "storage/compound/compound_file.hpp"
#include "storage/compound/write/pending.hpp"

namespace lumvex::compound {

struct StreamBody {
    // A stream of the committed state. Corrupt where its size cannot be.
    StreamBody(std::shared_ptr<Committed> committed, EntryId id);
    // A stream written since.
    StreamBody(std::shared_ptr<Committed> committed, std::shared_ptr<PendingChanges> pending, const Change& change);

    // Adjacent bytes of the file, at most count, from an offset of the stream on.
    struct Extent {
        std::uint64_t offset;  // in the file
        std::uint64_t count;
    };
    Extent ExtentAt(std::uint64_t offset, std::uint64_t count);

    // ReadFault: beyond the end, of a state that is gone, or lost with a flush that failed. NotCurrent.
    void RequireWithin(std::uint64_t offset, std::uint64_t count) const;
    void Read(std::uint64_t offset, std::span<std::byte> bytes);
    const std::byte* Contiguous(std::uint64_t offset, std::uint64_t count);

    std::shared_ptr<Committed> committed;
    std::shared_ptr<PendingChanges> pending;  // keeps small alive
    std::uint64_t size = 0;
    bool isMini = false;
    bool isFresh = false;              // not all of it shows in the mapping
    std::uint32_t batch = 0;           // then: in which it was written
    const std::byte* small = nullptr;  // the bytes themselves
    Chain chain;
    std::vector<Run> runs;  // in place of the chain

private:
    const std::byte* FindContiguous(std::uint64_t offset, std::uint64_t count);
    void ReadParts(std::uint64_t offset, std::span<std::byte> bytes);
    void RequireReadable();
};

}  // namespace lumvex::compound
