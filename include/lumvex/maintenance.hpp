// What is done to a document's file and not to its content.
#pragma once

#include <cstdint>
#include <filesystem>

#include "lumvex/diagnostics.hpp"
#include "lumvex/export.hpp"

namespace lumvex {

struct Compaction {
    std::uint64_t bytesBefore = 0, bytesAfter = 0;  // of the file
};

// Writes the document's file anew, as short as it can be, every stream as it is; streams that this program does not know
// go along. The new file is complete and durable before it takes the old one's name, so that a failure at any point
// leaves one of the two. `progress` counts streams.
// Throws lumvex::Error (client.hpp) with the storage system's status and leaves the file alone: 0x80030020 while anybody
// has it open, 0x80030109 where a stream cannot be read, 0x80030005 where other programs have put folders into it, which
// would be lost.
LUMVEX_API Compaction CompactDocument(const std::filesystem::path& path, const Progress& progress = {});

}  // namespace lumvex
