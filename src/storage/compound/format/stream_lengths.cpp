#include "storage/compound/format/stream_lengths.hpp"

#include "storage/compound/format/format.hpp"

namespace lumvex::compound {

namespace {

constexpr std::uint64_t Units(std::uint64_t bytes, std::uint64_t unit) { return (bytes + unit - 1) / unit; }

}  // namespace

void StreamLengths::Add(std::uint64_t bytes, std::uint64_t streams) {
    count_ += streams;
    if (bytes < kMiniCutoff) {
        miniSectors_ += streams * Units(bytes, kMiniSectorSize);
    } else {
        sectors3_ += streams * Units(bytes, 512);
        sectors4_ += streams * Units(bytes, 4096);
    }
}

std::uint64_t StreamLengths::FileLength(int version) const {
    const std::uint64_t sector = version == 3 ? 512 : 4096;
    std::uint64_t sectors = version == 3 ? sectors3_ : sectors4_;
    sectors += Units(miniSectors_ * kMiniSectorSize, sector) + Units(miniSectors_ * sizeof(SectorId), sector);
    sectors += Units((count_ + 1) * kEntrySize, sector);
    const std::uint64_t entries = sector / sizeof(SectorId), front = kFrontSize / sector - 1;
    std::uint64_t fat = 0, difat = 0;  // sectors, which have entries in the FAT themselves
    for (std::uint64_t before = 1; before != fat + difat;) {
        before = fat + difat;
        fat = Units(front + sectors + before, entries);
        difat = fat > kDifatInHeader ? Units(fat - kDifatInHeader, entries - 1) : 0;
    }
    return kFrontSize + (sectors + fat + difat) * sector;
}

int StreamLengths::BestVersion() const {
    constexpr std::uint64_t kShort = std::uint64_t{1} << 20, kLong = std::uint64_t{1} << 28;
    const std::uint64_t version3 = FileLength(3), version4 = FileLength(4);
    return version3 < kShort || (version3 < kLong && version3 <= version4 - version4 / 16) ? 3 : 4;
}

}  // namespace lumvex::compound
