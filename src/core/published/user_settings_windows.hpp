// What the model asks Windows about its user and about the module that it is in.
#pragma once

#include <string>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// The user's setting "UseTypeLibNames": does every object's class information name its type as the type library does?
// Read once in the life of the module.
bool UseTypeLibNames() noexcept;

// The full path of a module's file, of any length.
std::wstring ModulePath(HMODULE module);

}  // namespace lumvex::inside
