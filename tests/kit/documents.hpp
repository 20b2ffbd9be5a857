// A document's content as text, and a change of every kind that a save writes.
#pragma once

#include <string>

#include "kit/published.hpp"
#include "kit/hand_made.hpp"

namespace lumvex::tests {

// Everything a client sees of a project.
inline std::string Seen(const Project& project) {
    std::string seen = ToUtf8(project.ID()) + " " + std::to_string(project.Units());
    for (const Datum& datum : project.Data()) {
        seen += "\n" + ToUtf8(datum.Name()) + " " + std::to_string(datum.SampleRate()) + " " +
                std::to_string(datum.Locks());
        for (const double value : ContentOf(datum.Data()).values) seen += " " + std::to_string(value);
    }
    return seen;
}

inline Project Opened(const std::filesystem::path& path, LXAccessMode mode = LX_EXCLUSIVE_READWRITE) {
    Project project = Project::Create();
    project.AccessMode(mode);
    project.OpenFile(PathText(path));
    return project;
}

inline std::string Seen(const std::filesystem::path& path) { return Seen(Opened(path, LX_SHARE_READ)); }

// A document of `members` with an array of 40 numbers each.
inline void MakeDocument(const std::filesystem::path& path, int members) {
    Project project = Project::Create();
    for (int member = 0; member < members; ++member)
        project.Data().Add(FromUtf8(std::to_string(member))).Data(Floats(std::vector<float>(40, 1.0f)));
    project.SaveFileAs(PathText(path));
}

// Small and large content, a counter, an object that goes and three that come, a setting.
inline void ChangeEverything(Project& project, LONG round) {
    Data data = project.Data();
    data.Item(2).SampleRate(round);
    data.Item(3).Data(Floats(std::vector<float>(2000, static_cast<float>(round))));
    data.Item(4).Locks(round);
    data.Remove(1);
    for (int member = 0; member < 3; ++member) data.Add(u"new in round " + FromUtf8(std::to_string(round)));
    project.Units(static_cast<LXUnits>(round));
}

}  // namespace lumvex::tests
