// Handlers that call back into the model.
#include "random/world.hpp"

#include <algorithm>

#include "core/base/failure.hpp"
#include "kit/everything.hpp"
#include "kit/failing_allocation.hpp"
#include "lumvex/events.hpp"

namespace lumvex::tests {

using inside::Message;
using inside::StatusOf;

// Tells the world of a document's events, until the document goes.
class Sink final : public ::_ILXDEvents {
public:
    Sink(World& world, Doc& doc) : world_(world), doc_(doc) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        const bool offered = IsEqualGUID(iid, kIidOf<IUnknown>) || IsEqualGUID(iid, kIidOf<IDispatch>) ||
                             IsEqualGUID(iid, kIidOf<::_ILXDEvents>);
        *object = offered ? this : nullptr;
        if (!offered) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        const AllocationsSucceed inHandlers;
        const bool ofRoot = arguments->cArgs == 1;
        const auto object = Ref<IUnknown>(arguments->rgvarg[ofRoot ? 0 : 1].punkVal).As<IDispatch>();
        world_.Handle(doc_, object.get(), ofRoot ? -1 : arguments->rgvarg[0].lVal);
        return S_OK;
    }

private:
    ~Sink() = default;
    World& world_;
    Doc& doc_;
    ULONG count_ = 0;
};

void World::Connect(Doc& doc) {
    if (!options_.handlers) return;
    Ref<IConnectionPoint> point;
    const auto container = doc.root.As<IConnectionPointContainer>();
    if (!container || FAILED(container->FindConnectionPoint(kIidOf<::_ILXDEvents>, point.Out())))
        throw Wrong("no events");
    DWORD cookie = 0;
    const Ref<IUnknown> sink(new Sink(*this, doc));
    if (FAILED(point->Advise(sink.get(), &cookie))) throw Wrong("Advise fails");
}

// Nothing may be thrown through the document.
void World::Handle(Doc& doc, IDispatch* object, LONG type) {
    if (handling_ <= 0 || !doc.root || random_.OneIn(2)) return;
    --handling_;
    handled_ = true;
    const int left = std::exchange(handling_, random_.OneIn(4) ? 1 : 0);  // for what the handler itself causes
    try {
        Act(doc, object, type);
    } catch (const std::exception& wrong) {
        if (wrong_.empty()) wrong_ = wrong.what();
        handling_ = 0;
        return;
    }
    handling_ = left;
}

// An object of the document as it was before the call, if it is still there.
Ref<IDispatch> World::Found(Doc& doc, const Node* node) {
    if (!node || node->id.empty() || !doc.root) return {};
    const Bstr id(node->id);
    return Ref<IDispatch>(DoLate(doc.root.get(), member::kLoad, {TextArgument(id.get())}).Object());
}

void World::Act(Doc& doc, IDispatch* object, LONG type) {
    const std::string event = "  event " + std::to_string(type) + ": ";
    const auto tableOf = [](IDispatch* of) -> const ClassTable& {
        const Answer answer = GetLate(of, 0x43);
        for (const ClassTable& each : ClassTables())
            if (answer.value.vt == VT_BSTR && ToText(each.interfaceId) == TextOf(answer.value.bstrVal)) return each;
        throw Wrong("an object of no class");
    };
    const Ref<IDispatch> chosen = random_.OneIn(2) ? Ref<IDispatch>(object) : Found(doc, AnyItem(doc));
    if (!chosen) return;
    const ClassTable& table = tableOf(chosen.get());
    // A collection nearby: the object itself, or one below it.
    Ref<IDispatch> collection;
    if (table.kind == Kind::Collection)
        collection = chosen;
    else if (!table.children.empty())
        collection =
            Ref<IDispatch>(GetLate(chosen.get(), table.children[random_.Below(table.children.size())].id).Object());
    switch (random_.Below(15)) {
        case 0:
        case 1:
            Log(event + "read the children of " + table.name);
            for (const ChildTable& child : table.children) {
                const Answer below = GetLate(chosen.get(), child.id);
                if (below.Object()) GetLate(below.Object(), member::kCount);
            }
            break;
        case 2:
        case 3:
            SaveInHandler(doc);
            break;
        case 4:
            if (!doc.complete || doc.mode == LX_SHARE_READ || doc.path.empty()) break;
            Log(event + "close");
            if (DoLate(doc.root.get(), member::kCloseFile).status != S_OK) throw Wrong("CloseFile fails");
            doc.path.clear();
            break;
        case 5:
        case 6:
        case 7: {
            if (!collection || !tableOf(collection.get()).canAdd) break;
            const auto& parameters = tableOf(collection.get()).add;
            if (parameters.size() != 1 || parameters[0].type != "BSTR") break;
            Log(event + "add to " + tableOf(collection.get()).name);
            const Bstr name(AnyName());
            DoLate(collection.get(), member::kAdd, {TextArgument(name.get())});
            break;
        }
        case 8:
            if (!collection) break;
            Log(event + "remove from " + tableOf(collection.get()).name);
            DoLate(collection.get(), member::kRemove, {LongArgument(1)});
            break;
        case 9:
            if (!collection) break;
            Log(event + "remove all of " + tableOf(collection.get()).name);
            DoLate(collection.get(), member::kRemoveAll);
            break;
        case 10: {
            if (table.kind != Kind::Item) break;
            Log(event + "rename " + table.name);
            const Bstr name(AnyName());
            PutLate(chosen.get(), member::kName, {TextArgument(name.get())});
            break;
        }
        case 11: {  // the receiver, or one of its owners
            Ref<IDispatch> item(object);
            for (std::size_t up = random_.Below(4);; --up) {
                if (!item || tableOf(item.get()).kind == Kind::Root) break;
                const Ref<IDispatch> owner(GetLate(item.get(), member::kParentBase).Object());
                if (tableOf(item.get()).kind == Kind::Item && up == 0) {
                    if (!owner) break;
                    const LONG count = GetLate(owner.get(), member::kCount).value.lVal;
                    for (LONG position = 1; position <= count; ++position) {
                        const Answer each = GetLate(owner.get(), member::kItem, {LongArgument(position)});
                        if (!each.Object() || IdOf(each.Object()) != IdOf(item.get())) continue;
                        Log(event + "remove " + tableOf(item.get()).name);
                        DoLate(owner.get(), member::kRemove, {LongArgument(position)});
                        break;
                    }
                    break;
                }
                if (up == 0) break;
                item = tableOf(item.get()).kind == Kind::Item
                           ? owner
                           : Ref<IDispatch>(GetLate(item.get(), member::kParent).Object());
            }
            break;
        }
        case 12:
            if (!random_.OneIn(6) || &doc == &Library()) break;  // which projects would keep, with its file
            Log(event + "release the document");
            doc.root = nullptr;
            break;
        case 13: {
            Log(event + "enumerate " + table.name);
            if (table.kind == Kind::Item) GetLate(chosen.get(), member::kDescendants);
            const Bstr name(AnyName());
            if (collection) DoLate(collection.get(), member::kFindName, {TextArgument(name.get())});
            break;
        }
        case 14: {
            if (table.kind != Kind::Item) break;
            const Ref<IDispatch> owner(GetLate(chosen.get(), member::kParentBase).Object());
            if (!owner || table.name.starts_with("CBoxCfg")) break;
            Log(event + "copy " + table.name);
            DoLate(chosen.get(), member::kCopy, {ObjectArgument(owner.get())});
            break;
        }
    }
}

// The tree as it is. What refers into a library that is not there is remembered.
std::unique_ptr<Tree> World::Read(Doc& doc) {
    PutLate(doc.root.get(), member::kSafeArrayType, {LongArgument(LX_R4)});
    doc.arrays = LX_R4;
    auto tree = ReadTree(*doc.table, doc.root.get());
    std::map<std::u16string, const Node*> before;
    if (doc.tree) ForEach(*doc.tree->root, [&](Node& node) { before.emplace(node.id, &node); });
    ForEach(*tree->root, [&](Node& node) {
        const auto same = before.find(node.id);
        if (same == before.end() || same->second->table != node.table) return;
        for (std::size_t at = 0; at < node.references.size(); ++at)
            if (node.table->references[at].toLibrary && node.references[at].libraryId.empty())
                node.references[at] = {nullptr, same->second->references[at].libraryId, true};
    });
    return tree;
}

void World::SaveInHandler(Doc& doc) {
    if (doc.path.empty() || doc.mode == LX_SHARE_READ) return;
    Log("  event: save " + doc.path);
    std::unique_ptr<Tree> content;
    if (random_.OneIn(2)) content = Read(doc);
    const Answer answer = DoLate(doc.root.get(), member::kSaveFile);
    if (answer.status != S_OK) throw Wrong("SaveFile answers " + StatusText(answer.status));
    if (!content) content = Read(doc);
    // The tree may hold collections that were made by looking and are not in the file: those have no ID there.
    files_[doc.path] = {doc.table, content->Saved()};
    ForEach(*files_[doc.path].second->root, [](Node& node) {
        if (node.IsCollection() && node.below.empty()) node.id.clear();
    });
    CheckFile(doc.path, doc);
}

// What the handlers did is taken over as it is.
void World::AfterHandlers() {
    for (Doc& doc : docs_) {
        if (!doc.root) {
            doc.root = NewRoot(*doc.table);  // only to be dropped with all that belongs to it
            Fresh(doc);
            continue;
        }
        auto tree = Read(doc);
        std::map<std::u16string, Node*> now;
        ForEach(*tree->root, [&](Node& node) { now.emplace(node.id, &node); });
        for (Held& held : held_) {
            if (held.doc != &doc || !held.node) continue;
            held.id = held.node->id;
            const auto found = now.find(held.id);
            held.node = found != now.end() ? found->second : nullptr;
        }
        doc.tree = std::move(tree);
        doc.indexed = false;
        doc.linked = 0;
        if (doc.table == &ProjectTable()) {
            const Answer linked = GetLate(doc.root.get(), member::kSpecifications);
            if (linked.Object() && linked.Object() == Library().root.get()) doc.linked = Library().opened;
        }
        const Answer modified = GetLate(doc.root.get(), member::kModified);
        doc.modified = modified.value.boolVal != 0;
        if (!doc.bounded) doc.complete = true;
    }
}

}  // namespace lumvex::tests
