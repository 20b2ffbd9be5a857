// The tree of a salvaged document: every object has one owner again, from the root down. Objects whose owner or list is
// lost are put where objects of their class belong.
#pragma once

#include "storage/salvage/found_objects.hpp"

namespace lumvex::inside {

// An object of the new document.
struct TreeNode {
    Reference reference;
    const ClassInfo* info = nullptr;
    const FoundObject* found = nullptr;  // null: made anew
    std::u16string name;
    TreeNode* owner = nullptr;
    std::vector<TreeNode*> below;          // child collections, or members in their order
    std::set<GUID, GuidLess> lostTargets;  // references to items that lead nowhere
    bool isChanged = false;                // its record is not what was found
    bool wasLost = false;                  // a collection that is referred to, but was not found
};

class RebuiltTree {
public:
    // `losses` gets what was lost and where objects went that had lost their place.
    RebuiltTree(const FoundDocument& document, const ClassGraph& graph, std::vector<DocumentProblem>& losses);

    const TreeNode& Root() const { return root_; }
    std::size_t Count() const;  // objects below the root
    // Owners before what they own, each collection's members in order.
    std::vector<const TreeNode*> InOrder() const;

private:
    TreeNode& Add(const FoundObject& found, const Reference& reference);
    TreeNode& Make(const ClassInfo& info, TreeNode& owner, std::u16string name);
    void Attach(TreeNode& node, TreeNode& owner);
    void OwnBelow(TreeNode& top);
    void OwnOne(TreeNode& owner, const FoundObject::Below& below);
    TreeNode* ChildOf(TreeNode& owner, const ClassInfo& collection) const;
    void PlaceOrphans();
    void Place(TreeNode& orphan);
    TreeNode& PlaceFor(const ClassInfo& collection);
    TreeNode& RecoveredOwner(const ClassInfo& info);
    void DropEmptyLost();
    void CheckTargets();
    std::string NameOf(const TreeNode& node) const;
    std::string PathOf(const TreeNode& node) const;
    void Lost(const TreeNode& node, std::string what) { losses_.push_back({NameOf(node), std::move(what)}); }

    const ClassGraph& graph_;
    std::vector<DocumentProblem>& losses_;
    TreeNode root_;
    std::vector<std::unique_ptr<TreeNode>> nodes_;
    std::map<GUID, TreeNode*, GuidLess> byId_;
    std::map<const ClassInfo*, TreeNode*> recovered_;
    std::map<const ClassInfo*, std::vector<TreeNode*>> lost_;  // collections that were referred to, but not found
    std::set<GUID, GuidLess> told_;                            // missing objects that were reported
};

}  // namespace lumvex::inside
