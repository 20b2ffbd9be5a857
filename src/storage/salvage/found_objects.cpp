#include "storage/salvage/found_objects.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/base/strings.hpp"
#include "core/tree/collection.hpp"
#include "core/tree/item.hpp"
#include "core/tree/references.hpp"
#include "storage/compound/format/names.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::inside {

namespace {

using compound::SalvagedEntry;
using compound::SalvagedFile;
using Source = std::shared_ptr<const SalvagedSource>;
using Way = SalvagedFile::Way;

constexpr std::uint32_t kRootWord = VersionWord(kRootVersion, kRootVersion).Word();
constexpr std::size_t kRowSize = sizeof(DirectoryRow), kReferenceSize = 20;

template <class Number>
Number At(std::span<const std::byte> bytes, std::size_t offset) {
    Number number;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

bool IsNil(const GUID& id) { return IsEqualGUID(id, GUID_NULL) != 0; }

// IDs are random. Other bytes in their place have many zeros; new IDs are of the fourth kind, whose variant says so.
int PointsOfReference(const Reference& reference) {
    std::byte bytes[sizeof(GUID)];
    std::memcpy(bytes, &reference.id, sizeof bytes);
    int points = reference.tag == 0 ? 0 : -4;
    if (std::ranges::count(bytes, std::byte{0}) > 3) points -= 8;
    if ((bytes[7] & std::byte{0xF0}) == std::byte{0x40} && (bytes[8] & std::byte{0xC0}) == std::byte{0x80}) points += 3;
    return points;
}

// ---- how streams begin ----------------------------------------------------------------------------------------------

bool BeginsAsCollection(std::span<const std::byte> bytes) {
    const auto count = At<std::uint32_t>(bytes, 4);
    return At<std::uint32_t>(bytes, 0) == kCollectionVersion.Word() && count < (1u << 24) &&
           (count == 0 || !IsNil(At<GUID>(bytes, 8)));
}

// Version word, date, name. Words of old programs are small numbers, as many other bytes are: then the rest has to be
// there as well.
bool BeginsAsItem(std::span<const std::byte> bytes) {
    constexpr unsigned kMostVersions = 255;
    constexpr double kMostDays = 200000;  // some 550 years
    constexpr std::uint32_t kLongestName = 8192;
    const VersionWord word(At<std::uint32_t>(bytes, 0));
    const bool isNew = word.NamesMinimumReader();
    if (word.Writer() > kMostVersions || (!isNew && word.Word() > kMostVersions)) return false;
    if (isNew && (word.MinimumReader() == 0 || word.MinimumReader() > word.Writer())) return false;
    const auto date = At<double>(bytes, 4);
    const auto count = At<std::uint32_t>(bytes, 12);
    if (!std::isfinite(date) || std::fabs(date) > kMostDays || (date != 0 && std::fabs(date) < 1e-6)) return false;
    if (count % 2 != 0 || count > kLongestName || (!isNew && (date == 0 || count < 4))) return false;
    for (std::size_t at = 16; at + 2 <= bytes.size() && at + 2 <= 16 + std::size_t{count}; at += 2) {
        const bool isEnd = at + 2 == 16 + std::size_t{count};
        if ((At<char16_t>(bytes, at) == 0) != isEnd) return false;
    }
    return true;
}

bool BeginsAsTable(std::span<const std::byte> bytes) {
    const auto count = At<std::uint32_t>(bytes, 0);
    return count != 0 && count < (1u << 26) && FindClass(At<GUID>(bytes, 4 + 32)) != nullptr;
}

bool BeginsAsAny(std::span<const std::byte> bytes) {
    return At<std::uint32_t>(bytes, 0) == kRootWord || BeginsAsTable(bytes) || BeginsAsCollection(bytes) ||
           BeginsAsItem(bytes);
}

std::vector<std::byte> Head(const Source& source) {
    std::vector<std::byte> bytes(64);
    source->Read(0, std::span(bytes).first(static_cast<std::size_t>(std::min<std::uint64_t>(64, source->Size()))));
    return bytes;
}

bool IsZeroFrom(const SalvagedSource& source, std::uint64_t from, std::uint64_t to) {
    std::vector<std::byte> rest(static_cast<std::size_t>(std::min(to, source.Size()) - from));
    source.Read(from, rest);
    return std::ranges::all_of(rest, [](std::byte each) { return each == std::byte{0}; });
}

// A collection whose count is not what its stream holds has as many members as the stream has room for.
std::shared_ptr<const ByteSource> WithCountThatFits(const Source& source) {
    if (source->Size() < 8) return source;
    const auto count = static_cast<std::uint32_t>((source->Size() - 8) / kReferenceSize);
    const std::vector<std::byte> head = Head(source);
    if (At<std::uint32_t>(head, 4) == count) return source;
    std::vector<std::byte> bytes = source->All();
    std::memcpy(bytes.data() + 4, &count, sizeof count);
    return std::make_shared<MemorySource>(std::move(bytes));
}

// ---- objects --------------------------------------------------------------------------------------------------------

void NoteReferences(FoundObject& found, Object& object) {
    found.below.clear();
    found.targets.clear();
    if (const CollectionBase* collection = object.AsCollection()) {
        for (std::size_t at = 0; at < collection->members.Count(); ++at)
            found.below.push_back({collection->members.At(at), object.Class().member()});
        return;
    }
    object.ForEachChild([&](ChildSlot& slot, const ClassInfo& info) {
        if (slot.reference) found.below.push_back({*slot.reference, &info});
    });
    object.ForEachReference([&](ReferenceBase& reference, const ClassInfo& target) {
        if (reference.Id()) found.targets.push_back({*reference.Id(), &target});
    });
    found.name = object.AsItem() ? object.OwnEntry().name : std::u16string();
}

// A candidate for what an object's stream is.
std::unique_ptr<FoundObject> Read(const ClassInfo& info, const GUID& id, const Source& source) {
    auto found = std::make_unique<FoundObject>();
    found->id = id;
    found->info = &info;
    found->source = source;
    const ReadAttempt attempt = ReadAs(info, id, source);
    found->understood = attempt.isRead ? attempt.bytes : 0;
    found->isWhole = attempt.isRead;
    NoteReferences(*found, *attempt.object);
    return found;
}

// Some classes cannot be saved where the record ended before a certain field.
bool MayBeSaved(const FoundObject& found) {
    const ReadAttempt attempt = ReadAs(*found.info, found.id, found.source);
    try {
        RecordWriter writer;
        attempt.object->Materialise();
        WriteObject(*attempt.object, writer);
        return true;
    } catch (const Failure&) {
        return false;
    }
}

std::string CutText(std::uint64_t lost, std::uint64_t size) {
    return std::to_string(lost) + " of the " + std::to_string(size) +
           " bytes of its record are lost: its array is cut, and what is missing is 0";
}

class Finder {
public:
    Finder(compound::File& file, const ClassGraph& graph, std::vector<DocumentProblem>& losses,
           const Progress& progress)
        : file_(std::make_shared<SalvagedFile>(file, BeginsAsAny)),
          graph_(graph),
          losses_(losses),
          progress_(progress),
          claimed_(static_cast<std::size_t>(file_->Size() / compound::kMiniSectorSize + 1)) {}

    FoundDocument Run() {
        SortEntries();
        ReadTable();
        ReadRoot();
        ReadNamed();
        ReadUnnamed();
        ChooseClasses();
        MatchIds();
        KeepDamaged();
        ReadOthers();
        if (document_.objects.empty() && document_.unnamed.empty() && !document_.rootObject)
            throw Failure(static_cast<HRESULT>(compound::Status::NotFound), "there is nothing of a document in it");
        NoteMissing();
        return std::move(document_);
    }

private:
    // What the bytes at a place may be: one for each class that fits.
    using Readings = std::vector<std::unique_ptr<FoundObject>>;

    void SortEntries();
    Source SourceOf(const SalvagedEntry& entry, Way way) const {
        return std::make_shared<SalvagedSource>(file_, file_->ExtentsOf(entry, way));
    }
    template <class Visit>
    void ForEachReading(std::u16string_view name, Visit&& visit) const;

    void ReadTable();
    void TakeTable(const Source& source);
    void ReadRoot();
    bool TakeRoot(const Source& source, bool hasWord, bool isNamed);
    void ReadNamed();
    std::unique_ptr<FoundObject> ReadNamed(const GUID& id, const ClassInfo& info) const;
    Readings ReadNamedAsAny(const GUID& id) const;
    void AddUnnamed(Readings readings);
    bool IsStale(const GUID& id) const;
    void Accept(std::unique_ptr<FoundObject> found);
    void ReadUnnamed();
    Readings ReadingsAt(std::uint64_t offset) const;
    void ReadCutAt(std::uint64_t offset, Readings& readings) const;
    bool EndsWell(const SalvagedSource& source) const;
    int PointsOfLength(const SalvagedSource& source) const;
    static int CertaintyOf(const FoundObject& found);
    int ScoreOf(const FoundObject& found) const;
    void Narrow();
    void Choose(Readings& readings, std::size_t at, bool isMissing);
    void ChooseClasses();
    bool IsCopy(const FoundObject& found) const;
    void MatchIds();
    void KeepDamaged();
    void ReadOthers();
    void ChooseRootClass();
    void NoteMissing();

    void Learn(const FoundObject& found);
    void Claim(const SalvagedSource& source, std::uint64_t count);
    bool IsClaimed(std::uint64_t offset) const { return claimed_[static_cast<std::size_t>(offset / 64)]; }
    bool Has(const GUID& id) const { return objects_.contains(id); }
    bool IsPossible(const ClassInfo& info) const {
        return info.kind != ClassKind::Root && (!document_.rootClass || graph_.RootOf(info) == document_.rootClass);
    }
    std::map<const ClassInfo*, std::vector<GUID>> MissingByClass() const;
    void Lost(std::string where, std::string what) { losses_.push_back({std::move(where), std::move(what)}); }

    std::shared_ptr<const SalvagedFile> file_;
    const ClassGraph& graph_;
    std::vector<DocumentProblem>& losses_;
    const Progress& progress_;
    std::vector<bool> claimed_;
    FoundDocument document_;
    std::map<std::u16string, std::vector<const SalvagedEntry*>> entries_;  // by name in upper case, the best first
    std::map<GUID, std::vector<const SalvagedEntry*>, GuidLess> named_;
    std::map<GUID, FoundObject*, GuidLess> objects_;
    std::map<GUID, const ClassInfo*, GuidLess> known_;  // classes as references and the object directory name them
    std::vector<GUID> knownInOrder_;                    // the referred ones, in the order of the references
    std::set<GUID, GuidLess> referred_;
    std::vector<std::unique_ptr<FoundObject>> damaged_;
    std::vector<Readings> unnamed_;
    // Of objects whose class is not certain yet: which it may be, and which those want that may refer to it.
    std::map<GUID, std::set<const ClassInfo*>, GuidLess> possible_, wanted_;
};

void Finder::SortEntries() {
    for (const SalvagedEntry& entry : file_->Entries()) {
        if (file_->IsDirectoryWhole() && entry.standing != SalvagedEntry::Standing::Current) continue;
        entries_[std::u16string(compound::FoldedName(entry.name).Text())].push_back(&entry);
    }
    for (auto& [name, entries] : entries_) {
        std::ranges::stable_sort(entries, std::greater(), &SalvagedEntry::standing);
        if (const auto id = IdOfStream(name)) named_.emplace(*id, entries);
    }
}

// Visits what the stream of a name may be, the most likely first, until a visit answers true.
template <class Visit>
void Finder::ForEachReading(std::u16string_view name, Visit&& visit) const {
    const auto found = entries_.find(std::u16string(compound::FoldedName(name).Text()));
    if (found == entries_.end()) return;
    for (const SalvagedEntry* entry : found->second)
        for (const Way way : {Way::Chain, Way::Adjacent})
            if (visit(SourceOf(*entry, way))) return;
}

void Finder::Claim(const SalvagedSource& source, std::uint64_t count) {
    for (const compound::Extent& extent : source.Extents()) {
        const std::uint64_t here = std::min(extent.count, count);
        count -= here;
        if (extent.offset == compound::Extent::kLost) continue;
        for (std::uint64_t at = extent.offset / 64; at * 64 < extent.offset + here && at < claimed_.size(); ++at)
            claimed_[static_cast<std::size_t>(at)] = true;
    }
}

// ---- the object directory and the root ------------------------------------------------------------------------------

// Rows of classes that nobody knows are what other bytes look like; they are kept where there is a stream of the ID.
void Finder::TakeTable(const Source& source) {
    if (source->Size() < 4) return;
    const auto count = static_cast<std::size_t>((source->Size() - 4) / kRowSize);
    std::vector<std::byte> bytes(count * kRowSize);
    source->Read(4, bytes);
    for (std::size_t at = 0; at < count; ++at) {
        const auto row = At<DirectoryRow>(bytes, at * kRowSize);
        if (!IsNil(row.id) && (FindClass(row.classId) || (named_.contains(row.id) && !IsNil(row.classId))))
            document_.rows.emplace(row.id, row);
    }
    if (!document_.rows.empty()) Claim(*source, source->Size());
}

void Finder::ReadTable() {
    ForEachReading(kDirectoryStream, [&](const Source& source) {
        if (BeginsAsTable(Head(source))) TakeTable(source);
        return !document_.rows.empty();
    });
    if (document_.rows.empty()) {
        for (const std::uint64_t offset : file_->Beginnings()) {
            std::vector<std::byte> head(64);
            file_->Read(offset, head);
            if (!BeginsAsTable(head)) continue;
            const std::uint64_t size = 4 + std::uint64_t{At<std::uint32_t>(head, 0)} * kRowSize;
            const auto source = std::make_shared<SalvagedSource>(
                file_, file_->ExtentsFrom(offset, std::min(size, file_->Size()), Way::Chain).extents);
            TakeTable(source->First(std::min(size, source->Size())));
        }
    }
    for (const auto& [id, row] : document_.rows) {
        const ClassInfo* info = FindClass(row.classId);
        if (!info) continue;
        known_.emplace(id, info);
        if (info->kind == ClassKind::Root && !document_.rootClass) {
            document_.rootClass = info;
            document_.root = {id, row.tag};
        }
    }
    ForEachReading(kLocksStream, [&](const Source& source) {
        if (source->Size() < 4 || (source->Size() - 4) % sizeof(LockRow) != 0) return false;
        const std::vector<std::byte> bytes = source->All();
        for (std::size_t at = 4; at + sizeof(LockRow) <= bytes.size(); at += sizeof(LockRow))
            document_.locks.push_back(At<LockRow>(bytes, at));
        Claim(*source, source->Size());
        return true;
    });
    ForEachReading(kSettingsStream, [&](const Source& source) {
        const VersionWord word(At<std::uint32_t>(Head(source), 0));
        if (!word.NamesMinimumReader() || word.MinimumReader() > word.Writer()) return false;
        document_.settings = source;
        Claim(*source, source->Size());
        return true;
    });
}

bool Finder::TakeRoot(const Source& source, bool hasWord, bool isNamed) {
    const ClassInfo* best = nullptr;
    Ref<Object> object;
    Reference self;
    std::uint64_t end = 0;
    for (const ClassInfo* info : AllClasses()) {
        if (info->kind != ClassKind::Root || (document_.rootClass && document_.rootClass != info)) continue;
        try {
            RecordReader reader(source);
            if (hasWord && reader.U32() != kRootWord) return false;
            self = reader.ObjectReference();
            Ref<Object> root = info->create();
            info->load(*root, reader, VersionWord(hasWord ? kRootVersion : 1));
            const bool fits =
                isNamed ? reader.Left() == 0
                        : IsZeroFrom(*source, reader.Position(), (reader.Position() + 63) & ~std::uint64_t{63});
            if (!fits || IsNil(self.id)) continue;
            best = info;
            object = root;
            end = reader.Position();
            break;
        } catch (const Failure&) {
        }
    }
    if (!best) return false;
    document_.rootClass = best;
    document_.root = self;
    document_.rootObject = object;
    FoundObject root;
    root.info = best;
    NoteReferences(root, *object);
    Learn(root);
    Claim(*source, end);
    if (const std::uint64_t lost = source->Lost(end); lost != 0)
        Lost("the root record", std::to_string(lost) + " of its " + std::to_string(end) + " bytes are lost: zeros");
    return true;
}

void Finder::ReadRoot() {
    ForEachReading(kRootStream, [&](const Source& source) { return TakeRoot(source, true, true); });
    ForEachReading(kOldRootStream, [&](const Source& source) {
        if (document_.rootObject) Claim(*source, source->Size());
        return document_.rootObject || TakeRoot(source, false, true);
    });
    if (document_.rootObject) return;
    for (const std::uint64_t offset : file_->Beginnings()) {
        std::vector<std::byte> head(64);
        file_->Read(offset, head);
        if (At<std::uint32_t>(head, 0) != kRootWord) continue;
        for (const std::uint64_t most : {std::uint64_t{4096}, file_->Size()})
            for (const Way way : {Way::Chain, Way::Adjacent})
                if (TakeRoot(std::make_shared<SalvagedSource>(file_, file_->ExtentsFrom(offset, most, way).extents),
                             true, false))
                    return;
    }
}

// ---- objects with a name --------------------------------------------------------------------------------------------

void Finder::Learn(const FoundObject& found) {
    for (const FoundObject::Below& below : found.below) {
        known_[below.reference.id] = below.info;
        if (referred_.insert(below.reference.id).second) knownInOrder_.push_back(below.reference.id);
    }
}

// Read whole, its record exactly as long as its stream; that of a newer writer may be longer.
bool IsUnderstood(const FoundObject& found, const ClassInfo& info) {
    if (!found.isWhole) return false;
    return found.understood == found.source->Size() ||
           VersionWord(At<std::uint32_t>(Head(found.source), 0)).Writer() > info.version.Writer();
}

// Whole, with its record exactly as long as its stream; else the best of what there is, or nothing.
std::unique_ptr<FoundObject> Finder::ReadNamed(const GUID& id, const ClassInfo& info) const {
    std::unique_ptr<FoundObject> best;
    const auto isExact = [&](const FoundObject& found) {
        return found.source->Lost(found.source->Size()) == 0 && IsUnderstood(found, info);
    };
    for (const SalvagedEntry* entry : named_.at(id)) {
        for (const Way way : {Way::Chain, Way::Adjacent}) {
            const Source source = SourceOf(*entry, way);
            const std::vector<std::byte> head = Head(source);
            const bool isCollection = info.kind == ClassKind::Collection;
            if (source->Size() < 8 || !(isCollection ? BeginsAsCollection(head) : BeginsAsItem(head))) continue;
            auto found = Read(info, id, source);
            if (isExact(*found)) return found;
            const auto rank = [](const FoundObject& each) {
                return std::pair(each.isWhole, each.source->Size() - each.source->Lost(each.source->Size()));
            };
            if (!best || rank(*found) > rank(*best)) best = std::move(found);
        }
    }
    return best;
}

// Of the objects to which nothing leads: as each class whose record is as long as the stream. The name may be damaged.
Finder::Readings Finder::ReadNamedAsAny(const GUID& id) const {
    Readings readings;
    for (const ClassInfo* info : AllClasses()) {
        if (!IsPossible(*info)) continue;
        auto found = ReadNamed(id, *info);
        if (!found || !found->isWhole || found->understood != found->source->Size()) continue;
        found->certainty = 4 + CertaintyOf(*found);
        readings.push_back(std::move(found));
    }
    return readings;
}

void Finder::AddUnnamed(Readings readings) {
    std::erase_if(readings, [&](const auto& each) { return ScoreOf(*each) < -20; });
    if (readings.empty()) return;
    const FoundObject& longest = **std::ranges::max_element(readings, {}, &FoundObject::understood);
    Claim(*longest.source, longest.understood);
    unnamed_.push_back(std::move(readings));
}

void Finder::Accept(std::unique_ptr<FoundObject> found) {
    Claim(*found->source, found->source->Size());
    Learn(*found);
    objects_[found->id] = found.get();
    document_.objects.push_back(std::move(found));
}

// An entry of an older state, for an object that the document does not have any more.
bool Finder::IsStale(const GUID& id) const {
    return named_.at(id).front()->standing != SalvagedEntry::Standing::Current && !document_.rows.empty() &&
           !document_.rows.contains(id) && !referred_.contains(id);
}

void Finder::ReadNamed() {
    std::set<GUID, GuidLess> tried;
    std::size_t done = 0;
    for (bool more = true; more;) {
        more = false;
        for (const auto& [id, entries] : named_) {
            const auto known = known_.find(id);
            if (known == known_.end() || known->second->kind == ClassKind::Root || !tried.insert(id).second) continue;
            more = true;
            if (IsStale(id)) continue;
            auto found = ReadNamed(id, *known->second);
            if (!found) continue;
            if (IsUnderstood(*found, *known->second))
                Accept(std::move(found));
            else
                damaged_.push_back(std::move(found));
            if (progress_) progress_(std::min(++done, named_.size()), named_.size());
        }
    }
    for (const auto& [id, entries] : named_) {
        if (tried.contains(id) || IsStale(id)) continue;
        auto readings = ReadNamedAsAny(id);
        if (!readings.empty()) AddUnnamed(std::move(readings));
    }
}

// ---- objects without a name -----------------------------------------------------------------------------------------

// The file ends inside of an array: what is missing of it reads as zeros.
void Finder::ReadCutAt(std::uint64_t offset, Readings& readings) const {
    SalvagedFile::Unnamed stream = file_->ExtentsFrom(offset, file_->Size(), Way::Chain);
    if (!stream.ends || stream.isMini) return;
    std::uint64_t there = 0;
    for (const compound::Extent& extent : stream.extents) there += extent.count;
    stream.extents.push_back({compound::Extent::kLost, 16 * file_->Size()});
    const auto source = std::make_shared<SalvagedSource>(file_, stream.extents);
    for (const ClassInfo* info : AllClasses()) {
        if (!IsPossible(*info) || info->kind != ClassKind::Item) continue;
        auto found = Read(*info, GUID{}, source);
        if (!found->isWhole || found->understood <= there || found->name.empty()) continue;
        found->source = source->First(found->understood);
        readings.push_back(std::move(found));
    }
}

// Does another stream begin where this one ends, or the file end, or is that place taken?
bool Finder::EndsWell(const SalvagedSource& source) const {
    if (source.Extents().empty()) return false;
    const compound::Extent& last = source.Extents().back();
    const std::uint64_t end = (last.offset + last.count + 63) / 64 * 64;
    std::vector<std::byte> next(64);
    file_->Read(end, next);
    const bool isNew = VersionWord(At<std::uint32_t>(next, 0)).NamesMinimumReader();
    return end >= file_->Size() || IsClaimed(end) || (isNew && BeginsAsAny(next));
}

// Of two readings of which one is the beginning of the other, the longer one says more, unless other streams begin
// inside.
int Finder::PointsOfLength(const SalvagedSource& source) const {
    constexpr std::uint64_t kMost = 512;
    std::vector<std::byte> head(64);
    int points = static_cast<int>(std::min(source.Size(), kMost) / 64);
    for (std::uint64_t at = 64; at + 64 <= std::min(source.Size(), 8 * kMost); at += 64) {
        source.Read(at, head);
        if (VersionWord(At<std::uint32_t>(head, 0)).NamesMinimumReader() && BeginsAsAny(head)) points -= 10;
    }
    return points;
}

// Of each class that the bytes can be read as, the record to its end. It has to be followed by zeros up to the end of
// its last sector; where the tables say how many sectors there are, it has to take all of them.
Finder::Readings Finder::ReadingsAt(std::uint64_t offset) const {
    Readings readings;
    std::vector<std::byte> head(64);
    file_->Read(offset, head);
    const bool mayBeCollection = BeginsAsCollection(head), mayBeItem = BeginsAsItem(head);
    const auto isGood = [](const auto& each) { return each->certainty >= 4; };
    for (std::uint64_t most = compound::kMiniCutoff; std::ranges::none_of(readings, isGood); most *= 16) {
        bool isLonger = false;
        for (const Way way : {Way::Chain, Way::Adjacent}) {
            const SalvagedFile::Unnamed stream = file_->ExtentsFrom(offset, most, way);
            const auto source = std::make_shared<SalvagedSource>(file_, stream.extents);
            isLonger = isLonger || source->Size() >= most;
            for (const ClassInfo* info : AllClasses()) {
                const bool isCollection = info->kind == ClassKind::Collection;
                if (!IsPossible(*info) || !(isCollection ? mayBeCollection : mayBeItem)) continue;
                auto found = Read(*info, GUID{}, source);
                if (!found->isWhole || (isCollection && found->below.empty())) continue;
                const std::uint64_t unit = stream.isMini || found->understood < compound::kMiniCutoff ? 64 : 512;
                const std::uint64_t end = (found->understood + unit - 1) / unit * unit;
                if (!IsZeroFrom(*source, found->understood, end)) continue;
                if (stream.isMini && found->understood >= compound::kMiniCutoff) continue;
                const std::uint64_t sector = stream.isMini ? 64 : file_->SectorSize();
                if (stream.isWholeChain && source->Size() - found->understood >= sector) continue;
                found->source = source->First(found->understood);
                const bool endsWell = EndsWell(*found->source);
                found->certainty = (stream.isWholeChain ? 3 : 0) + (endsWell ? 4 : stream.isWholeChain ? 0 : -6);
                found->certainty += CertaintyOf(*found) + PointsOfLength(*found->source);
                const auto same = std::ranges::find_if(readings, [&](const auto& each) { return each->info == info; });
                if (same == readings.end())
                    readings.push_back(std::move(found));
                else if ((*same)->certainty < found->certainty)
                    *same = std::move(found);
            }
        }
        if (!isLonger) break;
    }
    if (std::ranges::none_of(readings, isGood)) ReadCutAt(offset, readings);
    return readings;
}

// What speaks for a class in the record itself: what was written as this class is what is written again.
int Finder::CertaintyOf(const FoundObject& found) {
    int points = 0;
    for (const FoundObject::Below& below : found.below)
        points = std::clamp(points + PointsOfReference(below.reference), -12, 6);
    if (found.info->kind != ClassKind::Item) return points;
    if (At<std::uint32_t>(Head(found.source), 0) != found.info->version.Word()) return points - 4;
    const ReadAttempt attempt = ReadAs(*found.info, found.id, found.source);
    attempt.object->Materialise();
    RecordWriter writer;
    try {
        WriteObject(*attempt.object, writer);
        return writer.Joined() == found.source->First(found.understood)->All() ? points + 2 : -50;
    } catch (const Failure&) {
        return -50;
    }
}

// How much speaks for a class, with what is known of the objects that refer to this one and that it refers to; far
// below 0 where that contradicts.
int Finder::ScoreOf(const FoundObject& found) const {
    constexpr int kContradicts = -100;
    int score = found.certainty;
    const auto add = [&](const GUID& id, const ClassInfo& info, int points) {
        if (IsNil(id)) return score += kContradicts;
        if (const auto known = known_.find(id); known != known_.end())
            return score += known->second == &info ? points : kContradicts;
        const auto possible = possible_.find(id);
        if (possible == possible_.end()) return score;
        return score += possible->second.contains(&info) ? 1 : kContradicts;
    };
    for (const FoundObject::Below& below : found.below) add(below.reference.id, *below.info, 8);
    for (const FoundObject::Target& target : found.targets) add(target.id, *target.info, 4);
    if (IsNil(found.id)) return score;
    if (const auto known = known_.find(found.id); known != known_.end())
        return score + (known->second == found.info ? 8 : kContradicts);
    const auto wanted = wanted_.find(found.id);
    return wanted == wanted_.end() ? score : score + (wanted->second.contains(found.info) ? 2 : kContradicts);
}

void Finder::ReadUnnamed() {
    for (const std::uint64_t offset : file_->Beginnings())
        if (!IsClaimed(offset)) AddUnnamed(ReadingsAt(offset));
}

std::map<const ClassInfo*, std::vector<GUID>> Finder::MissingByClass() const {
    std::map<const ClassInfo*, std::vector<GUID>> missing;
    for (const GUID& id : knownInOrder_)
        if (!Has(id)) missing[known_.at(id)].push_back(id);
    for (const auto& [id, row] : document_.rows) {
        const ClassInfo* info = FindClass(row.classId);
        if (info && info->kind != ClassKind::Root && !Has(id) && !referred_.contains(id)) missing[info].push_back(id);
    }
    return missing;
}

// Was it left behind by an older state? Sectors of small streams are written anew as a whole: then the same bytes are
// at the same place of another sector, and most of what is beside them as well.
bool Finder::IsCopy(const FoundObject& found) const {
    const std::uint64_t sector = file_->SectorSize();
    const auto begin = [](const auto& each) { return each->source->Extents().front().offset; };
    const std::uint64_t offset = found.source->Extents().front().offset;
    if (found.understood >= compound::kMiniCutoff || offset == compound::Extent::kLost) return false;
    const std::vector<std::byte> bytes = found.source->All();
    std::vector<std::byte> here(sector), there(sector);
    file_->Read(offset / sector * sector, here);
    const auto isSame = [&](const auto& other) {
        if (other->info != found.info || other->source->Size() != bytes.size()) return false;
        if (begin(other) / sector == offset / sector || begin(other) % sector != offset % sector) return false;
        if (other->source->All() != bytes) return false;
        file_->Read(begin(other) / sector * sector, there);
        std::size_t equal = 0, beside = 0;
        for (std::size_t at = 0; at < sector; ++at) {
            if (at >= offset % sector && at < offset % sector + bytes.size()) continue;
            ++beside;
            equal += here[at] == there[at];
        }
        return beside >= 2 * compound::kMiniSectorSize && 4 * equal > 3 * beside;
    };
    return std::ranges::any_of(document_.objects, isSame) || std::ranges::any_of(document_.unnamed, isSame);
}

// Drops readings that contradict what else is known, until none does.
void Finder::Narrow() {
    for (bool more = true; more;) {
        possible_.clear();
        wanted_.clear();
        for (const Readings& readings : unnamed_) {
            for (const auto& reading : readings) {
                if (!IsNil(reading->id)) possible_[reading->id].insert(reading->info);
                for (const FoundObject::Below& below : reading->below) wanted_[below.reference.id].insert(below.info);
            }
        }
        more = false;
        for (Readings& readings : unnamed_)
            more = std::erase_if(readings, [&](const auto& each) { return ScoreOf(*each) < -20; }) != 0 || more;
    }
    std::erase_if(unnamed_, [](const Readings& readings) { return readings.empty(); });
}

void Finder::Choose(Readings& readings, std::size_t at, bool isMissing) {
    std::unique_ptr<FoundObject> chosen = std::move(readings[at]);
    readings.clear();
    if (!isMissing && IsNil(chosen->id) && IsCopy(*chosen)) return;
    if (const std::uint64_t size = chosen->source->Size(), lost = chosen->source->Lost(size); lost != 0)
        Lost(Described(*chosen->info, chosen->id, chosen->name), CutText(lost, size));
    Learn(*chosen);
    if (!IsNil(chosen->id)) known_.emplace(chosen->id, chosen->info);
    if (!IsNil(chosen->id) && referred_.contains(chosen->id) && !Has(chosen->id))
        Accept(std::move(chosen));
    else
        document_.unnamed.push_back(std::move(chosen));
}

// Classes that are certain come first: what these objects refer to tells the classes of others.
void Finder::ChooseClasses() {
    constexpr std::size_t kFew = 2000;  // so many are chosen one by one
    Narrow();
    ChooseRootClass();
    for (int margin = 9; !unnamed_.empty();) {
        const auto missing = MissingByClass();
        bool chosen = false;
        for (Readings& readings : unnamed_) {
            std::vector<std::pair<int, std::size_t>> scores;
            for (std::size_t at = 0; at < readings.size(); ++at)
                scores.emplace_back(ScoreOf(*readings[at]) + (missing.contains(readings[at]->info) ? 3 : 0), at);
            std::ranges::stable_sort(scores, std::greater(), [](const auto& each) { return each.first; });
            if (scores.size() > 1 && scores[0].first - scores[1].first < margin) continue;
            // A list that may be that of several classes tells nothing.
            const FoundObject& best = *readings[scores[0].second];
            const bool isList = best.info->kind == ClassKind::Collection;
            if (isList && margin > 0 && margin <= 3 && scores.size() > 1) continue;
            if (isList && margin == 0)
                readings.clear();
            else
                Choose(readings, scores[0].second, missing.contains(best.info));
            chosen = true;
            if (margin < 2 && unnamed_.size() < kFew) break;
        }
        Narrow();
        margin = chosen ? 9 : margin / 2;
    }
    std::ranges::stable_sort(document_.unnamed, {}, [](const auto& each) { return each->source->Extents()[0].offset; });
}

// Where as many objects of a class were found without a name as are missing, they are these, in the order in which they
// are referred to: objects are saved in that order.
void Finder::MatchIds() {
    const auto missing = MissingByClass();
    for (const auto& [info, ids] : missing) {
        std::vector<std::size_t> found;
        for (std::size_t at = 0; at < document_.unnamed.size(); ++at)
            if (document_.unnamed[at] && document_.unnamed[at]->info == info) found.push_back(at);
        if (found.size() != ids.size()) continue;
        for (std::size_t at = 0; at < ids.size(); ++at) {
            std::unique_ptr<FoundObject> object = std::move(document_.unnamed[found[at]]);
            object->id = ids[at];
            if (ids.size() > 1)
                Lost(Described(*info, object->id, object->name),
                     "its directory entry is lost: which of " + std::to_string(ids.size()) +
                         " objects it is was told by its place in the file");
            Accept(std::move(object));
        }
    }
    std::erase(document_.unnamed, nullptr);
}

// Of objects that are still missing, what could be read of them.
void Finder::KeepDamaged() {
    for (std::unique_ptr<FoundObject>& found : damaged_) {
        if (Has(found->id)) continue;
        const std::uint64_t size = found->source->Size(), lost = found->source->Lost(size);
        if (lost >= size) continue;
        const std::string name = Described(*found->info, found->id, found->name);
        if (found->isWhole && lost != 0)
            Lost(name, CutText(lost, size));
        else if (found->isWhole)
            Lost(name, "its record ends after " + std::to_string(found->understood) + " of " + std::to_string(size) +
                           " bytes: a part of it was overwritten, and what was read may be wrong");
        else if (found->hasNameOnly = !MayBeSaved(*found); found->hasNameOnly)
            Lost(name, "only its name and its date can be read");
        else
            Lost(name,
                 "its record makes no sense from some place on: what comes before was kept, the rest is as in a new"
                 " object");
        Accept(std::move(found));
    }
}

// Streams that are none of the document's. Those whose entry is not certain are left.
void Finder::ReadOthers() {
    const std::set<std::u16string, std::less<>> ours{
        std::u16string(kVersionInfoStream), std::u16string(kRootStream),  std::u16string(kOldRootStream),
        std::u16string(kDirectoryStream),   std::u16string(kLocksStream), std::u16string(kSettingsStream)};
    for (const auto& [name, entries] : entries_) {
        if (ours.contains(name)) continue;
        const auto id = IdOfStream(name);
        const auto row = id ? document_.rows.find(*id) : document_.rows.end();
        const bool isUnknownClass = row != document_.rows.end() && !FindClass(row->second.classId);
        if (id && (!isUnknownClass || Has(*id))) continue;
        if (entries.front()->standing != SalvagedEntry::Standing::Current) continue;
        try {
            compound::RequireValidName(entries.front()->name);
        } catch (const compound::StorageError& error) {
            Lost("stream " + ToUtf8(name), std::string("its name is damaged: ") + error.what());
            continue;
        }
        const Source source = SourceOf(*entries.front(), Way::Chain);
        if (const std::uint64_t lost = source->Lost(source->Size()); lost != 0)
            Lost("stream " + ToUtf8(name), std::to_string(lost) + " of its bytes are lost: zeros");
        document_.others.push_back({entries.front()->name, source});
    }
}

// Where neither the root record nor the object directory tells: the kind of which most objects are, of which only one
// can be; else the kind that most readings fit.
void Finder::ChooseRootClass() {
    if (document_.rootClass) return;
    std::map<const ClassInfo*, std::size_t> votes;
    for (const auto& object : document_.objects) votes[graph_.RootOf(*object->info)] += 1000;
    for (const Readings& readings : unnamed_) {
        std::set<const ClassInfo*> roots;
        for (const auto& reading : readings) roots.insert(graph_.RootOf(*reading->info));
        for (const ClassInfo* root : roots) votes[root] += roots.size() == 1 ? 1000 : 1;
    }
    votes.erase(nullptr);
    if (votes.empty()) return;
    document_.rootClass = std::ranges::max_element(votes, {}, [](const auto& each) { return each.second; })->first;
    for (Readings& readings : unnamed_)
        std::erase_if(readings, [&](const auto& each) { return graph_.RootOf(*each->info) != document_.rootClass; });
    Narrow();
}

void Finder::NoteMissing() {
    for (const auto& [info, ids] : MissingByClass())
        for (const GUID& id : ids) document_.missing.emplace(id, info);
}

}  // namespace

ReadAttempt ReadAs(const ClassInfo& info, const GUID& id, const std::shared_ptr<const ByteSource>& source) {
    ReadAttempt attempt{info.create(), 0, false};
    attempt.object->Bind(*Ref<Entry>(new Entry(id, &info)));
    auto from = source;
    if (const auto salvaged = std::dynamic_pointer_cast<const SalvagedSource>(source);
        salvaged && info.kind == ClassKind::Collection && !IsNil(id))
        from = WithCountThatFits(salvaged);
    try {
        attempt.bytes = ReadObject(*attempt.object, from).bytes;
        attempt.isRead = true;
    } catch (const Failure&) {  // the fields before the one that failed are read
    }
    return attempt;
}

FoundDocument FindObjects(compound::File& file, const ClassGraph& graph, std::vector<DocumentProblem>& losses,
                          const Progress& progress) {
    return Finder(file, graph, losses, progress).Run();
}

std::string Described(const ClassInfo& info, const GUID& id, std::u16string_view name) {
    const std::string shown = ToUtf8(info.name) + (IsNil(id) ? std::string() : " " + ToUtf8(ToText(id)));
    return name.empty() ? shown : shown + " \"" + ToUtf8(name) + "\"";
}

}  // namespace lumvex::inside
