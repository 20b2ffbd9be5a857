#include "storage/compound/write/small_streams.hpp"

#include <algorithm>

#include "storage/compound/write/table_editor.hpp"

namespace lumvex::compound {

FreeMap& SmallStreams::Free() {
    if (!free_ && known_) free_ = known_;
    if (!free_) {
        const std::uint32_t pages = committed_.MiniFatSectors().Sectors().Length(committed_.Fat());
        free_ = ScanFree(committed_.MiniFatSectors(), pages, committed_.MiniFat().Limit(), kFreeSector, kMaxSector);
    }
    return *free_;
}

// The bytes of whole mini sectors.
void SmallStreams::Write(std::uint32_t first, std::byte* bytes, std::uint32_t count) {
    ShadowPages& pages = draft_.MiniStream();
    const PerPage perPage = MiniSectorsPerPage(pages.Shift());
    while (count != 0) {
        const std::uint32_t page = perPage.PageOf(first);
        const std::uint32_t inPage = perPage.IndexOf(first);
        const std::uint32_t now = std::min(count, perPage.Count() - inPage);
        if (now == perPage.Count() && page == pages.Count()) {
            pages.AppendView(bytes);
        } else {
            while (pages.Count() <= page) pages.Append(std::byte{0});
            std::copy_n(bytes, kMiniSectorSize * now, pages.Edit(page) + kMiniSectorSize * inPage);
        }
        first += now;
        bytes += kMiniSectorSize * now;
        count -= now;
    }
}

void SmallStreams::Replace(const Change& change, SectorId oldStart) {
    Chain chain(oldStart);
    const auto count = static_cast<std::uint32_t>(MiniSectorsFor(change.size));
    for (std::uint32_t done = 0; done < count;) {
        const auto place = chain.Find(committed_.MiniFat(), done, count - done);
        if (!place) throw Corrupt("a chain from mini sector ", oldStart, " ends after ", done, " of ", count);
        Write(place->sector, change.small + kMiniSectorSize * done, place->adjacent);
        done += place->adjacent;
    }
}

void SmallStreams::Release(SectorId oldStart) {
    FreeMap& free = Free();
    TableEditor table(draft_.MiniFat());
    Chain chain(oldStart);
    for (const Run& run : chain.Runs(committed_.MiniFat())) {
        table.FreeRun(run.first, run.count);
        free.Give(run.first, run.count);
    }
}

SectorId SmallStreams::Place(const Change& change) {
    const auto count = static_cast<std::uint32_t>(MiniSectorsFor(change.size));
    const SectorId first = Free().Take(count);
    const bool adjacent = first == runFirst_ + runCount_ && change.small == runBytes_ + kMiniSectorSize * runCount_;
    if (!adjacent) {
        WriteRun();
        runFirst_ = first;
        runBytes_ = change.small;
    }
    runCount_ += count;
    chains_.push_back(count);
    return first;
}

void SmallStreams::WriteRun() {
    if (runCount_ == 0) return;
    Write(runFirst_, runBytes_, runCount_);
    TableEditor(draft_.MiniFat()).LinkChains(runFirst_, chains_);
    runCount_ = 0;
    chains_.clear();
}

void SmallStreams::Finish() {
    WriteRun();
    if (!free_) return;
    const std::uint32_t end = free_->UsedEnd();
    free_->CutTo(end);
    const Volume& volume = committed_.GetVolume();
    const auto cut = [&volume](ShadowPages& pages, std::uint64_t bytes) {
        pages.CutTo(std::min(pages.Count(), static_cast<std::uint32_t>(volume.SectorsFor(bytes))));
    };
    cut(draft_.MiniFat(), 4 * std::uint64_t{end});
    cut(draft_.MiniStream(), std::uint64_t{end} << kMiniSectorShift);
}

}  // namespace lumvex::compound
