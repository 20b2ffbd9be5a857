#include "storage/compound/read/volume.hpp"

#include <algorithm>
#include <bit>
#include <utility>

namespace lumvex::compound {

Volume::Volume(std::unique_ptr<File> file, const Header& header)
    : file_(std::move(file)), header_(header), shift_(header.SectorShift()), view_(*file_) {}

void Volume::Write(std::uint64_t offset, std::span<const Piece> pieces) {
    WriteBuffered();
    unflushed_ = true;  // before the write, which may fail after a part
    WriteNow(offset, pieces);
}

void Volume::WriteNow(std::uint64_t offset, std::span<const Piece> pieces) {
    file_->Write(offset, pieces);
    std::uint64_t size = 0;
    for (const Piece& piece : pieces) size += piece.size();
    counters_.bytesWritten += size;
    BeginFlush(offset, size);
}

// The disk begins to write long content while the program still makes more of it; otherwise it would be idle until
// Flush(). A single stream is begun at once. Of many, each request covers as much as all requests before it together,
// up to 4 MiB, so that the disk gets hardly more and shorter writes than from Flush() alone.
void Volume::BeginFlush(std::uint64_t offset, std::uint64_t size) {
    constexpr std::uint64_t kLeast = std::uint64_t{64} * 1024, kMost = std::uint64_t{4} * 1024 * 1024;
    if (offset != waitingAt_ + waiting_) waitingAt_ = offset, waiting_ = 0;
    waiting_ += size;
    if (waiting_ < std::clamp(begun_, kLeast, kMost)) return;
    file_->BeginFlush(waitingAt_, waiting_);
    begun_ += waiting_;
    waitingAt_ += std::exchange(waiting_, 0);
}

// A few large writes cost the system less than many short ones, and what was written by them is read back faster.
void Volume::WriteContent(std::uint64_t offset, std::span<const Piece> pieces) {
    unflushed_ = true;
    constexpr std::size_t kShort = std::size_t{64} * 1024, kMostBuffered = std::size_t{256} * 1024;
    std::size_t size = 0;
    for (const Piece& piece : pieces) size += piece.size();
    if (size > kShort) return Write(offset, pieces);
    if (offset != bufferAt_ + buffer_.size() || buffer_.size() + size > kMostBuffered) WriteBuffered();
    if (buffer_.empty()) bufferAt_ = offset;
    for (const Piece& piece : pieces) buffer_.insert(buffer_.end(), piece.begin(), piece.end());
}

void Volume::WriteBuffered() {
    if (buffer_.empty()) return;
    const Piece piece = buffer_;
    WriteNow(bufferAt_, std::span(&piece, 1));
    buffer_.clear();
}

void Volume::ReadBack(std::uint64_t offset, std::span<std::byte> bytes) {
    WriteBuffered();
    file_->Read(offset, bytes);
}

void Volume::Flush() {
    WriteBuffered();
    std::vector<std::byte>().swap(buffer_);
    lost_.push_back(batch_++);
    waiting_ = begun_ = 0;
    file_->Flush();
    lost_.pop_back();  // nothing was thrown: the batch is on the disk
    unflushed_ = false;
    ++counters_.flushes;
}

bool Volume::IsLost(std::uint32_t batch) const { return std::ranges::find(lost_, batch) != lost_.end(); }

void Volume::RequireCurrent(const Header& committed) {
    if (!changedByOthers_) {
        Header::Bytes found{};
        const bool isShorter = file_->Size() < view_.Size();
        if (!isShorter) file_->Read(0, found);
        const Header header(found);
        const auto isFound = [&header](const Header& each) { return header.IsSameState(each); };
        changedByOthers_ = isShorter || (!isFound(committed) && std::ranges::none_of(tried_, isFound));
    }
    if (changedByOthers_)
        throw StorageError(Status::NotCurrent, "another program has changed the file while it was open");
}

// The mark spares whoever opens the file next a flush. Nothing depends on it: it may fail, or get to the disk late.
void Volume::HeaderIsWritten() noexcept {
    tried_.clear();
    if (header_.IsKnownDurable()) return;
    header_.SetKnownDurable(true);
    try {
        const Piece mark = header_.DurableMark();
        file_->Write(Header::kDurableMarkAt, std::span(&mark, 1));
    } catch (const std::exception&) {
    }
}

void Volume::Map() {
    WriteBuffered();
    view_.Refresh();
    Measure();
}

void Volume::CutTo(std::uint64_t size) {
    view_.CutTo(size);
    Measure();
}

void Volume::Measure() {
    const std::uint64_t size = view_.Size(), whole = size >> shift_;
    sectorCount_ = whole == 0 ? 0 : static_cast<std::uint32_t>(std::min<std::uint64_t>(whole - 1, kMaxSector + 1ull));
    lastSector_.clear();
    const auto rest = static_cast<std::size_t>(size & (SectorSize() - 1));
    if (whole == 0 || rest == 0 || sectorCount_ > kMaxSector) return;
    std::vector<std::byte> last(SectorSize());
    view_.Read(size - rest, std::span(last).first(rest));
    lastSector_ = std::move(last);
    ++sectorCount_;  // after reading, which may throw
}

std::size_t Volume::LastSectorLacks() const {
    return lastSector_.empty() ? 0 : SectorSize() - static_cast<std::size_t>(view_.Size() & (SectorSize() - 1));
}

// Null where the sector's bytes are those of the file.
const std::byte* Volume::FindSector(SectorId sector) const {
    if (sector >= sectorCount_) throw Corrupt("sector ", sector, " of ", sectorCount_);
    CountRead(OffsetOf(sector), 1);
    return !lastSector_.empty() && sector == sectorCount_ - 1 ? lastSector_.data() : nullptr;
}

const std::byte* Volume::Sector(SectorId sector) {
    const std::byte* found = FindSector(sector);
    return found != nullptr ? found : view_.Page(OffsetOf(sector), SectorSize());
}

const std::byte* Volume::SectorInOrder(SectorId sector) {
    const std::byte* found = FindSector(sector);
    return found != nullptr ? found : view_.PageInOrder(OffsetOf(sector), SectorSize());
}

std::span<const std::byte> Volume::PartOfSector(SectorId sector, std::size_t at, std::size_t count) {
    const std::byte* const found = FindSector(sector);
    return found != nullptr ? std::span(found, SectorSize()).subspan(at) : view_.Part(OffsetOf(sector) + at, count);
}

void Volume::GiveBack(const std::vector<Run>& runs) const noexcept {
    for (const Run& run : runs) view_.GiveBack(OffsetOf(run.first), std::uint64_t{run.count} << shift_);
}

void Volume::FailBeyondTheEnd(std::uint64_t offset, std::uint64_t count) const {
    throw Corrupt("bytes ", offset, " to ", offset + count, " of a file of ", view_.Size());
}

const std::byte* Volume::BytesOnce(std::uint64_t offset, std::uint64_t count, FileView::Window& window,
                                   std::size_t ahead) const {
    RequireWithin(offset, count);
    return view_.BytesOnce(offset, static_cast<std::size_t>(count), window, ahead);
}

const std::byte* Volume::InPlace(std::uint64_t offset, std::uint64_t count) {
    RequireWithin(offset, count);
    return view_.InPlace(offset, count);
}

void Volume::CountSectors(std::uint64_t first, std::uint64_t last) const {
    lastTouched_ = last;
    const std::uint64_t added = touched_.Add(first, last + 1);
    counters_.sectorsRead += added;
    counters_.bytesRead += added << shift_;
}

std::uint64_t Volume::Touched::Add(std::uint64_t sector, std::uint64_t end) {
    std::uint64_t added = 0;
    while (sector < end) {
        const auto block = static_cast<std::size_t>(sector / kBits);
        if (block >= blocks_.size()) blocks_.resize(block + 1);
        if (!blocks_[block]) blocks_[block] = std::make_unique<Bits>();
        std::uint64_t& word = (*blocks_[block])[static_cast<std::size_t>(sector % kBits / kWord)];
        const std::uint64_t from = sector % kWord, count = std::min(kWord - from, end - sector);
        const std::uint64_t bits = ~std::uint64_t{0} >> (kWord - count) << from;
        added += static_cast<std::uint64_t>(std::popcount(bits & ~word));
        word |= bits;
        sector += count;
    }
    return added;
}

}  // namespace lumvex::compound
