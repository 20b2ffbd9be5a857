#include "measurements/export_names.hpp"

#include <algorithm>
#include <array>

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLongest = 200;  // bytes; systems take 255, and an extension and a number follow

// The item's name and, before it, those of its owners; of their collections too where an owner has several.
std::vector<std::string> PartsOf(const Node& item) {
    std::vector<std::string> parts;
    for (Node at = item; !at.Is(Kind::Root);) {
        parts.push_back(FileNameOf(ToUtf8(at.Name())));
        const Node collection = at.Parent();
        at = collection.Parent();
        if (ChildCollectionsOf(at.Type()).size() > 1) parts.emplace_back(PropertyOf(at, collection));
    }
    std::ranges::reverse(parts);
    return parts;
}

bool IsDevice(std::string text) {
    constexpr std::array<std::string_view, 4> kAlone{"CON", "PRN", "AUX", "NUL"};
    text = text.substr(0, text.find('.'));
    for (char& each : text) each = each >= 'a' && each <= 'z' ? static_cast<char>(each - 'a' + 'A') : each;
    if (std::ranges::find(kAlone, text) != kAlone.end()) return true;
    return text.size() == 4 && (text.starts_with("COM") || text.starts_with("LPT")) && text[3] >= '0' && text[3] <= '9';
}

}  // namespace

std::string FileNameOf(const std::string& text) {
    std::string name;
    for (const char each : text) {
        const bool isControl = static_cast<unsigned char>(each) < 0x20 || each == 0x7F;
        name += isControl || std::string_view("/\\:*?\"<>|").find(each) != std::string_view::npos ? '_' : each;
    }
    if (name.size() > kLongest) {
        name.resize(kLongest);
        while ((static_cast<unsigned char>(name.back()) & 0xC0) == 0x80) name.pop_back();
        name.pop_back();
    }
    if (name.ends_with('.') || name.ends_with(' ')) name.back() = '_';
    if (name.empty() || IsDevice(name)) name.insert(0, "_");
    return name;
}

void ExportNames::Add(const Node& item, const MemberDescription& array) {
    parts_.push_back(PartsOf(item));
    if (array.name != "Data") parts_.back().back() += '.' + std::string(array.name);
}

fs::path ExportNames::PathOf(std::size_t place, const std::string& extension) {
    std::size_t shared = parts_[0].size() - 1;
    for (const std::vector<std::string>& each : parts_) {
        const auto end = std::ranges::mismatch(each.begin(), each.end() - 1, parts_[0].begin(),
                                               parts_[0].begin() + static_cast<std::ptrdiff_t>(shared));
        shared = static_cast<std::size_t>(end.in1 - each.begin());
    }
    const std::vector<std::string>& parts = parts_[place];
    std::string text;
    for (std::size_t at = shared; at < parts.size(); ++at) text += (text.empty() ? "" : "/") + parts[at];
    for (std::size_t number = 1;; ++number) {
        std::string name = text;
        if (number > 1) name.append(" (").append(std::to_string(number)).append(")");
        name += extension;
        std::u16string upper = FromUtf8(name);
        std::ranges::transform(upper, upper.begin(), ToUpper);
        if (taken_.insert(ToUtf8(upper)).second) return fs::path(std::u8string(name.begin(), name.end()));
    }
}

}  // namespace lumvex::app
