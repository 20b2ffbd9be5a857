#include "storage/salvage/salvaged_source.hpp"

#include <algorithm>
#include <bit>

#include "storage/records/failures.hpp"

namespace lumvex::inside {

using compound::Extent;

SalvagedSource::SalvagedSource(std::shared_ptr<const compound::SalvagedFile> file, std::vector<Extent> extents)
    : file_(std::move(file)), extents_(std::move(extents)) {
    for (const Extent& extent : extents_) {
        begins_.push_back(size_);
        size_ += extent.count;
    }
}

void SalvagedSource::Read(std::uint64_t offset, std::span<std::byte> bytes) const {
    if (offset > size_ || bytes.size() > size_ - offset) throw Failure(kReadFault);
    auto at = static_cast<std::size_t>(std::ranges::upper_bound(begins_, offset) - begins_.begin());
    while (!bytes.empty()) {
        const Extent& extent = extents_[at - 1];
        const std::uint64_t inside = offset - begins_[at - 1];
        const auto piece =
            bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), extent.count - inside)));
        if (extent.offset == Extent::kLost)
            std::ranges::fill(piece, std::byte{0});
        else if (!file_->Read(extent.offset + inside, piece))
            unreadable_ = std::max<std::uint64_t>(unreadable_, piece.size());
        offset += piece.size();
        bytes = bytes.subspan(piece.size());
        ++at;
    }
}

std::uint64_t SalvagedSource::Lost(std::uint64_t count) const {
    std::uint64_t lost = 0;
    for (std::size_t at = 0; at < extents_.size() && begins_[at] < count; ++at)
        if (extents_[at].offset == Extent::kLost) lost += std::min(extents_[at].count, count - begins_[at]);
    return lost + unreadable_;
}

std::shared_ptr<const SalvagedSource> SalvagedSource::First(std::uint64_t count) const {
    std::vector<Extent> extents;
    for (const Extent& extent : extents_) {
        if (count == 0) break;
        extents.push_back({extent.offset, std::min(extent.count, count)});
        count -= extents.back().count;
    }
    return std::make_shared<SalvagedSource>(file_, std::move(extents));
}

std::vector<std::byte> SalvagedSource::All() const {
    std::vector<std::byte> bytes(static_cast<std::size_t>(size_));
    Read(0, bytes);
    return bytes;
}

std::uint64_t SalvagedSource::BitsIn(std::uint64_t from, std::uint64_t to) const {
    std::vector<std::byte> bytes(static_cast<std::size_t>(std::min(to, Size()) - from));
    Read(from, bytes);
    std::uint64_t bits = 0;
    for (const std::byte each : bytes)
        bits += static_cast<std::uint64_t>(std::popcount(std::to_integer<unsigned>(each)));
    return bits;
}

}  // namespace lumvex::inside
