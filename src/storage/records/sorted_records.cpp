#include "storage/records/sorted_records.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "generic/fresh_memory.hpp"
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

void SortedRecords::Changes::Reserve(std::size_t records, std::size_t recordSize) {
    put.reserve(kCountSize + records * recordSize);
    AboutToFill(put.data(), put.capacity());
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

void SortedRecords::Read(std::size_t index, std::span<std::byte> record) const {
    source_->Read(kCountSize + std::uint64_t{index} * recordSize_, record);
}

GUID SortedRecords::IdAt(std::size_t index) const {
    GUID id;
    Read(index, std::as_writable_bytes(std::span(&id, 1)));
    return id;
}

// IDs are mostly random, so that the place of one can be estimated: it is hardly further from there than the square
// root of the number of records. Two looks, at the estimate and on the other side of the place, then leave few records.
// Where they do not, the next look halves what is left.
std::size_t SortedRecords::LowerBound(const GUID& id) const {
    std::size_t low = 0, high = count_;
    std::uint64_t lowKey = 0, highKey = ~std::uint64_t{0};  // of the records before low and at high
    const std::uint64_t key = LeadingBytes(&id);
    const auto look = [&](std::size_t at) {
        const GUID found = IdAt(at);
        const bool isBefore = CompareIds(found, id) < 0;
        (isBefore ? low : high) = isBefore ? at + 1 : at;
        (isBefore ? lowKey : highKey) = LeadingBytes(&found);
        return isBefore;
    };
    constexpr std::size_t kFew = 8;
    while (low < high) {
        const std::size_t left = high - low;
        if (left > kFew && lowKey < highKey && lowKey <= key && key <= highKey) {
            const double part = static_cast<double>(key - lowKey) / static_cast<double>(highKey - lowKey);
            const std::size_t estimate = std::min(static_cast<std::size_t>(part * static_cast<double>(left)), left - 1);
            const auto distance = static_cast<std::size_t>(std::sqrt(static_cast<double>(left)));
            if (look(low + estimate)) {
                if (distance < high - low) look(low + distance);
            } else if (distance < high - low) {
                look(high - distance);
            }
        }
        if (low < high && high - low > left / 2) look(low + (high - low) / 2);
    }
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

// The places of records that lie side by side, in the order of their IDs. The first bytes of an ID as one number decide
// nearly every comparison.
std::vector<std::uint32_t> OrderById(std::span<const std::byte> records, std::size_t recordSize) {
    struct Keyed {
        std::uint64_t key;
        std::uint32_t place;
    };
    const auto at = [&](const Keyed& each) { return &records[each.place * recordSize]; };
    std::vector<Keyed> keyed(records.size() / recordSize);
    for (std::uint32_t place = 0; place < keyed.size(); ++place)
        keyed[place] = {LeadingBytes(&records[place * recordSize]), place};
    constexpr unsigned kFirstBit = 31;  // the bits behind it decide among random IDs, with few exceptions
    compound::SortByBits(keyed, kFirstBit, [](const Keyed& each) { return each.key; });
    for (auto begin = keyed.begin(); begin != keyed.end();) {
        auto end = begin + 1;
        while (end != keyed.end() && end->key >> kFirstBit == begin->key >> kFirstBit) ++end;
        const auto isBefore = [&](const Keyed& left, const Keyed& right) {
            return std::memcmp(at(left), at(right), sizeof(GUID)) < 0;
        };
        if (end - begin > 1) std::sort(begin, end, isBefore);
        begin = end;
    }
    std::vector<std::uint32_t> order;
    order.reserve(keyed.size());
    for (const Keyed& each : keyed) order.push_back(each.place);
    return order;
}

// Where they are, so that no second buffer is needed.
void SortById(std::span<std::byte> records, std::size_t recordSize) {
    std::vector<std::uint32_t> order = OrderById(records, recordSize);
    std::vector<std::byte> first(recordSize);
    const auto at = [&](std::size_t place) { return &records[place * recordSize]; };
    for (std::uint32_t begin = 0; begin < order.size(); ++begin) {
        if (order[begin] == begin) continue;
        std::memcpy(first.data(), at(begin), recordSize);
        std::uint32_t place = begin;  // whose record is somewhere else by now
        for (std::uint32_t next = order[place]; next != begin; next = order[place]) {
            std::memcpy(at(place), at(next), recordSize);
            order[std::exchange(place, next)] = place;
        }
        std::memcpy(at(place), first.data(), recordSize);
        order[place] = place;
    }
}

}  // namespace

std::vector<std::byte> SortedRecords::Merged(Changes changes) const {
    SortById(changes.put, recordSize_);
    const auto storeCount = [this](std::vector<std::byte>& table) {
        const auto count = static_cast<std::uint32_t>((table.size() - kCountSize) / recordSize_);
        std::memcpy(table.data(), &count, sizeof count);
    };
    if (count_ == 0) {
        changes.put.insert(changes.put.begin(), kCountSize, std::byte{0});
        storeCount(changes.put);
        return std::move(changes.put);
    }

    const auto less = [](const std::byte* left, const std::byte* right) {
        return std::memcmp(left, right, sizeof(GUID)) < 0;
    };
    std::vector<GUID>& removed = changes.removed;
    std::ranges::sort(removed, GuidLess());
    std::vector<std::byte> stored(count_ * recordSize_);
    source_->Read(kCountSize, stored);

    std::vector<std::byte> table(kCountSize + stored.size() + changes.put.size());
    std::byte* out = table.data() + kCountSize;
    const auto append = [&](const std::byte* record) {
        std::memcpy(out, record, recordSize_);
        out += recordSize_;
    };
    const std::byte* nextPut = changes.put.data();
    const std::byte* const putEnd = nextPut + changes.put.size();
    const auto appendPut = [&] {
        append(nextPut);
        nextPut += recordSize_;
    };
    auto nextRemoved = removed.begin();
    for (std::size_t at = 0; at < count_; ++at) {
        const std::byte* record = stored.data() + at * recordSize_;
        while (nextPut != putEnd && less(nextPut, record)) appendPut();
        if (nextPut != putEnd && !less(record, nextPut)) continue;  // replaced
        while (nextRemoved != removed.end() && std::memcmp(&*nextRemoved, record, sizeof(GUID)) < 0) ++nextRemoved;
        if (nextRemoved != removed.end() && std::memcmp(&*nextRemoved, record, sizeof(GUID)) == 0) continue;
        append(record);
    }
    while (nextPut != putEnd) appendPut();
    table.resize(static_cast<std::size_t>(out - table.data()));
    storeCount(table);
    return table;
}

}  // namespace lumvex::inside
