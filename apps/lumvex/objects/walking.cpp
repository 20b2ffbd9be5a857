#include "objects/walking.hpp"

#include <algorithm>
#include <set>

#include "command_line/status_text.hpp"
#include "objects/address.hpp"

namespace lumvex::app {

Node ReadableMember(const Node& collection, LONG place, const Unreadable& unreadable) {
    if (!unreadable) return collection.Member(place);
    try {
        return collection.Member(place);
    } catch (const Error& error) {
        unreadable("member " + std::to_string(place) + " of " + PathOf(collection) +
                   " cannot be read: " + Describe(error));
        return {};
    }
}

void ForEachItem(const Node& from, const std::function<void(const Node&)>& visit, const Unreadable& unreadable) {
    if (from.IsCollection()) {
        const LONG count = from.Count();
        for (LONG place = 1; place <= count; ++place)
            if (const Node member = ReadableMember(from, place, unreadable)) ForEachItem(member, visit, unreadable);
        return;
    }
    if (from.Is(Kind::Item)) visit(from);
    for (const MemberDescription* each : ChildCollectionsOf(from.Type()))
        ForEachItem(from.Follow(*each), visit, unreadable);
}

std::vector<Node> Outermost(const std::vector<Node>& objects) {
    std::set<std::u16string> chosen, told;
    for (const Node& each : objects)
        if (each.HasId()) chosen.insert(each.Id());
    const auto isBelowOther = [&](const Node& object) {
        for (Node each = object; each.HasId() && !each.Is(Kind::Root);) {
            each = each.Parent();
            if (chosen.contains(each.Id())) return true;
        }
        return false;
    };
    std::vector<Node> outermost;
    for (const Node& each : objects) {
        if (!each.HasId() || (!isBelowOther(each) && told.insert(each.Id()).second)) outermost.push_back(each);
    }
    return outermost;
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
