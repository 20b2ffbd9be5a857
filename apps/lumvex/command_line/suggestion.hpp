// "Did you mean": the known word that a mistyped one is closest to.
#pragma once

#include <string>
#include <vector>

namespace lumvex::app {

// One of `known`, or empty where none is close: too many letters are wrong, missing or swapped.
std::string ClosestTo(const std::string& mistyped, const std::vector<std::string>& known);

// "; did you mean "tree"?", or nothing.
std::string DidYouMean(const std::string& mistyped, const std::vector<std::string>& known);

}  // namespace lumvex::app
