#include "storage/document/stream_names.hpp"

#include <array>
#include <cstdint>
#include <cstring>

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

compound::ObjectName ObjectNameOf(const GUID& id) noexcept {
    const std::uint64_t first = std::uint64_t{id.Data1} << 32 | std::uint64_t{id.Data2} << 16 | std::uint64_t{id.Data3};
    const auto at = [&id](unsigned place) { return std::uint64_t{id.Data4[place]} << (56 - 8 * place); };
    const std::uint64_t second = at(0) | at(1) | at(2) | at(3) | at(4) | at(5) | at(6) | at(7);
    return {first, second};
}

StreamName::StreamName(const GUID& id) noexcept { compound::WriteText(ObjectNameOf(id), units_); }

std::optional<GUID> IdOfStream(std::u16string_view name) {
    const auto bytes = compound::IdOfName(name);
    if (!bytes) return std::nullopt;
    const auto inMemory = Swapped(*bytes);
    GUID id;
    std::memcpy(&id, inMemory.data(), sizeof id);
    return id;
}

}  // namespace lumvex::inside
