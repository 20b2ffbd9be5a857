#include "storage/records/sorted_records.hpp"

#include <algorithm>
#include <cstring>

#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {
constexpr std::size_t kCountSize = 4;
}

SortedRecords::SortedRecords(std::size_t recordSize, std::shared_ptr<const ByteSource> source,
                             std::span<const std::byte> content)
    : recordSize_(recordSize) {
    if (content.empty()) return;
    source_ = std::move(source);
    count_ = (content.size() - kCountSize) / recordSize_;
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

void SortedRecords::ForEach(FunctionRef<void(const std::byte* record)> visit) const {
    constexpr std::size_t kPart = std::size_t{64} * 1024;  // bytes that are read at once
    const std::size_t perPart = kPart / recordSize_;
    std::vector<std::byte> part(std::min(count_, perPart) * recordSize_);
    for (std::size_t done = 0; done < count_;) {
        const std::size_t records = std::min(count_ - done, perPart);
        const auto bytes = std::span(part).first(records * recordSize_);
        source_->Read(kCountSize + std::uint64_t{done} * recordSize_, bytes);
        for (std::size_t at = 0; at < records; ++at) visit(bytes.data() + at * recordSize_);
        done += records;
    }
}

bool SortedRecords::IsFasterReadWhole(std::size_t ids) const {
    constexpr std::size_t kLooks =
        16;  // of one search; in the time of one look about as many records are read in order
    return ids * kLooks * kLooks >= count_;
}

std::vector<bool> SortedRecords::Contains(std::span<const GUID> ids) const {
    std::vector<bool> found(ids.size());
    if (!IsFasterReadWhole(ids.size())) {
        for (std::size_t at = 0; at < ids.size(); ++at) found[at] = Find(ids[at]).has_value();
        return found;
    }
    std::vector<std::byte> stored(count_ * recordSize_);
    if (count_ != 0 && !ids.empty()) source_->Read(kCountSize, stored);
    std::size_t record = 0;
    for (std::size_t at = 0; at < ids.size(); ++at) {
        int order = -1;
        for (; record < count_; ++record)
            if ((order = std::memcmp(stored.data() + record * recordSize_, &ids[at], sizeof(GUID))) >= 0) break;
        found[at] = record < count_ && order == 0;
    }
    return found;
}

namespace {

// Records side by side, in the order of their IDs. The first bytes of an ID as one number decide nearly every
// comparison.
std::vector<const std::byte*> SortedById(std::span<const std::byte> records, std::size_t recordSize) {
    struct Keyed {
        std::uint64_t key;
        const std::byte* record;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(records.size() / recordSize);
    for (std::size_t at = 0; at < records.size(); at += recordSize) {
        std::uint64_t key = 0;
        for (std::size_t byte = 0; byte < sizeof key; ++byte)
            key = key << 8 | std::to_integer<std::uint64_t>(records[at + byte]);
        keyed.push_back({key, records.data() + at});
    }
    std::ranges::sort(keyed, [](const Keyed& left, const Keyed& right) {
        return left.key != right.key ? left.key < right.key : std::memcmp(left.record, right.record, sizeof(GUID)) < 0;
    });
    std::vector<const std::byte*> sorted;
    sorted.reserve(keyed.size());
    for (const Keyed& each : keyed) sorted.push_back(each.record);
    return sorted;
}

}  // namespace

std::vector<std::byte> SortedRecords::Merged(const Changes& changes) const {
    const auto less = [](const std::byte* left, const std::byte* right) {
        return std::memcmp(left, right, sizeof(GUID)) < 0;
    };
    const std::vector<const std::byte*> put = SortedById(changes.put, recordSize_);
    std::vector<GUID> removed = changes.removed;
    std::ranges::sort(removed, GuidLess());
    std::vector<std::byte> stored(count_ * recordSize_);
    if (count_ != 0) source_->Read(kCountSize, stored);

    std::vector<std::byte> table(kCountSize + stored.size() + changes.put.size());
    std::byte* out = table.data() + kCountSize;
    const auto append = [&](const std::byte* record) {
        std::memcpy(out, record, recordSize_);
        out += recordSize_;
    };
    auto nextPut = put.begin();
    auto nextRemoved = removed.begin();
    for (std::size_t at = 0; at < count_; ++at) {
        const std::byte* record = stored.data() + at * recordSize_;
        while (nextPut != put.end() && less(*nextPut, record)) append(*nextPut++);
        if (nextPut != put.end() && !less(record, *nextPut)) continue;  // replaced
        while (nextRemoved != removed.end() && std::memcmp(&*nextRemoved, record, sizeof(GUID)) < 0) ++nextRemoved;
        if (nextRemoved != removed.end() && std::memcmp(&*nextRemoved, record, sizeof(GUID)) == 0) continue;
        append(record);
    }
    while (nextPut != put.end()) append(*nextPut++);
    table.resize(static_cast<std::size_t>(out - table.data()));
    const auto count = static_cast<std::uint32_t>((table.size() - kCountSize) / recordSize_);
    std::memcpy(table.data(), &count, sizeof count);
    return table;
}

}  // namespace lumvex::inside
