// The numbers and choices of items that people set by their published names, and see in a tree where they are not as in
// a new item. Which there are, and what they take, is read from the description of the published members.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lumvex/lumvex.hpp"
#include "lumvex/members.hpp"

namespace lumvex::app {

// The words for an enumeration's values, from 0 on.
using Words = std::span<const std::string_view>;
extern const Words kBoxModeWords;  // LXBoxMode

// What a setting takes: one of the words, a whole number between two bounds, or any number a 32-bit float can hold.
struct SettingForm {
    long id = 0;  // of the property
    std::vector<SHORT> indexes;
    std::string name;    // as published, with its indexes: "MagTol", "FilterQHi(2)"
    std::string family;  // "FilterQHi(1..6)"
    Words words;         // empty for a number
    bool isWhole = false;
    double lowest = 0, highest = 0;  // of whole numbers

    std::optional<double> Read(std::string_view text) const;
    std::string Text(double value) const;
    std::string Expected() const;  // "one of min-delay, min-error"; "a whole number"
};

using Settings = std::vector<SettingForm>;

// The settings of an interface: its own properties of numbers and choices that can be put, in its order, each place of
// an indexed one by itself. Not those that the commands give in another way.
const InterfaceDescription& DescriptionOf(const GUID& interfaceId);
Settings SettingsIn(const InterfaceDescription& owner);

// Of a client's class.
template <class Item>
const Settings& SettingsOf() {
    static const Settings settings = SettingsIn(DescriptionOf(kIidOf<typename Item::Interface>));
    return settings;
}

double ValueOf(IDispatch& object, const SettingForm& setting);
void Assign(IDispatch& object, const SettingForm& setting, double value);

// The setting of this name, regardless of case; null: there is none.
const SettingForm* FindSetting(const Settings& settings, std::string_view name);
template <class Item>
const SettingForm* FindSetting(std::string_view name) {
    return FindSetting(SettingsOf<Item>(), name);
}

// "NAME=VALUE" taken apart.
struct Assignment {
    std::string_view name, value;
};
Assignment AssignmentIn(std::string_view text);

// What is wrong with "NAME=VALUE"; empty: nothing.
std::string ProblemOf(const Settings& settings, std::string_view text);
template <class Item>
std::string ProblemOf(std::string_view text) {
    return ProblemOf(SettingsOf<Item>(), text);
}

// Puts what is without problem.
void Assign(IDispatch& object, const Settings& settings, const std::vector<std::string>& assignments);
template <class Item>
void Assign(Item& item, const std::vector<std::string>& assignments) {
    Assign(*item.Get(), SettingsOf<Item>(), assignments);
}

// "  MagTol=0.5  OptMethod=min-error": what is not as in the other item, a new one.
std::string Differences(IDispatch& object, IDispatch& other, const Settings& settings);
template <class Item>
std::string Differences(const Item& item, const Item& other) {
    return Differences(*item.Get(), *other.Get(), SettingsOf<Item>());
}

// A paragraph for a help text that names every setting with what it takes.
std::string SettingsHelp(const Settings& settings);
template <class Item>
std::string SettingsHelp() {
    return SettingsHelp(SettingsOf<Item>());
}

// New items of a document of its own, to compare others with.
struct NewItems {
    NewItems();
    Specifications library;
    Project project;
    lumvex::Correction correction;
    SpkrEQDesign design;
    BoxCfg box;
    BoxCfgSpkr output;
};

}  // namespace lumvex::app
