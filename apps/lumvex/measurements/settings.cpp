#include "measurements/settings.hpp"

#include <algorithm>

namespace lumvex::app {

namespace {

constexpr std::size_t kHelpWidth = 110;

bool IsSetting(const MemberDescription& member) { return member.keptSince && (member.enumeration || IsNumber(member)); }

}  // namespace

Settings::Settings(const InterfaceDescription& type, std::vector<std::string_view> givenOtherwise) : type_(type) {
    for (const MemberDescription* each : ContentOf(type)) {
        const bool isGiven = std::ranges::find(givenOtherwise, each->name) != givenOtherwise.end();
        if (IsSetting(*each) && !isGiven) members_.push_back(each);
    }
}

std::vector<Property> Settings::Find(std::string_view name) const {
    return FindAmong(members_, TypeName(type_) + " has no setting", name);
}

std::string Settings::ProblemOf(std::string_view assignment) const {
    try {
        const auto [name, value] = SplitAssignment(assignment);
        ReadPlain(*Find(name)[0].member, value);
        return {};
    } catch (const PropertyError& error) {
        return error.what();
    }
}

void Settings::Assign(const Node& item, const std::vector<std::string>& assignments) const {
    for (const std::string& assignment : assignments) {
        const auto [name, value] = SplitAssignment(assignment);
        for (const Property& property : Find(name)) SetPlain(item, property, value);
    }
}

std::string Settings::Help() const {
    std::string text, line;
    for (const MemberDescription* member : members_) {
        std::string entry = FamilyName(*member);
        if (member->enumeration)
            entry += " (" + WordsText(*member->enumeration) + ')';
        else if (!UnitOf(*member).empty())
            entry += " (" + std::string(UnitOf(*member)) + ')';
        if (!line.empty() && line.size() + entry.size() > kHelpWidth) {
            text += line + ",\n";
            line.clear();
        }
        line += (line.empty() ? "  " : ", ") + entry;
    }
    return text + line + ".\n";
}

}  // namespace lumvex::app
