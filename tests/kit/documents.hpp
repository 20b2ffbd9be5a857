// A document with one of everything: made, changed in every way that a save writes, and its content as text.
#pragma once

#include "kit/everything.hpp"
#include "kit/hand_made.hpp"
#include "kit/published.hpp"

namespace lumvex::tests {

inline Project Opened(const std::filesystem::path& path, LXAccessMode mode = LX_EXCLUSIVE_READWRITE) {
    Project project = Project::Create();
    project.AccessMode(mode);
    project.OpenFile(PathText(path));
    return project;
}

// Everything a client sees of a project but IDs and dates, which are new with each new object.
std::string Seen(const Project& project);
inline std::string Seen(const std::filesystem::path& path) { return Seen(Opened(path, LX_SHARE_READ)); }

// One of everything, of data so many, each with an array of 40 numbers.
void MakeDocument(const std::filesystem::path& path, int members);

// New values in an object of each class; small and large content, a counter, objects that go and that come, a setting.
void ChangeEverything(Project& project, LONG round);

}  // namespace lumvex::tests
