// The names that exported arrays get as files in a folder.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <unordered_set>
#include <vector>

#include "objects/node.hpp"

namespace lumvex::app {

class ExportNames {
public:
    void Add(const Node& item, const MemberDescription& array);

    // Of the array that was added at this place (from 0), after all have been; relative to the folder. Each call
    // answers another path, also for systems that take upper and lower case for the same.
    std::filesystem::path PathOf(std::size_t place, const std::string& extension);

private:
    std::vector<std::vector<std::string>> parts_;  // folders and the name, as names of files
    std::unordered_set<std::string> taken_;
};

// The text as a name that a file can have on every system.
std::string FileNameOf(const std::string& text);

}  // namespace lumvex::app
