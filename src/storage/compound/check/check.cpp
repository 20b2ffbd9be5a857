// Reads the file in another way than the engine does, whole tables at a time, so that the two do not share a mistake.
#include "storage/compound/check/check.hpp"

#include <algorithm>
#include <array>
#include <optional>

#include "storage/compound/file/file_view.hpp"
#include "storage/compound/format/format.hpp"
#include "storage/compound/format/names.hpp"

namespace lumvex::compound {

namespace {

constexpr std::size_t kMostProblems = 200;

std::string Ascii(std::u16string_view name) {
    std::string text;
    for (const char16_t unit : name) text += unit >= 0x20 && unit < 0x7F ? static_cast<char>(unit) : '?';
    return text;
}

class Checker {
public:
    explicit Checker(FileView& view) : view_(view) { view_.Refresh(); }

    std::vector<Problem> Run() {
        try {
            if (view_.Size() < kHeaderSize)
                Report("file", "it has ", view_.Size(), " bytes, less than a header");
            else
                CheckAll();
        } catch (const StorageError& error) {
            Report(error.status() == Status::ReadFault ? "file" : "header", error.what());
        }
        return std::move(problems_);
    }

private:
    using Owners = std::vector<std::uint32_t>;  // 0: nobody, else the number of an owner's name

    template <class... Parts>
    void Report(const std::string& where, const Parts&... parts) {
        if (problems_.size() < kMostProblems)
            problems_.push_back({where, StorageError(Status::Corrupt, parts...).what()});
    }

    void CheckAll();
    void ReadFat();
    void ReadDirectory();
    void ReadMiniFat();
    void CheckEntry(EntryId id);
    void CheckTree(EntryId storage);
    void CheckContent(EntryId id);
    void CheckLost(const std::vector<std::uint32_t>& table, const Owners& owners, const std::string& what);

    bool Own(SectorId sector, std::uint32_t owner, const std::string& who);
    std::uint32_t NewOwner(const std::string& who) {
        ownerNames_.push_back(who);
        return static_cast<std::uint32_t>(ownerNames_.size() - 1);
    }
    // The sectors of a chain up to where it is damaged; marks each of them in owners.
    std::vector<SectorId> Walk(const std::vector<std::uint32_t>& table, Owners& owners, SectorId first,
                               const std::string& who);
    const std::byte* Sector(SectorId sector) const {
        const unsigned shift = header_.SectorShift();
        return view_.Page((std::uint64_t{sector} + 1) << shift, std::size_t{1} << shift);
    }
    DirectoryEntry At(EntryId id) const {
        const PerPage perPage = DirectoryEntriesPerPage(header_.SectorShift());
        return DirectoryEntry(Sector(directory_[perPage.PageOf(id)]) + kEntrySize * perPage.IndexOf(id));
    }
    std::string NameOf(EntryId id) const {
        std::array<char16_t, kMaxNameLength> buffer;
        return "entry " + std::to_string(id) + " '" + Ascii(At(id).Name(buffer)) + "'";
    }

    FileView& view_;
    Header header_;
    std::uint32_t sectors_ = 0;  // whole ones
    std::vector<std::uint32_t> fat_, miniFat_;
    Owners owners_, miniOwners_;
    std::vector<std::string> ownerNames_{"nobody"};
    std::vector<SectorId> directory_;
    EntryId entries_ = 0;
    std::vector<bool> reached_;
    std::uint64_t miniStreamSize_ = 0;
    std::vector<Problem> problems_;
};

void Checker::CheckAll() {
    Header::Bytes bytes;
    view_.Read(0, bytes);
    header_ = Header::Parse(bytes);
    const std::uint64_t whole = view_.Size() >> header_.SectorShift();
    sectors_ = whole == 0 ? 0 : static_cast<std::uint32_t>(std::min<std::uint64_t>(whole - 1, kMaxSector));
    if (header_.MiniCutoff() != kMiniCutoff) Report("header", "the mini stream's cutoff is ", header_.MiniCutoff());
    owners_.assign(sectors_, 0);
    ReadFat();
    ReadDirectory();
    if (entries_ == 0) return;
    ReadMiniFat();
    reached_.assign(entries_, false);
    reached_[0] = true;
    CheckContent(0);
    CheckTree(0);
    for (EntryId id = 1; id < entries_; ++id) {
        const EntryType type = At(id).Type();
        if (type == EntryType::Unallocated) continue;
        CheckEntry(id);
        if (type == EntryType::Storage) CheckTree(id);
        if (type == EntryType::Stream) CheckContent(id);
    }
    for (EntryId id = 1; id < entries_; ++id)
        if (At(id).Type() != EntryType::Unallocated && !reached_[id]) Report(NameOf(id), "no tree reaches it");
    CheckLost(fat_, owners_, "sector");
    CheckLost(miniFat_, miniOwners_, "mini sector");
}

bool Checker::Own(SectorId sector, std::uint32_t owner, const std::string& who) {
    if (sector >= sectors_) {
        Report(who, "sector ", sector, " of ", sectors_);
        return false;
    }
    if (owners_[sector] != 0) {
        Report(who, "sector ", sector, " belongs to ", ownerNames_[owners_[sector]], " already");
        return false;
    }
    owners_[sector] = owner;
    return true;
}

void Checker::ReadFat() {
    const std::uint32_t fatOwner = NewOwner("the FAT"), difatOwner = NewOwner("the DIFAT");
    const std::uint32_t perSector = TableEntriesPerPage(header_.SectorShift()).Count();
    std::vector<SectorId> fatSectors, difatSectors;
    std::uint64_t end = 0;  // one past the last sector that the file should have
    const auto list = [&](SectorId sector) {
        if (sector <= kMaxSector) end = std::max<std::uint64_t>(end, std::uint64_t{sector} + 1);
        if (sector != kFreeSector && Own(sector, fatOwner, "the FAT")) fatSectors.push_back(sector);
    };
    for (std::size_t i = 0; i < kDifatInHeader; ++i) list(header_.Difat(i));
    for (SectorId sector = header_.FirstDifat(); sector <= kMaxSector;) {
        if (!Own(sector, difatOwner, "the DIFAT")) break;
        difatSectors.push_back(sector);
        const std::byte* bytes = Sector(sector);
        for (std::uint32_t i = 0; i + 1 < perSector; ++i) list(TableEntry(bytes, i));
        sector = TableEntry(bytes, perSector - 1);
    }
    if (fatSectors.size() != header_.FatSectors())
        Report("header", fatSectors.size(), " FAT sectors listed, ", header_.FatSectors(), " counted");
    if (difatSectors.size() != header_.DifatSectors())
        Report("header", difatSectors.size(), " DIFAT sectors chained, ", header_.DifatSectors(), " counted");
    fat_.reserve(fatSectors.size() * perSector);
    for (const SectorId sector : fatSectors)
        for (std::uint32_t i = 0; i < perSector; ++i) fat_.push_back(TableEntry(Sector(sector), i));
    const auto requireMark = [this](const std::vector<SectorId>& marked, SectorId mark, const std::string& who) {
        for (const SectorId sector : marked)
            if (sector >= fat_.size() || fat_[sector] != mark) Report(who, "sector ", sector, " is not marked as such");
    };
    std::size_t described = fat_.size();
    while (described > sectors_ && fat_[described - 1] == kFreeSector) --described;
    end = std::max<std::uint64_t>(end, described);
    if (end > sectors_) Report("file", "it was cut short: it ends after ", sectors_, " of ", end, " sectors");
    requireMark(fatSectors, kFatSector, "the FAT");
    requireMark(difatSectors, kDifatSector, "the DIFAT");
}

std::vector<SectorId> Checker::Walk(const std::vector<std::uint32_t>& table, Owners& owners, SectorId first,
                                    const std::string& who) {
    std::vector<SectorId> chain;
    const std::uint32_t owner = NewOwner(who);
    for (SectorId sector = first; sector != kEndOfChain; sector = table[sector]) {
        if (sector >= owners.size() || sector >= table.size()) {
            Report(who, "its chain leads to sector ", sector, " of ", std::min(owners.size(), table.size()));
            break;
        }
        if (owners[sector] != 0) {
            Report(who, "sector ", sector, " of its chain belongs to ", ownerNames_[owners[sector]], " already");
            break;
        }
        owners[sector] = owner;
        chain.push_back(sector);
    }
    return chain;
}

void Checker::ReadDirectory() {
    directory_ = Walk(fat_, owners_, header_.FirstDirectory(), "the directory");
    if (header_.Version() == 4 && header_.DirectorySectors() != directory_.size())
        Report("header", directory_.size(), " directory sectors chained, ", header_.DirectorySectors(), " counted");
    entries_ = static_cast<EntryId>(directory_.size() << DirectoryEntriesPerPage(header_.SectorShift()).Shift());
    if (entries_ == 0)
        Report("the directory", "it has no root entry");
    else if (At(0).Type() != EntryType::Root)
        Report(NameOf(0), "it is not the root");
}

void Checker::ReadMiniFat() {
    const auto chain = Walk(fat_, owners_, header_.FirstMiniFat(), "the mini FAT");
    if (chain.size() != header_.MiniFatSectors())
        Report("header", chain.size(), " mini FAT sectors chained, ", header_.MiniFatSectors(), " counted");
    const std::uint32_t perSector = TableEntriesPerPage(header_.SectorShift()).Count();
    for (const SectorId sector : chain)
        for (std::uint32_t i = 0; i < perSector; ++i) miniFat_.push_back(TableEntry(Sector(sector), i));
    miniStreamSize_ = At(0).Size(header_.Version());
    const std::uint64_t miniSectors = MiniSectorsFor(miniStreamSize_);
    if (miniSectors > miniFat_.size())
        Report("the mini FAT", miniFat_.size(), " entries for ", miniSectors, " mini sectors");
    miniOwners_.assign(static_cast<std::size_t>(std::min<std::uint64_t>(miniSectors, miniFat_.size())), 0);
}

void Checker::CheckEntry(EntryId id) {
    const DirectoryEntry entry = At(id);
    const EntryType type = entry.Type();
    if (type != EntryType::Storage && type != EntryType::Stream)
        Report(NameOf(id), "its type is ", static_cast<unsigned>(type));
    if (entry.NameBytes() < 4 || entry.NameBytes() > 64 || entry.NameBytes() % 2 != 0)
        Report(NameOf(id), "its name takes ", entry.NameBytes(), " bytes");
    std::array<char16_t, kMaxNameLength> buffer;
    for (const char16_t unit : entry.Name(buffer))
        if (unit == 0 || unit == u'/' || unit == u'\\' || unit == u':' || unit == u'!')
            Report(NameOf(id), "its name holds the character with code ", static_cast<unsigned>(unit));
    if (type == EntryType::Stream && entry.Child() != kNoEntry) Report(NameOf(id), "a stream with entries below it");
}

// In order, without recursion. Does not follow a link to an entry that was reached before.
void Checker::CheckTree(EntryId storage) {
    std::vector<EntryId> above;
    std::optional<FoldedName> last;
    const auto arrive = [&](EntryId id, EntryId from) {
        if (id == kNoEntry) return false;
        if (id >= entries_)
            Report(NameOf(from), "it leads to entry ", id, " of ", entries_);
        else if (At(id).Type() == EntryType::Unallocated)
            Report(NameOf(from), "it leads to entry ", id, ", which is unallocated");
        else if (reached_[id])
            Report(NameOf(from), "it leads to entry ", id, ", which is in a tree already");
        else
            return true;
        return false;
    };
    const auto descend = [&](EntryId id, EntryId from) {
        for (; arrive(id, from); from = id, id = At(id).Left()) {
            reached_[id] = true;
            above.push_back(id);
        }
    };
    descend(At(storage).Child(), storage);
    while (!above.empty()) {
        const EntryId id = above.back();
        above.pop_back();
        std::array<char16_t, kMaxNameLength> buffer;
        const FoldedName name(At(id).Name(buffer));
        if (last && last->Compare(name) >= 0) Report(NameOf(id), "its name does not follow the one before");
        last = name;
        descend(At(id).Right(), id);
    }
}

void Checker::CheckContent(EntryId id) {
    const DirectoryEntry entry = At(id);
    const std::uint64_t size = entry.Size(header_.Version());
    if (size == 0) return;
    const bool mini = id != 0 && size < header_.MiniCutoff();
    const unsigned shift = mini ? kMiniSectorShift : header_.SectorShift();
    const std::size_t length = mini ? Walk(miniFat_, miniOwners_, entry.Start(), NameOf(id)).size()
                                    : Walk(fat_, owners_, entry.Start(), NameOf(id)).size();
    const std::uint64_t needed = (size >> shift) + ((size & ((1u << shift) - 1)) != 0 ? 1 : 0);
    if (length != needed) Report(NameOf(id), size, " bytes in a chain of ", length, " sectors, not ", needed);
}

void Checker::CheckLost(const std::vector<std::uint32_t>& table, const Owners& owners, const std::string& what) {
    const std::uint64_t rangeLock = (kRangeLockOffset >> header_.SectorShift()) - 1;
    std::uint64_t lost = 0, first = 0;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const bool owned = i < owners.size() && owners[i] != 0;
        if (table[i] == kFreeSector || owned || (&table == &fat_ && i == rangeLock)) continue;
        if (lost++ == 0) first = i;
    }
    if (lost != 0)
        Report(what + " " + std::to_string(first), "it and ", lost - 1, " others are marked but in no chain");
}

}  // namespace

std::vector<Problem> CheckStructure(File& file) {
    FileView view(file);
    std::vector<Problem> problems = Checker(view).Run();
    if (!view.IsMapped() || file.LookAtMap() == File::Shown::Whole) return problems;
    view.ReadPageByPage();  // so that what cannot be read is named
    return Checker(view).Run();
}

}  // namespace lumvex::compound
