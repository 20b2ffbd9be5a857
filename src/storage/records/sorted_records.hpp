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

namespace lumvex::inside {

class SortedRecords {
public:
    // Changes to a table. A record that is put replaces the one of the same ID.
    struct Changes {
        std::vector<std::byte> put;  // whole records side by side, in any order
        std::vector<GUID> removed;
        // Room for so many records to be put, and for what Merged() adds.
        void Reserve(std::size_t records, std::size_t recordSize);
        bool Empty() const { return put.empty() && removed.empty(); }
    };

    explicit SortedRecords(std::size_t recordSize) : recordSize_(recordSize) {}
    // A table that the source will have once the file is committed; `content` is the whole table, or nothing where the
    // file has no such table.
    SortedRecords(std::size_t recordSize, std::shared_ptr<const ByteSource> source, std::span<const std::byte> content);

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

    // The whole table with the changes applied, as it is stored.
    std::vector<std::byte> Merged(Changes changes) const;

private:
    std::size_t LowerBound(const GUID& id) const;

    std::size_t recordSize_;
    std::shared_ptr<const ByteSource> source_;
    std::size_t count_ = 0;
};

}  // namespace lumvex::inside
