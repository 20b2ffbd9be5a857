// How many channels the arrays of a measurement or correction have: one per amplifier output of the speaker
// configuration above.
#pragma once

#include "core/objects/object.hpp"

namespace lumvex::inside {

// Negative, any number, for an object that stands below no speaker configuration.
LONG ChannelsOfConfig(const Object& owner);

}  // namespace lumvex::inside
