// A stream as callers of the engine see it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace lumvex::compound {

struct StreamBody;

// A stream of the file as it was when it was found. Valid until the next Commit or Revert, or Write or Remove of its
// name, and never longer than its file.
class Stream {
public:
    explicit Stream(std::shared_ptr<StreamBody> body);

    std::uint64_t Size() const;  // bytes

    // Reads exactly bytes.size() bytes from offset or throws ReadFault (beyond the end) or Corrupt.
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const;

    // The bytes without a copy where they are adjacent in the mapped file; nullptr otherwise. Valid until the next
    // Commit.
    const std::byte* Contiguous(std::uint64_t offset, std::uint64_t count) const;

private:
    std::shared_ptr<StreamBody> body_;
};

}  // namespace lumvex::compound
