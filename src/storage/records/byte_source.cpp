#include "storage/records/byte_source.hpp"

#include <cstring>

#include "storage/records/failures.hpp"

namespace lumvex::inside {

void MemorySource::Read(std::uint64_t offset, std::span<std::byte> bytes) const {
    const std::byte* from = Contiguous(offset, bytes.size());
    if (!from) throw Failure(kReadFault);
    if (!bytes.empty()) std::memcpy(bytes.data(), from, bytes.size());
}

const std::byte* MemorySource::Contiguous(std::uint64_t offset, std::uint64_t count) const {
    if (offset > bytes_.size() || count > bytes_.size() - offset) return nullptr;
    return bytes_.data() + offset;
}

}  // namespace lumvex::inside
