// Reads a compound file whose structures may be damaged: what is left of the tables is used, the rest is worked out
// from what the sectors hold. Directory entries are recognised wherever they are, without the chain that leads to them;
// pages of the FAT and of the mini FAT by their content, where the header or the DIFAT does not lead to them; and where
// no page says which sector follows, the next one in the file that belongs to nothing else is taken to follow. The
// caller says what the streams that it looks for begin with, and decides by their content which of several answers is
// right.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "storage/compound/file/file_view.hpp"
#include "storage/compound/format/format.hpp"

namespace lumvex::compound {

// Bytes of a stream that are side by side in the file, or that are lost.
struct Extent {
    static constexpr std::uint64_t kLost = ~std::uint64_t{0};
    std::uint64_t offset;  // in the file
    std::uint64_t count;

    bool operator==(const Extent&) const = default;
};

// A directory entry of a stream.
struct SalvagedEntry {
    std::u16string name;
    SectorId start;
    std::uint64_t size;
    // What speaks for it: an older state of the file may have left entries in sectors that are free now. Likely: a
    // directory that tables of uncertain origin lead to has it.
    enum class Standing { Free, Unknown, Likely, Current } standing;
};

class SalvagedFile {
public:
    // May a stream that is looked for begin with these bytes? There are 64 of them.
    using Begins = std::function<bool(std::span<const std::byte>)>;

    SalvagedFile(File& file, Begins begins);

    std::uint64_t Size() const { return size_; }
    std::uint64_t SectorSize() const { return std::uint64_t{1} << shift_; }
    // False where a part of the bytes is behind the end of the file or cannot be read; that part is zeros.
    bool Read(std::uint64_t offset, std::span<std::byte> bytes) const;

    const std::vector<SalvagedEntry>& Entries() const { return entries_; }
    // The file's own directory could be followed to its end: it has no entries but the current ones.
    bool IsDirectoryWhole() const { return directoryWhole_; }

    // How the sectors of a stream are found: by the tables as far as they lead; as if they were side by side, those of
    // a small stream in the mini stream; or, of a small stream whose beginning alone is known, side by side in the
    // file.
    enum class Way { Chain, Adjacent, Beside };
    std::vector<Extent> ExtentsOf(const SalvagedEntry& entry, Way way) const;

    // What the tables say of an entry, where they are those of the file's last state: whether a chain begins at its
    // start that is as long as its stream. Contradicted: it is one of an older state, or a table is damaged.
    enum class Verdict { Contradicted, Unknown, Confirmed };
    Verdict JudgeChain(const SalvagedEntry& entry) const;
    // Is it a long stream whose chain ends where it does, in tables of whatever state?
    bool IsWholeLarge(const SalvagedEntry& entry) const;
    // Where no table that is certain says which sectors a long stream has: with each chain to which nothing leads, and
    // which is as long as its rest.
    std::vector<std::vector<Extent>> WithOtherRests(const SalvagedEntry& entry) const;
    // The same for a long stream whose last sector is uncertain, of which these are the extents: once with each other
    // sector that may be the last one. In such a sector zeros begin where the stream ends.
    std::vector<std::vector<Extent>> WithOtherEnds(const std::vector<Extent>& extents) const;
    // Nothing about the place of its stream was guessed, if it is read by way of the chain.
    bool IsCertain(const SalvagedEntry& entry) const;

    // Are there zeros from the end of the stream to that of its last mini sector?
    bool EndsInZeros(const std::vector<Extent>& extents) const;

    // Where streams without an entry may begin: ascending offsets in the file of sectors and mini sectors whose content
    // begins as one, and which the tables do not call free.
    std::vector<std::uint64_t> Beginnings() const;
    // A stream that begins at such an offset: to the end of its chain or, where nothing says where that is, as far as
    // `most` bytes. `ends`: the file ended before.
    struct Unnamed {
        std::vector<Extent> extents;
        bool isMini;
        bool ends;
        bool isWholeChain;  // the tables lead from its beginning to its end
    };
    Unnamed ExtentsFrom(std::uint64_t offset, std::uint64_t most, Way way) const;
    bool BeginsAt(std::uint64_t offset) const;
    // Is a part of it in a sector that was taken for two parts of the mini stream, or that was guessed in a file that
    // has sectors of older states?
    bool IsDisputed(const std::vector<Extent>& extents) const;
    // Could the sector of the second place be a part of the mini stream instead of that of the first one?
    bool MayBeElsewhere(std::uint64_t offset, std::uint64_t other) const;
    // Is the place in a sector that was found to be one of the mini stream, or was none found?
    bool MayBeInMiniStream(std::uint64_t offset) const;

private:
    class MiniStreamSearch;  // mini_stream_search.hpp

    static constexpr std::size_t kLook = kMiniSectorSize;  // bytes by which the beginning of a stream is told
    static constexpr std::size_t kBlock = 65536;           // bytes; read at once where the whole file is gone through
    static bool IsRegular(SectorId sector) { return sector <= kMaxSector; }

    // For each sector the next one of its chain, or a mark; kUnknown where no page says it.
    static constexpr SectorId kUnknown = kMaxSector + 1;
    struct Table {
        std::vector<SectorId> next;
        std::vector<bool> isListed;  // the page that says it was listed in the header, the DIFAT or a chain
        // A page says that the sector follows another, or an entry that a stream begins there.
        std::vector<bool> follows;
        std::vector<bool> followsCertainly;  // a page that was listed says that it follows another

        SectorId Next(SectorId sector) const { return sector < next.size() ? next[sector] : kUnknown; }
        bool IsTaken(SectorId sector) const;
        // Does a page that was listed say which sector is next?
        bool IsCertain(SectorId sector) const {
            return sector < next.size() && isListed[sector] && next[sector] < next.size();
        }
        bool IsCertainlyFree(SectorId sector) const { return Next(sector) == kFreeSector && isListed[sector]; }
        // No chain begins here.
        bool IsNoBeginning(SectorId sector) const {
            return IsCertainlyFree(sector) || (sector < next.size() && followsCertainly[sector]);
        }
    };
    struct Root {
        SectorId start;
        std::uint64_t size;
        SalvagedEntry::Standing standing;
    };
    using Page = std::vector<SectorId>;

    std::uint64_t OffsetOf(SectorId sector) const { return (std::uint64_t{sector} + 1) << shift_; }
    std::uint64_t SectorsFor(std::uint64_t bytes) const { return (bytes + (std::uint64_t{1} << shift_) - 1) >> shift_; }

    Header FindHeader() const;
    unsigned ShiftOf(const Header& header) const;
    void FindEntries();
    void NoteEntry(std::uint64_t offset, const std::byte* bytes);
    bool IsLarge(const SalvagedEntry& entry) const { return entry.size >= kMiniCutoff; }

    Page ReadPage(SectorId sector) const;
    static bool Looks(Page& page, std::uint32_t first, std::uint64_t limit);
    std::vector<SectorId> ListedFatPages(const Header& header) const;
    static void Adopt(Table& table, std::uint32_t index, const Page& page, bool isListed);
    static std::map<std::uint32_t, std::size_t> PlacesOf(const Page& page);
    static bool IsMisplaced(const Page& page, std::uint32_t index);
    void SearchPages(Table& table, bool large);
    int Fits(const Page& page, std::uint32_t first, bool large) const;
    int Agreement(const Table& table, const Page& page, std::uint32_t first) const;
    static void NoteLinks(Table& table);
    void NoteFollowers(Table& table, bool large);

    void JudgeEntries();
    std::unordered_map<SectorId, SalvagedEntry::Standing> LikelyDirectory() const;
    void FindMiniStream();
    void ReadMiniFat(std::uint64_t miniSectors);
    std::vector<SectorId> MiniBeginnings() const;
    std::size_t MiniHits(SectorId start, const std::vector<SectorId>& beginnings) const;
    int ChainHits(SectorId start, const std::vector<SectorId>& beginnings) const;
    std::vector<SectorId> UnownedChains() const;
    std::size_t Likeness(SectorId one, SectorId other) const;
    std::vector<bool> UnsteadyPages() const;
    void NoteUnowned();
    bool MayBeEnd(SectorId sector) const;
    void NoteEnds();
    std::optional<SectorId> MiniStart(const std::vector<SectorId>& beginnings, bool& isCertain) const;

    std::vector<SectorId> Follow(const Table& table, SectorId first, std::uint64_t count, Way way) const;
    std::vector<Extent> Joined(const std::vector<SectorId>& sectors, bool isMini, std::uint64_t size) const;
    std::uint64_t OffsetOfMini(SectorId sector) const;  // Extent::kLost where it has no place

    File& file_;
    Begins begins_;
    mutable FileView view_;
    std::uint64_t size_ = 0;
    unsigned shift_ = 9;
    std::uint64_t sectors_ = 0;  // in the file, the last one perhaps in part
    bool hasHeader_ = false, directoryWhole_ = false;
    std::vector<SalvagedEntry> entries_;
    std::vector<std::uint64_t> entryOffsets_;  // where in the file each of them is
    std::vector<Root> roots_;
    std::vector<std::uint64_t> rootOffsets_;
    Table fat_, miniFat_;
    std::multimap<std::uint64_t, SectorId> unowned_;  // chains of the FAT to which nothing leads, by their length
    std::multimap<std::uint64_t, SectorId> ends_;     // sectors that may end a stream, by what is before their zeros
    std::unordered_set<SectorId> listedFat_;          // sectors that hold the FAT, as the header and the DIFAT say
    std::unordered_set<SectorId> miniFatSectors_;     // of pages of the mini FAT that were found by their content
    SectorId firstDirectory_ = kEndOfChain, firstMiniFat_ = kEndOfChain;  // as the header says
    std::vector<SectorId> miniPages_;
    std::vector<SectorId> miniBeginnings_;  // where streams begin in them, as tables and entries say; ascending
    std::uint32_t certainMiniPages_ = 0;    // so many, from the first one on, are those that listed pages lead to
    std::map<SectorId, std::uint32_t> pageOfSector_;  // in the mini stream
    std::unordered_set<std::size_t> guessedPages_;    // of them, those to which no certain link leads
    std::vector<bool> unsteady_;                      // by page
    std::unordered_set<SectorId> disputed_;           // that are two of its pages, or a guess among several states
};

}  // namespace lumvex::compound
