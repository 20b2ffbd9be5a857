#include "storage/sorted_records.hpp"

#include <cstring>

#include "storage/failures.hpp"

namespace lumvex::inside {

namespace {
constexpr std::size_t kCountSize = 4;
}

void SortedRecords::Open(std::shared_ptr<const ByteSource> source) {
    std::uint32_t count = 0;
    source->Read(0, std::as_writable_bytes(std::span(&count, 1)));
    if (count > (source->Size() - kCountSize) / recordSize_) throw Failure(kReadFault);
    source_ = std::move(source);
    count_ = count;
}

void SortedRecords::Close() {
    source_.reset();
    count_ = 0;
}

SortedRecords::Record SortedRecords::At(std::size_t index) const {
    Record record(recordSize_);
    source_->Read(kCountSize + std::uint64_t{index} * recordSize_, record);
    return record;
}

GUID SortedRecords::IdAt(std::size_t index) const {
    GUID id;
    source_->Read(kCountSize + std::uint64_t{index} * recordSize_, std::as_writable_bytes(std::span(&id, 1)));
    return id;
}

std::size_t SortedRecords::LowerBound(const GUID& id) const {
    std::size_t low = 0, high = count_;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (CompareIds(IdAt(middle), id) < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

std::optional<SortedRecords::Record> SortedRecords::Find(const GUID& id) const {
    const std::size_t index = LowerBound(id);
    if (index == count_ || !IsEqualGUID(IdAt(index), id)) return std::nullopt;
    return At(index);
}

std::vector<std::byte> SortedRecords::Merged(const Changes& changes) const {
    std::vector<std::byte> table(kCountSize + (count_ + changes.size()) * recordSize_);
    std::byte* out = table.data() + kCountSize;
    const auto append = [&](const std::byte* record) {
        std::memcpy(out, record, recordSize_);
        out += recordSize_;
    };
    std::vector<std::byte> stored(count_ * recordSize_);
    if (count_ != 0) source_->Read(kCountSize, stored);
    std::size_t next = 0;
    const auto copyUpTo = [&](const GUID* id) {  // null: to the end
        for (; next < count_; ++next) {
            const std::byte* record = stored.data() + next * recordSize_;
            const int order = id ? std::memcmp(record, id, sizeof *id) : -1;
            if (order > 0) break;
            if (order < 0) append(record);  // an equal one is replaced
        }
    };
    for (const auto& [id, record] : changes) {
        copyUpTo(&id);
        if (record) append(record->data());
    }
    copyUpTo(nullptr);
    table.resize(static_cast<std::size_t>(out - table.data()));
    const auto count = static_cast<std::uint32_t>((table.size() - kCountSize) / recordSize_);
    std::memcpy(table.data(), &count, sizeof count);
    return table;
}

}  // namespace lumvex::inside
