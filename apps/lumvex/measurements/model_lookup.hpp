// Finds, or makes, the speakers and configurations that the command line names.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "documents/document.hpp"
#include "files/file_error.hpp"
#include "measurements/destination.hpp"
#include "measurements/named_data.hpp"

namespace lumvex::app {

// The member of this name, regardless of case; adds one where there is none.
template <class Collection>
auto FindOrAdd(const Collection& collection, std::u16string_view name) {
    using Item = decltype(collection.Item(1));
    const Item found = MembersByName<Collection>(collection).Find(name);
    return found ? found : Item(collection.Add(name));
}

// The fixed configuration of this name or word ("Bi amp", "bi-amp"), regardless of case; empty when there is none.
Config FindConfig(const Configs& configs, std::string_view name);

std::string ConfigNames(const Configs& configs);  // "Single amp, Bi amp, ..."

// "Left, Right": the names of the first members, or "none" for an empty collection.
template <class Collection>
std::string NamesIn(const Collection& collection) {
    constexpr LONG kMostShown = 12;
    std::string names;
    const LONG count = collection.Count();
    for (LONG position = 1; position <= std::min(count, kMostShown); ++position)
        names += (names.empty() ? "" : ", ") + Shown(collection.Item(position).Name());
    return names.empty() ? "none" : names + (count > kMostShown ? ", ..." : "");
}

// The member of this name, regardless of case. Throws FileError, naming the document and the members that are there,
// when there is none. `what`: "the speaker has no correction".
template <class Collection>
auto Existing(const std::filesystem::path& document, const Collection& collection, const std::string& name,
              const std::string& what) {
    using Item = decltype(collection.Item(1));
    Item found = MembersByName<Collection>(collection).Find(FromUtf8(name));
    if (!found) throw FileError(document, what + ' ' + Quoted(name) + "; there is " + NamesIn(collection));
    return found;
}

// The project of a document that a command changes. Throws FileError for a library.
Project ProjectIn(const EditedDocument& document);

// Links the project to the library in a file; an empty path changes nothing. Throws FileError.
void LinkLibrary(const std::filesystem::path& document, const Project& project, const std::filesystem::path& library);

// The fixed configuration of this name or word. Throws FileError when there is none.
Config ExistingConfig(const std::filesystem::path& document, const Configs& configs, const std::string& name);

// The speaker of this name, or of this display name ("Acme/Alpha/Left"), which tells speakers of one name apart;
// regardless of case. Throws FileError when there is none, or when there are several.
SpeakerEQ ExistingSpeaker(const std::filesystem::path& document, const Project& project, const std::string& name);

// The speaker's configuration of this kind. Throws FileError when the speaker does not have it.
SpkrEQConfig ExistingSpeakerConfig(const std::filesystem::path& document, const SpeakerEQ& speaker, LXConfig id);

// The measurements that were taken with an experiment. Throws FileError when the project has no experiment of this
// name, or no measurement was taken with it.
std::vector<Measurement> MeasurementsWith(const std::filesystem::path& document, const Project& project,
                                          const SpkrEQConfig& config, const std::string& experiment);

// The configuration of the placement's speaker. Adds the speaker and the configuration where they are missing; that
// takes the model, which the placement names or the existing speaker has. Throws FileError, naming the document, when
// the model is not known.
SpkrEQConfig FindOrAddSpeakerConfig(const std::filesystem::path& document, const Project& project,
                                    const Placement& placement);

}  // namespace lumvex::app
