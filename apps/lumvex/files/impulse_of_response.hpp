// Makes an impulse response of a frequency response.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "files/measurement_file.hpp"

namespace lumvex::app {

inline constexpr std::size_t kImpulseLength = 65536;  // samples

// The impulse response with these levels and phases, at a sample rate in Hz; 0 dB is a factor of 1. Without phases it
// is the one of minimum phase. Between two frequencies levels (dB) are interpolated over the logarithm of the frequency
// and unwrapped phases over the frequency; beyond the first and the last one levels stay as they are there, phases lead
// to a real value at 0 Hz and go on with the delay of the last octave. With phases the time zero lies an eighth of the
// length behind the first sample, which the start time says, so that what comes before it is kept. For a digital filter
// of which the response is known at 10 frequencies an octave or more, the levels of the result are within 0.1 dB of the
// filter's. Throws FileError, naming the path, for frequencies that do not rise or are not above 0, and where all of
// them are above half of the rate.
[[nodiscard]] MeasurementFile ImpulseOf(const std::filesystem::path& path, const MeasurementFile& response,
                                        std::int32_t sampleRate);

}  // namespace lumvex::app
