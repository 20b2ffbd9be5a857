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

std::uint64_t FirstNumberOf(const GUID& id) {
    return std::uint64_t{id.Data1} << 32 | std::uint64_t{id.Data2} << 16 | std::uint64_t{id.Data3};
}

std::uint64_t SecondNumberOf(const GUID& id) {
    const auto at = [&id](unsigned place) { return std::uint64_t{id.Data4[place]} << (56 - 8 * place); };
    return at(0) | at(1) | at(2) | at(3) | at(4) | at(5) | at(6) | at(7);
}

}  // namespace

compound::ObjectName ObjectNameOf(const GUID& id) noexcept { return {FirstNumberOf(id), SecondNumberOf(id)}; }

StreamName::StreamName(const GUID& id) noexcept { compound::WriteText(ObjectNameOf(id), units_); }

compound::EntryName EntryNameOf(const GUID& id) { return {FirstNumberOf(id), SecondNumberOf(id)}; }

std::optional<GUID> IdOfStream(std::u16string_view name) {
    const auto bytes = compound::IdOfName(name);
    if (!bytes) return std::nullopt;
    const auto inMemory = Swapped(*bytes);
    GUID id;
    std::memcpy(&id, inMemory.data(), sizeof id);
    return id;
}

}  // namespace lumvex::inside
