#include "files/loudspeakers.hpp"

#include <algorithm>
#include <sstream>

namespace lumvex::app {

std::optional<std::uint32_t> ChannelMaskOf(std::span<const std::string> loudspeakers) {
    std::uint32_t mask = 0;
    for (const std::string& each : loudspeakers) {
        const auto known = std::ranges::find(kLoudspeakers, each);
        if (known == std::end(kLoudspeakers)) return std::nullopt;
        const std::uint32_t bit = 1u << (known - std::begin(kLoudspeakers));
        if (bit <= mask) return std::nullopt;
        mask |= bit;
    }
    return mask;
}

std::string LoudspeakerText(std::span<const std::string> loudspeakers) {
    std::string text;
    for (const std::string& each : loudspeakers) text += (text.empty() ? "" : " ") + each;
    return text;
}

std::vector<std::string> LoudspeakersIn(std::string_view text) {
    std::vector<std::string> loudspeakers;
    std::istringstream words{std::string(text)};
    for (std::string word; words >> word;) {
        if (std::ranges::find(kLoudspeakers, word) == std::end(kLoudspeakers)) return {};
        loudspeakers.push_back(word);
    }
    return loudspeakers;
}

}  // namespace lumvex::app
