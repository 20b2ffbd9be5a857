// What commands that change a document have in common.
#pragma once

#include <functional>
#include <iostream>

#include "objects/opened.hpp"

namespace lumvex::app {

// Runs `change`, which changes the document and answers what to report of that, and saves it once. Errors are those of
// OnObjects() and EditedDocument::Save().
template <class Change>
ExitStatus ChangeAndSave(EditedDocument& document, Change change) {
    const std::string report = OnObjects(document.Path(), "cannot be changed", change);
    document.Save("cannot be saved, nothing was changed");
    Reports() << report << '\n';
    return kDone;
}

// The same for the item of an address: `change` answers what it has become, and both addresses are reported. `refusal`
// is said of what is no item: " is no item; its name is fixed".
using ItemChange = std::function<Node(const Node& item, const Node& root, const Addresses& addresses)>;
ExitStatus ChangeItem(const std::filesystem::path& document, const std::string& address, const char* refusal,
                      const ItemChange& change);

}  // namespace lumvex::app
