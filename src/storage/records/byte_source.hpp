// Where a record's bytes are read from: an object's stream in the open file, or a block of memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "generic/long_block.hpp"

namespace lumvex::inside {

class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t Size() const = 0;
    // Reads exactly bytes.size() bytes; a read beyond the end fails with the storage system's read fault.
    virtual void Read(std::uint64_t offset, std::span<std::byte> bytes) const = 0;
    // A pointer to the bytes, where they are side by side in memory or in the mapped file; else null. Valid until the
    // file is written to.
    virtual const std::byte* Contiguous(std::uint64_t offset, std::uint64_t count) const = 0;
    // All of it, where it is in memory for as long as the source; else nothing.
    virtual std::span<const std::byte> InMemory() const { return {}; }
    // Whether it can be read whatever becomes of the document's file: a stream is replaced by a save, and gone when the
    // file is closed.
    virtual bool IsLasting() const { return false; }
};

// Bytes in memory, wherever a subclass has them.
class SourceInMemory : public ByteSource {
public:
    std::uint64_t Size() const final { return InMemory().size(); }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const final;
    const std::byte* Contiguous(std::uint64_t offset, std::uint64_t count) const final;
};

class MemorySource final : public SourceInMemory {
public:
    explicit MemorySource(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}
    std::span<const std::byte> InMemory() const override { return bytes_; }

private:
    std::vector<std::byte> bytes_;
};

// All bytes of another source as they were when this was made.
class CopiedSource final : public SourceInMemory {
public:
    explicit CopiedSource(const ByteSource& from);
    std::span<const std::byte> InMemory() const override { return {bytes_.Data(), bytes_.Size()}; }
    bool IsLasting() const override { return true; }

private:
    LongBlock bytes_;
};

}  // namespace lumvex::inside
