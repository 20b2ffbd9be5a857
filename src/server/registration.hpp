// What the system's registry has to say of the server: its classes and its type library.
#pragma once

#include <string>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// For all users where the classes root can be written, else for the current one. Repeating it changes nothing; after a
// failure it may be repeated. `module` is the full path of the server's file.
HRESULT RegisterServer(const std::wstring& module);

// Removes it for all users and for the current one. What is not there is no failure.
HRESULT UnregisterServer(const std::wstring& module);

}  // namespace lumvex::inside
