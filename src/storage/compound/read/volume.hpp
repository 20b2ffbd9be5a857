// The file as a set of sectors. Whatever is read of the committed state goes through here, where it is checked against
// the file's length and counted.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "storage/compound/file/file_view.hpp"
#include "storage/compound/format/format.hpp"
#include "storage/compound/format/sector_table.hpp"
#include "storage/compound/read/statistics.hpp"

namespace lumvex::compound {

class Volume {
public:
    // Sees nothing of the file until Map().
    Volume(std::unique_ptr<File> file, const Header& header);

    File& GetFile() const { return *file_; }
    const Header& Head() const { return header_; }
    Statistics& Counters() const { return counters_; }

    unsigned SectorShift() const { return shift_; }
    std::size_t SectorSize() const { return std::size_t{1} << shift_; }
    std::uint64_t OffsetOf(SectorId sector) const { return (std::uint64_t{sector} + 1) << shift_; }
    std::uint64_t SectorsFor(std::uint64_t bytes) const { return (bytes + SectorSize() - 1) >> shift_; }

    // Sectors of the file as last mapped. A file may end within its last sector, which counts all the same.
    std::uint32_t SectorCount() const { return sectorCount_; }
    std::size_t LastSectorLacks() const;  // so many bytes of the last sector are missing

    // A whole sector of the file's own structures; bytes that the last sector lacks are zero. Corrupt beyond the end.
    const std::byte* Sector(SectorId sector);
    const std::byte* SectorInOrder(SectorId sector);  // of a structure whose sectors are mostly asked for in order
    // What is at hand from byte `at` of a sector on, at least so many bytes: the sector is not read whole for them.
    std::span<const std::byte> PartOfSector(SectorId sector, std::size_t at, std::size_t count);
    void GiveBack(const std::vector<Run>& runs) const noexcept;  // sectors that will hardly be read again

    // count bytes of a stream from an offset of the file on, in the mapping or in the window. Corrupt beyond the end.
    const std::byte* Bytes(std::uint64_t offset, std::uint64_t count, FileView::Window& window,
                           std::size_t ahead = 0) const {
        RequireWithin(offset, count);
        return view_.Bytes(offset, static_cast<std::size_t>(count), window, ahead);
    }
    const std::byte* BytesOnce(std::uint64_t offset, std::uint64_t count, FileView::Window& window,
                               std::size_t ahead = 0) const;  // for who reads every byte once
    void Read(std::uint64_t offset, std::span<std::byte> bytes) {
        RequireWithin(offset, bytes.size());
        view_.Read(offset, bytes);
    }
    // The same without a window; null where that is not possible. Valid until Map.
    const std::byte* InPlace(std::uint64_t offset, std::uint64_t count);

    bool IsMapped() const { return view_.IsMapped(); }
    // Unless the answer is Whole, bytes that were read through the mapping may have been zeros in place of the file's.
    File::Shown LookAtMap() const { return IsMapped() ? file_->LookAtMap() : File::Shown::Whole; }
    void ReadPageByPage() noexcept { view_.ReadPageByPage(); }  // from now on, without a mapping

    void CountRead(std::uint64_t offset, std::uint64_t count) const {  // each sector counts once
        if (count == 0) return;
        const std::uint64_t first = offset >> shift_, last = (offset + count - 1) >> shift_;
        if (first != last || last != lastTouched_) CountSectors(first, last);
    }

    void Write(std::uint64_t offset, std::span<const Piece> pieces);
    void Flush();
    bool HasUnflushed() const { return unflushed_; }

    // What is written between two flushes is one batch. A batch whose flush failed counts as lost: the system may have
    // dropped it, although it can still be read for as long as the system has it in memory.
    std::uint32_t Batch() const { return batch_; }  // the one that what is written now belongs to
    bool IsLost(std::uint32_t batch) const;

    // Content of streams. Short pieces that follow each other in the file are buffered and written together, at the
    // latest by Write, Flush, ReadBack or Map. Where writing them fails the buffer stays as it is, and the next of
    // these calls tries again, so none of them succeeds without it.
    void WriteContent(std::uint64_t offset, std::span<const Piece> pieces);
    void DropBuffered() noexcept { buffer_.clear(); }                 // when nobody needs that content any more
    void ReadBack(std::uint64_t offset, std::span<std::byte> bytes);  // as last written

    // Throws NotCurrent where another program has changed the file: where it is shorter than it was, or begins with a
    // header that is neither the committed one nor one that a failed commit tried to write. From then on it always
    // does.
    void RequireCurrent(const Header& committed);
    bool ChangedByOthers() const { return changedByOthers_; }
    void AboutToWrite(const Header& header) { tried_.push_back(header); }
    void HeaderIsWritten() noexcept;  // to be called when it was flushed too; marks it as such in the file

    // Looks at the file again; what was read before may have moved in memory.
    void Map();
    void Adopt(const Header& header) { header_ = header; }
    void CutTo(std::uint64_t size);  // the file was made as short as this

private:
    // One bit per sector of the file, made as sectors are touched.
    class Touched {
    public:
        std::uint64_t Add(std::uint64_t sector, std::uint64_t end);  // how many of them were not there

    private:
        static constexpr std::uint64_t kWord = 64, kBits = 64 * kWord;
        using Bits = std::array<std::uint64_t, kBits / kWord>;
        std::vector<std::unique_ptr<Bits>> blocks_;
    };

    void Measure();
    const std::byte* FindSector(SectorId sector) const;
    void RequireWithin(std::uint64_t offset, std::uint64_t count) const {
        if (offset > view_.Size() || count > view_.Size() - offset) FailBeyondTheEnd(offset, count);
    }
    [[noreturn]] void FailBeyondTheEnd(std::uint64_t offset, std::uint64_t count) const;
    void CountSectors(std::uint64_t first, std::uint64_t last) const;
    void WriteBuffered();
    void WriteNow(std::uint64_t offset, std::span<const Piece> pieces);
    void BeginFlush(std::uint64_t offset, std::uint64_t size);

    std::unique_ptr<File> file_;
    Header header_;
    unsigned shift_;
    FileView view_;
    std::uint32_t sectorCount_ = 0;
    bool unflushed_ = false;
    std::uint32_t batch_ = 0;
    std::vector<std::uint32_t> lost_;  // batches
    std::vector<Header> tried_;        // headers that may be in the file, since writing them failed
    bool changedByOthers_ = false;
    std::vector<std::byte> lastSector_;  // with zeros for what it lacks; empty where the file has all of it
    std::vector<std::byte> buffer_;      // stream content, to be written from bufferAt_ on
    std::uint64_t bufferAt_ = 0;
    std::uint64_t waitingAt_ = 0, waiting_ = 0;  // adjacent bytes that the disk was not asked to begin with yet
    std::uint64_t begun_ = 0;                    // those that it was, since the last flush
    mutable Statistics counters_;
    mutable Touched touched_;
    mutable std::uint64_t lastTouched_ = ~std::uint64_t{0};  // a sector; small streams are often read from one
};

}  // namespace lumvex::compound
