#include "storage/records/sorted_records.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "generic/long_vector.hpp"
#include "generic/prefetch.hpp"
#include "storage/compound/base/sort_by_bits.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {
constexpr std::size_t kCountSize = 4;

// The first eight bytes of an ID as a number. Of two IDs the one that comes first has no larger number.
// (Written so that compilers make one instruction of it.)
std::uint64_t LeadingBytes(const void* id) {
    const auto at = [id](unsigned place) {
        return std::to_integer<std::uint64_t>(static_cast<const std::byte*>(id)[place]) << (56 - 8 * place);
    };
    return at(0) | at(1) | at(2) | at(3) | at(4) | at(5) | at(6) | at(7);
}

}  // namespace

SortedRecords::Content::Content(RecordBlocks records)
    : records_(std::move(records)), count_(new std::uint32_t(static_cast<std::uint32_t>(records_.Count()))) {
    pieces_.push_back(std::as_bytes(std::span(count_.get(), 1)));
    records_.AppendTo(pieces_);
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

void SortedRecords::Read(std::size_t index, std::span<std::byte> record) const {
    source_->Read(kCountSize + std::uint64_t{index} * recordSize_, record);
}

GUID SortedRecords::IdAt(std::size_t index) const {
    GUID id;
    Read(index, std::as_writable_bytes(std::span(&id, 1)));
    return id;
}

// IDs are mostly random, so that the place of one can be estimated: among n records it is hardly further from there
// than the square root of n, and the fewer records are between the place and a known one, the nearer it is. Each look
// is as far beyond the estimate as that may be wrong, so that the place is between two known records after two looks,
// which are mostly in two pages of the file. Where IDs are not random, halving what is left takes over.
std::size_t SortedRecords::LowerBound(const GUID& id) const {
    std::size_t low = 0, high = count_;
    std::uint64_t lowKey = 0, highKey = ~std::uint64_t{0};  // of the records before low and at high
    const std::uint64_t key = LeadingBytes(&id);
    const auto look = [&](std::size_t at) {
        const GUID found = IdAt(at);
        const bool isBefore = CompareIds(found, id) < 0;
        (isBefore ? low : high) = isBefore ? at + 1 : at;
        (isBefore ? lowKey : highKey) = LeadingBytes(&found);
    };
    constexpr std::size_t kFew = 8, kEstimates = 5;
    for (std::size_t looks = 0; looks < kEstimates && high - low > kFew; ++looks) {
        if (lowKey >= highKey || key < lowKey || key > highKey) break;
        const double part = static_cast<double>(key - lowKey) / static_cast<double>(highKey - lowKey);
        const double left = static_cast<double>(high - low), estimate = part * left;
        const double at = part < 0.5 ? estimate + std::sqrt(estimate) : estimate - std::sqrt(left - estimate);
        look(low + static_cast<std::size_t>(std::clamp(at, 0.0, left - 1)));
    }
    while (low < high) look(low + (high - low) / 2);
    return low;
}

std::optional<std::size_t> SortedRecords::IndexOf(const GUID& id) const {
    const std::size_t index = LowerBound(id);
    if (index == count_ || !IsEqualGUID(IdAt(index), id)) return std::nullopt;
    return index;
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
        for (std::size_t at = 0; at < ids.size(); ++at) found[at] = IndexOf(ids[at]).has_value();
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

// The places of the records, in the order of their IDs: each the lower half of a number. The upper half is the
// beginning of the ID, which decides nearly every comparison.
LongVector<std::uint64_t> OrderById(const RecordBlocks& records) {
    constexpr unsigned kPlaceBits = 32;
    const unsigned firstBit = 64 - compound::BitsThatDecide(records.Count(), 64 - kPlaceBits);
    const auto at = [&](std::uint64_t each) { return records.At(static_cast<std::uint32_t>(each)); };
    LongVector<std::uint64_t> order(records.Count());
    for (std::uint32_t place = 0; place < order.size(); ++place)
        order[place] = (LeadingBytes(records.At(place)) >> kPlaceBits << kPlaceBits) | place;
    compound::SortByBits(order, firstBit, [](std::uint64_t each) { return each; });
    for (auto begin = order.begin(); begin != order.end();) {
        auto end = begin + 1;
        while (end != order.end() && *end >> firstBit == *begin >> firstBit) ++end;
        const auto isBefore = [&](std::uint64_t left, std::uint64_t right) {
            return std::memcmp(at(left), at(right), sizeof(GUID)) < 0;
        };
        if (end - begin > 1) std::sort(begin, end, isBefore);
        begin = end;
    }
    return order;
}

// Where they are, so that no second buffer is needed. Each step copies a record from somewhere else in memory, so that
// those of the next steps are prefetched.
void SortById(RecordBlocks& records, std::size_t recordSize) {
    constexpr unsigned kAhead = 8;
    LongVector<std::uint64_t> order = OrderById(records);
    std::vector<std::byte> first(recordSize);
    const auto from = [&](std::uint32_t place) { return static_cast<std::uint32_t>(order[place]); };
    for (std::uint32_t begin = 0; begin < order.size(); ++begin) {
        if (from(begin) == begin) continue;
        std::uint32_t ahead = begin;
        const auto prefetchNext = [&] {
            ahead = from(ahead);
            const std::byte* const record = records.At(ahead);
            Prefetch(record, 1);
            Prefetch(record + recordSize - 1, 1);
        };
        for (unsigned step = 0; step < kAhead; ++step) prefetchNext();
        std::memcpy(first.data(), records.At(begin), recordSize);
        std::uint32_t place = begin;  // whose record is somewhere else by now
        for (std::uint32_t next = from(place); next != begin; next = from(place)) {
            prefetchNext();
            std::memcpy(records.At(place), records.At(next), recordSize);
            order[std::exchange(place, next)] = place;
        }
        std::memcpy(records.At(place), first.data(), recordSize);
        order[place] = place;
    }
}

}  // namespace

SortedRecords::Content SortedRecords::Merged(Changes changes) const {
    SortById(changes.put, recordSize_);
    if (count_ == 0) return Content(std::move(changes.put));

    const auto less = [](const std::byte* left, const std::byte* right) {
        return std::memcmp(left, right, sizeof(GUID)) < 0;
    };
    std::vector<GUID>& removed = changes.removed;
    std::ranges::sort(removed, GuidLess());
    LongVector<std::byte> stored(count_ * recordSize_);
    source_->Read(kCountSize, stored);

    RecordBlocks merged(recordSize_);
    std::size_t nextPut = 0;
    const auto isPutBefore = [&](const std::byte* record) {
        return nextPut < changes.put.Count() && less(changes.put.At(nextPut), record);
    };
    auto nextRemoved = removed.begin();
    for (std::size_t at = 0; at < count_; ++at) {
        const std::byte* record = stored.data() + at * recordSize_;
        while (isPutBefore(record)) merged.Append(changes.put.At(nextPut++));
        if (nextPut < changes.put.Count() && !less(record, changes.put.At(nextPut))) continue;  // replaced
        while (nextRemoved != removed.end() && std::memcmp(&*nextRemoved, record, sizeof(GUID)) < 0) ++nextRemoved;
        if (nextRemoved != removed.end() && std::memcmp(&*nextRemoved, record, sizeof(GUID)) == 0) continue;
        merged.Append(record);
    }
    while (nextPut < changes.put.Count()) merged.Append(changes.put.At(nextPut++));
    return Content(std::move(merged));
}

}  // namespace lumvex::inside
