// Reading everything at the speed of the disk: streams in the order in which they stand in the file, one read for many
// of them where they are neighbours.
#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "storage/compound/prefetch.hpp"
#include "storage/compound/state.hpp"

namespace lumvex::compound {

namespace {

// So much is read at a time: it stays in the processor's cache until it was visited. Longer streams are read one by
// one; one that no cache holds is visited where the file is mapped.
constexpr std::uint64_t kReadTogether = 256 * 1024, kReadAtAll = 1024 * 1024;

// A stream as one number that orders as the streams stand in the file: its first sector, then its entry.
using Found = std::uint64_t;

Found MakeFound(SectorId start, EntryId id) { return std::uint64_t{start} << 32 | id; }
EntryId IdOf(Found found) { return static_cast<EntryId>(found); }

// Eleven bits at a time: the directory's order is as good as random here, and comparing would take twice as long.
void SortByPlace(std::vector<Found>& all) {
    constexpr unsigned kBits = 11;
    Found highest = 0;
    for (const Found each : all) highest = std::max(highest, each);
    std::vector<Found> sorted(all.size());
    for (unsigned shift = 32; shift < 64 && highest >> shift != 0; shift += kBits) {
        std::array<std::size_t, 1u << kBits> next{};
        const auto digit = [shift](Found each) { return static_cast<std::size_t>(each >> shift & ((1u << kBits) - 1)); };
        for (const Found each : all) ++next[digit(each)];
        std::size_t begin = 0;
        for (std::size_t& count : next) begin += std::exchange(count, begin);
        for (const Found each : all) sorted[next[digit(each)]++] = each;
        all.swap(sorted);
    }
}

// Where a stream's bytes lie side by side in the file; none where they do not, or where its size cannot be.
std::optional<std::uint64_t> PlaceOf(Committed& committed, SectorId start, std::uint64_t size) {
    const Volume& volume = committed.OnDisk();
    const unsigned shift = volume.SectorShift();
    std::uint64_t offset = 0;
    Chain* chain = nullptr;
    Chain own(start);
    if (committed.IsMini(size)) {
        const auto count = static_cast<std::uint32_t>((size + kMiniSectorSize - 1) >> kMiniSectorShift);
        if (size > committed.MiniStreamSize() || committed.MiniFat().StretchFrom(start, count).count < count)
            return std::nullopt;
        offset = std::uint64_t{start} << kMiniSectorShift;
        chain = &committed.MiniStream().Sectors();
    } else {
        if (size > std::uint64_t{volume.SectorCount()} << shift) return std::nullopt;
        chain = &own;
    }
    const auto first = static_cast<std::uint32_t>(offset >> shift);
    const auto count = static_cast<std::uint32_t>(((offset + size - 1) >> shift) - first + 1);
    const auto place = chain->Find(committed.Fat(), first, count);
    if (!place || place->adjacent < count) return std::nullopt;
    return volume.OffsetOf(place->sector) + (offset & (volume.SectorSize() - 1));
}

class Reader {
public:
    using Visit = std::function<void(std::u16string_view, std::span<const std::byte>)>;

    Reader(std::shared_ptr<Committed> committed, const Visit& visit)
        : committed_(std::move(committed)),
          volume_(committed_->OnDisk()),
          visit_(visit),
          perPageShift_(committed_->Directory().Shift() - 7) {}

    void ReadAll();

private:
    struct Member {
        const std::byte* entry;
        std::uint64_t offset, size;  // in the file
    };

    void FindAll();
    void ReadSorted(std::vector<Found>& all);
    void Add(EntryId id);
    const std::byte* EntryBytes(EntryId id) const {
        return pages_[id >> perPageShift_] + kEntrySize * (id & ((1u << perPageShift_) - 1));
    }
    void Call(const std::byte* entry, std::span<const std::byte> bytes) const {
        std::array<char16_t, kMaxNameLength> name;
        visit_(Entry(entry).Name(name), bytes);
    }
    // From a cache line on: a little behind a page's beginning, where large blocks of memory usually are, the system
    // takes twice as long to copy a file's pages to.
    std::span<std::byte> Buffer(std::uint64_t size) {
        const auto wanted = static_cast<std::size_t>(size);
        if (buffer_.size() < wanted + kCacheLine) buffer_.resize(wanted + kCacheLine);
        void* at = buffer_.data();
        std::size_t room = buffer_.size();
        return {static_cast<std::byte*>(std::align(kCacheLine, wanted, at, room)), wanted};
    }
    void VisitGathered();

    std::shared_ptr<Committed> committed_;
    const Volume& volume_;
    const Visit& visit_;
    unsigned perPageShift_;
    std::vector<const std::byte*> pages_;  // of the directory
    std::vector<Found> small_, large_;
    std::vector<std::byte> buffer_;

    // Neighbours that are to be read together, the ends of their last sectors included.
    std::vector<Member> gathered_;
    std::uint64_t begin_ = 0, end_ = 0, next_ = 0;  // next_: where another neighbour would begin
};

void Reader::ReadAll() {
    FindAll();
    ReadSorted(small_);
    ReadSorted(large_);
}

void Reader::FindAll() {
    const int version = volume_.Head().Version();
    const std::uint32_t count = committed_->EntryCount();
    pages_.resize(count >> perPageShift_);
    WalkTree(committed_->Directory(), committed_->TreeTop(), count, [&](EntryId id, const Entry& entry) {
        if (entry.Type() != EntryType::Stream) return;
        pages_[id >> perPageShift_] = entry.bytes() - kEntrySize * (id & ((1u << perPageShift_) - 1));
        std::vector<Found>& kind = committed_->IsMini(entry.Size(version)) ? small_ : large_;
        if (kind.empty()) kind.reserve(count);
        kind.push_back(MakeFound(entry.Start(), id));
    });
}

void Reader::ReadSorted(std::vector<Found>& all) {
    SortByPlace(all);
    for (std::size_t i = 0; i < all.size(); ++i) {
        // The directory is large and in another order: without this, waiting for it takes most of the time.
        constexpr std::size_t kAhead = 16;
        if (i + kAhead < all.size()) Prefetch(EntryBytes(IdOf(all[i + kAhead])), kEntrySize);
        Add(IdOf(all[i]));
    }
    VisitGathered();
}

void Reader::Add(EntryId id) {
    const std::byte* at = EntryBytes(id);
    const Entry entry(at);
    const std::uint64_t size = entry.Size(volume_.Head().Version());
    if (size == 0) return Call(at, {});
    const auto offset = PlaceOf(*committed_, entry.Start(), size);
    if (!offset) {
        VisitGathered();
        const std::span<std::byte> bytes = Buffer(size);
        StreamBody(committed_, id).Read(0, bytes);
        return Call(at, bytes);
    }
    if (gathered_.empty() || *offset != next_ || *offset + size - begin_ > kReadTogether) {
        VisitGathered();
        begin_ = *offset;
    }
    const std::uint64_t sector = committed_->IsMini(size) ? kMiniSectorSize : volume_.SectorSize();
    end_ = *offset + size;
    next_ = (end_ + sector - 1) & ~(sector - 1);
    gathered_.push_back({at, *offset, size});
}

void Reader::VisitGathered() {
    if (gathered_.empty()) return;
    const std::uint64_t size = end_ - begin_;
    std::span<const std::byte> bytes(volume_.Bytes(begin_, size), static_cast<std::size_t>(size));
    if (size <= kReadAtAll) {
        volume_.OnDisk().Read(begin_, Buffer(size));
        bytes = Buffer(size);
    }
    volume_.CountRead(begin_, size);
    for (const Member& member : gathered_)
        Call(member.entry,
             bytes.subspan(static_cast<std::size_t>(member.offset - begin_), static_cast<std::size_t>(member.size)));
    gathered_.clear();
}

}  // namespace

void CompoundFile::ReadAll(const std::function<void(std::u16string_view, std::span<const std::byte>)>& visit) const {
    Reader(state_->committed, visit).ReadAll();
}

}  // namespace lumvex::compound
