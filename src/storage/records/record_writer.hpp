// Puts one object's record together. Small fields are copied, large blocks are only referred to, and the whole record
// is written to the file in one call.
#pragma once

#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "core/objects/entry.hpp"
#include "storage/compound/file/file.hpp"
#include "storage/records/byte_source.hpp"

namespace lumvex::inside {

class RecordWriter {
public:
    void U16(std::uint16_t value) { Bytes(std::as_bytes(std::span(&value, 1))); }
    void U32(std::uint32_t value) { Bytes(std::as_bytes(std::span(&value, 1))); }
    void I32(std::int32_t value) { Bytes(std::as_bytes(std::span(&value, 1))); }
    void F32(float value) { Bytes(std::as_bytes(std::span(&value, 1))); }
    void F64(double value) { Bytes(std::as_bytes(std::span(&value, 1))); }
    void Guid(const GUID& value) { Bytes(std::as_bytes(std::span(&value, 1))); }
    void ObjectReference(const Reference& reference);
    void OptionalReference(const std::optional<Reference>& reference);
    void Text(std::u16string_view text);  // empty: count 0 alone

    void Bytes(std::span<const std::byte> bytes) {
        if (bytes.size() > small_.size() - used_) Grow(bytes.size());
        if (!bytes.empty()) std::memcpy(small_.data() + used_, bytes.data(), bytes.size());
        used_ += bytes.size();
    }
    // The bytes are not copied: they have to stay where they are until the record was written.
    void Block(std::span<const std::byte> bytes);
    // The bytes of a source, which are read into memory and kept there until Clear().
    void Block(const ByteSource& source, std::uint64_t offset, std::size_t count);

    std::uint64_t Size() const;
    // In order; valid until the next call.
    std::span<const compound::Piece> Pieces() const;
    std::vector<std::byte> Joined() const;
    void Clear();

private:
    struct Borrowed {
        std::size_t at;  // how many of the small bytes come before
        std::span<const std::byte> bytes;
    };
    void Grow(std::size_t needed);

    std::vector<std::byte> small_;  // with room behind what is used
    std::size_t used_ = 0;
    std::vector<Borrowed> blocks_;
    std::vector<std::unique_ptr<std::byte[]>> kept_;  // what was read for blocks
    mutable std::vector<compound::Piece> pieces_;     // kept, as a writer writes one record after the other
};

}  // namespace lumvex::inside
