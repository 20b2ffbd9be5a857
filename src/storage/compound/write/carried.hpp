// What a new file takes over from another one beside the streams of the root storage: folders with all they hold, and
// what the root storage says of itself.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "storage/compound/format/format.hpp"
#include "storage/compound/read/committed.hpp"
#include "storage/compound/write/change.hpp"

namespace lumvex::compound {

class DirectoryEditor;

// A folder, or a stream inside one.
struct CarriedMember {
    std::array<std::byte, kEntrySize> entry;  // as in the other file; its links and its content are not used
    std::uint32_t first = 0, count = 0;       // a folder's members, as positions in CarriedTree::members
    Change content;                           // of a stream

    bool IsFolder() const { return DirectoryEntry(entry.data()).Type() == EntryType::Storage; }
};

struct CarriedTree {
    std::array<std::byte, kEntrySize> root;  // its class ID, state bits and times are taken over
    std::vector<CarriedMember> members;  // the root's folders first; members of one folder are adjacent and in order
    std::uint32_t rootFolders = 0;
};

// The folders of a committed state. ids: for each member its entry there. Corrupt where an entry is reached twice.
[[nodiscard]] CarriedTree ReadFolders(Committed& from, std::vector<EntryId>& ids);

// Enters what is inside of folders in the directory. ids: the entries of the root's folders, which are there already.
void PlaceCarried(DirectoryEditor& editor, const CarriedTree& tree, std::vector<EntryId> ids);

}  // namespace lumvex::compound
