// The tables that a document's file has beside the records of its objects. Both are SortedRecords; their rows are kept
// in memory as they are in the file.
#pragma once

#include <cstdint>
#include <cstring>

#include "storage/records/sorted_records.hpp"

namespace lumvex::inside {

// "ROOTDIR-V100": every object of the document.
struct DirectoryRow {
    GUID id;
    GUID second;  // carried unchanged
    GUID classId;
    std::uint32_t tag;  // carried unchanged
};
static_assert(sizeof(DirectoryRow) == 52);

// "LOCKS-V100": every object whose lock counter is not 0.
struct LockRow {
    GUID id;
    std::int32_t locks;
};
static_assert(sizeof(LockRow) == 20);

template <class Row>
class TableOf : public SortedRecords {
public:
    TableOf() : SortedRecords(sizeof(Row)) {}
    TableOf(std::shared_ptr<const ByteSource> source, std::size_t count)
        : SortedRecords(sizeof(Row), std::move(source), count) {}

    // Changes to such a table.
    struct Changes : SortedRecords::Changes {
        Changes() : SortedRecords::Changes(sizeof(Row)) {}
        void Put(const Row& row) { put.Append(&row); }
    };

    Row At(std::size_t index) const {
        Row row;
        Read(index, std::as_writable_bytes(std::span(&row, 1)));
        return row;
    }
    std::optional<Row> Find(const GUID& id) const {
        const auto index = IndexOf(id);
        return index ? std::optional(At(*index)) : std::nullopt;
    }

    template <class Visit>
    void ForEach(Visit&& visit) const {
        SortedRecords::ForEach([&](const std::byte* record) {
            Row row;
            std::memcpy(&row, record, sizeof row);
            visit(row);
        });
    }
};

}  // namespace lumvex::inside
