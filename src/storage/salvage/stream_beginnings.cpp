#include "storage/salvage/stream_beginnings.hpp"

#include <algorithm>
#include <cmath>

#include "storage/records/object_record.hpp"
#include "storage/records/table_rows.hpp"

namespace lumvex::inside {

bool IsNil(const GUID& id) { return IsEqualGUID(id, GUID_NULL) != 0; }

bool BeginsAsCollection(std::span<const std::byte> bytes) {
    const auto count = At<std::uint32_t>(bytes, 4);
    return At<std::uint32_t>(bytes, 0) == kCollectionVersion.Word() && count < (1u << 24) &&
           (count == 0 || !IsNil(At<GUID>(bytes, 8)));
}

// Version word, date, name. Words of old programs are small numbers, as many other bytes are: then the rest has to be
// there as well.
bool BeginsAsItem(std::span<const std::byte> bytes) {
    constexpr unsigned kMostVersions = 255;
    constexpr double kMostDays = 200000;  // some 550 years
    constexpr std::uint32_t kLongestName = 8192;
    const VersionWord word(At<std::uint32_t>(bytes, 0));
    const bool isNew = word.NamesMinimumReader();
    if (word.Writer() > kMostVersions || (!isNew && word.Word() > kMostVersions)) return false;
    if (isNew && (word.MinimumReader() == 0 || word.MinimumReader() > word.Writer())) return false;
    const auto date = At<double>(bytes, 4);
    const auto count = At<std::uint32_t>(bytes, 12);
    if (!std::isfinite(date) || std::fabs(date) > kMostDays || (date != 0 && std::fabs(date) < 1e-6)) return false;
    if (count % 2 != 0 || count > kLongestName || (!isNew && (date == 0 || count < 4))) return false;
    for (std::size_t at = 16; at + 2 <= bytes.size() && at + 2 <= 16 + std::size_t{count}; at += 2) {
        const bool isEnd = at + 2 == 16 + std::size_t{count};
        if ((At<char16_t>(bytes, at) == 0) != isEnd) return false;
    }
    return true;
}

bool BeginsAsTable(std::span<const std::byte> bytes) {
    const auto count = At<std::uint32_t>(bytes, 0);
    return count != 0 && count < (1u << 26) && FindClass(At<GUID>(bytes, 4 + 32)) != nullptr;
}

bool BeginsAsAny(std::span<const std::byte> bytes) {
    return At<std::uint32_t>(bytes, 0) == kRootWord || BeginsAsTable(bytes) || BeginsAsCollection(bytes) ||
           BeginsAsItem(bytes);
}

std::vector<std::byte> Head(const SalvagedSource& source) {
    std::vector<std::byte> bytes(64);
    source.Read(0, std::span(bytes).first(static_cast<std::size_t>(std::min<std::uint64_t>(64, source.Size()))));
    return bytes;
}

}  // namespace lumvex::inside
