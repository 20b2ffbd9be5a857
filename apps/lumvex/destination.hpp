// Where in a document the files of an import go.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "channels.hpp"
#include "document.hpp"

namespace lumvex::app {

// What the options of an import say of the place; without any, files become named data or, in a library, microphones.
struct Placement {
    std::string speaker, model, config, experiment;
    std::filesystem::path library;
    std::string room, position;
    std::optional<short> channel;
    bool replace = false;
};

class Destination {
public:
    virtual ~Destination() = default;

    // How many mono files together become one measurement, when an import names just as many; 1: each is its own.
    virtual std::size_t FilesTogether() const { return 1; }

    // One file, or just as many mono files. Throws FileError, with no item added, when they do not belong there, the
    // name is taken or the array is refused. Answers what was stored.
    virtual MeasurementFile Add(std::span<const InputFile> files) = 0;
};

// Makes the speakers, rooms and whatever else the placement names and the document lacks. Throws FileError when that is
// not possible; the document must not be saved then.
std::unique_ptr<Destination> MakeDestination(const EditedDocument& document, const Placement& placement);

}  // namespace lumvex::app
