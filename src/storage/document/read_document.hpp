// Reading a document's file: what the file says of its versions, the root's record and settings, and the tables of the
// object directory. Everything else is read when it is asked for.
#pragma once

#include "storage/document/document_tree.hpp"

namespace lumvex::inside {

// Reads the file that is bound to a new tree. Throws 4014 for a file of a newer program or of another kind of document;
// the tree is then good for nothing. `support` says how well this program knows the file's versions, even then.
void ReadDocument(DocumentTree& tree, LXVersionSupport& support);

}  // namespace lumvex::inside
