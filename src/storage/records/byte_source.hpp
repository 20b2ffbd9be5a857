// Bytes that are read where they stand: an object's stream in the open file, or a block in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace lumvex::inside {

class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t Size() const = 0;
    // Reads exactly bytes.size() bytes; a read beyond the end fails with the storage system's read fault.
    virtual void Read(std::uint64_t offset, std::span<std::byte> bytes) const = 0;
    // The bytes without a copy where they lie side by side, else null. Valid until the file is written to.
    virtual const std::byte* Contiguous(std::uint64_t offset, std::uint64_t count) const = 0;
};

class MemorySource final : public ByteSource {
public:
    explicit MemorySource(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}
    void Replace(std::span<const std::byte> bytes) { bytes_.assign(bytes.begin(), bytes.end()); }
    std::uint64_t Size() const override { return bytes_.size(); }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override;
    const std::byte* Contiguous(std::uint64_t offset, std::uint64_t count) const override;

private:
    std::vector<std::byte> bytes_;
};

}  // namespace lumvex::inside
