// Questions about a document beside its content: is it sound, what is in its file, how much was loaded to answer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lumvex/export.hpp"
#include "lumvex/interfaces.hpp"

namespace lumvex {

// Called while something long is under way: `done` of `total` parts are done. `total` stays the same.
using Progress = std::function<void(std::size_t done, std::size_t total)>;

struct DocumentProblem {
    std::string where;  // "sector 12", "directory entry 7", "CDatum {....}"
    std::string what;
};

// Checks the structure of the compound file, the root streams, the object directory and every record, reading all of
// it. Empty: the document is sound. Throws lumvex::Error (client.hpp) with the storage system's status when the file
// cannot be read at all.
LUMVEX_API std::vector<DocumentProblem> CheckDocument(const std::filesystem::path& path, const Progress& progress = {});

// The library that a project is linked to, as the project's record names it: the library may be elsewhere by now.
struct LinkedLibrary {
    std::string id;    // in braces
    std::string path;  // where it was seen last; may be relative or of another system
};

struct DocumentCheck {
    std::vector<DocumentProblem> problems;  // what CheckDocument answers
    std::vector<DocumentProblem> lost;      // references that lead to nothing, also in the library where it is on this
                                            // machine, and links without a target
    std::optional<LinkedLibrary> library;   // whether it is there is not looked at
};

// CheckDocument, and what in the document leads nowhere although every record is sound: removing an object leaves such
// references behind.
LUMVEX_API DocumentCheck ExamineDocument(const std::filesystem::path& path, const Progress& progress = {});

struct ClassCount {
    std::string className;  // of unknown classes: their ID
    std::size_t objects = 0;
};

struct DocumentFacts {
    std::string rootClass;  // "CProject"; empty when the file is none of ours
    std::string rootId;
    std::uint64_t fileBytes = 0;
    std::uint32_t sectorBytes = 0;  // 512 or 4096
    std::size_t streams = 0;
    std::uint64_t streamBytes = 0;    // content of all streams
    std::size_t objects = 0;          // listed in the object directory, the root included
    std::vector<ClassCount> classes;  // by name
    std::optional<LinkedLibrary> library;
};

// What the file says of itself, without loading any object. Throws as CheckDocument.
LUMVEX_API DocumentFacts InspectDocument(const std::filesystem::path& path);

struct StoredStream {
    std::string name;  // of an object's stream the object's ID, in braces
    std::uint64_t size = 0;
    std::size_t streams = 0;  // how many are visited in all
};
// Reads a part of the stream. Throws lumvex::Error where it is damaged.
using ReadStream = std::function<void(std::uint64_t offset, std::span<std::byte> bytes)>;

// Visits every stream of a document's file, folders of other programs left out. Throws as CheckDocument, and where the
// list of the streams is damaged, before the first visit.
LUMVEX_API void ForEachStoredStream(const std::filesystem::path& path,
                                    const std::function<void(const StoredStream&, const ReadStream&)>& visit);

struct LoadStatistics {
    std::size_t objectsLoaded = 0;  // in memory now, the root not counted
    std::uint64_t bytesRead = 0;    // of the open file, in whole sectors, since it was opened
};

// Zeros for an object that is no root of this library.
LUMVEX_API LoadStatistics StatisticsOf(::_Root* root);

struct ArrayShape {
    VARTYPE type = VT_EMPTY;          // of an element, as it is stored: VT_R4, VT_UI1; of old files also others
    std::vector<std::size_t> counts;  // elements in each dimension: rows, columns
};

// The shape of the array that a property holds, by its DISPID, without any element being read: those of a long array
// stay in the file. Nothing when it holds no array. Throws lumvex::Error with the status that a get would have.
LUMVEX_API std::optional<ArrayShape> ShapeOf(IDispatch* object, long property);

}  // namespace lumvex
