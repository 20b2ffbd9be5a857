#include "storage/document/marks_stamp.hpp"

#include <cstddef>
#include <cstring>

#include "core/base/failure.hpp"
#include "lumvex/values.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::inside {

namespace {

constexpr std::uint64_t kCountSize = 4, kEntrySize = 20;

#pragma pack(push, 4)
struct StoredStamp {
    std::array<char, 8> marker;
    std::uint64_t epoch;
    std::uint32_t number;
};
#pragma pack(pop)
static_assert(sizeof(StoredStamp) == 20);

std::uint64_t EndOfEntries(const ByteSource& versionInfo) {
    std::uint32_t count = 0;
    if (versionInfo.Size() < kCountSize) return versionInfo.Size();
    versionInfo.Read(0, std::as_writable_bytes(std::span(&count, 1)));
    return kCountSize + count * kEntrySize;
}

std::optional<MarksStamp> ReadMarksStamp(const ByteSource& versionInfo) {
    const std::uint64_t end = EndOfEntries(versionInfo), size = versionInfo.Size();
    if (size < end || size - end < sizeof(StoredStamp)) return std::nullopt;
    StoredStamp stored;
    versionInfo.Read(end, std::as_writable_bytes(std::span(&stored, 1)));
    if (stored.marker != kMarksMarker) return std::nullopt;
    return MarksStamp{stored.epoch, stored.number};
}

// The first and the last four bytes of a new ID, which are random; 0 where the system makes none.
std::uint64_t RandomNumber() noexcept {
    GUID id{};
    if (FAILED(CoCreateGuid(&id))) return 0;
    std::uint32_t last = 0;
    std::memcpy(&last, id.Data4 + 4, sizeof last);
    return std::uint64_t{last} << 32 | id.Data1;
}

}  // namespace

std::uint64_t CountingEpoch(const ByteSource& versionInfo, std::uint32_t number) {
    try {
        const auto stamp = ReadMarksStamp(versionInfo);
        return stamp && stamp->number == number ? stamp->epoch : 0;
    } catch (const Failure&) {
        return 0;
    }
}

void AppendMarksStamp(std::vector<std::byte>& versionInfo, const MarksStamp& stamp) {
    const StoredStamp stored{kMarksMarker, stamp.epoch, stamp.number};
    const auto bytes = std::as_bytes(std::span(&stored, 1));
    versionInfo.insert(versionInfo.end(), bytes.begin(), bytes.end());
}

std::uint64_t NewMarksEpoch() noexcept { return RandomNumber(); }

std::vector<std::byte> Restamped(std::span<const std::byte> versionInfo, std::uint32_t from, std::uint32_t to) {
    std::vector<std::byte> bytes(versionInfo.begin(), versionInfo.end());
    const MemorySource source(bytes);
    if (CountingEpoch(source, from) == 0) return bytes;
    const std::size_t numberAt = static_cast<std::size_t>(EndOfEntries(source)) + offsetof(StoredStamp, number);
    std::memcpy(&bytes[numberAt], &to, sizeof to);
    return bytes;
}

}  // namespace lumvex::inside
