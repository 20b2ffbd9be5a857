// Entering the server's classes and its type library into the system's registry, and removing them.
#pragma once

#include <string>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// For all users where the classes root can be written, else for the current one. Repeating it changes nothing; what
// cannot be written as a whole is taken back, so that after a failure the classes and the type library are as they
// were. `module` is the full path of the server's file.
HRESULT RegisterServer(const std::wstring& module);

// Removes them for all users and for the current one. It is no failure when there are none. The ProgIDs stay while the
// server of the other word size is registered, as they lead to that one as well.
HRESULT UnregisterServer(const std::wstring& module);

}  // namespace lumvex::inside
