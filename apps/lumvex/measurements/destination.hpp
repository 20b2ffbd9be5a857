// Where in a document the files of an import go.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "documents/document.hpp"
#include "measurements/channels.hpp"

namespace lumvex::app {

// The options of an import that say where the files go. Without any of them, files become named data of a project or
// microphones of a library.
struct Placement {
    std::string speaker, model, config, experiment;
    std::filesystem::path library;
    std::string room, position;
    std::optional<short> channel;
    bool replace = false;
    std::string prefix;   // of the names that microphones get from their serial numbers
    bool header = false;  // keep the lines above the numbers of every text file beside its datum
};

// What an import made of one or several files.
struct StoredItem {
    std::string place;        // its name, or where it is: "Studio/Listener/left"
    MeasurementFile content;  // without values
    std::string note = {};    // what was not kept, in words
};

class Destination {
public:
    virtual ~Destination() = default;

    // The number of mono files that become one measurement when an import names exactly so many; 1 where each file is a
    // measurement of its own.
    virtual std::size_t FilesTogether() const { return 1; }

    // Adds one item, from one file or from FilesTogether() mono files, whose values it takes away. Throws FileError and
    // adds nothing when the files do not belong there, the name is taken or the array is refused.
    virtual StoredItem Add(std::span<InputFile> files) = 0;
};

// Makes the speakers, rooms and whatever else the placement names and the document lacks. Throws FileError when that is
// not possible; the document may then be changed in part and must not be saved.
std::unique_ptr<Destination> MakeDestination(const EditedDocument& document, const Placement& placement);

}  // namespace lumvex::app
