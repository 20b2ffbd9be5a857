// Why calls of the library fail, in words.
#pragma once

#include <string>

#include "lumvex/client.hpp"

namespace lumvex::app {

// Why a call of the library failed: words and the status, on one line.
std::string Describe(const Error& error);

}  // namespace lumvex::app
