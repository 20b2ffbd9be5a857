// A stream put together from what is left of it. What is lost reads as zeros.
#pragma once

#include <memory>
#include <vector>

#include "storage/compound/salvage/salvaged_file.hpp"
#include "storage/records/byte_source.hpp"

namespace lumvex::inside {

class SalvagedSource final : public ByteSource {
public:
    SalvagedSource(std::shared_ptr<const compound::SalvagedFile> file, std::vector<compound::Extent> extents);

    std::uint64_t Size() const override { return size_; }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override;
    const std::byte* Contiguous(std::uint64_t, std::uint64_t) const override { return nullptr; }

    // How many of the first `count` bytes are lost; a part of the file that cannot be read counts once it was asked
    // for.
    std::uint64_t Lost(std::uint64_t count) const;
    const std::vector<compound::Extent>& Extents() const { return extents_; }
    std::shared_ptr<const SalvagedSource> First(std::uint64_t count) const;  // its first bytes alone
    std::vector<std::byte> All() const;
    // The number of bits that are set in the bytes from `from` up to `to`, as far as the file has them.
    std::uint64_t BitsIn(std::uint64_t from, std::uint64_t to) const;
    bool IsZero(std::uint64_t from, std::uint64_t to) const { return BitsIn(from, to) == 0; }

private:
    std::shared_ptr<const compound::SalvagedFile> file_;
    std::vector<compound::Extent> extents_;
    std::vector<std::uint64_t> begins_;  // of the extents, in the stream
    std::uint64_t size_ = 0;
    mutable std::uint64_t unreadable_ = 0;
};

}  // namespace lumvex::inside
