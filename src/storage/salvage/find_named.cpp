// Objects whose stream has a directory entry that names it.
#include <algorithm>
#include <tuple>

#include "storage/salvage/object_finder.hpp"

namespace lumvex::inside {

namespace {

// Read whole, its record exactly as long as its stream; that of a newer writer may be longer.
bool IsUnderstood(const FoundObject& found, const ClassInfo& info) {
    if (!found.isWhole) return false;
    return found.understood == found.source->Size() ||
           VersionWord(At<std::uint32_t>(Head(*found.source), 0)).Writer() > info.version.Writer();
}

}  // namespace

// Does a certain entry of this ID lead to where the source begins?
bool ObjectFinder::LeadsTo(const GUID& id, const SalvagedSource& source) const {
    const auto entries = named_.find(id);
    return entries != named_.end() && std::ranges::any_of(entries->second, [&](const SalvagedEntry* entry) {
               const Source named = SourceOf(*entry, Way::Chain);
               return file_->IsCertain(*entry) && !named->Extents().empty() && !source.Extents().empty() &&
                      named->Extents().front().offset == source.Extents().front().offset;
           });
}

// An entry that is not in the directory of the last state, and whose stream is not where it says any more.
bool ObjectFinder::IsOutdated(const SalvagedEntry& entry) const {
    return entry.standing != SalvagedEntry::Standing::Current &&
           file_->JudgeChain(entry) == SalvagedFile::Verdict::Contradicted;
}

// Whole, with its record exactly as long as its stream; else the best of what there is, or nothing.
std::unique_ptr<FoundObject> ObjectFinder::ReadNamed(const GUID& id, const ClassInfo& info) const {
    using Trust = FoundObject::Trust;
    constexpr std::size_t kMostRivals = 3;
    std::unique_ptr<FoundObject> best;
    std::vector<Source> candidates;
    const auto rank = [&](const FoundObject& each) {
        const std::uint64_t lost = each.source->Lost(each.source->Size());
        const bool isExact = lost == 0 && IsUnderstood(each, info);
        // Zeros fill the last sector, unless another program has saved: what is followed by something else may have its
        // end from elsewhere.
        return std::tuple(isExact && file_->EndsInZeros(each.source->Extents()), isExact, each.isWhole,
                          each.source->Size() - lost);
    };
    for (const SalvagedEntry* entry : named_.at(id)) {
        if (IsOutdated(*entry)) continue;
        const bool isCertain = file_->IsCertain(*entry), isWholeLarge = file_->IsWholeLarge(*entry);
        for (const Way way : {Way::Chain, Way::Adjacent, Way::Beside}) {
            if (way == Way::Beside && entry->size >= compound::kMiniCutoff) continue;
            const Source source = SourceOf(*entry, way);
            const std::vector<std::byte> head = Head(*source);
            const bool isCollection = info.kind == ClassKind::Collection;
            if (source->Size() < 8) continue;
            // Any date and name may be in a record that is as long as its stream, where it is certain that this is it.
            const bool isLikely = isCollection ? BeginsAsCollection(head) : BeginsAsItem(head);
            if (!isLikely && !(isCertain && way == Way::Chain)) continue;
            auto found = ReadCandidate(info, id, source);
            const bool isExact = std::get<1>(rank(*found));
            if (!isLikely && !isExact) continue;
            if (isCertain && way == Way::Chain)
                found->trust = Trust::Certain;
            else if (entry->standing == SalvagedEntry::Standing::Current)
                found->trust = Trust::Listed;
            if (found->trust == Trust::Certain && std::get<0>(rank(*found))) return found;
            if (isExact && !(isWholeLarge && way != Way::Chain)) candidates.push_back(found->source);
            if (!best || rank(*found) > rank(*best)) best = std::move(found);
        }
        if (isCertain) continue;
        for (std::vector<compound::Extent>& extents : file_->WithOtherRests(*entry)) {
            const auto source = std::make_shared<SalvagedSource>(file_, std::move(extents));
            const auto found = ReadCandidate(info, id, source);
            if (std::get<1>(rank(*found))) candidates.push_back(source);
        }
    }
    if (!best || best->trust == Trust::Certain) return best;
    best->hasRival =
        best->hasRival || !file_->EndsInZeros(best->source->Extents()) || file_->IsDisputed(best->source->Extents());
    std::set<std::vector<std::byte>> contents{best->source->All()};
    for (const Source& source : candidates)
        if (contents.size() <= kMostRivals &&
            file_->EndsInZeros(source->Extents()) >= file_->EndsInZeros(best->source->Extents()) &&
            contents.insert(source->All()).second)
            best->rivals.push_back(ReadCandidate(info, GUID{}, source));
    best->hasRival = best->hasRival || !best->rivals.empty();
    return best;
}

// Of the objects to which nothing leads: as each class whose record is as long as the stream. The name may be damaged.
ObjectFinder::Readings ObjectFinder::ReadNamedAsAny(const GUID& id) const {
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

// An entry of an older state, for an object that the document does not have any more.
bool ObjectFinder::IsStale(const GUID& id) const {
    return named_.at(id).front()->standing != SalvagedEntry::Standing::Current && !document_.rows.empty() &&
           !document_.rows.contains(id) && !referred_.contains(id);
}

void ObjectFinder::ReadNamed() {
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

}  // namespace lumvex::inside
