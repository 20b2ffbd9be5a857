// Looks for the sectors of the mini stream, where the FAT does not say all of them: by the streams that begin and end
// in them.
#pragma once

#include <utility>

#include "storage/compound/salvage/salvaged_file.hpp"

namespace lumvex::compound {

class SalvagedFile::MiniStreamSearch {
public:
    // `beginnings`: mini sectors in which streams begin, as the directory and the mini FAT say.
    MiniStreamSearch(const SalvagedFile& file, const std::vector<SectorId>& beginnings);

    // So many pages from that sector on. To be called once.
    void Run(SectorId start, std::uint64_t count);

    const std::vector<SectorId>& Pages() const { return pages_; }
    // So many of them, from the first one on, are those that listed pages of the FAT lead to.
    std::uint32_t CertainPages() const { return certain_; }
    // Pages to which no certain link leads.
    const std::unordered_set<std::size_t>& GuessedPages() const { return guessed_; }

private:
    using Places = std::uint64_t;  // a bit for each mini sector of a page

    // How well pages fit sectors, and where in them the first beginnings are expected.
    struct Fit {
        int points = 0;
        bool hasAll = true;  // all streams that are expected begin there
        std::uint32_t first = kRun;
    };
    // A chain of the FAT, as far as it is certain, and the page from which on it would be put.
    struct Placing {
        int points;
        bool isNext;  // it follows the sector of the page before
        std::vector<SectorId> chain;
        std::size_t page;
    };
    static constexpr std::uint32_t kRun = 64;  // pages that are looked at together

    void NoteEnds();
    Places ExpectedIn(std::uint32_t page) const;
    Places BeginningsIn(SectorId sector);
    const std::vector<std::uint8_t>& LengthsIn(SectorId sector);
    int PointsOfBeginnings(std::uint32_t page, SectorId sector);
    int PointsOfEnds(std::uint32_t page, SectorId sector);
    int PointsOf(std::uint32_t page, SectorId sector) {
        return PointsOfBeginnings(page, sector) + PointsOfEnds(page, sector);
    }
    bool HasAll(std::uint32_t page, SectorId sector) { return (ExpectedIn(page) & ~BeginningsIn(sector)) == 0; }
    Fit FitFrom(std::uint32_t page, SectorId sector);
    const std::vector<SectorId>& Holders();

    void Walk(SectorId start, std::uint64_t count);
    SectorId Best(std::uint32_t page, SectorId guess);
    std::vector<SectorId> ChainFrom(SectorId begin) const;
    void PutUnowned();
    bool IsLinked(std::size_t page) const;
    std::vector<bool> WrongPages();
    std::vector<Placing> PlacingsIn(const std::vector<bool>& open, const std::unordered_set<SectorId>& taken);
    void Rearrange();

    const SalvagedFile& file_;
    const PerPage perPage_;
    std::size_t tries_ = 1'000'000;  // fits that are looked at; some seconds
    std::unordered_map<std::uint32_t, Places> expected_;
    // Zeros follow a stream in its last mini sector: in which of a page this is known, and after how many bytes.
    std::unordered_map<std::uint32_t, std::vector<std::pair<std::uint32_t, std::size_t>>> ends_;
    std::unordered_map<SectorId, Places> beginnings_;
    std::unordered_map<SectorId, std::vector<std::uint8_t>> lengths_;
    std::optional<std::vector<SectorId>> holders_;
    std::vector<SectorId> pages_;
    std::unordered_set<SectorId> used_;
    std::unordered_set<std::size_t> guessed_;
    std::uint32_t certain_ = 0;
};

}  // namespace lumvex::compound
