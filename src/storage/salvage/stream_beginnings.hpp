// What the first bytes of a stream say: could a record of the document begin so?
#pragma once

#include <cstring>
#include <span>

#include "core/objects/class_info.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/salvage/salvaged_source.hpp"

namespace lumvex::inside {

inline constexpr std::uint32_t kRootWord = VersionWord(kRootVersion, kRootVersion).Word();

template <class Number>
Number At(std::span<const std::byte> bytes, std::size_t offset) {
    Number number;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

bool IsNil(const GUID& id);

// The bytes have to be 64 or more; what a shorter stream does not have is 0.
bool BeginsAsCollection(std::span<const std::byte> bytes);
bool BeginsAsItem(std::span<const std::byte> bytes);
bool BeginsAsTable(std::span<const std::byte> bytes);  // the object directory
bool BeginsAsAny(std::span<const std::byte> bytes);

// The first 64 bytes.
std::vector<std::byte> Head(const SalvagedSource& source);

}  // namespace lumvex::inside
