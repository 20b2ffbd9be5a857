#include "storage/document/stream_names.hpp"

#include <array>
#include <cstring>

#include "storage/compound/format/object_name.hpp"

namespace lumvex::inside {

namespace {

// An ID's bytes in the order in which its text shows them: the first three groups are numbers, most significant first.
std::array<std::byte, 16> Swapped(const std::array<std::byte, 16>& id) {
    static constexpr std::size_t kOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    std::array<std::byte, 16> swapped;
    for (std::size_t at = 0; at < 16; ++at) swapped[at] = id[kOrder[at]];
    return swapped;
}

}  // namespace

StreamName::StreamName(const GUID& id) noexcept {
    std::array<std::byte, 16> bytes;
    std::memcpy(bytes.data(), &id, bytes.size());
    compound::WriteNameOfId(Swapped(bytes), units_);
}

std::optional<GUID> IdOfStream(std::u16string_view name) {
    const auto bytes = compound::IdOfName(name);
    if (!bytes) return std::nullopt;
    const auto inMemory = Swapped(*bytes);
    GUID id;
    std::memcpy(&id, inMemory.data(), sizeof id);
    return id;
}

}  // namespace lumvex::inside
