#include "storage/compound/read/read_all.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "storage/compound/read/entries.hpp"
#include "storage/compound/read/stream_body.hpp"

namespace lumvex::compound {

namespace {

constexpr std::size_t kReadAhead = std::size_t{256} * 1024;  // bytes, where the file is not mapped

class Reader {
public:
    Reader(std::shared_ptr<Committed> committed, const VisitStream& visit)
        : committed_(std::move(committed)),
          volume_(committed_->GetVolume()),
          visit_(visit),
          version_(volume_.Head().Version()),
          entries_(committed_->Directory()) {}

    void ReadAll();

private:
    void FindAll();
    void ReadInFileOrder(FileOrder& all);
    void Read(EntryId id);

    std::shared_ptr<Committed> committed_;
    const Volume& volume_;
    const VisitStream& visit_;
    int version_;
    Entries entries_;
    FileOrder small_, large_;
    FileView::Window window_;
    std::vector<std::byte> buffer_;
};

void Reader::ReadAll() {
    FindAll();
    ReadInFileOrder(small_);
    ReadInFileOrder(large_);
}

void Reader::FindAll() {
    std::uint64_t sectors = 0, miniSectors = 0;  // that all streams need together
    VisitLevelByLevel(entries_, committed_->TreeTop(), committed_->EntryCount(),
                      [&](EntryId id, const DirectoryEntry& entry) {
                          if (entry.Type() != EntryType::Stream) return;
                          const std::uint64_t size = entry.Size(version_);
                          const bool isMini = committed_->IsMini(size);
                          (isMini ? small_ : large_).Add(entry.Start(), id);
                          if (isMini)
                              miniSectors += MiniSectorsFor(size);
                          else
                              sectors += std::min(size >> volume_.SectorShift(), std::uint64_t{kMaxSector});
                          if (sectors > volume_.SectorCount())
                              throw Corrupt("streams that need more than ", volume_.SectorCount(), " sectors");
                      });
    if (miniSectors > committed_->MiniFat().Limit())
        throw Corrupt("streams that need ", miniSectors, " of ", committed_->MiniFat().Limit(), " mini sectors");
}

void Reader::ReadInFileOrder(FileOrder& all) {
    all.Sort();
    for (std::size_t i = 0; i < all.Count(); ++i) {
        if (i + kEntriesAhead < all.Count()) entries_.PrefetchEntry(all[i + kEntriesAhead]);
        Read(all[i]);
    }
}

void Reader::Read(EntryId id) {
    const DirectoryEntry entry = entries_.At(id);
    const std::uint64_t size = entry.Size(version_);
    std::span<const std::byte> bytes;
    if (size != 0) {
        if (const std::uint64_t offset = committed_->PlaceOf(entry.Start(), size); offset != Committed::kNoPlace) {
            bytes = {volume_.Bytes(offset, size, window_, kReadAhead), static_cast<std::size_t>(size)};
            volume_.CountRead(offset, size);
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
