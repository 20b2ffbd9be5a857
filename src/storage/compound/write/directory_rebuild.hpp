// The directory with all changes applied and the root storage's tree built anew.
#pragma once

#include "storage/compound/read/committed.hpp"
#include "storage/compound/write/pending.hpp"
#include "storage/compound/write/shadow_pages.hpp"

namespace lumvex::compound {

// pages: an unchanged draft of the committed state's directory. seed: as in DirectoryEditor. Where this throws, the
// draft is of no use any more.
void RebuildDirectory(ShadowPages& pages, Committed& committed, PendingChanges& changes, std::uint32_t seed);

}  // namespace lumvex::compound
