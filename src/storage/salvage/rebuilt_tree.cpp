#include "storage/salvage/rebuilt_tree.hpp"

#include <algorithm>

#include "core/tree/item.hpp"
#include "lumvex/client.hpp"

namespace lumvex::inside {

namespace {

constexpr std::u16string_view kRecovered = u"Recovered";

GUID NewId() {
    GUID id;
    Check(CoCreateGuid(&id));
    return id;
}

}  // namespace

RebuiltTree::RebuiltTree(const FoundDocument& document, const ClassGraph& graph, std::vector<DocumentProblem>& losses)
    : graph_(graph), losses_(losses) {
    root_.info = document.rootClass;
    root_.reference = document.root;
    if (IsEqualGUID(root_.reference.id, GUID_NULL)) root_.reference = {NewId(), 0};
    byId_.emplace(root_.reference.id, &root_);
    for (const auto& found : document.objects) {
        const auto row = document.rows.find(found->id);
        Add(*found, {found->id, row == document.rows.end() ? 0 : row->second.tag});
    }
    for (const auto& found : document.unnamed) {
        const bool hasId = !IsEqualGUID(found->id, GUID_NULL) && !byId_.contains(found->id);
        TreeNode& node = Add(*found, {hasId ? found->id : NewId(), 0});
        if (!hasId) Lost(node, "nothing tells its ID: it has a new one, and what referred to it does not any more");
    }
    if (document.rootObject) {
        document.rootObject->ForEachChild([&](ChildSlot& slot, const ClassInfo& info) {
            if (slot.reference) OwnOne(root_, {*slot.reference, &info});
        });
        OwnBelow(root_);
    } else {
        losses_.push_back({"the root record", "it is lost: the document's own properties are those of a new one"});
    }
    PlaceOrphans();
    DropEmptyLost();
    CheckTargets();
    for (const auto& [id, info] : document.missing)
        if (!byId_.contains(id) && told_.insert(id).second)
            losses_.push_back({Described(*info, id, {}), "nothing of it was found"});
}

std::string RebuiltTree::NameOf(const TreeNode& node) const {
    return Described(*node.info, node.reference.id, node.name);
}

std::string RebuiltTree::PathOf(const TreeNode& node) const {
    if (!node.owner) return {};
    const std::string above = PathOf(*node.owner);
    const std::string own = ToUtf8(node.info->kind == ClassKind::Collection ? node.info->title : node.name);
    return above.empty() ? own : above + "/" + own;
}

TreeNode& RebuiltTree::Add(const FoundObject& found, const Reference& reference) {
    nodes_.push_back(std::make_unique<TreeNode>());
    TreeNode& node = *nodes_.back();
    node.reference = reference;
    node.info = found.info;
    node.found = &found;
    node.name = found.name;
    node.isChanged =
        found.info->kind == ClassKind::Collection || !found.isWhole || found.understood != found.source->Size();
    byId_.emplace(reference.id, &node);
    return node;
}

TreeNode& RebuiltTree::Make(const ClassInfo& info, TreeNode& owner, std::u16string name) {
    nodes_.push_back(std::make_unique<TreeNode>());
    TreeNode& node = *nodes_.back();
    node.reference = {NewId(), 0};
    node.info = &info;
    node.name = std::move(name);
    node.isChanged = true;
    byId_.emplace(node.reference.id, &node);
    Attach(node, owner);
    return node;
}

void RebuiltTree::Attach(TreeNode& node, TreeNode& owner) {
    node.owner = &owner;
    owner.below.push_back(&node);
}

TreeNode* RebuiltTree::ChildOf(TreeNode& owner, const ClassInfo& collection) const {
    const auto found = std::ranges::find(owner.below, &collection, &TreeNode::info);
    return found == owner.below.end() ? nullptr : *found;
}

// What an owner's record refers to becomes its own, unless something else owns it already.
void RebuiltTree::OwnOne(TreeNode& owner, const FoundObject::Below& below) {
    const auto known = byId_.find(below.reference.id);
    TreeNode* node = known == byId_.end() ? nullptr : known->second;
    const bool isCollection = below.info->kind == ClassKind::Collection;
    if (node && node->info == below.info && !node->owner && node != &root_ && node != &owner) {
        node->reference.tag = below.reference.tag;
        return Attach(*node, owner);
    }
    if (node && node->owner == &owner) return;
    owner.isChanged = true;
    const std::string name = Described(*below.info, below.reference.id, node ? node->name : std::u16string());
    if (node) {
        losses_.push_back({name, "a second reference to it, by " + NameOf(owner) + ", was dropped"});
    } else if (told_.insert(below.reference.id).second) {
        losses_.push_back({name, isCollection ? "its list of members is lost; " + NameOf(owner) + " had it"
                                              : "it is lost; " + NameOf(owner) + " listed it"});
    }
    if (node || !isCollection) return;
    TreeNode& made = Make(*below.info, owner, {});
    byId_.erase(made.reference.id);
    made.reference = below.reference;
    byId_.emplace(made.reference.id, &made);
    made.wasLost = true;
    lost_[made.info].push_back(&made);
}

void RebuiltTree::OwnBelow(TreeNode& top) {
    std::vector<TreeNode*> waiting{&top};
    while (!waiting.empty()) {
        TreeNode& owner = *waiting.back();
        waiting.pop_back();
        if (owner.found)
            for (const FoundObject::Below& below : owner.found->below) OwnOne(owner, below);
        for (TreeNode* below : owner.below) waiting.push_back(below);
    }
}

// Those to which no other orphan refers come first: they bring what is below them along.
void RebuiltTree::PlaceOrphans() {
    for (const bool topsOnly : {true, false}) {
        std::set<GUID, GuidLess> referred;
        for (const auto& node : nodes_) {
            if (node->owner || !node->found || !topsOnly) continue;
            for (const FoundObject::Below& below : node->found->below) referred.insert(below.reference.id);
        }
        for (std::size_t at = 0; at < nodes_.size(); ++at) {
            TreeNode& node = *nodes_[at];
            if (node.owner || referred.contains(node.reference.id)) continue;
            Place(node);
        }
    }
}

void RebuiltTree::Place(TreeNode& orphan) {
    if (orphan.info->kind == ClassKind::Collection) {
        const ClassInfo* ownerClass = graph_.OwnerOf(*orphan.info);
        if (!ownerClass) return;
        TreeNode* owner = ownerClass->kind == ClassKind::Root ? &root_ : nullptr;
        if (owner && ownerClass != root_.info) return Lost(orphan, "it belongs to another kind of document");
        // A collection of this class that was lost, or made for others that had lost their place, can only be this one.
        if (TreeNode* there = owner ? ChildOf(*owner, *orphan.info) : nullptr) {
            for (const FoundObject::Below& below : orphan.found->below) OwnOne(*there, below);
            orphan.owner = there;  // its members are there; the list itself is not needed any more
            for (TreeNode* below : there->below) OwnBelow(*below);
            there->isChanged = true;
            return Lost(orphan, "what it lists was put into " + PathOf(*there));
        }
        if (!owner) owner = &RecoveredOwner(*ownerClass);
        if (ChildOf(*owner, *orphan.info)) {
            recovered_.erase(ownerClass);
            owner = &RecoveredOwner(*ownerClass);
        }
        Attach(orphan, *owner);
        owner->isChanged = true;
        OwnBelow(orphan);
        return Lost(orphan, "nothing refers to it: it was put into " + (owner == &root_ ? "the root" : PathOf(*owner)));
    }
    const ClassInfo* collection = graph_.CollectionOf(*orphan.info);
    if (!collection) return;
    if (graph_.RootOf(*collection) != root_.info) return Lost(orphan, "it belongs to another kind of document");
    TreeNode& place = PlaceFor(*collection);
    Attach(orphan, place);
    place.isChanged = true;
    OwnBelow(orphan);
    Lost(orphan, "nothing lists it: it was put into " + PathOf(place));
}

// The one collection of the class whose list is lost; else one of the root's own, or below an item that is made for it.
TreeNode& RebuiltTree::PlaceFor(const ClassInfo& collection) {
    if (const auto lost = lost_.find(&collection); lost != lost_.end() && lost->second.size() == 1)
        return *lost->second.front();
    const ClassInfo* ownerClass = graph_.OwnerOf(collection);
    TreeNode& owner = ownerClass == root_.info ? root_ : RecoveredOwner(*ownerClass);
    if (TreeNode* there = ChildOf(owner, collection)) return *there;
    owner.isChanged = true;
    return Make(collection, owner, {});
}

TreeNode& RebuiltTree::RecoveredOwner(const ClassInfo& info) {
    if (const auto known = recovered_.find(&info); known != recovered_.end()) return *known->second;
    TreeNode& place = PlaceFor(*graph_.CollectionOf(info));
    place.isChanged = true;
    TreeNode& made = Make(info, place, std::u16string(kRecovered));
    recovered_.emplace(&info, &made);
    return made;
}

// A collection without members is made by the model when it is asked for, with what new ones have.
void RebuiltTree::DropEmptyLost() {
    for (const auto& node : nodes_) {
        if (!node->wasLost || !node->below.empty()) continue;
        std::erase(node->owner->below, node.get());
        byId_.erase(node->reference.id);
        node->owner = nullptr;
    }
}

void RebuiltTree::CheckTargets() {
    for (const TreeNode* reached : InOrder()) {
        if (!reached->found) continue;
        for (const FoundObject::Target& target : reached->found->targets) {
            const auto known = byId_.find(target.id);
            if (known != byId_.end() && known->second->info == target.info && known->second->owner) continue;
            auto& node = *byId_.at(reached->reference.id);
            node.isChanged = true;
            node.lostTargets.insert(target.id);
            Lost(node, "its reference to " + Described(*target.info, target.id, {}) + " leads nowhere: it is none now");
        }
    }
}

std::vector<const TreeNode*> RebuiltTree::InOrder() const {
    std::vector<const TreeNode*> ordered;
    std::vector<const TreeNode*> waiting(root_.below.rbegin(), root_.below.rend());
    while (!waiting.empty()) {
        const TreeNode* node = waiting.back();
        waiting.pop_back();
        ordered.push_back(node);
        waiting.insert(waiting.end(), node->below.rbegin(), node->below.rend());
    }
    return ordered;
}

std::size_t RebuiltTree::Count() const { return InOrder().size(); }

}  // namespace lumvex::inside
