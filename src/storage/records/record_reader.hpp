// Reads one object's record from its stream. All integers are little-endian; a read that would pass the end of the
// stream fails with the storage system's read fault.
#pragma once

#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "core/objects/entry.hpp"
#include "storage/records/byte_source.hpp"

namespace lumvex::inside {

class RecordReader {
public:
    explicit RecordReader(std::shared_ptr<const ByteSource> source)
        : source_(std::move(source)), size_(source_->Size()), ahead_(source_->InMemory()) {}

    std::uint16_t U16() { return Number<std::uint16_t>(); }
    std::uint32_t U32() { return Number<std::uint32_t>(); }
    std::int32_t I32() { return Number<std::int32_t>(); }
    float F32() { return Number<float>(); }
    double F64() { return Number<double>(); }
    GUID Guid() { return Number<GUID>(); }
    Reference ObjectReference();                   // 20 bytes
    std::optional<Reference> OptionalReference();  // 2 or 22 bytes
    std::u16string Text();                         // 32-bit byte count with terminator, then UTF-16
    void Text(std::u16string& text);               // the same; its memory is used again

    // For fields that are read later, from the same place.
    const std::shared_ptr<const ByteSource>& Source() const { return source_; }
    std::uint64_t Position() const { return position_; }
    std::uint64_t Left() const { return size_ - position_; }
    void Skip(std::uint64_t count);
    void Read(std::span<std::byte> bytes) {
        if (position_ - aheadAt_ > ahead_.size() || bytes.size() > ahead_.size() - (position_ - aheadAt_))
            return ReadBeyond(bytes);
        if (!bytes.empty()) std::memcpy(bytes.data(), ahead_.data() + (position_ - aheadAt_), bytes.size());
        position_ += bytes.size();
    }

private:
    template <class T>
    T Number() {
        T value;
        Read(std::as_writable_bytes(std::span(&value, 1)));
        return value;
    }

    void ReadBeyond(std::span<std::byte> bytes);
    bool LookAhead(std::size_t needed);

    std::shared_ptr<const ByteSource> source_;
    std::uint64_t size_, position_ = 0;
    std::span<const std::byte> ahead_;  // the source's own bytes from aheadAt_ on; nothing is written meanwhile
    std::uint64_t aheadAt_ = 0;         // at most position_
};

}  // namespace lumvex::inside
