// Entering the server's classes and its type library into the system's registry, and removing them.
#pragma once

#include <string>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// For all users where the classes root can be written, else for the current one. Repeating it changes nothing; after a
// failure it may be repeated. `module` is the full path of the server's file.
HRESULT RegisterServer(const std::wstring& module);

// Removes them for all users and for the current one. It is no failure when there are none.
HRESULT UnregisterServer(const std::wstring& module);

}  // namespace lumvex::inside
