// Records at places that were taken for parts of other objects. Where nothing certain says whose bytes these are, what
// was taken first may be wrong, and everything that is a whole record is in the document.
#include <algorithm>
#include <unordered_set>

#include "storage/salvage/object_finder.hpp"

namespace lumvex::inside {

namespace {

constexpr int kLikely = -4;  // points of a whole record behind which nothing begins

std::size_t UnitAt(std::uint64_t offset) { return static_cast<std::size_t>(offset / compound::kMiniSectorSize); }

}  // namespace

// `beginnings`: where in the file streams may begin.
ObjectFinder::Takers ObjectFinder::TakersOf(const std::vector<std::uint64_t>& beginnings) const {
    std::unordered_set<std::size_t> begins;
    for (const std::uint64_t offset : beginnings) begins.insert(UnitAt(offset));
    Takers takers{std::vector<Takers::Kind>(claimed_.size()), {}};
    for (std::size_t unit = 0; unit < claimed_.size(); ++unit)
        if (claimed_[unit] && guessedTables_[unit]) takers.ofUnits[unit] = Takers::kGuessed;
    for (const auto* objects : {&document_.objects, &document_.unnamed})
        for (const auto& found : *objects) {
            if (found->source->Extents().empty()) continue;
            const bool isCertain = found->trust == FoundObject::Trust::Certain;
            const std::size_t first = UnitAt(found->source->Extents().front().offset);
            bool holdsOthers = false;
            ForEachUnit(*found->source, [&](std::size_t unit) {
                takers.ofUnits[unit] = std::max(takers.ofUnits[unit], isCertain ? Takers::kCertain : Takers::kGuessed);
                holdsOthers = holdsOthers || (unit != first && begins.contains(unit));
            });
            takers.byFirstUnit.insert_or_assign(first, Takers::Taker{found.get(), holdsOthers});
        }
    return takers;
}

// An object was found before at the place of these readings. Keeps the readings that may be true instead of it: where
// other streams begin inside of the object, shorter readings that are as certain as it is; elsewhere readings that are
// much more certain. Other ways to read the object itself become its rivals.
void ObjectFinder::KeepBeside(const Takers::Taker& taker, Readings& readings) {
    constexpr int kBetter = 6;
    FoundObject& there = *taker.found;
    const auto same = std::ranges::find_if(readings, [&](const auto& each) {
        return each->info == there.info && each->source->Extents() == there.source->Extents();
    });
    const bool isReadSo = same != readings.end();
    if (isReadSo && !(*same)->rivals.empty()) {
        there.hasRival = true;
        std::ranges::move((*same)->rivals, std::back_inserter(there.rivals));
    }
    if (!isReadSo && !taker.holdsOthers) return readings.clear();
    const int least = isReadSo ? (*same)->certainty + (taker.holdsOthers ? 0 : kBetter) : kLikely;
    std::erase_if(readings, [&](const auto& each) {
        return each->certainty < least || (taker.holdsOthers && each->understood >= there.source->Size());
    });
}

// Inside of, and at the beginning of, records whose places are not certain. Items have names; other bytes that look
// like the beginning of one have none.
void ObjectFinder::ReadCovered() {
    const std::vector<std::uint64_t> beginnings = file_->Beginnings();
    const Takers takers = TakersOf(beginnings);
    for (std::size_t unit = 0; unit < claimed_.size(); ++unit)
        claimed_[unit] = takers.ofUnits[unit] == Takers::kCertain;
    for (const std::uint64_t offset : beginnings) {
        if (takers.ofUnits[UnitAt(offset)] != Takers::kGuessed) continue;
        Readings readings = ReadingsAt(offset);
        const auto taker = takers.byFirstUnit.find(UnitAt(offset));
        if (taker != takers.byFirstUnit.end()) KeepBeside(taker->second, readings);
        std::erase_if(readings, [](const auto& each) {
            return each->certainty < kLikely || each->info->kind != ClassKind::Item || each->name.empty();
        });
        DropContradicted(readings);
        if (!readings.empty()) unnamed_.push_back(std::move(readings));
    }
}

}  // namespace lumvex::inside
