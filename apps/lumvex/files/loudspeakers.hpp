// Which loudspeaker each channel of a sound file is for, in the words that sound programs have for them: "FL", "LFE".
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumvex::app {

// The names, in the order of their bits in the channel mask of a .wav file.
inline constexpr std::string_view kLoudspeakers[] = {"FL", "FR", "FC", "LFE", "BL",  "BR",  "FLC", "FRC", "BC",
                                                     "SL", "SR", "TC", "TFL", "TFC", "TFR", "TBL", "TBC", "TBR"};

// The channel mask of a .wav file; none where it cannot say this: the loudspeakers have another order there.
[[nodiscard]] std::optional<std::uint32_t> ChannelMaskOf(std::span<const std::string> loudspeakers);

// "FL FR FC"
[[nodiscard]] std::string LoudspeakerText(std::span<const std::string> loudspeakers);

// The words of such a text; none where one of them is no loudspeaker.
[[nodiscard]] std::vector<std::string> LoudspeakersIn(std::string_view text);

}  // namespace lumvex::app
