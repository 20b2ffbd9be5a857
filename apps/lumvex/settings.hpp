// The numbers and choices of items that people set by their published names, and see in a tree where they are not as in
// a new item.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lumvex/lumvex.hpp"

namespace lumvex::app {

// The words for an enumeration's values, from 0 on.
using Words = std::span<const std::string_view>;
extern const Words kBoxModeWords;  // LXBoxMode

// What a setting takes: one of the words, a whole number between two bounds, or any number a 32-bit float can hold.
struct SettingForm {
    std::string name;    // as published, with its indexes: "MagTol", "FilterQHi(2)"
    std::string family;  // "FilterQHi(1..6)"
    Words words;         // empty for a number
    bool isWhole = false;
    double lowest = 0, highest = 0;  // of whole numbers

    std::optional<double> Read(std::string_view text) const;
    std::string Text(double value) const;
    std::string Expected() const;  // "one of min-delay, min-error"; "a whole number"
};

template <class Item>
struct Setting : SettingForm {
    std::function<double(const Item&)> get;
    std::function<void(Item&, double)> put;
};

// Of Correction, SpkrEQDesign, BoxCfg and BoxCfgSpkr.
template <class Item>
const std::vector<Setting<Item>>& SettingsOf();

// The setting of this name, regardless of case; null: there is none.
template <class Item>
const Setting<Item>* FindSetting(std::string_view name) {
    for (const Setting<Item>& setting : SettingsOf<Item>()) {
        if (CompareNoCase(FromUtf8(setting.name), FromUtf8(name)) == 0) return &setting;
    }
    return nullptr;
}

// "NAME=VALUE" taken apart.
struct Assignment {
    std::string_view name, value;
};
Assignment AssignmentIn(std::string_view text);

// What is wrong with "NAME=VALUE"; empty: nothing.
template <class Item>
std::string ProblemOf(std::string_view text) {
    const auto [name, value] = AssignmentIn(text);
    const Setting<Item>* setting = FindSetting<Item>(name);
    if (!setting) return "there is no setting " + std::string(name);
    return setting->Read(value) ? "" : std::string(name) + " takes " + setting->Expected();
}

// Puts what is without problem.
template <class Item>
void Assign(Item& item, const std::vector<std::string>& assignments) {
    for (const std::string& text : assignments) {
        const auto [name, value] = AssignmentIn(text);
        const Setting<Item>* setting = FindSetting<Item>(name);
        setting->put(item, *setting->Read(value));
    }
}

// "  MagTol=0.5  OptMethod=min-error": what is not as in the other item, a new one.
template <class Item>
std::string Differences(const Item& item, const Item& other) {
    std::string text;
    for (const Setting<Item>& setting : SettingsOf<Item>()) {
        const double value = setting.get(item);
        if (value != setting.get(other)) text += "  " + setting.name + '=' + setting.Text(value);
    }
    return text;
}

// A paragraph for a help text that names every setting with what it takes.
std::string SettingsHelp(std::span<const SettingForm* const> settings);

template <class Item>
std::string SettingsHelp() {
    std::vector<const SettingForm*> forms;
    for (const Setting<Item>& setting : SettingsOf<Item>()) forms.push_back(&setting);
    return SettingsHelp(forms);
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
