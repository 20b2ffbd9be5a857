// Copying items and subtrees, within a document and between documents: as one operation each, new IDs for everything copied,
// names and values kept, lock counters 0. References inside the copied tree follow the copies.
#pragma once

#include "core/tree/collection.hpp"
#include "core/tree/item.hpp"

namespace lumvex::inside {

// The copy, at the end of the destination, which has to hold the item's class (E_INVALIDARG) and may refuse its name
// (4000). A link by itself does not go to another document (4015).
Ref<Object> CopyInto(ItemBase& item, CollectionBase& destination, bool withChildren);

// The same below another root of the same kind (E_INVALIDARG otherwise): each ancestor is found there by ID or name, or
// copied without its children.
Ref<Object> CopyBelow(ItemBase& item, Object& destinationRoot);

// The receiver takes over values and children and keeps ID, name and lock counter; its collections stay the same objects
// with other members. Same class only (E_INVALIDARG); a locked item among the receiver's children refuses (4008). Told
// are the receiver (LX_EV_DATA_CHANGE) and each of its collections: LX_EV_CREATE, or LX_EV_AFTER_REMOVEALL for one that
// is empty now.
void ReplaceContents(ItemBase& from, ItemBase& receiver);

}  // namespace lumvex::inside
