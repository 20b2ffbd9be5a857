#include "storage/compound/read/stream_body.hpp"

#include <algorithm>
#include <utility>

namespace lumvex::compound {

namespace {

// Reads the byte although nobody uses it; the compiler must not leave that out.
void Touch(const std::byte& byte) { static_cast<void>(*const_cast<const volatile std::byte*>(&byte)); }

std::uint32_t Clamped(std::uint64_t count) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, kMaxSector));
}

}  // namespace

StreamBody::StreamBody(std::shared_ptr<Committed> from, EntryId id)
    : StreamBody(from, from->At(id).Start(), from->At(id).Size(from->GetVolume().Head().Version())) {}

StreamBody::StreamBody(std::shared_ptr<Committed> from, SectorId start, std::uint64_t bytes)
    : committed(std::move(from)), size(bytes), isMini(committed->IsMini(bytes)) {
    const Volume& volume = committed->GetVolume();
    const std::uint64_t most =
        isMini ? committed->MiniStreamSize() : std::uint64_t{volume.SectorCount()} << volume.SectorShift();
    if (size > most) throw Corrupt("a stream of ", size, " bytes where there are ", most);
    chain = Chain(size == 0 ? kEndOfChain : start);
}

StreamBody::StreamBody(std::shared_ptr<Committed> from, UncommittedContent content)
    : committed(std::move(from)),
      size(content.size),
      isMini(committed->IsMini(size)),
      uncommitted(std::move(content)) {}

StreamBody::Extent StreamBody::ExtentInChain(Chain& sectors, std::uint64_t offset, std::uint64_t count) {
    const Volume& volume = committed->GetVolume();
    const unsigned shift = volume.SectorShift();
    const std::uint64_t first = offset >> shift, last = (offset + count - 1) >> shift;
    const auto place = sectors.Find(committed->Fat(), Clamped(first), Clamped(last - first + 1));
    if (!place) throw Corrupt("a chain from sector ", sectors.First(), " ends before byte ", offset);
    const std::uint64_t into = offset & (volume.SectorSize() - 1);
    return {volume.OffsetOf(place->sector) + into, std::min(count, (std::uint64_t{place->adjacent} << shift) - into)};
}

StreamBody::Extent StreamBody::ExtentAt(std::uint64_t offset, std::uint64_t count) {
    if (uncommitted) {
        const Volume& volume = committed->GetVolume();
        const unsigned shift = volume.SectorShift();
        const Run& run = RunAt(uncommitted->runs, Clamped(offset >> shift));
        const std::uint64_t into = offset - (std::uint64_t{run.index} << shift);
        return {volume.OffsetOf(run.first) + into, std::min(count, (std::uint64_t{run.count} << shift) - into)};
    }
    if (!isMini) return ExtentInChain(chain, offset, count);
    const std::uint64_t into = offset & (kMiniSectorSize - 1);
    const auto place =
        chain.Find(committed->MiniFat(), Clamped(offset >> kMiniSectorShift), Clamped(MiniSectorsFor(into + count)));
    if (!place) throw Corrupt("a chain from mini sector ", chain.First(), " ends before byte ", offset);
    const std::uint64_t adjacent = std::min(count, (std::uint64_t{place->adjacent} << kMiniSectorShift) - into);
    return ExtentInChain(committed->MiniStream().Sectors(), (std::uint64_t{place->sector} << kMiniSectorShift) + into,
                         adjacent);
}

void StreamBody::RequireWithin(std::uint64_t offset, std::uint64_t count) const {
    if (committed->IsRetired()) throw StorageError(Status::ReadFault, "the stream was opened before the last commit");
    if (committed->GetVolume().ChangedByOthers())
        throw StorageError(Status::NotCurrent, "another program has changed the file while it was open");
    if (offset > size || count > size - offset)
        throw StorageError(Status::ReadFault, "bytes ", offset, " to ", offset + count, " of a stream of ", size);
    if (uncommitted && !isMini && committed->GetVolume().IsLost(uncommitted->batch))
        throw StorageError(Status::ReadFault, "the stream was lost when the disk failed");
}

void StreamBody::Read(std::uint64_t offset, std::span<std::byte> bytes) {
    RequireWithin(offset, bytes.size());
    if (uncommitted && uncommitted->small != nullptr) {
        std::copy_n(uncommitted->small + offset, bytes.size(), bytes.begin());
        return;
    }
    try {
        ReadParts(offset, bytes);
    } catch (const StorageError&) {
        RequireReadable();
        throw;
    }
    RequireReadable();
}

// Where bytes could not be read, the part of the chain that was found so far may be wrong: it is forgotten.
void StreamBody::RequireReadable() {
    try {
        committed->RequireReadable();
    } catch (const StorageError&) {
        chain = Chain(chain.First());
        throw;
    }
}

void StreamBody::ReadParts(std::uint64_t offset, std::span<std::byte> bytes) {
    Volume& volume = committed->GetVolume();
    while (!bytes.empty()) {
        const Extent extent = ExtentAt(offset, bytes.size());
        const std::span<std::byte> part = bytes.first(static_cast<std::size_t>(extent.count));
        if (uncommitted) {
            volume.ReadBack(extent.offset, part);
        } else {
            volume.Read(extent.offset, part);
            volume.CountRead(extent.offset, extent.count);
        }
        offset += extent.count;
        bytes = bytes.subspan(part.size());
    }
}

const std::byte* StreamBody::Contiguous(std::uint64_t offset, std::uint64_t count) {
    RequireWithin(offset, count);
    if (uncommitted && uncommitted->small != nullptr) return uncommitted->small + offset;
    static constexpr std::byte kNothing{};
    if (count == 0) return &kNothing;
    if (uncommitted) return nullptr;
    const std::byte* bytes = nullptr;
    try {
        bytes = FindContiguous(offset, count);
    } catch (const StorageError&) {
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
    Volume& volume = committed->GetVolume();
    Extent extent = ExtentAt(offset, count);
    const std::uint64_t start = extent.offset;
    for (std::uint64_t known = extent.count; known < count; known += extent.count) {
        extent = ExtentAt(offset + known, count - known);
        if (extent.offset != start + known) return nullptr;
    }
    const std::byte* bytes = volume.InPlace(start, count);
    if (bytes != nullptr) volume.CountRead(start, count);
    return bytes;
}

}  // namespace lumvex::compound
