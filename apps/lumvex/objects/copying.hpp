// Copies of items with everything below them, in a document or from one into another.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "objects/address.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

// Copies items, and afterwards gives the copies' references their targets: the copies of what the originals refer to,
// or what is at the same address in the copies' document. Throws Error.
class Copier {
public:
    // `to` is the root of the copies' document.
    explicit Copier(Node to) : to_(std::move(to)) {}

    // Into a collection of any document.
    Node Into(const Node& original, const Node& collection);
    // Into the document, together with the owners that are missing there.
    Node WithParents(const Node& original);
    // Gives an item that is there already the original's content; its name and ID stay.
    void Contents(const Node& original, const Node& existing);

    // The object that is the original's counterpart in the document: of the same ID, or at the same address; empty when
    // there is none.
    Node CounterpartOf(const Node& original);

    // The item's reference is to lead to the counterpart of what the original's leads to.
    void MendLater(const Node& original, const Node& item, const MemberDescription& reference);

    // To be called once, when everything has been copied. Lists the references that are left without a target:
    // "SpeakerEQs/Left/Bi amp/Measurements/On axis: Experiment (Experiments/Near field)".
    std::vector<std::string> MendReferences();

    // In the originals' document, which is the copies' as well: whatever refers to an original refers to its copy.
    void TakeOverReferences();

private:
    void Remember(const Node& original, const Node& copy);
    void LinkLibrary(const Node& from);
    Node CopyOf(const Node& target);
    Node Counterpart(const Node& original, const Node& root);
    bool IsOfLibrary(const Node& target) const;
    bool IsAtHome(const Node& target) const;

    Node to_;
    Paths fromPaths_, toPaths_;
    NodePairs pairs_;
    struct Pending {
        Node original, item;
        const MemberDescription* reference;
    };
    std::vector<Pending> pending_;
    std::map<std::u16string, Node> copies_;  // by ID of the original
};

}  // namespace lumvex::app
