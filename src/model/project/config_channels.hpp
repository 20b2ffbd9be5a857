// How many channels the arrays of a measurement or correction have: one per amplifier output of the speaker
// configuration above.
#pragma once

#include "arrays/array_field.hpp"

namespace lumvex::inside {

// Negative, which is any number, for an object that is not below a speaker configuration.
LONG ChannelsOfConfig(const Object& owner);
inline constexpr ArrayRules kArrayOfConfig{ChannelsOfConfig};

}  // namespace lumvex::inside
