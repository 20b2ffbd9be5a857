#include "storage/compound/read/stream.hpp"

#include <algorithm>
#include <cstring>

namespace lumvex::compound {

namespace {

// Reads it, whatever the compiler thinks of that.
void Touch(const std::byte& byte) { static_cast<void>(*const_cast<const volatile std::byte*>(&byte)); }

std::uint32_t Clamped(std::uint64_t count) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, kMaxSector));
}

}  // namespace

StreamBody::StreamBody(std::shared_ptr<Committed> from, EntryId id) : committed(std::move(from)) {
    const Volume& volume = committed->OnDisk();
    const Entry entry = committed->At(id);
    size = entry.Size(volume.Head().Version());
    isMini = committed->IsMini(size);
    const std::uint64_t most =
        isMini ? committed->MiniStreamSize() : std::uint64_t{volume.SectorCount()} << volume.SectorShift();
    if (size > most) throw Corrupt("a stream of ", size, " bytes where there are ", most);
    chain = Chain(size == 0 ? kEndOfChain : entry.Start());
}

StreamBody::StreamBody(std::shared_ptr<Committed> from, std::shared_ptr<PendingChanges> changes, const Change& change)
    : committed(std::move(from)),
      pending(std::move(changes)),
      size(change.size),
      isMini(change.kind == Change::Kind::Small),
      isFresh(true),
      small(change.small) {
    if (change.large) runs = change.large->runs, batch = change.large->batch;
}

StreamBody::Extent StreamBody::ExtentAt(std::uint64_t offset, std::uint64_t count) {
    const Volume& volume = committed->OnDisk();
    const unsigned shift = volume.SectorShift();
    const std::uint64_t sectorMask = volume.SectorSize() - 1;
    const auto located = [&](Chain& sectors, std::uint64_t from, std::uint64_t length) -> Extent {
        const auto place = sectors.Find(committed->Fat(), Clamped(from >> shift),
                                        Clamped(((from + length - 1) >> shift) - (from >> shift) + 1));
        if (!place) throw Corrupt("a chain from sector ", sectors.First(), " ends before byte ", from);
        const std::uint64_t into = from & sectorMask;
        return {volume.OffsetOf(place->sector) + into,
                std::min(length, (std::uint64_t{place->adjacent} << shift) - into)};
    };
    if (isFresh) {
        const std::uint32_t index = Clamped(offset >> shift);
        const auto run = std::upper_bound(runs.begin(), runs.end(), index,
                                          [](std::uint32_t value, const Run& at) { return value < at.index; }) -
                         1;
        const std::uint64_t into = offset - (std::uint64_t{run->index} << shift);
        return {volume.OffsetOf(run->first) + into, std::min(count, (std::uint64_t{run->count} << shift) - into)};
    }
    if (!isMini) return located(chain, offset, count);
    const std::uint64_t into = offset & (kMiniSectorSize - 1);
    const std::uint64_t index = offset >> kMiniSectorShift;
    const auto place = chain.Find(committed->MiniFat(), Clamped(index),
                                  Clamped((into + count + kMiniSectorSize - 1) >> kMiniSectorShift));
    if (!place) throw Corrupt("a chain from mini sector ", chain.First(), " ends before byte ", offset);
    const std::uint64_t adjacent = std::min(count, (std::uint64_t{place->adjacent} << kMiniSectorShift) - into);
    return located(committed->MiniStream().Sectors(), (std::uint64_t{place->sector} << kMiniSectorShift) + into,
                   adjacent);
}

void StreamBody::RequireWithin(std::uint64_t offset, std::uint64_t count) const {
    if (committed->IsRetired()) throw Failure(Status::ReadFault, "the stream was opened before the last commit");
    if (committed->OnDisk().ChangedByOthers())
        throw Failure(Status::NotCurrent, "another program has changed the file while it was open");
    if (offset > size || count > size - offset)
        throw Failure(Status::ReadFault, "bytes ", offset, " to ", offset + count, " of a stream of ", size);
    if (isFresh && !isMini && committed->OnDisk().IsLost(batch))
        throw Failure(Status::ReadFault, "the stream was lost when the disk failed");
}

void StreamBody::Read(std::uint64_t offset, std::span<std::byte> bytes) {
    RequireWithin(offset, bytes.size());
    if (small != nullptr) {
        std::copy_n(small + offset, bytes.size(), bytes.begin());
        return;
    }
    try {
        ReadParts(offset, bytes);
    } catch (const Error&) {
        RequireReadable();
        throw;
    }
    RequireReadable();
}

// A chain that was found where bytes could not be read may be none.
void StreamBody::RequireReadable() {
    try {
        committed->RequireReadable();
    } catch (const Error&) {
        chain = Chain(chain.First());
        throw;
    }
}

void StreamBody::ReadParts(std::uint64_t offset, std::span<std::byte> bytes) {
    Volume& volume = committed->OnDisk();
    while (!bytes.empty()) {
        const Extent extent = ExtentAt(offset, bytes.size());
        const std::span<std::byte> part = bytes.first(static_cast<std::size_t>(extent.count));
        if (isFresh) {
            volume.ReadBack(extent.offset, part);
        } else {
            volume.Read(extent.offset, part);
            volume.CountRead(extent.offset, extent.count);
        }
        offset += extent.count;
        bytes = bytes.subspan(part.size());
    }
}

Stream::Stream(std::shared_ptr<StreamBody> body) : body_(std::move(body)) {}

std::uint64_t Stream::Size() const { return body_->size; }

void Stream::Read(std::uint64_t offset, std::span<std::byte> bytes) const { body_->Read(offset, bytes); }

const std::byte* Stream::Contiguous(std::uint64_t offset, std::uint64_t count) const {
    return body_->Contiguous(offset, count);
}

const std::byte* StreamBody::Contiguous(std::uint64_t offset, std::uint64_t count) {
    RequireWithin(offset, count);
    if (small != nullptr) return small + offset;
    static constexpr std::byte kNothing{};
    if (count == 0) return &kNothing;
    const Volume& volume = committed->OnDisk();
    if (isFresh || !volume.IsMapped()) return nullptr;
    const std::byte* bytes = nullptr;
    try {
        bytes = FindContiguous(offset, count);
    } catch (const Error&) {
        RequireReadable();
        throw;
    }
    constexpr std::uint64_t kPage = 4096;
    for (std::uint64_t at = 0; bytes != nullptr && at < count; at += kPage) Touch(bytes[at]);
    if (bytes != nullptr) Touch(bytes[count - 1]);
    RequireReadable();
    return bytes;
}

const std::byte* StreamBody::FindContiguous(std::uint64_t offset, std::uint64_t count) {
    const Volume& volume = committed->OnDisk();
    Extent extent = ExtentAt(offset, count);
    const std::uint64_t start = extent.offset;
    for (std::uint64_t known = extent.count; known < count; known += extent.count) {
        extent = ExtentAt(offset + known, count - known);
        if (extent.offset != start + known) return nullptr;
    }
    volume.CountRead(start, count);
    FileView::Window none;
    return volume.Bytes(start, count, none);
}

}  // namespace lumvex::compound
