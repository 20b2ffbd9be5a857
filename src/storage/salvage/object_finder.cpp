#include "storage/salvage/object_finder.hpp"

#include <algorithm>

#include "storage/compound/base/stable_sort.hpp"
#include "storage/compound/format/names.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::inside {

namespace {

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

}  // namespace

FoundDocument ObjectFinder::Run() {
    SortEntries();
    ReadTable();
    ReadRoot();
    ReadNamed();
    ReadUnnamed();
    ChooseClasses();
    MatchIds();
    ReadCovered();
    ChooseClasses();
    MatchIds();
    KeepDamaged();
    ReadOthers();
    if (document_.objects.empty() && document_.unnamed.empty() && !document_.rootObject)
        throw Failure(static_cast<HRESULT>(compound::Status::NotFound), "there is nothing of a document in it");
    NoteOtherEnds();
    NoteDoubts();
    KeepRivals();
    NoteMissing();
    return std::move(document_);
}

void ObjectFinder::SortEntries() {
    for (const SalvagedEntry& entry : file_->Entries()) {
        if (file_->IsDirectoryWhole() && entry.standing != SalvagedEntry::Standing::Current) continue;
        entries_[std::u16string(compound::FoldedName(entry.name).Text())].push_back(&entry);
    }
    for (auto& [name, entries] : entries_) {
        compound::StableSort(entries.begin(), entries.end(),
                             [](const auto* one, const auto* other) { return one->standing > other->standing; });
        if (const auto id = IdOfStream(name)) named_.emplace(*id, entries);
    }
}

void ObjectFinder::Claim(const SalvagedSource& source, std::uint64_t from, std::uint64_t to) {
    std::uint64_t begin = 0;  // of the extent, in the stream
    for (const compound::Extent& extent : source.Extents()) {
        const std::uint64_t first = std::max(from, begin), last = std::min(to, begin + extent.count);
        begin += extent.count;
        if (extent.offset == compound::Extent::kLost || first >= last) continue;
        const std::uint64_t place = extent.offset + first - (begin - extent.count);
        for (std::uint64_t at = place / 64; at * 64 < place + last - first && at < claimed_.size(); ++at)
            claimed_[static_cast<std::size_t>(at)] = true;
    }
}

void ObjectFinder::Learn(const FoundObject& found) {
    for (const FoundObject::Below& below : found.below) {
        if (IsNil(below.reference.id)) continue;
        known_[below.reference.id] = below.info;
        if (referred_.insert(below.reference.id).second) knownInOrder_.push_back(below.reference.id);
    }
}

void ObjectFinder::Accept(std::unique_ptr<FoundObject> found) {
    Claim(*found->source, found->source->Size());
    Learn(*found);
    certainPlaces_.Add(*found);
    objects_[found->id] = found.get();
    document_.objects.push_back(std::move(found));
}

std::map<const ClassInfo*, std::vector<GUID>> ObjectFinder::MissingByClass() const {
    std::map<const ClassInfo*, std::vector<GUID>> missing;
    for (const GUID& id : knownInOrder_)
        if (!Has(id)) missing[known_.at(id)].push_back(id);
    for (const auto& [id, row] : document_.rows) {
        const ClassInfo* info = FindClass(row.classId);
        if (info && info->kind != ClassKind::Root && !Has(id) && !referred_.contains(id)) missing[info].push_back(id);
    }
    return missing;
}

// How many objects have each mini sector of the file.
std::vector<std::uint8_t> ObjectFinder::Owners() const {
    std::vector<std::uint8_t> owners(claimed_.size());
    for (const auto* objects : {&document_.objects, &document_.unnamed})
        for (const auto& found : *objects)
            ForEachUnit(*found->source, [&](std::size_t unit) { owners[unit] = owners[unit] == 0 ? 1 : 2; });
    return owners;
}

// Of objects that are still missing, what could be read of them. A record at a place that is not certain, and where
// another object was found, is no part of it.
void ObjectFinder::KeepDamaged() {
    const std::vector<std::uint8_t> owners = Owners();
    for (std::unique_ptr<FoundObject>& found : damaged_) {
        if (Has(found->id)) continue;
        bool isOthers = false;
        ForEachUnit(*found->source, [&](std::size_t unit) { isOthers = isOthers || owners[unit] != 0; });
        if (isOthers && found->trust != FoundObject::Trust::Certain) continue;
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

// A long record whose last sector is uncertain may end in each that nothing else has.
void ObjectFinder::NoteOtherEnds() {
    const std::vector<std::uint8_t> owners = Owners();
    for (const auto* objects : {&document_.objects, &document_.unnamed})
        for (const auto& found : *objects) {
            if (found->trust == FoundObject::Trust::Certain || found->source->Extents().empty()) continue;
            for (std::vector<compound::Extent>& extents : file_->WithOtherEnds(found->source->Extents())) {
                if (owners[static_cast<std::size_t>(extents.back().offset / compound::kMiniSectorSize)] != 0) continue;
                const auto source = std::make_shared<SalvagedSource>(file_, std::move(extents));
                found->rivals.push_back(ReadCandidate(*found->info, GUID{}, source));
                found->hasRival = true;
            }
        }
}

// May both be records of one object, of different states? Its date and what is below it stay; its name does mostly, or
// what is behind it; a record that does not need more mini sectors than before stays in its place of the mini stream.
bool ObjectFinder::MayBeOneObject(const FoundObject& one, const FoundObject& other) const {
    constexpr std::size_t kDateAt = 4;
    if (one.info->kind == ClassKind::Item &&
        At<double>(Head(*one.source), kDateAt) != At<double>(Head(*other.source), kDateAt))
        return false;
    const auto idOf = [](const FoundObject::Below& below) { return below.reference.id; };
    const auto isSame = [](const GUID& a, const GUID& b) { return IsEqualGUID(a, b) != 0; };
    if (!std::ranges::equal(one.below, other.below, isSame, idOf, idOf)) return false;
    if (!one.below.empty() || one.name == other.name) return true;
    const auto offset = [](const FoundObject& each) { return each.source->Extents().front().offset; };
    if ((offset(one) - offset(other)) % file_->SectorSize() != 0) return false;
    const std::vector<std::byte> bytes = one.source->All(), others = other.source->All();
    const auto [end, unused] = std::mismatch(bytes.rbegin(), bytes.rend(), others.rbegin(), others.rend());
    return 2 * static_cast<std::size_t>(end - bytes.rbegin()) > std::min(bytes.size(), others.size());
}

// May the one's part of the mini stream be in the sector of the other?
bool ObjectFinder::MayBeMisplaced(const FoundObject& one, const FoundObject& other) const {
    return one.source->Size() == other.source->Size() &&
           file_->MayBeElsewhere(one.source->Extents().front().offset, other.source->Extents().front().offset);
}

// Where the tables that lead to a record may be those of an older state, and another record was found that the object
// may have as well, nothing tells which is the current one. The other one is in the document too, under a new ID. The
// same holds where several objects have the same bytes, and where a sector was guessed.
void ObjectFinder::NoteDoubts() {
    std::size_t looks = 20'000'000;  // at pairs of records, some seconds; what is left then counts as doubtful
    std::map<const ClassInfo*, std::vector<const FoundObject*>> others;
    for (const auto& found : document_.unnamed) others[found->info].push_back(found.get());
    for (const auto& found : document_.objects)
        if (found->isMatched) others[found->info].push_back(found.get());
    const std::vector<std::uint8_t> owners = Owners();
    const auto isDoubtful = [&](const FoundObject& found) {
        bool isShared = found.hasRival || !Has(found.id);
        ForEachUnit(*found.source, [&](std::size_t unit) { isShared = isShared || owners[unit] > 1; });
        if (isShared) return true;
        return std::ranges::any_of(others[found.info], [&](const FoundObject* other) {
            if (looks == 0) return true;
            --looks;
            const bool mayBe = MayBeMisplaced(found, *other) ||
                               (found.trust == FoundObject::Trust::None && MayBeOneObject(found, *other));
            return mayBe && other->source->All() != found.source->All();
        });
    };
    for (const auto* objects : {&document_.objects, &document_.unnamed})
        for (const auto& found : *objects)
            if (!IsNil(found->id) && !found->isMatched && found->trust != FoundObject::Trust::Certain &&
                !found->source->Extents().empty() && isDoubtful(*found))
                Lost(Described(*found->info, found->id, found->name),
                     "it is doubtful: what leads to its record may be of an older state, and other bytes may be its "
                     "own");
}

// An item whose record is one of other classes as well.
void ObjectFinder::NoteOtherClasses(const FoundObject& found) {
    if (found.otherClasses.empty()) return;
    std::string classes;
    for (const auto& other : found.otherClasses)
        classes += (classes.empty() ? "a " : ", a ") + ToUtf8(other->info->name);
    Lost(Described(*found.info, found.id, found.name),
         "its class is doubtful: its record can be read as " + classes + " as well, and is in the document so, too");
}

// What is doubtful is in the document in each way that it may be.
void ObjectFinder::KeepRivals() {
    Readings rivals;
    for (const auto* objects : {&document_.objects, &document_.unnamed})
        for (const auto& found : *objects) {
            if (found->info->kind != ClassKind::Item) continue;
            NoteOtherClasses(*found);
            std::ranges::move(found->rivals, std::back_inserter(rivals));
            std::ranges::move(found->otherClasses, std::back_inserter(rivals));
        }
    std::ranges::move(rivals, std::back_inserter(document_.unnamed));
}

// Streams that are none of the document's. Those whose entry is not certain are left.
void ObjectFinder::ReadOthers() {
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

void ObjectFinder::NoteMissing() {
    for (const auto& [info, ids] : MissingByClass())
        for (const GUID& id : ids) document_.missing.emplace(id, info);
}

}  // namespace lumvex::inside
