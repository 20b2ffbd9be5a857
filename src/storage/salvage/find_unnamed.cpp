// Objects without a directory entry: what the bytes at a place may be.
#include <algorithm>
#include <cstdlib>

#include "storage/records/object_record.hpp"
#include "storage/salvage/object_finder.hpp"

namespace lumvex::inside {

namespace {

constexpr int kGood = 4;           // points from which on a record is likely
constexpr int kOtherVersion = -4;  // for a record of another version of its class than is written now
constexpr int kHoldsOthers = 20;   // points against a record in which others begin
// Zeros fill the last sector of a stream, but bits of them may have been flipped: so many, and the points against each.
constexpr std::uint64_t kMostFlipped = 2;
constexpr int kFlipped = 4;

// IDs are random. Other bytes in their place have many zeros; new IDs are of the fourth kind, whose variant says so.
int PointsOfReference(const Reference& reference) {
    std::byte bytes[sizeof(GUID)];
    std::memcpy(bytes, &reference.id, sizeof bytes);
    int points = reference.tag == 0 ? 0 : -4;
    if (std::ranges::count(bytes, std::byte{0}) > 3) points -= 8;
    if ((bytes[7] & std::byte{0xF0}) == std::byte{0x40} && (bytes[8] & std::byte{0xC0}) == std::byte{0x80}) points += 3;
    return points;
}

}  // namespace

// Does another stream begin in one of its sectors?
bool ObjectFinder::HoldsOthers(const std::vector<compound::Extent>& extents) const {
    std::vector<std::byte> head(64);
    const std::uint64_t sector = file_->SectorSize();
    for (const compound::Extent& extent : extents)
        for (std::uint64_t at = (extent.offset + sector - 1) / sector * sector; at < extent.offset + extent.count;
             at += sector) {
            if (extent.offset == compound::Extent::kLost) break;
            file_->Read(at, head);
            const bool isNew = VersionWord(At<std::uint32_t>(head, 0)).NamesMinimumReader();
            if (at != extents.front().offset && (IsClaimed(at) || (isNew && BeginsAsAny(head)))) return true;
        }
    return false;
}

// The file ends inside of an array: what is missing of it reads as zeros.
void ObjectFinder::ReadCutAt(std::uint64_t offset, Readings& readings) const {
    SalvagedFile::Unnamed stream = file_->ExtentsFrom(offset, file_->Size(), Way::Chain);
    if (stream.isMini) stream = file_->ExtentsFrom(offset, file_->Size(), Way::Beside);
    if (!stream.ends) return;
    std::uint64_t there = 0;
    for (const compound::Extent& extent : stream.extents) there += extent.count;
    if (HoldsOthers(stream.extents)) return;
    stream.extents.push_back({compound::Extent::kLost, 16 * file_->Size()});
    const auto source = std::make_shared<SalvagedSource>(file_, stream.extents);
    for (const ClassInfo* info : AllClasses()) {
        if (!IsPossible(*info) || info->kind != ClassKind::Item) continue;
        auto found = ReadCandidate(*info, GUID{}, source);
        if (!found->isWhole || found->understood <= there || found->name.empty()) continue;
        if (stream.isMini && found->understood >= compound::kMiniCutoff) continue;
        found->source = source->First(found->understood);
        if (At<std::uint32_t>(Head(*source), 0) != info->version.Word()) found->certainty = kOtherVersion;
        readings.push_back(std::move(found));
    }
}

// Zeros at the end may fill the last sector, and be no part of the record.
int ObjectFinder::DoubtOf(const SalvagedSource& source) {
    constexpr std::uint64_t kField = 4, kMost = 3;
    std::uint64_t zeros = 0;
    while (zeros < kField * kMost && zeros + kField <= source.Size() &&
           source.IsZero(source.Size() - zeros - kField, source.Size() - zeros))
        zeros += kField;
    return 2 * static_cast<int>(zeros / kField);
}

// Does another stream begin where this one ends, or the file end, or is that place taken?
bool ObjectFinder::EndsWell(const SalvagedSource& source) const {
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
int ObjectFinder::PointsOfLength(const SalvagedSource& source) const {
    constexpr std::uint64_t kMost = 512;
    std::vector<std::byte> head(64);
    int points = static_cast<int>(std::min(source.Size(), kMost) / 64);
    for (std::uint64_t at = 64; at + 64 <= std::min(source.Size(), 8 * kMost); at += 64) {
        source.Read(at, head);
        if (VersionWord(At<std::uint32_t>(head, 0)).NamesMinimumReader() && BeginsAsAny(head)) points -= 10;
    }
    return points;
}

// The record of that class to its end, with what speaks for it; null where it is none. It has to be followed by zeros,
// up to the end of its last sector and but for a bit or two; where the tables say how many sectors there are, it has to
// take all of them.
std::unique_ptr<FoundObject> ObjectFinder::ReadIn(const SalvagedFile::Unnamed& stream, const Source& source,
                                                  const ClassInfo& info) const {
    constexpr int kWholeChain = 3, kEndsWell = 4, kEndsOddly = -6;
    auto found = ReadCandidate(info, GUID{}, source);
    const bool isLong = found->understood >= compound::kMiniCutoff;
    if (!found->isWhole || (info.kind == ClassKind::Collection && found->below.empty())) return nullptr;
    if (stream.isMini && isLong) return nullptr;
    // A version word and zeros may be anything: objects have a date, and most of them a name.
    const bool hasDate = At<std::uint64_t>(Head(*source), 4) != 0;
    if (info.kind == ClassKind::Item && !hasDate && found->name.empty()) return nullptr;
    constexpr std::uint64_t kSmallSector = 512;  // a large one may have been padded by another program to that only
    const std::uint64_t unit = isLong ? kSmallSector : compound::kMiniSectorSize;
    const std::uint64_t end = (found->understood + unit - 1) / unit * unit;
    const std::uint64_t flipped = source->BitsIn(found->understood, end);
    if (flipped > kMostFlipped) return nullptr;
    const std::uint64_t sector = stream.isMini ? compound::kMiniSectorSize : file_->SectorSize();
    if (stream.isWholeChain && source->Size() - found->understood >= sector) return nullptr;
    found->source = source->First(found->understood);
    found->certainty = CertaintyOf(*found) + PointsOfLength(*found->source);
    if (stream.isWholeChain) found->certainty += kWholeChain;
    if (EndsWell(*found->source))
        found->certainty += kEndsWell;
    else if (!stream.isWholeChain)
        found->certainty += kEndsOddly;
    if (HoldsOthers(found->source->Extents())) found->certainty -= kHoldsOthers;
    found->doubt = DoubtOf(*found->source) + kFlipped * static_cast<int>(flipped);
    return found;
}

// One for each class; where several ways lead to different records of it that are about as certain, the others are its
// rivals.
void ObjectFinder::AddReading(Readings& readings, std::unique_ptr<FoundObject> found) {
    constexpr int kAsCertain = 13;  // what a table that leads there and another stream that begins behind it are worth
    const auto same = std::ranges::find_if(readings, [&](const auto& each) { return each->info == found->info; });
    if (same == readings.end()) return readings.push_back(std::move(found));
    FoundObject& one = **same;
    const bool isRival = std::min(one.certainty, found->certainty) >= kGood &&
                         std::abs(one.certainty - found->certainty) <= kAsCertain &&
                         one.source->All() != found->source->All();
    if (one.certainty < found->certainty) {
        std::ranges::move(one.rivals, std::back_inserter(found->rivals));
        std::swap(*same, found);
    }
    if (isRival) (*same)->rivals.push_back(std::move(found));
}

// Of each class that the bytes can be read as, the record to its end.
ObjectFinder::Readings ObjectFinder::ReadingsAt(std::uint64_t offset) const {
    Readings readings;
    std::vector<std::byte> head(64);
    file_->Read(offset, head);
    const bool mayBeCollection = BeginsAsCollection(head), mayBeItem = BeginsAsItem(head);
    const auto isGood = [](const auto& each) { return each->certainty >= kGood; };
    for (std::uint64_t most = compound::kMiniCutoff; std::ranges::none_of(readings, isGood); most *= 16) {
        bool isLonger = false;
        std::vector<std::vector<compound::Extent>> read;  // ways that lead to the same bytes say the same
        for (const Way way : {Way::Chain, Way::Adjacent, Way::Beside}) {
            const SalvagedFile::Unnamed stream = file_->ExtentsFrom(offset, most, way);
            if (std::ranges::find(read, stream.extents) != read.end()) continue;
            read.push_back(stream.extents);
            const auto source = std::make_shared<SalvagedSource>(file_, stream.extents);
            isLonger = isLonger || ((way != Way::Beside || !stream.isMini) && source->Size() >= most);
            for (const ClassInfo* info : AllClasses()) {
                const bool mayBe = info->kind == ClassKind::Collection ? mayBeCollection : mayBeItem;
                if (!mayBe || !IsPossible(*info)) continue;
                if (auto found = ReadIn(stream, source, *info)) AddReading(readings, std::move(found));
            }
        }
        if (!isLonger) break;
    }
    if (std::ranges::none_of(readings, isGood)) ReadCutAt(offset, readings);
    return readings;
}

// What speaks for a class in the record itself: what was written as this class is what is written again.
int ObjectFinder::CertaintyOf(const FoundObject& found) {
    int points = 0;
    for (const FoundObject::Below& below : found.below)
        points = std::clamp(points + PointsOfReference(below.reference), -12, 6);
    if (found.info->kind != ClassKind::Item) return points;
    if (At<std::uint32_t>(Head(*found.source), 0) != found.info->version.Word()) return points + kOtherVersion;
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

void ObjectFinder::AddUnnamed(Readings readings) {
    DropContradicted(readings);
    if (readings.empty()) return;
    const FoundObject& best = **std::ranges::max_element(
        readings, {}, [&](const auto& each) { return std::pair(ScoreOf(*each), each->understood); });
    Claim(*best.source, best.understood);
    unnamed_.push_back(std::move(readings));
}

void ObjectFinder::ReadUnnamed() {
    for (const std::uint64_t offset : file_->Beginnings())
        if (!IsClaimed(offset)) AddUnnamed(ReadingsAt(offset));
}

}  // namespace lumvex::inside
