// A table in the file: a 32-bit count, then records of one size, each beginning with an object ID, in ascending order
// of these. The object directory and the lock counters are stored so. IDs are looked up in the file by bisection, so
// that the size of the table hardly matters.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "core/base/guid_order.hpp"
#include "generic/function_ref.hpp"
#include "storage/records/byte_source.hpp"
#include "storage/records/record_blocks.hpp"

namespace lumvex::inside {

class SortedRecords {
public:
    // Changes to a table. A record that is put replaces the one of the same ID.
    struct Changes {
        explicit Changes(std::size_t recordSize) : put(recordSize) {}
        RecordBlocks put;  // in any order
        std::vector<GUID> removed;
        bool Empty() const { return put.Empty() && removed.empty(); }
    };

    // A whole table as it is stored.
    class Content {
    public:
        explicit Content(RecordBlocks records);
        std::size_t Count() const { return records_.Count(); }
        std::span<const compound::Piece> Pieces() const { return pieces_; }  // as long as this

    private:
        RecordBlocks records_;
        std::unique_ptr<std::uint32_t> count_;  // as pieces_ refers to it
        std::vector<compound::Piece> pieces_;
    };

    explicit SortedRecords(std::size_t recordSize) : recordSize_(recordSize) {}
    // A table of so many records that the source will have once the file is committed.
    SortedRecords(std::size_t recordSize, std::shared_ptr<const ByteSource> source, std::size_t count)
        : recordSize_(recordSize), source_(std::move(source)), count_(count) {}

    // Reads the count; one that the stream cannot hold fails with the read fault.
    void Open(std::shared_ptr<const ByteSource> source);
    void Close();

    std::size_t Count() const { return count_; }
    void Read(std::size_t index, std::span<std::byte> record) const;
    GUID IdAt(std::size_t index) const;
    std::optional<std::size_t> IndexOf(const GUID& id) const;
    // In order. The records are valid during the visit.
    void ForEach(FunctionRef<void(const std::byte* record)> visit) const;
    // Is it faster to read the whole table than to look up so many IDs one by one?
    bool IsFasterReadWhole(std::size_t ids) const;
    // Of each ID whether there is a record of it. The IDs ascend; for many of them the table is read as a whole.
    std::vector<bool> Contains(std::span<const GUID> ids) const;

    Content Merged(Changes changes) const;  // the whole table with the changes applied

private:
    std::size_t LowerBound(const GUID& id) const;

    std::size_t recordSize_;
    std::shared_ptr<const ByteSource> source_;
    std::size_t count_ = 0;
};

}  // namespace lumvex::inside
