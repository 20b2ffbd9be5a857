// Work on a document's file that does not change its content.
#pragma once

#include <cstdint>
#include <filesystem>

#include "lumvex/diagnostics.hpp"
#include "lumvex/export.hpp"

namespace lumvex {

struct Compaction {
    std::uint64_t bytesBefore = 0, bytesAfter = 0;  // of the file
};

// Writes the document's file anew, as short as it can be, every stream as it is; streams that this program does not
// know go along, and folders with all they hold. The new file is complete and durable before it takes the old one's
// name, so that a failure at any point leaves one of the two. `progress` counts the streams that are not in folders.
// Throws lumvex::Error (client.hpp) with the storage system's status and leaves the file alone: 0x80030020 while
// anybody has it open, 0x80030109 where a stream cannot be read.
LUMVEX_API Compaction CompactDocument(const std::filesystem::path& path, const Progress& progress = {});

}  // namespace lumvex
