// Digests beside a document: a text file that holds the SHA-256 of what the document has stored of each object, so that
// a changed bit is found. The file is DOC.sha256, in UTF-8:
//
//     # comment
//     DIGEST  NAME  PATH
//
// one line for each stream of the document: 64 hexadecimal digits, two blanks, the object's ID in braces or, of a
// stream that is no object, the stream's name, two blanks, the object's path. The digest is that of the stream's bytes.
// Streams that every save writes anew, whatever the document's content, are left out.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "lumvex/diagnostics.hpp"

namespace lumvex::app {

std::filesystem::path DigestFileOf(const std::filesystem::path& document);

// Writes the file, in the place of an older one. Returns how many digests it has. Throws DocumentError where the
// document cannot be read, FileError where the file cannot be written.
std::size_t WriteDigests(const std::filesystem::path& document, const Progress& progress);

// What is not as the file says: objects that were changed, are new, are gone or cannot be read. Throws FileError where
// the file cannot be read or is none.
std::vector<DocumentProblem> CompareDigests(const std::filesystem::path& document, const Progress& progress);

}  // namespace lumvex::app
