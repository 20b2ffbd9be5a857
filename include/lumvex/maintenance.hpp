// Work on documents and their files beside what the published interfaces offer.
#pragma once

#include <cstdint>
#include <filesystem>

#include "lumvex/diagnostics.hpp"
#include "lumvex/export.hpp"
#include "lumvex/interfaces.hpp"

namespace lumvex {

// Saves the document as SaveFile does, into the file that it was opened from. `progress` counts the objects that are
// written; it must not use the document. Where it throws, the save ends with that exception and has changed nothing.
// Throws lumvex::Error (client.hpp) with the call's status: 0x80004002 for an object that is no root of this library.
LUMVEX_API void SaveDocument(::_Root* root, const Progress& progress = {});

// Saves the document as SaveFileAs does, but only where there is no file at the path: whatever somebody else has made
// there by the time that the new file is complete is not touched (0x80030050). `progress` and errors as above.
LUMVEX_API void SaveNewDocument(::_Root* root, const std::filesystem::path& path, const Progress& progress = {});

struct Compaction {
    std::uint64_t bytesBefore = 0, bytesAfter = 0;  // of the file
};

// Writes the document's file anew, as short as it can be, every stream as it is; streams that this program does not
// know go along, and folders with all they hold. The new file is complete and durable before it takes the old one's
// name, so that a failure at any point leaves one of the two. `progress` counts the streams that are not in folders.
// Throws lumvex::Error (client.hpp) with the storage system's status and leaves the file alone: 0x80030020 while
// anybody has it open, 0x80030109 where a stream cannot be read, 0x80030002 where it is
// another program's compound file. `progress` may throw, which ends the work.
LUMVEX_API Compaction CompactDocument(const std::filesystem::path& path, const Progress& progress = {});

// Answers what CompactDocument would, and changes nothing: it makes the new file in memory.
LUMVEX_API Compaction TryCompactDocument(const std::filesystem::path& path, const Progress& progress = {});

}  // namespace lumvex
