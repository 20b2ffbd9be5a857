// Which of its classes an object without a directory entry is, and which ID it has: from what refers to it and what it
// refers to.
#include <algorithm>
#include <functional>

#include "storage/compound/base/stable_sort.hpp"
#include "storage/salvage/object_finder.hpp"

namespace lumvex::inside {

namespace {

// A record is followed by the next one at the end of its last mini sector.
std::uint64_t BeginOf(const FoundObject& found) { return found.source->Extents().front().offset; }

std::uint64_t EndOf(const FoundObject& found) {
    const compound::Extent& last = found.source->Extents().back();
    return (last.offset + last.count + compound::kMiniSectorSize - 1) / compound::kMiniSectorSize *
           compound::kMiniSectorSize;
}

}  // namespace

void ObjectFinder::Places::Add(const FoundObject& found) {
    if (!found.source || found.source->Extents().empty()) return;
    begins[BeginOf(found)].push_back(found.info);
    ends[EndOf(found)].push_back(found.info);
}

// What is before the object in the file, and what behind it.
int ObjectFinder::PointsBeside(const FoundObject& found) const {
    if (found.source->Extents().empty()) return 0;
    int before = 0, behind = 0;
    for (const Places* places : {&certainPlaces_, &possiblePlaces_}) {
        if (const auto there = places->ends.find(BeginOf(found)); there != places->ends.end())
            for (const ClassInfo* info : there->second) before = std::max(before, graph_.Nearness(*info, *found.info));
        if (const auto there = places->begins.find(EndOf(found)); there != places->begins.end())
            for (const ClassInfo* info : there->second) behind = std::max(behind, graph_.Nearness(*found.info, *info));
    }
    return before + behind;
}

// How much speaks for a class, with what is known of the objects that refer to this one and that it refers to; far
// below 0 where that contradicts.
int ObjectFinder::ScoreOf(const FoundObject& found) const {
    constexpr int kContradicts = -100;
    int score = found.certainty - found.doubt + PointsBeside(found);
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

// Where neither the root record nor the object directory tells: the kind of which most objects are, of which only one
// can be; else the kind that most readings fit.
void ObjectFinder::ChooseRootClass() {
    if (document_.rootClass) return;
    std::map<const ClassInfo*, std::size_t> votes;
    for (const auto& object : document_.objects) votes[graph_.RootOf(*object->info)] += 1000;
    for (const Readings& readings : unnamed_) {
        std::set<const ClassInfo*> roots;
        for (const auto& reading : readings) roots.insert(graph_.RootOf(*reading->info));
        for (const ClassInfo* root : roots) votes[root] += roots.size() == 1 ? 1000 : 1;
    }
    votes.erase(nullptr);
    if (const auto likely = votes.find(likelyRoot_); likely != votes.end()) ++likely->second;
    if (votes.empty()) return;
    document_.rootClass = std::ranges::max_element(votes, {}, [](const auto& each) { return each.second; })->first;
    for (Readings& readings : unnamed_)
        std::erase_if(readings, [&](const auto& each) { return graph_.RootOf(*each->info) != document_.rootClass; });
    Narrow();
}

// Was it left behind by an older state? Sectors of small streams are written anew as a whole: then the same bytes are
// at the same place of another sector, and most of what is beside them as well.
bool ObjectFinder::IsCopy(const FoundObject& found) const {
    const auto sector = static_cast<std::size_t>(file_->SectorSize());
    const auto begin = [](const auto& each) { return each->source->Extents().front().offset; };
    const std::uint64_t offset = found.source->Extents().front().offset;
    if (found.understood >= compound::kMiniCutoff || offset == compound::Extent::kLost) return false;
    if (file_->MayBeInMiniStream(offset)) return false;
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

// Drops readings that contradict what else is known. Where all of them do, what is known may be a wrong guess, and
// those stay that have much of their own.
bool ObjectFinder::DropContradicted(Readings& readings) const {
    constexpr int kContradicted = -20, kSure = 8;
    const auto isContradicted = [&](const auto& each) { return ScoreOf(*each) < kContradicted; };
    if (std::ranges::any_of(readings, std::not_fn(isContradicted))) return std::erase_if(readings, isContradicted) != 0;
    return std::erase_if(readings, [&](const auto& each) { return each->certainty < kSure; }) != 0;
}

// Until none is left that contradicts another.
void ObjectFinder::Narrow() {
    for (bool more = true; more;) {
        possible_.clear();
        wanted_.clear();
        possiblePlaces_ = {};
        for (const Readings& readings : unnamed_) {
            for (const auto& reading : readings) {
                possiblePlaces_.Add(*reading);
                if (!IsNil(reading->id)) possible_[reading->id].insert(reading->info);
                for (const FoundObject::Below& below : reading->below) wanted_[below.reference.id].insert(below.info);
            }
        }
        more = false;
        for (Readings& readings : unnamed_) more = DropContradicted(readings) || more;
    }
    std::erase_if(unnamed_, [](const Readings& readings) { return readings.empty(); });
}

// The first of the scores. Items of other classes that are about as likely go along.
void ObjectFinder::Choose(Readings& readings, const Scores& scores, bool isMissing) {
    constexpr int kAsLikely = 3, kOfSameLength = 6;  // points less, at most
    constexpr std::size_t kMostOthers = 3;
    const auto& [best, first] = scores.front();
    std::unique_ptr<FoundObject> chosen = std::move(readings[first]);
    for (const auto& [score, at] : std::span(scores).subspan(1)) {
        std::unique_ptr<FoundObject>& other = readings[at];
        const int less = other->understood == chosen->understood ? kOfSameLength : kAsLikely;
        const bool isLikely = best - score <= less && other->certainty > 0 && other->info->kind == ClassKind::Item;
        if (isLikely && chosen->otherClasses.size() < kMostOthers) chosen->otherClasses.push_back(std::move(other));
    }
    readings.clear();
    if (!isMissing && IsNil(chosen->id) && IsCopy(*chosen)) return;
    if (const std::uint64_t size = chosen->source->Size(), lost = chosen->source->Lost(size); lost != 0)
        Lost(Described(*chosen->info, chosen->id, chosen->name), CutText(lost, size));
    Learn(*chosen);
    certainPlaces_.Add(*chosen);
    if (!IsNil(chosen->id)) known_.emplace(chosen->id, chosen->info);
    if (!IsNil(chosen->id) && referred_.contains(chosen->id) && !Has(chosen->id))
        Accept(std::move(chosen));
    else
        document_.unnamed.push_back(std::move(chosen));
}

// Classes that are certain come first: what these objects refer to tells the classes of others.
void ObjectFinder::ChooseClasses() {
    constexpr std::size_t kFew = 2000;  // so many are chosen one by one
    Narrow();
    ChooseRootClass();
    for (int margin = 9; !unnamed_.empty();) {
        const auto all = MissingByClass();
        auto missing = all;  // more of them than have been found without their IDs
        for (const auto& found : document_.unnamed)
            if (const auto ids = missing.find(found->info); ids != missing.end() && !ids->second.empty())
                ids->second.pop_back();
        std::erase_if(missing, [](const auto& each) { return each.second.empty(); });
        bool chosen = false;
        for (Readings& readings : unnamed_) {
            Scores scores;
            for (std::size_t at = 0; at < readings.size(); ++at)
                scores.emplace_back(ScoreOf(*readings[at]) + (missing.contains(readings[at]->info) ? 3 : 0), at);
            compound::StableSort(scores.begin(), scores.end(),
                                 [](const auto& one, const auto& other) { return one.first > other.first; });
            if (scores.size() > 1 && scores[0].first - scores[1].first < margin) continue;
            // A list that may be that of several classes tells nothing.
            const FoundObject& best = *readings[scores[0].second];
            const bool isList = best.info->kind == ClassKind::Collection;
            if (isList && margin == 1 && scores.size() > 1) continue;
            if (isList && margin == 0)
                readings.clear();
            else
                Choose(readings, scores, all.contains(best.info));
            chosen = true;
            if (margin < 2 && unnamed_.size() < kFew) break;
        }
        Narrow();
        margin = chosen ? 9 : margin / 2;
    }
    const auto offset = [](const auto& each) { return each->source->Extents()[0].offset; };
    compound::StableSort(document_.unnamed.begin(), document_.unnamed.end(),
                         [&](const auto& one, const auto& other) { return offset(one) < offset(other); });
}

// Where as many objects of a class were found without a name as are missing, they are these, in the order in which they
// are referred to: objects are saved in that order.
void ObjectFinder::MatchIds() {
    const auto missing = MissingByClass();
    for (const auto& [info, ids] : missing) {
        std::vector<std::size_t> found;
        for (std::size_t at = 0; at < document_.unnamed.size(); ++at)
            if (document_.unnamed[at] && document_.unnamed[at]->info == info) found.push_back(at);
        if (found.size() != ids.size()) continue;
        for (std::size_t at = 0; at < ids.size(); ++at) {
            std::unique_ptr<FoundObject> object = std::move(document_.unnamed[found[at]]);
            object->id = ids[at];
            object->isMatched = true;
            std::string told =
                "its directory entry is lost: it is taken for the one object of its class that is missing";
            if (ids.size() > 1)
                told = "its directory entry is lost: which of " + std::to_string(ids.size()) +
                       " objects it is was told by its place in the file";
            else if (LeadsTo(object->id, *object->source))
                told = "its record does not fill its stream: what is behind it is left out";
            Lost(Described(*info, object->id, object->name), told);
            Accept(std::move(object));
        }
    }
    std::erase(document_.unnamed, nullptr);
}

}  // namespace lumvex::inside
