// The streams that every document has: object directory, locks, settings and the root record.
#include <algorithm>

#include "storage/compound/format/names.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"
#include "storage/salvage/object_finder.hpp"

namespace lumvex::inside {

namespace {

constexpr std::size_t kRowSize = sizeof(DirectoryRow);
}  // namespace

// Visits what the stream of a name may be, the most likely first, until a visit answers true.
template <class Visit>
void ObjectFinder::ForEachReading(std::u16string_view name, Visit&& visit) {
    const auto found = entries_.find(std::u16string(compound::FoldedName(name).Text()));
    if (found == entries_.end()) return;
    for (const SalvagedEntry* entry : found->second)
        for (const Way way : {Way::Chain, Way::Adjacent}) {
            if (IsOutdated(*entry)) continue;
            const Source source = SourceOf(*entry, way);
            const bool isIt = visit(source);
            if (way != Way::Chain || !file_->IsCertain(*entry))
                ForEachUnit(*source, [&](std::size_t unit) { guessedTables_[unit] = true; });
            if (isIt) return;
        }
}

// Rows of classes that nobody knows are what other bytes look like; they are kept where there is a stream of the ID.
void ObjectFinder::TakeTable(const Source& source) {
    if (source->Size() < 4) return;
    const auto count = static_cast<std::size_t>((source->Size() - 4) / kRowSize);
    std::vector<std::byte> bytes(count * kRowSize);
    source->Read(4, bytes);
    for (std::size_t at = 0; at < count; ++at) {
        const auto row = At<DirectoryRow>(bytes, at * kRowSize);
        if (IsNil(row.id) || !(FindClass(row.classId) || (named_.contains(row.id) && !IsNil(row.classId)))) continue;
        document_.rows.emplace(row.id, row);
        Claim(*source, 4 + at * kRowSize, 4 + (at + 1) * kRowSize);
    }
}

void ObjectFinder::ReadTable() {
    ForEachReading(kDirectoryStream, [&](const Source& source) {
        if (BeginsAsTable(Head(*source))) TakeTable(source);
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
        if (At<std::uint32_t>(bytes, 0) != (bytes.size() - 4) / sizeof(LockRow)) return false;
        for (std::size_t at = 4; at + sizeof(LockRow) <= bytes.size(); at += sizeof(LockRow))
            document_.locks.push_back(At<LockRow>(bytes, at));
        Claim(*source, source->Size());
        return true;
    });
    ForEachReading(kSettingsStream, [&](const Source& source) {
        const VersionWord word(At<std::uint32_t>(Head(*source), 0));
        if (!word.NamesMinimumReader() || word.MinimumReader() > word.Writer()) return false;
        document_.settings = source;
        Claim(*source, source->Size());
        return true;
    });
}

// Of the kinds that a record may be, without a stream's length that tells: what the file's name says, or the shorter
// one; what is behind it is zeros.
bool ObjectFinder::TakeRoot(const Source& source, bool hasWord, bool isNamed) {
    const ClassInfo* best = nullptr;
    Ref<Object> object;
    Reference self;
    std::uint64_t end = 0;
    for (const ClassInfo* info : AllClasses()) {
        if (info->kind != ClassKind::Root || (document_.rootClass && document_.rootClass != info)) continue;
        try {
            RecordReader reader(source);
            if (hasWord && reader.U32() != kRootWord) return false;
            const Reference its = reader.ObjectReference();
            Ref<Object> root = info->create();
            info->load(*root, reader, VersionWord(hasWord ? kRootVersion : 1));
            const bool fits = isNamed
                                  ? reader.Left() == 0
                                  : source->IsZero(reader.Position(), (reader.Position() + 63) & ~std::uint64_t{63});
            if (!fits || IsNil(its.id)) continue;
            const bool isLess = info == likelyRoot_ || (best != likelyRoot_ && reader.Position() < end);
            if (best && !isLess) continue;
            best = info;
            object = root;
            self = its;
            end = reader.Position();
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

void ObjectFinder::ReadRoot() {
    ForEachReading(kRootStream, [&](const Source& source) { return TakeRoot(source, true, true); });
    ForEachReading(kOldRootStream, [&](const Source& source) {
        if (!document_.rootObject) return TakeRoot(source, false, true);
        // The same again for older programs, without the version word.
        const bool isIt = IsEqualGUID(At<GUID>(Head(*source), 0), document_.root.id) != 0;
        if (isIt) Claim(*source, source->Size());
        return isIt;
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

}  // namespace lumvex::inside
