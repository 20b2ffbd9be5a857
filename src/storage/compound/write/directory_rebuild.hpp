// The directory with all changes applied and the root storage's tree built anew.
#pragma once

#include "storage/compound/read/committed.hpp"
#include "storage/compound/write/draft.hpp"
#include "storage/compound/write/pending.hpp"
#include "storage/compound/write/shadow_pages.hpp"

namespace lumvex::compound {

// pages: an unchanged draft of the committed state's directory. seed: as in DirectoryEditor. Where this throws, the
// draft is of no use any more.
void RebuildDirectory(ShadowPages& pages, Committed& committed, PendingChanges& changes, std::uint32_t seed);

// Makes the directory of a new file without carried folders, as the draft's new one. Its root entry says that the mini
// stream begins at a sector and has so many bytes.
void MakeNewDirectory(Draft& draft, Header& header, Committed& committed, PendingChanges& changes, SectorId miniStream,
                      std::uint64_t miniStreamSize);

}  // namespace lumvex::compound
