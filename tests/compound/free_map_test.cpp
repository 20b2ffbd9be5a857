// The map of free sectors against a plain list of them.
#include "storage/compound/write/free_map.hpp"

#include <random>

#include "storage/compound/write/space.hpp"
#include "support.hpp"

namespace lumvex::tests {
namespace {

TEST(FreeMap, HandsOutEverySectorOnceAndTheReservedOnesNever) {
    constexpr SectorId kReserved = 300, kFront = 7;
    std::mt19937 random(1);
    FreeMap map(70, kReserved);
    std::vector<bool> used(70, true);
    map.Give(3, 2);
    map.KeepFront(kFront);
    std::vector<compound::Run> taken = {{0, 0, 3}, {0, 5, 20}};  // partly or wholly in front
    const auto take = [&](const compound::Run& run) {
        used.resize(std::max<std::size_t>(used.size(), map.End()), false);
        ASSERT_LE(run.first + run.count, map.End());
        for (SectorId sector = run.first; sector < run.first + run.count; ++sector) {
            ASSERT_NE(sector, kReserved);
            ASSERT_FALSE(used[sector]) << sector;
            used[sector] = true;
        }
        taken.push_back(run);
    };
    for (int round = 0; round < 20000; ++round) {
        const auto count = 1 + static_cast<std::uint32_t>(random() % (random() % 8 == 0 ? 150 : 7));
        if (random() % 2 == 0 || taken.empty()) {
            if (random() % 2 == 0) {
                const std::uint32_t end = map.End();
                const compound::Run run{0, map.Take(count), count};
                // At the end only where no gap would do.
                if (run.first + count > end) {
                    std::uint32_t gap = 0;
                    for (SectorId sector = 0; sector < end; ++sector) {
                        gap = used[sector] || sector == kReserved ? 0 : gap + 1;
                        ASSERT_LT(gap, count);
                    }
                }
                ASSERT_NO_FATAL_FAILURE(take(run));
            } else {
                std::uint32_t together = 0;
                for (const compound::Run& run : map.TakeRuns(count)) {
                    ASSERT_EQ(run.index, together);
                    together += run.count;
                    ASSERT_NO_FATAL_FAILURE(take(run));
                }
                ASSERT_EQ(together, count);
            }
        } else {
            std::swap(taken[random() % taken.size()], taken.back());
            const compound::Run run = taken.back();
            taken.pop_back();
            map.Give(run.first, run.count);
            for (SectorId sector = std::max(run.first, kFront); sector < run.first + run.count; ++sector)
                used[sector] = false;
        }
        if (random() % 50 == 0) {
            map.CutTo(map.UsedEnd());
            used.resize(map.End());
            ASSERT_TRUE(used.empty() || used.back() || used.size() == kReserved + 1);
        }
        ASSERT_EQ(map.FreeCount(), map.End() - static_cast<std::uint32_t>(std::count(used.begin(), used.end(), true)) -
                                       (map.End() > kReserved ? 1 : 0));
    }
    EXPECT_GT(used.size(), kReserved);
}

// The sectors that a FAT leaves free, found by who goes through its pages once and by who looks at each entry: of FATs
// on both sides of what is kept in memory and of what is read at a time, with sectors that changes have moved apart.
TEST(FreeMap, OfAFatIsTheSameHoweverItsPagesAreRead) {
    const std::vector<std::pair<int, std::uint32_t>> files = {{3, 20}, {3, 64}, {3, 65}, {3, 140}, {4, 8}, {4, 9}};
    for (const auto& [version, pages] : files) {
        SCOPED_TRACE(std::to_string(version) + " with a FAT of " + std::to_string(pages));
        const PerPage perPage = TableEntriesPerPage(version == 3 ? 9 : 12);
        const std::size_t each = (std::size_t{pages} << perPage.Shift() << (perPage.Shift() + 2)) / 40;
        FaultyDisk disk;
        const auto file = CompoundFile::Create(disk.Open(), version);
        for (unsigned i = 0; i < 40; ++i) Put(*file, Name(i), Pattern(each - each / 20, i));
        file->Commit();
        for (unsigned round = 0; round < 3; ++round) {
            for (unsigned i = round; i < 40; i += 11) Put(*file, Name(i), Pattern(each / (1 + i % 3), 7 * i + round));
            file->Remove(Name(20 + round));
            file->Commit();
            const Bytes image = disk.Content();
            const CommittedImage mapped(image);
            Volume volume(MemoryFile(image), mapped->GetVolume().Head());
            volume.Map();
            Committed unmapped(volume);
            const std::uint32_t count = volume.Head().FatSectors();
            const FreeMap once = ScanFree(unmapped.FatSectors(), count, volume.SectorCount(), kFreeSector, kMaxSector);
            ASSERT_FALSE(volume.IsMapped());
            ASSERT_GE(once.End(), volume.SectorCount());
            for (SectorId sector = 0; sector < once.End(); ++sector) {
                const std::byte* page = mapped->FatSectors().Page(perPage.PageOf(sector));
                ASSERT_EQ(once.IsFree(sector), TableEntry(page, perPage.IndexOf(sector)) == kFreeSector) << sector;
            }
        }
    }
}

}  // namespace
}  // namespace lumvex::tests
