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

struct Links {  // of an entry: where its tree goes on
    EntryId left, right;
};

// Which entries of a directory the tree reaches, by number. Corrupt where it reaches more than there are, as a cycle
// would.
std::vector<bool> FindReached(const std::vector<Links>& links, EntryId top) {
    std::vector<bool> isReached(links.size());
    std::vector<EntryId> waiting;
    std::size_t reached = 0;
    const auto reach = [&](EntryId id) {
        if (id == kNoEntry) return;
        if (id >= links.size()) throw Corrupt("entry ", id, " in a directory of ", links.size());
        if (++reached > links.size()) throw Corrupt("a directory tree reaches more than ", links.size(), " entries");
        waiting.push_back(id);
    };
    reach(top);
    while (!waiting.empty()) {
        const EntryId id = waiting.back();
        waiting.pop_back();
        isReached[id] = true;
        reach(links[id].left);
        reach(links[id].right);
    }
    return isReached;
}

class Reader {
public:
    Reader(std::shared_ptr<Committed> committed, const VisitStream& visit)
        : committed_(std::move(committed)),
          volume_(committed_->GetVolume()),
          visit_(visit),
          version_(volume_.Head().Version()),
          entries_(committed_->Directory()),
          mostMiniSectors_(committed_->MiniFat().Limit()) {}

    void ReadAll();

private:
    void FindAll();
    void FindInDirectory();
    void FindInTree();
    void Note(EntryId id, const DirectoryEntry& entry);
    void ReadInFileOrder(FileOrder& all);
    void Count(std::uint64_t size);
    void Read(EntryId id);

    std::shared_ptr<Committed> committed_;
    const Volume& volume_;
    const VisitStream& visit_;
    int version_;
    Entries entries_;
    std::uint64_t mostMiniSectors_;
    FileOrder small_, large_;
    std::uint64_t sectors_ = 0, miniSectors_ = 0;  // that the streams so far need together
    FileView::Window window_;
    std::vector<std::byte> buffer_;
};

void Reader::ReadAll() {
    FindAll();
    ReadInFileOrder(small_);
    ReadInFileOrder(large_);
}

// A sector of the directory that holds nothing may be unreadable. The tree does not lead there, so that everything can
// still be found along the tree.
void Reader::FindAll() {
    try {
        FindInDirectory();
    } catch (const StorageError&) {
        small_ = large_ = {};
        FindInTree();
    }
}

void Reader::FindInTree() {
    VisitLevelByLevel(entries_, committed_->TreeTop(), committed_->EntryCount(),
                      [this](EntryId id, const DirectoryEntry& entry) { Note(id, entry); });
}

void Reader::Note(EntryId id, const DirectoryEntry& entry) {
    if (entry.Type() != EntryType::Stream) return;
    (committed_->IsMini(entry.Size(version_)) ? small_ : large_).Add(entry.Start(), id);
}

// The directory is read once, in its order: its tree's order would wait for each entry. Only entries that the tree
// reaches count.
void Reader::FindInDirectory() {
    const std::uint32_t count = committed_->EntryCount();
    std::vector<Links> links;
    links.reserve(count);
    small_.Reserve(count);
    ForEachEntry(committed_->Directory(), count, [&](EntryId id, const DirectoryEntry& entry) {
        links.push_back({entry.Left(), entry.Right()});
        Note(id, entry);
    });
    const std::vector<bool> isReached = FindReached(links, committed_->TreeTop());
    for (FileOrder* order : {&small_, &large_}) order->Keep([&](EntryId id) { return isReached[id]; });
}

void Reader::ReadInFileOrder(FileOrder& all) {
    all.Sort();
    for (std::size_t i = 0; i < all.Count(); ++i) {
        if (i + kEntriesAhead < all.Count()) entries_.PrefetchEntry(all[i + kEntriesAhead]);
        Read(all[i]);
    }
}

// Corrupt where the streams so far need more than there is.
void Reader::Count(std::uint64_t size) {
    if (committed_->IsMini(size)) {
        miniSectors_ += MiniSectorsFor(size);
        if (miniSectors_ > mostMiniSectors_)
            throw Corrupt("streams that need more than ", mostMiniSectors_, " mini sectors");
    } else {
        sectors_ += std::min(size >> volume_.SectorShift(), std::uint64_t{kMaxSector});
        if (sectors_ > volume_.SectorCount())
            throw Corrupt("streams that need more than ", volume_.SectorCount(), " sectors");
    }
}

void Reader::Read(EntryId id) {
    const DirectoryEntry entry = entries_.At(id);
    const std::uint64_t size = entry.Size(version_);
    Count(size);
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
