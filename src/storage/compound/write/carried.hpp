// Folders that a new file takes over from another one, with all they hold: what is pending of them is in pending.hpp.
#pragma once

#include <vector>

#include "storage/compound/write/directory_editor.hpp"

namespace lumvex::compound {

// Gives what is inside of folders its place in the directory. ids: the entries of the root's folders.
void PlaceCarried(DirectoryEditor& editor, const CarriedTree& tree, std::vector<EntryId> ids);

}  // namespace lumvex::compound
