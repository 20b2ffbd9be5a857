#include "objects/matching.hpp"

#include <map>
#include <string>

#include "files/file_error.hpp"
#include "objects/address.hpp"

namespace lumvex::app {

namespace {

// The first of a name has a place in its address only where there is a second: "Data/woofer[1]". Within quotation marks
// it is the name's own.
std::string WithoutFirstPlaces(const std::string& path) {
    std::string text;
    char quote = '\0';
    for (std::size_t at = 0; at < path.size(); ++at) {
        const bool isStep = at == 0 || path[at - 1] == '/';
        if (quote == '\0' && path.compare(at, 3, "[1]") == 0 && (at + 3 == path.size() || path[at + 3] == '/')) {
            at += 2;
            continue;
        }
        if (quote != '\0' && path[at] == '\\') {
            text += path[at++];
        } else if (path[at] == quote) {
            quote = '\0';
        } else if (quote == '\0' && isStep && (path[at] == '\'' || path[at] == '"')) {
            quote = path[at];
        }
        text += path[at];
    }
    return text;
}

// The root itself, and every item below the address.
std::vector<Node> ObjectsBelow(const Node& root, std::string_view address, std::string& problem,
                               const Unreadable& unreadable) {
    std::vector<Node> objects;
    try {
        const Node from = Addresses({}, root).Find(address);
        if (from.Is(Kind::Root)) objects.push_back(from);
        ForEachItem(
            from, [&](const Node& each) { objects.push_back(each); }, unreadable);
    } catch (const FileError& error) {
        problem = error.what();
    }
    return objects;
}

}  // namespace

Matching::Matching(const Node& before, const Node& after, std::string_view address, const Unreadable& unreadableBefore,
                   const Unreadable& unreadableAfter) {
    std::string noneBefore, noneAfter;
    const std::vector<Node> older = ObjectsBelow(before, address, noneBefore, unreadableBefore);
    const std::vector<Node> newer = ObjectsBelow(after, address, noneAfter, unreadableAfter);
    if (!noneBefore.empty() && !noneAfter.empty()) throw FileError({}, noneAfter);

    std::map<std::u16string, std::size_t> byId;
    for (std::size_t at = 0; at < older.size(); ++at) byId[older[at].Id()] = at;
    std::vector<std::size_t> partner(newer.size(), older.size());
    std::vector<bool> isTaken(older.size());
    const auto match = [&](std::size_t at, std::size_t with) {
        if (isTaken[with] || &older[with].Type() != &newer[at].Type()) return;
        partner[at] = with;
        isTaken[with] = true;
    };
    for (std::size_t at = 0; at < newer.size(); ++at) {
        const auto same = byId.find(newer[at].Id());
        if (same != byId.end()) match(at, same->second);
        if (newer[at].Is(Kind::Root)) match(at, 0);
    }
    Paths left, right;
    std::map<std::string, std::size_t> byPath;
    for (std::size_t at = 0; at < older.size(); ++at)
        if (!isTaken[at]) byPath[WithoutFirstPlaces(left.Of(older[at]))] = at;
    for (std::size_t at = 0; at < newer.size() && !byPath.empty(); ++at) {
        if (partner[at] != older.size()) continue;
        const auto same = byPath.find(WithoutFirstPlaces(right.Of(newer[at])));
        if (same != byPath.end()) match(at, same->second);
    }
    for (std::size_t at = 0; at < newer.size(); ++at) {
        if (partner[at] == older.size())
            added_.push_back(newer[at]);
        else
            pairs_.emplace_back(older[partner[at]], newer[at]);
    }
    for (std::size_t at = 0; at < older.size(); ++at)
        if (!isTaken[at]) removed_.push_back(older[at]);
}

}  // namespace lumvex::app
