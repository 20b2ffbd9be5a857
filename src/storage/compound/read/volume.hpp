// The committed file as a set of sectors: everything that is read of it goes through here, is checked against the
// file's length and counted.
#pragma once

#include <bitset>
#include <memory>
#include <vector>

#include "storage/compound/compound_file.hpp"
#include "storage/compound/file/file_view.hpp"
#include "storage/compound/format/format.hpp"
#include "storage/compound/format/pages.hpp"

namespace lumvex::compound {

class Volume {
public:
    // Of a file that holds no committed state yet.
    Volume(std::unique_ptr<File> file, const Header& header);

    File& OnDisk() const { return *file_; }
    const Header& Head() const { return header_; }
    CompoundFile::Statistics& Counters() const { return counters_; }

    unsigned SectorShift() const { return shift_; }
    std::size_t SectorSize() const { return std::size_t{1} << shift_; }
    std::uint64_t OffsetOf(SectorId sector) const { return (std::uint64_t{sector} + 1) << shift_; }
    std::uint64_t SectorsFor(std::uint64_t bytes) const { return (bytes + SectorSize() - 1) >> shift_; }

    // Sectors of the file as last mapped; a last one that the file cuts short is one of them.
    std::uint32_t SectorCount() const { return sectorCount_; }
    std::size_t LastSectorLacks() const;  // bytes

    // A whole sector of the file's own structures. What a cut-short last sector lacks is zero.
    const std::byte* Sector(SectorId sector);

    // count bytes of a stream from an offset of the file on, where they are or in the window. Corrupt beyond the end.
    const std::byte* Bytes(std::uint64_t offset, std::uint64_t count, FileView::Window& window, std::size_t ahead = 0) const;
    void Read(std::uint64_t offset, std::span<std::byte> bytes);
    bool IsMapped() const { return view_.IsMapped(); }

    // What was read where the file is mapped may be zeros instead, unless it is whole.
    File::Shown LookAtMap() const { return view_.IsMapped() ? file_->LookAtMap() : File::Shown::Whole; }
    void ReadPageByPage() noexcept { view_.ReadPageByPage(); }  // from now on, without a mapping

    void CountRead(std::uint64_t offset, std::uint64_t count) const;  // each sector counts once

    void Write(std::uint64_t offset, std::span<const Piece> pieces);
    void Flush();
    bool HasUnflushed() const { return unflushed_; }

    // What is written between two flushes is one batch. A batch whose flush failed counts as lost: the system may have
    // dropped it, and shows it all the same as long as it has it in memory.
    std::uint32_t Batch() const { return batch_; }  // of what is written now
    bool IsLost(std::uint32_t batch) const;

    // Content of streams. Short pieces that follow each other in the file are gathered and written together, at the
    // latest by Write, Flush and Map. Where that fails they are kept for the next attempt, so none of these comes
    // through without them.
    void WriteContent(std::uint64_t offset, std::span<const Piece> pieces);
    void ForgetGathered() noexcept { gathered_.clear(); }  // nothing refers to it any more
    void ReadBack(std::uint64_t offset, std::span<std::byte> bytes);  // as last written

    // Throws NotCurrent, from then on always, where the file is shorter than it was or begins with a header that is
    // neither the committed one nor one that was tried in vain to be written: another program has changed it.
    void RequireCurrent(const Header& committed);
    bool ChangedByOthers() const { return changedByOthers_; }
    void AboutToWrite(const Header& header) { tried_.push_back(header); }
    void HeaderIsWritten() noexcept;  // and flushed, which is marked in it

    void Map();  // makes what the file has become visible; views move
    void Adopt(const Header& header) { header_ = header; }
    void ForgetTail(std::uint64_t size);  // the file ends here now

private:
    // One bit per sector of the file, made as sectors are touched.
    class Touched {
    public:
        bool Add(std::uint64_t sector);  // false when it was there

    private:
        static constexpr std::size_t kBits = 4096;
        std::vector<std::unique_ptr<std::bitset<kBits>>> blocks_;
    };

    void Measure();
    void RequireWithin(std::uint64_t offset, std::uint64_t count) const;
    void WriteGathered();

    std::unique_ptr<File> file_;
    Header header_;
    unsigned shift_;
    FileView view_;
    std::uint32_t sectorCount_ = 0;
    bool unflushed_ = false;
    std::uint32_t batch_ = 0;
    std::vector<std::uint32_t> lost_;  // batches
    std::vector<Header> tried_;
    bool changedByOthers_ = false;
    std::vector<std::byte> lastSector_;  // completed copy where the file cuts it short
    std::vector<std::byte> gathered_;  // to be written from gatheredAt_ on
    std::uint64_t gatheredAt_ = 0;
    mutable CompoundFile::Statistics counters_;
    mutable Touched touched_;
};

}  // namespace lumvex::compound
