#include "objects/walking.hpp"

#include <algorithm>

namespace lumvex::app {

void ForEachItem(const Node& from, const std::function<void(const Node&)>& visit) {
    if (from.IsCollection()) {
        const LONG count = from.Count();
        for (LONG place = 1; place <= count; ++place) ForEachItem(from.Member(place), visit);
        return;
    }
    if (from.Is(Kind::Item)) visit(from);
    for (const MemberDescription* each : ChildCollectionsOf(from.Type())) ForEachItem(from.Follow(*each), visit);
}

NodePairs PairsOf(const Node& original, const Node& copy) {
    std::vector<Node> originals, copies;
    ForEachItem(original, [&](const Node& each) { originals.push_back(each); });
    ForEachItem(copy, [&](const Node& each) { copies.push_back(each); });
    NodePairs pairs;
    for (std::size_t at = 0; at < std::min(originals.size(), copies.size()); ++at)
        pairs.emplace_back(originals[at], copies[at]);
    return pairs;
}

}  // namespace lumvex::app
