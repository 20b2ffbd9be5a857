// Members added, removed, found and held.
#include "random/world.hpp"

#include <algorithm>

#include "core/base/failure.hpp"

namespace lumvex::tests {

using inside::Message;
using inside::StatusOf;

Node* World::AddTo(Doc& doc, Node& collection, bool mistaken) {
    const ClassTable& table = *collection.table;
    Node* made = doc.tree->Make(*table.member, &collection);
    made->timestampKnown = false;
    std::vector<Ref<IDispatch>> objects;
    std::vector<Bstr> texts;
    std::vector<VARIANT> arguments;
    HRESULT expected = S_OK;
    Node* existing = nullptr;
    std::string given;
    for (const AddParameter& each : table.add) {
        if (each.isConfig) {
            const Ref<IDispatch> configs(
                GetLate(doc.root.get(), doc.table == &ProjectTable() ? member::kConfigs : member::kLibraryConfigs)
                    .Object());
            const auto config = static_cast<LONG>(1 + random_.Below(4));
            objects.emplace_back(GetLate(configs.get(), member::kItem, {LongArgument(config)}).Object());
            arguments.push_back(ObjectArgument(objects.back().get()));
            const char16_t* const names[] = {u"Single amp", u"Bi amp", u"Tri amp", u"Subwoofer"};
            made->name = names[config - 1];
            made->At("ConfigID") = Value::Number(config);
            for (Node* each2 : collection.below)
                if (!existing && CompareNoCase(each2->name, made->name) == 0) existing = each2;
        } else if (each.item) {
            const bool toLibrary = each.item->ofLibrary && !table.ofLibrary;
            Doc& other = toLibrary ? Library() : mistaken && random_.OneIn(2) ? docs_[&doc == &docs_[0] ? 1 : 0] : doc;
            const bool none = each.optional ? random_.OneIn(3) : random_.OneIn(20);
            Node* target = none ? nullptr : AnyOf(other, *each.item);
            objects.push_back(target ? Live(other, *target) : Ref<IDispatch>());
            arguments.push_back(ObjectArgument(objects.back().get()));
            given += " for " + (target ? PathOf(*target) : "none");
            if (!target) {
                if (!each.optional) expected = E_POINTER;
                continue;
            }
            if (!toLibrary && &other != &doc) expected = StatusOf(Message::OtherDocument);
            for (std::size_t at = 0; at < made->references.size(); ++at) {
                if (made->table->references[at].target != each.item) continue;
                if (toLibrary) {
                    if (target->id.empty()) {
                        target->id = IdOf(objects.back().get());
                        Library().indexed = false;
                    }
                    made->references[at].libraryId = target->id;
                } else {
                    made->references[at].item = target;
                }
            }
            if (made->table->Find("ConfigID") && target->table->Find("ConfigID"))
                made->At("ConfigID") = target->At("ConfigID");
            if (!each.optional) made->name = target->name;  // links and configurations are named after it
        } else {
            made->name = AnyName();
            texts.emplace_back(made->name);
            arguments.push_back(TextArgument(texts.back().get()));
        }
    }
    for (std::size_t at = 0, text = 0; at < arguments.size(); ++at)  // the texts may have moved
        if (arguments[at].vt == VT_BSTR) arguments[at].bstrVal = texts[text++].get();
    if (expected == S_OK && table.name == "CSpkrEQDesigns" && Counterpart(collection, *made))
        expected = StatusOf(Message::NameExists);
    const Ref<IDispatch> object = Live(doc, collection);
    Log("add to " + PathOf(collection) + " " + ToUtf8(made->name.substr(0, 20)) + given);
    Answer answer;
    switch (arguments.size()) {
        case 1:
            answer = Do(object.get(), member::kAdd, DISPATCH_METHOD, {arguments[0]});
            break;
        default:
            answer = Do(object.get(), member::kAdd, DISPATCH_METHOD, {arguments[0], arguments[1]});
            break;
    }
    if (OutOfMemory(answer, doc)) return nullptr;
    Expect(expected, answer, "Add");
    if (answer.status != S_OK) return nullptr;
    if (existing) {
        if (IdOf(answer.Object()) != existing->id && !existing->id.empty())
            throw Wrong("Add answers another configuration");
        return existing;
    }
    if (table.name == "CBoxCfgs" || table.name == "CBoxCfgBanks") {
        const auto fillBank = [&](Node& bank) {
            const char16_t* const names[] = {u"Left", u"Left subwoofer", u"Right subwoofer", u"Right"};
            Node* positions = bank.Child("Spkrs");
            for (int position = 0; position < 4; ++position) {
                Node* speaker = doc.tree->Make(*positions->table->member, positions);
                speaker->timestampKnown = false;
                speaker->name = names[position];
                speaker->At("ConfigID") = Value::Number(position == 1 || position == 2 ? LX_SUBWOOFER : LX_TRIAMP);
                positions->below.push_back(speaker);
            }
        };
        if (table.name == "CBoxCfgBanks") {
            fillBank(*made);
        } else {
            Node* banks = made->Child("Banks");
            for (const char16_t* name : {u"Bypass", u"Profile 1", u"Profile 2", u"Profile 3"}) {
                Node* bank = doc.tree->Make(*banks->table->member, banks);
                bank->timestampKnown = false;
                bank->name = name;
                fillBank(*bank);
                banks->below.push_back(bank);
            }
        }
    }
    collection.below.push_back(made);
    doc.indexed = false;
    doc.modified = true;
    made->id = IdOf(answer.Object());
    if (random_.OneIn(2)) Compare(*made, answer.Object(), ReadingOf(doc));
    return made;
}

void World::Add(Doc& doc) {
    Node* collection = AnyCollection(doc);
    if (!collection->table->canAdd) return;
    if (IsFull(doc)) return Remove(doc);
    AddTo(doc, *collection, random_.OneIn(12));
}

// To and beyond the numbers of members from which names are indexed and the list stands in a longer record.
void World::Grow(Doc& doc) {
    Node* collection = AnyCollection(doc);
    if (!collection->table->canAdd || !collection->table->member->children.empty()) return;
    static constexpr std::size_t kNumbers[] = {31, 32, 33, 203, 204, 205, 206};
    const std::size_t wanted = random_.OneIn(30) ? 3280 : random_.Of(kNumbers);
    Index(doc);
    if (doc.items.size() > 4 * options_.objects) return;
    for (std::size_t tries = 0; collection->below.size() < wanted && tries < wanted + 40; ++tries)
        AddTo(doc, *collection, false);
}

// What a removal that could not go all the way has left: every member that is still there in its order, with each that
// is locked and its owners among them.
void World::Reconcile(Doc& doc, Node& node) {
    const Ref<IDispatch> object = Live(doc, node);
    if (node.IsCollection()) {
        std::vector<std::u16string> there;
        const LONG count = GetLate(object.get(), member::kCount).value.lVal;
        for (LONG position = 1; position <= count; ++position) {
            const Answer answer = GetLate(object.get(), member::kItem, {LongArgument(position)});
            if (!answer.Object()) throw Wrong(PathOf(node) + ": a member cannot be reached");
            there.push_back(IdOf(answer.Object()));
        }
        auto next = there.begin();
        for (Node* member : std::vector<Node*>(node.below)) {
            if (next != there.end() && *next == member->id) {
                ++next;
                Reconcile(doc, *member);
            } else if (member->locks != 0 || LockedBelow(*member)) {
                throw Wrong(PathOf(*member) + ": gone though it is locked");
            } else {
                Tree::Remove(*member);
            }
        }
        if (next != there.end()) throw Wrong(PathOf(node) + ": a member that was not there");
    } else {
        for (Node* child : node.below) Reconcile(doc, *child);
    }
    doc.indexed = false;
}

void World::Remove(Doc& doc) {
    Node* item = AnyItem(doc);
    if (!item) return;
    const bool partial = item->locks == 0 && LockedBelow(*item);
    Node& collection = *item->owner;
    const auto place = static_cast<LONG>(item->Place());
    if (partial || options_.failingAllocations) Learn(doc, collection);
    const Ref<IDispatch> object = Live(doc, collection);
    if (random_.OneIn(20)) {
        Log("remove nothing from " + PathOf(collection));
        const LONG outside = random_.OneIn(2) ? 0 : static_cast<LONG>(collection.below.size()) + 1;
        const Answer answer = Do(object.get(), member::kRemove, DISPATCH_METHOD, {LongArgument(outside)});
        if (!OutOfMemory(answer, doc)) Expect(StatusOf(Message::NotLocated), answer, "Remove");
        return;
    }
    Log("remove " + PathOf(*item) + (partial ? ", locked below" : ""));
    const Answer answer = Do(object.get(), member::kRemove, DISPATCH_METHOD, {LongArgument(place + 1)});
    doc.modified = true;
    if (OutOfMemory(answer, doc)) return Reconcile(doc, collection);
    if (failed_ && answer.status == StatusOf(Message::NotAllRemoved)) return Reconcile(doc, collection);
    Expect(item->locks != 0 ? StatusOf(Message::Locked)
           : partial        ? StatusOf(Message::NotAllRemoved)
                            : S_OK,
           answer, "Remove");
    if (answer.status == S_OK) {
        Tree::Remove(*item);
        doc.indexed = false;
    } else if (partial) {
        Reconcile(doc, *item);
    }
}

void World::RemoveAll(Doc& doc) {
    Node* collection = AnyCollection(doc);
    const bool locked = LockedBelow(*collection);
    if (!random_.OneIn(4) && collection->below.size() > 20) return;
    if (locked || options_.failingAllocations) Learn(doc, *collection);
    const Ref<IDispatch> object = Live(doc, *collection);
    Log("remove all of " + PathOf(*collection));
    const Answer answer = Do(object.get(), member::kRemoveAll, DISPATCH_METHOD, {});
    doc.modified = true;
    if (OutOfMemory(answer, doc)) return Reconcile(doc, *collection);
    if (failed_ && answer.status == StatusOf(Message::NotAllRemoved)) return Reconcile(doc, *collection);
    Expect(locked ? StatusOf(Message::NotAllRemoved) : S_OK, answer, "RemoveAll");
    if (locked) return Reconcile(doc, *collection);
    for (Node* member : std::vector<Node*>(collection->below)) Tree::Remove(*member);
    doc.indexed = false;
}

// Long lists are searched in another way than short ones, and there are few of them.
void World::Find(Doc& doc) {
    Node* collection = AnyCollection(doc);
    if (random_.OneIn(2))
        collection =
            *std::ranges::max_element(doc.collections, {}, [](const Node* each) { return each->below.size(); });
    const Ref<IDispatch> object = Live(doc, *collection);
    const std::size_t which = random_.Below(7);
    if (which < 3) {
        const std::u16string name = !collection->below.empty() && random_.OneIn(2)
                                        ? collection->below[random_.Below(collection->below.size())]->name
                                        : AnyName();
        const auto found = std::ranges::find_if(collection->below,
                                                [&](const Node* each) { return CompareNoCase(each->name, name) == 0; });
        const Bstr text(name);
        const DISPID id = which == 0 ? member::kFindName : which == 1 ? member::kFindNameExact : member::kNameExists;
        Log("find " + ToUtf8(name.substr(0, 20)) + " in " + PathOf(*collection) + " by " + std::to_string(id));
        for (int times = random_.OneIn(100) ? 1100 : 0; times > 0; --times)  // which makes an index
            DoLate(object.get(), member::kNameExists, {TextArgument(text.get())});
        const Answer answer = Do(object.get(), id, DISPATCH_METHOD, {TextArgument(text.get())});
        if (OutOfMemory(answer, doc)) return;
        const bool there = found != collection->below.end();
        if (which == 2) {
            Expect(S_OK, answer, "NameExists");
            if ((answer.value.lVal != 0) != there) throw Wrong("NameExists answers the contrary");
            return;
        }
        Expect(there ? S_OK : which == 0 ? S_FALSE : StatusOf(Message::NotLocated), answer, "FindName");
        if (!there) return;
        if ((*found)->id.empty()) (*found)->id = IdOf(answer.Object());
        if (IdOf(answer.Object()) != (*found)->id) throw Wrong("FindName answers another member");
        return;
    }
    // By ID: of one that is below, of one elsewhere, of none.
    Node* wanted = AnyItem(doc);
    if (!wanted || wanted->id.empty()) return;
    const Bstr id(wanted->id);
    Node* from = which < 5 ? collection : AnyItem(doc);
    bool below = false, direct = wanted->owner == from;
    for (const Node* at = wanted->owner; at; at = at->owner) below = below || at == from;
    const bool deep = which != 3;
    const Ref<IDispatch> start = from == collection ? object : Live(doc, *from);
    Log("find " + PathOf(*wanted) + " from " + PathOf(*from) + (deep ? ", deep" : ""));
    Answer answer = deep ? Do(start.get(), member::kFindID, DISPATCH_METHOD, {TextArgument(id.get())})
                         : Do(start.get(), member::kFindID, DISPATCH_METHOD, {TextArgument(id.get()), LongArgument(0)});
    if (OutOfMemory(answer, doc)) return;
    const bool there = deep ? below : direct;
    Expect(there ? S_OK : S_FALSE, answer, "FindID");
    if (there && IdOf(answer.Object()) != wanted->id) throw Wrong("FindID answers another object");
}

void World::Enumerate(Doc& doc) {
    const std::size_t which = random_.Below(3);
    Node* node = which == 0 ? AnyCollection(doc) : AnyItem(doc);
    if (!node) return;
    const Ref<IDispatch> object = Live(doc, *node);
    const DISPID id = which == 0 ? member::kNewEnum : which == 1 ? member::kDescendants : member::kDependents;
    Log("enumerate " + PathOf(*node) + " by " + std::to_string(id));
    const Answer answer = Do(object.get(), id, DISPATCH_PROPERTYGET, {});
    if (OutOfMemory(answer, doc)) return;
    Expect(S_OK, answer, "an enumerator");
    const auto all = Ref<IUnknown>(answer.value.vt == VT_UNKNOWN ? answer.value.punkVal
                                                                 : static_cast<IUnknown*>(answer.value.pdispVal))
                         .As<IEnumVARIANT>();
    if (!all) throw Wrong("no enumerator");
    std::map<std::u16string, int> found;
    std::vector<std::u16string> inOrder;
    for (;;) {
        Variant next;
        ULONG fetched = 0;
        const HRESULT status = all->Next(1, next.Out(), &fetched);
        if (FAILED(status)) throw Wrong("Next answers " + StatusText(status));
        if (fetched == 0) break;
        inOrder.push_back(IdOf(next.pdispVal));
        ++found[inOrder.back()];
    }
    const auto once = [&](const Node& each) {
        if (!each.id.empty() && found[each.id] != 1)
            throw Wrong(PathOf(each) + ": enumerated " + std::to_string(found[each.id]) + " times");
    };
    if (which == 0) {
        if (inOrder.size() != node->below.size()) throw Wrong(std::to_string(inOrder.size()) + " members");
        for (std::size_t at = 0; at < inOrder.size(); ++at)
            if (!node->below[at]->id.empty() && node->below[at]->id != inOrder[at]) throw Wrong("another order");
    } else if (which == 1) {
        ForEach(*node, [&](const Node& each) {
            if (&each != node && each.IsItem()) once(each);
        });
    } else {
        std::size_t links = 0;
        Index(doc);
        for (const Node* each : doc.items) {
            if (!each->table->isLink || each->references[0].item != node) continue;
            ++links;
            once(*each);
        }
        if (inOrder.size() != links)
            throw Wrong(std::to_string(inOrder.size()) + " dependent links, not " + std::to_string(links));
    }
}

void World::Hold(Doc& doc) {
    Node* node = random_.OneIn(3) ? AnyCollection(doc) : AnyItem(doc);
    if (!node) return;
    if (held_.size() >= 12 || (!held_.empty() && random_.OneIn(3))) {
        const std::size_t at = random_.Below(held_.size());
        Log("release what was held");
        held_.erase(held_.begin() + static_cast<std::ptrdiff_t>(at));
        return;
    }
    Log("hold " + PathOf(*node));
    held_.push_back({Live(doc, *node), &doc, doc.opened, node, node->id});
}

void World::UseHeld() {
    if (held_.empty()) return;
    Held& held = held_[random_.Below(held_.size())];
    const bool orphan = !held.node || !held.node->alive;
    Log("use what was held, " + (held.node ? PathOf(*held.node) : std::string("of a document that is gone")));
    const std::u16string id = IdOf(held.object.get());
    if (!held.id.empty() && id != held.id) throw Wrong("another ID");
    const bool isItem = !Ref<IDispatch>(held.object).As<_Collection>();
    if (orphan) {
        const Bstr name(u"orphan"), any(u"{09A5CDEB-2933-4F88-9196-E13F80993ABB}");
        const std::size_t which = random_.Below(3);
        Answer answer;
        if (isItem)
            answer = which == 0 ? Do(held.object.get(), member::kName, DISPATCH_PROPERTYPUT, {TextArgument(name.get())})
                     : which == 1 ? Do(held.object.get(), member::kLocks, DISPATCH_PROPERTYPUT, {LongArgument(0)})
                                  : Do(held.object.get(), member::kParentBase, DISPATCH_PROPERTYGET, {});
        else
            answer = which == 0   ? Do(held.object.get(), member::kRemoveAll, DISPATCH_METHOD, {})
                     : which == 1 ? Do(held.object.get(), member::kFindID, DISPATCH_METHOD, {TextArgument(any.get())})
                                  : Do(held.object.get(), member::kRemove, DISPATCH_METHOD, {LongArgument(1)});
        if (OutOfMemory(answer, *held.doc)) return;
        return Expect(StatusOf(Message::Orphaned), answer, "a change of an orphan");
    }
    Compare(*held.node, held.object.get(), ReadingOf(*held.doc));
}

}  // namespace lumvex::tests
