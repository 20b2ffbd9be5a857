// Finds, or makes, the speakers and configurations that people name.
#pragma once

#include <string_view>

#include "destination.hpp"

namespace lumvex::app {

// The member of this name, regardless of case; a new one where there is none.
template <class Collection>
auto FindOrAdd(const Collection& collection, std::u16string_view name) {
    using Item = decltype(collection.Item(1));
    const Item found = collection.FindName(name).template As<Item>();
    return found ? found : Item(collection.Add(name));
}

// The fixed configuration of this name ("Bi amp"), regardless of case; empty: there is none.
Config FindConfig(const Configs& configs, std::string_view name);

std::string ConfigNames(const Configs& configs);  // "Single amp, Bi amp, ..."

// The configuration of the placement's speaker. What is missing is made as far as the model is known: by the placement,
// or by the speaker that is there. Throws FileError, naming the document, when it is not.
SpkrEQConfig FindOrAddSpeakerConfig(const std::filesystem::path& document, Project project, const Placement& placement);

}  // namespace lumvex::app
