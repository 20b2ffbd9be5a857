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

// From now on the arrays that are put into the document wait for its save in a temporary file in the folder of `path`,
// all of them but short ones and the first that have up to `inMemory` bytes together: a program that adds more than its
// memory holds calls this. Everything else is as it was, also where no such file can be made or there is no room in it:
// then arrays stay in memory. The save reads them back one by one, and fails with 0x8003001E where that is not
// possible. Nothing is left of the file when the program ends; where a program is killed on a system that has no files
// without names, the next save of `path` removes it. Throws lumvex::Error (client.hpp) with 0x80004002 for an object
// that is no root of this library.
LUMVEX_API void SpoolArrays(::_Root* root, const std::filesystem::path& path, std::uint64_t inMemory);

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

struct Salvage {
    std::size_t objects = 0;  // in the new document, the root not counted
    // Each object, reference and part of an array that was lost, each object that has another place or ID now, and each
    // whose record may be another one: nothing tells them apart.
    std::vector<DocumentProblem> losses;
};

// Makes a new document of what can still be read of a damaged one, which is opened for reading only. Neither the header
// nor any table of the file has to be sound: objects are found by what is left of these, else by their content. Bytes
// that were overwritten with others that make sense are not noticed. The new document is sound. Throws lumvex::Error
// (client.hpp) with the storage system's status: 0x80030050 where there is a file at `to`, which is never touched; what
// opening the file fails with, or 0x80030002, where nothing of a document is found.
LUMVEX_API Salvage SalvageDocument(const std::filesystem::path& from, const std::filesystem::path& to,
                                   const Progress& progress = {});

}  // namespace lumvex
