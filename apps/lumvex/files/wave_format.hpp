// The format chunk of .wav files.
#pragma once

#include <cstdint>
#include <iostream>

namespace lumvex::app {

// Makes the format chunk of a file that libsndfile has written what other programs expect: that of floats gets the two
// bytes for the length of an extension, for which some of the padding before the samples is taken, and an extended one
// gets the channel mask, which libsndfile makes up. The samples stay where they are. Answers whether it did: not for a
// file of another layout, which stays as it is.
bool CompleteWaveFormat(std::iostream& file, std::uint32_t channelMask);

}  // namespace lumvex::app
