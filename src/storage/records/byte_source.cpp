#include "storage/records/byte_source.hpp"

#include <cstring>

#include "storage/records/failures.hpp"

namespace lumvex::inside {

void SourceInMemory::Read(std::uint64_t offset, std::span<std::byte> bytes) const {
    const std::byte* from = Contiguous(offset, bytes.size());
    if (!from) throw Failure(kReadFault);
    if (!bytes.empty()) std::memcpy(bytes.data(), from, bytes.size());
}

const std::byte* SourceInMemory::Contiguous(std::uint64_t offset, std::uint64_t count) const {
    const std::span<const std::byte> bytes = InMemory();
    if (offset > bytes.size() || count > bytes.size() - offset) return nullptr;
    return bytes.data() + offset;
}

CopiedSource::CopiedSource(const ByteSource& from) : bytes_(static_cast<std::size_t>(from.Size()), Filling::AtOnce) {
    from.Read(0, {bytes_.Data(), bytes_.Size()});
}

}  // namespace lumvex::inside
