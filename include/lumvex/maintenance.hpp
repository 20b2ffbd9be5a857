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

struct Salvage {
    std::size_t objects = 0;  // in the new document, the root not counted
    // Each object, reference and part of an array that was lost, and each object that has another place or ID now.
    std::vector<DocumentProblem> losses;
};

// Makes a new document of what can still be read of a damaged one, which is opened for reading only. Neither the header
// nor any table of the file has to be sound: objects are found by what is left of these, else by their content. Bytes
// that were overwritten with others that make sense are not noticed. The new document is sound. Throws lumvex::Error
// (client.hpp) with the storage system's status: 0x80030050 where there is a file at `to`, which is never touched; the
// status of an unknown file format where nothing of a document is found.
LUMVEX_API Salvage SalvageDocument(const std::filesystem::path& from, const std::filesystem::path& to,
                                   const Progress& progress = {});

}  // namespace lumvex
