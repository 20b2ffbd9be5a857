// Copies, and what they have to be.
#include "random/world.hpp"

#include <algorithm>

#include "core/base/failure.hpp"

namespace lumvex::tests {

using inside::Message;
using inside::StatusOf;

Node* World::Counterpart(Node& collection, const Node& other) const {
    for (Node* each : collection.below) {
        const std::string& name = collection.table->name;
        if (name == "CSpkrEQConfigs" || name == "CCrossoverConfigs") {
            if (each->At("ConfigID") == other.At("ConfigID")) return each;
        } else if (CompareNoCase(each->name, other.name) == 0) {
            if (name != "CSpeakerEQs" || each->references[0].libraryId == other.references[0].libraryId) return each;
        }
    }
    return nullptr;
}

HRESULT World::CopyRefused(const Doc& from, const Node& item, const Doc& to, const Node& collection) const {
    if (collection.table->member != item.table) return E_INVALIDARG;
    if (item.table->isLink && &from != &to) return StatusOf(Message::OtherDocument);
    const bool once = collection.table->name == "CSpkrEQDesigns" || collection.table->name == "CCrossoverConfigs";
    if (once && std::ranges::any_of(collection.below,
                                    [&](const Node* each) { return CompareNoCase(each->name, item.name) == 0; }))
        return StatusOf(Message::NameExists);
    return S_OK;
}

Node* World::CopyInto(Doc& from, Node& item, Doc& to, Node& collection, bool withChildren) {
    Index(to);
    const auto outside = [&](const Node* target) -> Node* {
        if (&from == &to) return const_cast<Node*>(target);
        if (!target->alive) return nullptr;
        const auto same = to.ofClass.find(target->table);
        if (same != to.ofClass.end())
            for (Node* each : same->second)
                if (!each->id.empty() && each->id == target->id) return each;
        return nullptr;
    };
    Node* copy = to.tree->Clone(item, &collection, withChildren, outside);
    for (std::size_t at = 0; at < copy->references.size(); ++at)
        if (!withChildren && copy->references[at].item == &item) copy->references[at].item = copy;
    collection.below.push_back(copy);
    to.indexed = false;
    to.modified = true;
    return copy;
}

void World::Copy(Doc& doc) {
    Node* item = AnyItem(doc);
    if (!item) return;
    Index(doc);
    Doc& to = random_.OneIn(3) ? AnyDoc() : doc;
    Node* collection = random_.OneIn(12) ? AnyCollection(to) : AnyOf(to, *item->owner->table);
    if (!collection) return;
    const bool withChildren = random_.OneIn(2);
    if (IsFull(to)) return Remove(to);
    Learn(doc, *item);  // an ID that was not asked for yet would be met as an object that is not there
    const Ref<IDispatch> object = Live(doc, *item), into = Live(to, *collection);
    const HRESULT refused = CopyRefused(doc, *item, to, *collection);
    if (random_.OneIn(8)) {
        const Answer answer = Do(object.get(), member::kCanCopy, DISPATCH_METHOD, {ObjectArgument(into.get())});
        if (OutOfMemory(answer, doc)) return;
        if ((answer.value.lVal != 0) != (collection->table->member == item->table)) throw Wrong("CanCopy is wrong");
    }
    Log("copy " + PathOf(*item) + " into " + PathOf(*collection) + (withChildren ? "" : " without children"));
    const Answer answer = Do(object.get(), withChildren ? member::kCopy : member::kCopyNoChildren, DISPATCH_METHOD,
                             {ObjectArgument(into.get())});
    if (OutOfMemory(answer, to)) return;
    Expect(refused, answer, "the copy");
    if (refused != S_OK) return;
    Node* copy = CopyInto(doc, *item, to, *collection, withChildren);
    Compare(*copy, answer.Object(), ReadingOf(to));
}

void World::CopyWithParents(Doc& doc) {
    Node* item = AnyItem(doc);
    if (!item) return;
    Doc& to = random_.OneIn(2) ? AnyDoc() : doc;
    if (IsFull(to)) return;
    CompareAll(doc);
    if (&to != &doc) CompareAll(to);
    const Ref<IDispatch> object = Live(doc, *item);
    Log("copy " + PathOf(*item) + " with parents into " + (to.table == &ProjectTable() ? "project" : "library") +
        (&to == &doc ? ", the same" : ""));
    const Answer answer = Do(object.get(), member::kCopyWithParents, DISPATCH_METHOD, {ObjectArgument(to.root.get())});
    if (OutOfMemory(answer, to)) return;
    if (doc.table != to.table) return Expect(E_INVALIDARG, answer, "CopyWithParents");
    std::vector<Node*> path;
    for (Node* owner = item->owner; owner->owner; owner = owner->owner) path.push_back(owner);
    std::reverse(path.begin(), path.end());
    Node* at = to.tree->root;
    std::vector<Node*> copied;
    HRESULT refused = item->table->isLink && &doc != &to ? StatusOf(Message::OtherDocument) : S_OK;
    for (Node* step : path) {
        if (refused != S_OK) break;
        if (step->IsCollection()) {
            at = at->below[step->Place()];
            continue;
        }
        Node* match = nullptr;
        for (Node* each : at->below)
            if (each->id == step->id) match = each;
        if (!match) match = Counterpart(*at, *step);
        if (!match) {
            refused = CopyRefused(doc, *step, to, *at);
            if (refused != S_OK) break;
            match = CopyInto(doc, *step, to, *at, false);
            copied.push_back(match);
        }
        at = match;
    }
    if (refused == S_OK) refused = CopyRefused(doc, *item, to, *at);
    if (refused != S_OK)
        for (auto each = copied.rbegin(); each != copied.rend(); ++each) Tree::Remove(**each);
    else
        CopyInto(doc, *item, to, *at, true);
    to.indexed = false;
    Expect(refused, answer, "CopyWithParents");
    CompareAll(to);
}

void World::CopyContents(Doc& doc) {
    Node* receiver = AnyItem(doc);
    if (!receiver) return;
    Doc& from = random_.OneIn(3) ? AnyDoc() : doc;
    Node* item = random_.OneIn(12) ? AnyItem(from) : AnyOf(from, *receiver->table);
    if (!item) return;
    if (IsFull(doc)) return Remove(doc);
    Learn(from, *item);
    Learn(doc, *receiver);
    const Ref<IDispatch> source = Live(from, *item), object = Live(doc, *receiver);
    Log("copy contents of " + PathOf(*item) + " into " + PathOf(*receiver));
    const Answer answer = Do(source.get(), member::kCopyContents, DISPATCH_METHOD, {ObjectArgument(object.get())});
    if (OutOfMemory(answer, doc)) return;
    if (item == receiver) return Expect(S_OK, answer, "CopyContents");
    const HRESULT refused = item->table != receiver->table         ? E_INVALIDARG
                            : item->table->isLink && &from != &doc ? StatusOf(Message::OtherDocument)
                            : LockedBelow(*receiver)               ? StatusOf(Message::Locked)
                                                                   : S_OK;
    Expect(refused, answer, "CopyContents");
    if (refused != S_OK) return;
    Node& collection = *receiver->owner;
    Node* copy = CopyInto(from, *item, doc, collection, true);
    collection.below.pop_back();
    for (Node* child : receiver->below)
        for (Node* member : std::vector<Node*>(child->below)) Tree::Remove(*member);
    for (std::size_t at = 0; at < receiver->below.size(); ++at)
        for (Node* member : copy->below[at]->below) {
            member->owner = receiver->below[at];
            receiver->below[at]->below.push_back(member);
        }
    const Value config = receiver->table->name == "CCrossoverConfig" ? receiver->At("ConfigID") : Value();
    receiver->values = copy->values;
    if (receiver->table->name == "CCrossoverConfig") receiver->At("ConfigID") = config;
    receiver->references = copy->references;
    receiver->timestamp = item->timestamp;
    receiver->timestampKnown = item->timestampKnown;
    ForEach(*receiver, [&](Node& each) {
        for (Target& target : each.references)
            if (target.item == copy || (target.item == item && &from != &doc)) target.item = receiver;
    });
    copy->alive = false;
    doc.indexed = false;
    Compare(*receiver, object.get(), ReadingOf(doc));
}

}  // namespace lumvex::tests
