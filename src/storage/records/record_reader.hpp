// Reads one object's record from its stream. All integers are little-endian; a read that would pass the end of the
// stream fails with the storage system's read fault.
#pragma once

#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "core/objects/entry.hpp"
#include "storage/records/byte_source.hpp"

namespace lumvex::inside {

class RecordReader {
public:
    explicit RecordReader(std::shared_ptr<const ByteSource> source)
        : source_(std::move(source)), size_(source_->Size()), behind_(size_) {
        See(source_->InMemory());
    }
    // Of a record in memory, which stays there as long as the reader.
    explicit RecordReader(std::span<const std::byte> record) : size_(record.size()), behind_(size_) { See(record); }

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
    void Text(ShortText& text);                    // the same; a text that cannot be read is left empty

    // For fields that are read later, from the same place. Of a record in memory this is a copy.
    std::shared_ptr<const ByteSource> Source() const;
    std::uint64_t Position() const { return size_ - Left(); }
    std::uint64_t Left() const { return Ahead() + behind_; }
    void Skip(std::uint64_t count) {
        if (count > Ahead()) return SkipBeyond(count);
        next_ += count;
    }
    void Read(std::span<std::byte> bytes) {
        if (bytes.size() > Ahead()) return ReadBeyond(bytes);
        if (!bytes.empty()) std::memcpy(bytes.data(), next_, bytes.size());
        next_ += bytes.size();
    }

private:
    template <class T>
    T Number() {
        T value;
        Read(std::as_writable_bytes(std::span(&value, 1)));
        return value;
    }

    std::size_t Ahead() const { return static_cast<std::size_t>(end_ - next_); }
    void See(std::span<const std::byte> bytes) {  // which are those from the position on
        behind_ = Left() - bytes.size();
        next_ = bytes.data();
        end_ = next_ + bytes.size();
    }
    void SkipBeyond(std::uint64_t count);
    void ReadBeyond(std::span<std::byte> bytes);
    bool LookAhead(std::size_t needed);
    std::uint32_t TextBytes();

    std::shared_ptr<const ByteSource> source_;  // null: the record is in memory
    std::uint64_t size_;
    const std::byte* next_ = nullptr;  // the record's own bytes from the position on, as far as they are seen
    const std::byte* end_ = nullptr;
    std::uint64_t behind_;  // so many bytes of the record follow these; nothing is written to it meanwhile
};

}  // namespace lumvex::inside
