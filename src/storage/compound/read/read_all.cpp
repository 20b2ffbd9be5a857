#include "storage/compound/read/read_all.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "storage/compound/base/prefetch.hpp"
#include "storage/compound/base/sort_by_bits.hpp"
#include "storage/compound/read/stream_body.hpp"

namespace lumvex::compound {

namespace {

constexpr std::size_t kAhead = 16;  // entries are prefetched so many steps before they are read
constexpr std::size_t kReadAhead = std::size_t{256} * 1024;  // bytes, where the file is not mapped

// A stream as one number, its first sector above its entry: ordered by these numbers, streams are read in file order.
using Found = std::uint64_t;

Found MakeFound(SectorId start, EntryId id) { return std::uint64_t{start} << 32 | id; }
EntryId IdOf(Found found) { return static_cast<EntryId>(found); }

class Reader {
public:
    Reader(std::shared_ptr<Committed> committed, const VisitStream& visit)
        : committed_(std::move(committed)),
          volume_(committed_->GetVolume()),
          visit_(visit),
          version_(volume_.Head().Version()),
          perPage_(DirectoryEntriesPerPage(committed_->Directory().Shift())) {}

    void ReadAll();

private:
    void FindAll();
    void ReadSorted(std::vector<Found>& all);
    void Read(EntryId id);
    const std::byte* EntryBytes(EntryId id);

    std::shared_ptr<Committed> committed_;
    const Volume& volume_;
    const VisitStream& visit_;
    int version_;
    PerPage perPage_;
    std::vector<const std::byte*> pages_;  // of the directory; null where one was not needed yet
    std::vector<Found> small_, large_;
    FileView::Window window_;
    std::vector<std::byte> buffer_;
};

const std::byte* Reader::EntryBytes(EntryId id) {
    const std::uint32_t page = perPage_.PageOf(id);
    if (page >= pages_.size() || !pages_[page]) {
        const std::byte* bytes = committed_->Directory().Page(page);  // Corrupt beyond the last
        pages_.resize(std::max<std::size_t>(pages_.size(), page + std::size_t{1}));
        pages_[page] = bytes;
    }
    return pages_[page] + kEntrySize * perPage_.IndexOf(id);
}

void Reader::ReadAll() {
    FindAll();
    ReadSorted(small_);
    ReadSorted(large_);
}

// Level by level: entries of one level can be prefetched, while a walk in the tree's order would wait for each of them.
void Reader::FindAll() {
    const std::uint32_t limit = committed_->EntryCount();
    std::uint64_t sectors = 0, miniSectors = 0;  // that all streams need together
    std::vector<EntryId> reached;
    const auto reach = [&](EntryId id) {
        if (id == kNoEntry) return;
        if (reached.size() == limit) throw Corrupt("a directory tree reaches more than ", limit, " entries");
        reached.push_back(id);
    };
    reach(committed_->TreeTop());
    for (std::size_t i = 0; i < reached.size(); ++i) {
        if (i + kAhead < reached.size()) Prefetch(EntryBytes(reached[i + kAhead]), kEntrySize);
        const EntryId id = reached[i];
        const DirectoryEntry entry(EntryBytes(id));
        reach(entry.Left());
        reach(entry.Right());
        if (entry.Type() != EntryType::Stream) continue;
        const std::uint64_t size = entry.Size(version_);
        const bool isMini = committed_->IsMini(size);
        (isMini ? small_ : large_).push_back(MakeFound(entry.Start(), id));
        if (isMini)
            miniSectors += MiniSectorsFor(size);
        else
            sectors += std::min(size >> volume_.SectorShift(), std::uint64_t{kMaxSector});
        if (sectors > volume_.SectorCount())
            throw Corrupt("streams that need more than ", volume_.SectorCount(), " sectors");
    }
    if (miniSectors > committed_->MiniFat().Limit())
        throw Corrupt("streams that need ", miniSectors, " of ", committed_->MiniFat().Limit(), " mini sectors");
}

void Reader::ReadSorted(std::vector<Found>& all) {
    SortByBits(all, 32, [](Found each) { return each; });
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (i + kAhead < all.size()) Prefetch(EntryBytes(IdOf(all[i + kAhead])), kEntrySize);
        Read(IdOf(all[i]));
    }
}

void Reader::Read(EntryId id) {
    const DirectoryEntry entry(EntryBytes(id));
    const std::uint64_t size = entry.Size(version_);
    std::span<const std::byte> bytes;
    if (size != 0) {
        if (const auto offset = committed_->PlaceOf(entry.Start(), size)) {
            bytes = {volume_.Bytes(*offset, size, window_, kReadAhead), static_cast<std::size_t>(size)};
            volume_.CountRead(*offset, size);
        } else {
            StreamBody stream(committed_, id);  // Corrupt where its size cannot be
            buffer_.resize(std::max(buffer_.size(), static_cast<std::size_t>(size)));
            const auto whole = std::span(buffer_).first(static_cast<std::size_t>(size));
            stream.Read(0, whole);
            bytes = whole;
        }
    }
    std::array<char16_t, kMaxNameLength> name;
    visit_(entry.Name(name), bytes);
}

}  // namespace

void ReadAllStreams(std::shared_ptr<Committed> committed, const VisitStream& visit) {
    Reader(std::move(committed), visit).ReadAll();
}

}  // namespace lumvex::compound
