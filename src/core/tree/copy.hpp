// Copies items and subtrees, within a document and between documents. Each copy is one operation. Copies have new IDs,
// the same names and values, and lock counters of 0; references inside the copied tree lead to the copies.
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

// The receiver takes over the values and the children of `from`, and keeps its own ID, name and lock counter; its
// collections stay the same objects with other members. E_INVALIDARG for another class; 4008 where an item below the
// receiver is locked. Raises LX_EV_DATA_CHANGE for the receiver and, for each of its collections, LX_EV_CREATE, or
// LX_EV_AFTER_REMOVEALL where it is empty now.
void ReplaceContents(ItemBase& from, ItemBase& receiver);

}  // namespace lumvex::inside
