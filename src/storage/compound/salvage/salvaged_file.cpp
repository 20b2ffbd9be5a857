#include "storage/compound/salvage/salvaged_file.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "storage/compound/format/object_name.hpp"

namespace lumvex::compound {

namespace {

constexpr std::uint32_t kFirstGeneration = 2;  // of a header that was written once
constexpr std::size_t kBlock = 65536;          // read at once where the whole file is gone through
constexpr std::size_t kObjectNameLength = 26;
constexpr std::size_t kLook = kMiniSectorSize;  // bytes by which the beginning of a stream is told

bool IsRegular(SectorId sector) { return sector <= kMaxSector; }

bool IsAllZero(std::span<const std::byte> bytes) {
    return std::ranges::all_of(bytes, [](std::byte each) { return each == std::byte{0}; });
}

// The first characters of an entry, whatever its other fields say: a damaged one must not cost the name of an object.
std::u16string ObjectNameAt(const std::byte* entry) {
    std::u16string name;
    for (std::size_t at = 0; at < kObjectNameLength; ++at) name.push_back(Load<char16_t>(entry + 2 * at));
    return IdOfName(name) && Load<char16_t>(entry + 2 * kObjectNameLength) == 0 ? name : std::u16string();
}

// The name of another stream, where all of the entry looks like one.
std::u16string OtherNameAt(const std::byte* bytes) {
    const DirectoryEntry entry(bytes);
    const std::uint16_t count = entry.NameBytes();
    if (entry.Type() != EntryType::Stream || bytes[67] > std::byte{1} || entry.Child() != kNoEntry) return {};
    if (count < 4 || count > 64 || count % 2 != 0) return {};
    std::array<char16_t, kMaxNameLength> buffer;
    const std::u16string_view name = entry.Name(buffer);
    if (std::ranges::any_of(name, [](char16_t unit) { return unit == 0; })) return {};
    if (!IsAllZero(std::span(bytes + count - 2, 64 - count + 2u))) return {};
    return std::u16string(name);
}

bool IsRoot(const std::byte* bytes) {
    constexpr std::u16string_view kName = u"Root Entry";
    for (std::size_t at = 0; at < kName.size(); ++at)
        if (Load<char16_t>(bytes + 2 * at) != kName[at]) return false;
    return true;
}

}  // namespace

bool SalvagedFile::Table::IsTaken(SectorId sector) const {
    if (sector >= next.size()) return false;
    return follows[sector] || next[sector] == kFreeSector || next[sector] == kFatSector || next[sector] == kDifatSector;
}

SalvagedFile::SalvagedFile(File& file, Begins begins) : file_(file), begins_(std::move(begins)), view_(file) {
    view_.Refresh();
    size_ = view_.Size();
    Header::Bytes bytes{};
    Read(0, bytes);
    const Header header(bytes);
    FindEntries();
    if (view_.IsMapped() && file_.LookAtMap() != File::Shown::Whole) {  // a part that cannot be read showed as zeros
        view_.ReadPageByPage();
        entries_.clear(), entryOffsets_.clear(), roots_.clear(), rootOffsets_.clear();
        FindEntries();
    }
    shift_ = ShiftOf(header);
    sectors_ = size_ <= OffsetOf(0) ? 0 : SectorsFor(size_ - OffsetOf(0));
    hasHeader_ = header.SectorShift() == shift_ && header.MiniCutoff() == kMiniCutoff;
    isFirstState_ = hasHeader_ && header.Generation() == kFirstGeneration;
    const std::uint32_t perPage = TableEntriesPerPage(shift_).Count();
    const std::vector<SectorId> listed = hasHeader_ ? ListedFatPages(header) : std::vector<SectorId>();
    const std::uint64_t pages = std::max<std::uint64_t>(listed.size(), (sectors_ + perPage - 1) / perPage);
    fat_.next.assign(static_cast<std::size_t>(pages * perPage), kUnknown);
    fat_.isListed.assign(fat_.next.size(), false);
    for (std::uint32_t index = 0; index < listed.size(); ++index) {
        Page page = ReadPage(listed[index]);
        if (Looks(page, index * perPage, fat_.next.size())) Adopt(fat_, index, page, true);
    }
    SearchPages(fat_, true);
    NoteFollowers(fat_, true);
    JudgeEntries(header);
    FindMiniStream(header);
}

bool SalvagedFile::Read(std::uint64_t offset, std::span<std::byte> bytes) const {
    constexpr std::size_t kPiece = 512;
    std::ranges::fill(bytes, std::byte{0});
    if (offset >= size_) return bytes.empty();
    const auto there = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), size_ - offset));
    bool whole = there == bytes.size();
    try {
        view_.Read(offset, bytes.first(there));
        return whole;
    } catch (const StorageError&) {  // then as much of it as can be read
    }
    for (std::size_t at = 0; at < there; at += kPiece) {
        const auto piece = bytes.subspan(at, std::min(kPiece, there - at));
        try {
            view_.Read(offset + at, piece);
        } catch (const StorageError&) {
            std::ranges::fill(piece, std::byte{0});
            whole = false;
        }
    }
    return whole;
}

bool SalvagedFile::BeginsAt(std::uint64_t offset) const {
    std::array<std::byte, kLook> bytes;
    Read(offset, bytes);
    return offset < size_ && begins_(bytes);
}

// Where the header's fields do not agree: that size under which more streams begin as they should or, without streams,
// that of a file whose header is not followed by zeros.
unsigned SalvagedFile::ShiftOf(const Header& header) const {
    const bool says3 = header.Version() == 3, says4 = header.Version() == 4;
    if (says3 && header.SectorShift() == 9) return 9;
    if (says4 && header.SectorShift() == 12) return 12;
    std::size_t hits3 = 0, hits4 = 0;
    for (const SalvagedEntry& entry : entries_) {
        if (!IsLarge(entry)) continue;
        if (BeginsAt((std::uint64_t{entry.start} + 1) << 9)) ++hits3;
        if (BeginsAt((std::uint64_t{entry.start} + 1) << 12)) ++hits4;
    }
    if (hits3 != hits4) return hits3 > hits4 ? 9 : 12;
    std::vector<std::byte> rest(4096 - kHeaderSize);
    return Read(kHeaderSize, rest) && IsAllZero(rest) ? 12 : 9;
}

// ---- the directory --------------------------------------------------------------------------------------------------

// Entries begin at multiples of their size in the file as well, since sectors do.
void SalvagedFile::FindEntries() {
    std::vector<std::byte> block(kBlock);
    for (std::uint64_t offset = 0; offset < size_; offset += kBlock) {
        Read(offset, block);
        for (std::size_t at = 0; at < kBlock && offset + at < size_; at += kEntrySize)
            NoteEntry(offset + at, &block[at]);
    }
}

void SalvagedFile::NoteEntry(std::uint64_t offset, const std::byte* bytes) {
    // Names of objects and of all streams that are known begin with a character below 128.
    if (bytes[0] == std::byte{0} || bytes[1] != std::byte{0}) return;
    const DirectoryEntry entry(bytes);
    const auto unknown = SalvagedEntry::Standing::Unknown;
    if (IsRoot(bytes)) {
        roots_.push_back({entry.Start(), entry.Size(3), unknown});
        rootOffsets_.push_back(offset);
        return;
    }
    std::u16string name = ObjectNameAt(bytes);
    if (name.empty()) name = OtherNameAt(bytes);
    if (name.empty()) return;
    // No stream is longer than 4 GB in a file that is shorter.
    const std::uint64_t size = size_ > 0xFFFFFFFF ? entry.Size(4) : entry.Size(3);
    entries_.push_back({std::move(name), entry.Start(), size, unknown});
    entryOffsets_.push_back(offset);
}

// Which entries are those of the directory that the header leads to, and which are in sectors that are free.
void SalvagedFile::JudgeEntries(const Header& header) {
    std::unordered_set<SectorId> current;
    SectorId sector = hasHeader_ ? header.FirstDirectory() : kEndOfChain;
    for (; IsRegular(sector) && sector < sectors_ && current.insert(sector).second; sector = fat_.Next(sector)) {
    }
    directoryWhole_ = sector == kEndOfChain && !current.empty();
    const auto judge = [&](std::uint64_t offset) {
        const auto holder = static_cast<SectorId>((offset >> shift_) - 1);
        return current.contains(holder)           ? SalvagedEntry::Standing::Current
               : fat_.Next(holder) == kFreeSector ? SalvagedEntry::Standing::Free
                                                  : SalvagedEntry::Standing::Unknown;
    };
    for (std::size_t at = 0; at < entries_.size(); ++at) entries_[at].standing = judge(entryOffsets_[at]);
    for (std::size_t at = 0; at < roots_.size(); ++at) roots_[at].standing = judge(rootOffsets_[at]);
    // A sector of the directory without an entry that is recognised was overwritten.
    std::unordered_set<SectorId> holding;
    for (const std::uint64_t offset : entryOffsets_) holding.insert(static_cast<SectorId>((offset >> shift_) - 1));
    for (const SectorId each : current) {
        std::vector<std::byte> bytes(std::size_t{1} << shift_);
        Read(OffsetOf(each), bytes);
        if (holding.contains(each)) continue;
        for (std::size_t at = 0; at < bytes.size(); at += kEntrySize) {
            const DirectoryEntry entry(&bytes[at]);
            directoryWhole_ = directoryWhole_ && (entry.Type() == EntryType::Root || entry.NameBytes() == 0) &&
                              (entry.Type() == EntryType::Root || entry.Left() == kNoEntry);
        }
    }
}

// ---- the tables -----------------------------------------------------------------------------------------------------

SalvagedFile::Page SalvagedFile::ReadPage(SectorId sector) const {
    Page page;
    std::vector<std::byte> bytes(std::size_t{1} << shift_);
    if (!IsRegular(sector) || sector >= sectors_ || !Read(OffsetOf(sector), bytes)) return page;
    page.resize(bytes.size() / sizeof(SectorId));
    for (std::uint32_t at = 0; at < page.size(); ++at) page[at] = TableEntry(bytes.data(), at);
    return page;
}

// May the numbers be those of a page whose first sector is `first`? Marks single ones that cannot be as unknown.
bool SalvagedFile::Looks(Page& page, std::uint32_t first, std::uint64_t limit) {
    std::unordered_set<SectorId> named;
    std::size_t bad = 0;
    for (std::uint32_t at = 0; at < page.size(); ++at) {
        SectorId& next = page[at];
        const bool isMark = next >= kDifatSector;
        if (isMark || (IsRegular(next) && next < limit && next != first + at && named.insert(next).second)) continue;
        next = kUnknown;
        ++bad;
    }
    return !page.empty() && 8 * bad <= page.size();
}

std::vector<SectorId> SalvagedFile::ListedFatPages(const Header& header) const {
    std::vector<SectorId> listed;
    const std::uint32_t perPage = TableEntriesPerPage(shift_).Count();
    // A damaged header may claim any number of pages. There cannot be more than the file has sectors.
    const std::uint64_t most = std::min<std::uint64_t>(header.FatSectors(), sectors_ + kDifatInHeader);
    for (std::size_t at = 0; at < kDifatInHeader && listed.size() < most; ++at) listed.push_back(header.Difat(at));
    SectorId sector = header.FirstDifat();
    for (std::uint64_t steps = 0; listed.size() < most && steps < most; ++steps) {
        const Page page = ReadPage(sector);
        for (std::uint32_t at = 0; at + 1 < perPage && listed.size() < most; ++at)
            listed.push_back(at < page.size() ? page[at] : kUnknown);
        sector = page.empty() ? kUnknown : page.back();
    }
    return listed;
}

// A page that was found by its content may be one of an older state: sectors that were free then may be in use now.
void SalvagedFile::Adopt(Table& table, std::uint32_t index, const Page& page, bool isListed) {
    for (std::size_t at = 0; at < page.size(); ++at) {
        const std::size_t sector = std::size_t{index} * page.size() + at;
        if (sector >= table.next.size()) return;
        table.next[sector] = !isListed && page[at] == kFreeSector ? kUnknown : page[at];
        table.isListed[sector] = isListed;
    }
}

// How well a page agrees with the directory: streams that begin in it and whose chain ends after their length.
int SalvagedFile::Fits(const Page& page, std::uint32_t first, bool large) const {
    int fits = 0;
    for (const SalvagedEntry& entry : entries_) {
        if (entry.size == 0 || IsLarge(entry) != large || entry.start < first || entry.start - first >= page.size())
            continue;
        std::uint64_t left = large ? SectorsFor(entry.size) : MiniSectorsFor(entry.size);
        SectorId sector = entry.start;
        while (left > 0 && IsRegular(sector) && sector >= first && sector - first < page.size())
            sector = page[sector - first], --left;
        if (left == 0) fits += sector == kEndOfChain ? 1 : -1;
        if (left > 0 && !IsRegular(sector)) --fits;
    }
    return fits;
}

// Pages that nothing leads to. Most streams are in adjacent sectors, so that most numbers of a page are one more than
// their place in the table, which tells the page's own place.
void SalvagedFile::SearchPages(Table& table, bool large) {
    const auto perPage = static_cast<std::uint32_t>(std::size_t{1} << (shift_ - 2));
    std::unordered_set<std::uint32_t> missing;
    for (std::uint32_t index = 0; index * std::size_t{perPage} < table.next.size(); ++index) {
        const auto begin = table.next.begin() + std::ptrdiff_t(index * std::size_t{perPage});
        if (std::all_of(begin, begin + perPage, [](SectorId next) { return next == kUnknown; })) missing.insert(index);
    }
    if (missing.empty()) return;
    std::map<std::uint32_t, std::pair<int, Page>> best;
    for (SectorId sector = 0; sector < sectors_; ++sector) {
        Page page = ReadPage(sector);
        std::map<std::uint32_t, std::size_t> votes;
        for (std::uint32_t at = 0; at < page.size(); ++at)
            if (IsRegular(page[at]) && page[at] > at && (page[at] - 1 - at) % perPage == 0)
                ++votes[(page[at] - 1 - at) / perPage];
        for (const auto& [index, count] : votes) {
            if (count < 4 || !missing.contains(index)) continue;
            Page candidate = page;
            if (!Looks(candidate, index * perPage, table.next.size())) continue;
            const int fits = Fits(candidate, index * perPage, large);
            if (fits <= 0) continue;
            auto& [score, chosen] = best[index];
            if (fits >= score) score = fits, chosen = std::move(candidate);
        }
    }
    for (const auto& [index, found] : best) Adopt(table, index, found.second, false);
}

void SalvagedFile::NoteFollowers(Table& table, bool large) {
    table.follows.assign(table.next.size(), false);
    for (const SectorId next : table.next)
        if (IsRegular(next) && next < table.follows.size()) table.follows[next] = true;
    for (const SalvagedEntry& entry : entries_)
        if (entry.size != 0 && IsLarge(entry) == large && entry.start < table.follows.size() &&
            entry.standing != SalvagedEntry::Standing::Free)
            table.follows[entry.start] = true;
}

// ---- the mini stream ------------------------------------------------------------------------------------------------

std::uint64_t SalvagedFile::OffsetOfMini(SectorId sector) const {
    const PerPage perPage = MiniSectorsPerPage(shift_);
    const std::uint32_t page = perPage.PageOf(sector);
    if (page >= miniPages_.size() || miniPages_[page] >= sectors_) return Extent::kLost;
    return OffsetOf(miniPages_[page]) + kMiniSectorSize * std::uint64_t{perPage.IndexOf(sector)};
}

// Where in the mini stream streams begin, as the directory and the mini FAT say.
std::vector<SectorId> SalvagedFile::MiniBeginnings() const {
    std::vector<SectorId> beginnings;
    std::vector<bool> follows(miniFat_.next.size());
    for (const SectorId next : miniFat_.next)
        if (IsRegular(next) && next < follows.size()) follows[next] = true;
    for (SectorId mini = 0; mini < follows.size(); ++mini)
        if (!follows[mini] && (IsRegular(miniFat_.next[mini]) || miniFat_.next[mini] == kEndOfChain))
            beginnings.push_back(mini);
    for (const SalvagedEntry& entry : entries_)
        if (entry.size != 0 && !IsLarge(entry) && entry.standing != SalvagedEntry::Standing::Free &&
            miniFat_.Next(entry.start) == kUnknown && std::uint64_t{entry.start} << kMiniSectorShift < size_)
            beginnings.push_back(entry.start);
    return beginnings;
}

// How many of these begin as they should if the mini stream is in adjacent sectors from `start` on.
std::size_t SalvagedFile::MiniHits(SectorId start, const std::vector<SectorId>& beginnings) const {
    constexpr std::size_t kSample = 256;
    std::size_t hits = 0, tried = 0;
    for (const SectorId mini : beginnings) {
        if (BeginsAt(OffsetOf(start) + std::uint64_t{mini} * kMiniSectorSize)) ++hits;
        if (++tried == kSample || (tried == 16 && hits == 0)) break;
    }
    return hits;
}

// The sectors of the mini stream. Where the FAT does not say which one is next, it is the one in which streams begin at
// the places at which the directory says so; the next one in the file, where that fits.
std::vector<SectorId> SalvagedFile::MiniPages(SectorId start, std::uint64_t count,
                                              const std::vector<SectorId>& beginnings) {
    constexpr std::uint32_t kRun = 16;             // pages
    constexpr std::size_t kMostTries = 2'000'000;  // runs that are looked at; some seconds
    const PerPage perPage = MiniSectorsPerPage(shift_);
    using Places = std::uint64_t;  // a bit for each mini sector of a page
    std::unordered_map<std::uint32_t, Places> expected;
    for (const SectorId mini : beginnings) expected[perPage.PageOf(mini)] |= Places{1} << perPage.IndexOf(mini);
    std::unordered_map<SectorId, Places> known;
    const auto placesIn = [&](SectorId sector) {
        const auto [found, isNew] = known.try_emplace(sector, 0);
        for (std::uint32_t at = 0; isNew && sector < sectors_ && at < perPage.Count(); ++at)
            if (BeginsAt(OffsetOf(sector) + at * kMiniSectorSize)) found->second |= Places{1} << at;
        return found->second;
    };
    const auto fit = [](Places wanted, Places there) {
        return 2 * std::popcount(wanted & there) - 3 * std::popcount(wanted & ~there) - std::popcount(there & ~wanted);
    };
    // How well a page and those behind it fit sectors side by side, and where in them the first beginnings are
    // expected.
    struct Run {
        int points = 0;
        bool hasAll = true;
        std::uint32_t first = kRun;
    };
    const auto runAt = [&](std::uint32_t page, SectorId sector) {
        Run run;
        for (std::uint32_t at = 0; at < kRun; ++at) {
            const auto wanted = expected.find(page + at);
            if (wanted == expected.end()) continue;
            run.first = std::min(run.first, at);
            const Places there = placesIn(sector + at);
            run.points += fit(wanted->second, there);
            run.hasAll = run.hasAll && (wanted->second & ~there) == 0;
        }
        return run;
    };
    std::vector<SectorId> holders;  // sectors in which streams begin
    bool haveHolders = false;
    std::size_t tries = kMostTries;
    std::unordered_set<SectorId> used;
    const auto best = [&](std::uint32_t page, SectorId guess) {
        const Run run = runAt(page, guess);
        if (run.hasAll || tries == 0) return guess;
        if (!std::exchange(haveHolders, true))
            for (SectorId sector = 0; sector < sectors_; ++sector)
                if (fat_.Next(sector) != kFreeSector && placesIn(sector) != 0) holders.push_back(sector);
        int points = run.points + 1;  // where others are as good, the next sector it is
        SectorId chosen = guess;
        for (const SectorId holder : holders) {
            if (holder < run.first || used.contains(holder - run.first)) continue;
            if (tries == 0) break;
            --tries;
            const int other = runAt(page, holder - run.first).points;
            if (other > points) points = other, chosen = holder - run.first;
        }
        return chosen;
    };
    std::vector<SectorId> pages;
    SectorId sector = start;
    bool isKnown = true;
    for (std::uint32_t page = 0; page < count && IsRegular(sector); ++page) {
        if (!isKnown) sector = best(page, sector);
        if (isKnown && certainMiniPages_ == page) ++certainMiniPages_;
        pages.push_back(sector);
        used.insert(sector);
        const SectorId next = fat_.Next(sector);
        isKnown = fat_.IsCertain(sector);
        if (IsRegular(next) && next < fat_.next.size()) {
            sector = next;
            continue;
        }
        for (++sector; fat_.IsTaken(sector); ++sector) {
        }
    }
    return pages;
}

void SalvagedFile::ReadMiniFat(const Header& header, std::uint64_t miniSectors) {
    const std::uint32_t perPage = TableEntriesPerPage(shift_).Count();
    std::vector<Page> pages;
    SectorId sector = hasHeader_ ? header.FirstMiniFat() : kEndOfChain;
    for (; pages.size() < sectors_ && IsRegular(sector); sector = fat_.Next(sector)) pages.push_back(ReadPage(sector));
    const std::uint64_t count = std::max<std::uint64_t>(pages.size(), (miniSectors + perPage - 1) / perPage);
    miniFat_.next.assign(static_cast<std::size_t>(count * perPage), kUnknown);
    miniFat_.isListed.assign(miniFat_.next.size(), false);
    for (std::uint32_t index = 0; index < pages.size(); ++index)
        if (Looks(pages[index], index * perPage, miniFat_.next.size())) Adopt(miniFat_, index, pages[index], true);
    SearchPages(miniFat_, false);
    NoteFollowers(miniFat_, false);
}

void SalvagedFile::FindMiniStream(const Header& header) {
    std::uint64_t minis = 0;  // that entries lead to
    for (const SalvagedEntry& entry : entries_)
        if (!IsLarge(entry) && entry.size != 0 && std::uint64_t{entry.start} << kMiniSectorShift < size_)
            minis = std::max(minis, entry.start + MiniSectorsFor(entry.size));
    for (const Root& root : roots_) minis = std::max(minis, MiniSectorsFor(std::min<std::uint64_t>(root.size, size_)));
    ReadMiniFat(header, minis);
    const std::vector<SectorId> beginnings = MiniBeginnings();
    for (const SectorId mini : beginnings) minis = std::max<std::uint64_t>(minis, std::uint64_t{mini} + 1);
    minis = std::min(minis, MiniSectorsFor(size_));  // a damaged number must not ask for any amount of pages
    SectorId start = kEndOfChain;
    std::uint64_t best = 0;
    for (const Root& root : roots_) {
        if (!IsRegular(root.start)) continue;
        const bool isCurrent = root.standing == SalvagedEntry::Standing::Current;
        const std::uint64_t hits = 1 + MiniHits(root.start, beginnings) + (isCurrent ? size_ : 0);
        if (hits > best) best = hits, start = root.start;
    }
    if (best <= 1) {  // it may be anywhere
        for (SectorId sector = 0; sector < sectors_; ++sector)
            if (const std::size_t hits = MiniHits(sector, beginnings); hits > best) best = hits, start = sector;
        if (best <= 2) start = kEndOfChain;
    }
    if (start == kEndOfChain) return;
    if (start < fat_.follows.size()) fat_.follows[start] = true;
    miniPages_ = MiniPages(start, SectorsFor(minis << kMiniSectorShift), beginnings);
    for (std::uint32_t page = 0; page < miniPages_.size(); ++page) pageOfSector_.emplace(miniPages_[page], page);
}

// ---- streams --------------------------------------------------------------------------------------------------------

// As many sectors as the stream has, whatever the table says: where it does not lead on, the next sector that nothing
// else claims is taken.
std::vector<SectorId> SalvagedFile::Follow(const Table& table, SectorId first, std::uint64_t count, Way way) const {
    constexpr SectorId kFarthest = 4096;
    std::vector<SectorId> sectors;
    SectorId sector = first;
    while (sectors.size() < count && IsRegular(sector)) {
        sectors.push_back(sector);
        const SectorId next = table.Next(sector);
        const SectorId after = sector + 1;
        if (way == Way::Chain && IsRegular(next) && next < table.next.size()) {
            sector = next;
            continue;
        }
        sector = after;
        if (way == Way::Adjacent) continue;
        while (sector - after < kFarthest && table.IsTaken(sector)) ++sector;
        if (sector - after == kFarthest) sector = after;
    }
    return sectors;
}

std::vector<Extent> SalvagedFile::Joined(const std::vector<SectorId>& sectors, bool isMini, std::uint64_t size) const {
    std::vector<Extent> extents;
    const auto add = [&](std::uint64_t offset, std::uint64_t count) {
        if (count == 0) return;
        Extent* last = extents.empty() ? nullptr : &extents.back();
        const bool isLost = offset == Extent::kLost;
        if (last && (isLost ? last->offset == Extent::kLost
                            : last->offset != Extent::kLost && last->offset + last->count == offset))
            last->count += count;
        else
            extents.push_back({offset, count});
    };
    const std::uint64_t unit = isMini ? kMiniSectorSize : std::uint64_t{1} << shift_;
    std::uint64_t left = size;
    for (const SectorId sector : sectors) {
        const std::uint64_t offset = isMini ? OffsetOfMini(sector) : OffsetOf(sector);
        const std::uint64_t wanted = std::min(unit, left);
        const std::uint64_t there = offset >= size_ ? 0 : std::min(wanted, size_ - offset);
        add(offset, there);
        add(Extent::kLost, wanted - there);
        left -= wanted;
    }
    add(Extent::kLost, left);
    return extents;
}

std::vector<Extent> SalvagedFile::ExtentsOf(const SalvagedEntry& entry, Way way) const {
    const bool isMini = !IsLarge(entry);
    // The file may have been longer, but a damaged size must not ask for any amount of zeros.
    constexpr std::uint64_t kMostCut = 16;
    const std::uint64_t described = std::min<std::uint64_t>(fat_.next.size() << shift_, kMostCut * size_);
    const std::uint64_t size = std::min(entry.size, std::max(size_, described));
    const std::uint64_t count = isMini ? MiniSectorsFor(size) : SectorsFor(size);
    if (isMini && way == Way::Beside) {
        const std::uint64_t begin = OffsetOfMini(entry.start);
        if (begin < size_ && size <= size_ - begin) return {{begin, size}};
    }
    return Joined(Follow(isMini ? miniFat_ : fat_, entry.start, count, way), isMini, size);
}

bool SalvagedFile::EndsInZeros(const std::vector<Extent>& extents) const {
    if (extents.empty() || extents.back().offset == Extent::kLost) return true;
    const std::uint64_t end = extents.back().offset + extents.back().count;
    std::vector<std::byte> rest(static_cast<std::size_t>(-end % kMiniSectorSize));
    Read(end, rest);
    return std::ranges::all_of(rest, [](std::byte each) { return each == std::byte{0}; });
}

std::vector<std::uint64_t> SalvagedFile::Beginnings() const {
    std::vector<std::uint64_t> beginnings;
    std::vector<std::byte> block(kBlock);
    for (std::uint64_t offset = 0; offset < size_; offset += kBlock) {
        Read(offset, block);
        for (std::size_t at = 0; at < kBlock && offset + at < size_; at += kMiniSectorSize) {
            const std::uint64_t place = offset + at;
            if (place < OffsetOf(0) || !begins_(std::span(block).subspan(at, kLook))) continue;
            const auto sector = static_cast<SectorId>((place >> shift_) - 1);
            const std::uint64_t inSector = place - OffsetOf(sector);
            if (fat_.IsCertainlyFree(sector)) continue;
            const auto page = pageOfSector_.find(sector);
            if (page != pageOfSector_.end()) {
                const auto mini = static_cast<SectorId>((std::uint64_t{page->second} << (shift_ - kMiniSectorShift)) +
                                                        inSector / kMiniSectorSize);
                if (page->second < certainMiniPages_ && miniFat_.IsCertainlyFree(mini)) continue;
            }
            beginnings.push_back(place);
        }
    }
    return beginnings;
}

SalvagedFile::Unnamed SalvagedFile::ExtentsFrom(std::uint64_t offset, std::uint64_t most, Way way) const {
    const auto sector = static_cast<SectorId>((offset >> shift_) - 1);
    const std::uint64_t inSector = offset - OffsetOf(sector);
    const auto page = pageOfSector_.find(sector);
    Unnamed stream{{}, page != pageOfSector_.end(), false, false};
    SectorId first = sector;
    if (stream.isMini) {
        first = static_cast<SectorId>((std::uint64_t{page->second} << (shift_ - kMiniSectorShift)) +
                                      inSector / kMiniSectorSize);
        most = std::min<std::uint64_t>(most, kMiniCutoff);
    }
    // A small one, in a part of the mini stream to which nothing leads, or to which something else may lead.
    if (way == Way::Beside || (inSector != 0 && !stream.isMini)) {
        const std::uint64_t count = std::min({most, size_ - offset, std::uint64_t{kMiniCutoff}});
        return {{{offset, count}}, true, offset + count == size_, false};
    }
    const Table& table = stream.isMini ? miniFat_ : fat_;
    const std::uint64_t unit = stream.isMini ? kMiniSectorSize : std::uint64_t{1} << shift_;
    most = std::min(most, stream.isMini ? std::uint64_t{miniPages_.size()} << shift_ : size_);
    std::vector<SectorId> sectors = Follow(table, first, (most + unit - 1) / unit, way);
    // A chain that is known up to its end is no longer than that.
    if (way == Way::Chain) {
        std::size_t at = 0;
        while (at < sectors.size() && IsRegular(table.Next(sectors[at]))) ++at;
        stream.isWholeChain = at < sectors.size() && table.Next(sectors[at]) == kEndOfChain;
        if (stream.isWholeChain) sectors.resize(at + 1);
    }
    stream.extents = Joined(sectors, stream.isMini, sectors.size() * unit);
    while (!stream.extents.empty() && stream.extents.back().offset == Extent::kLost) {
        stream.ends = true;
        stream.extents.pop_back();
    }
    return stream;
}

}  // namespace lumvex::compound
