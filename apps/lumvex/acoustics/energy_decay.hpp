// How the energy of an impulse response dies away: the decay curve and reverberation times.
#pragma once

#include <optional>
#include <span>
#include <vector>

namespace lumvex::acoustics {

// The energy that is still to come (Schroeder's backward integration), relative to all of it, from the response's peak
// on.
struct EnergyDecay {
    std::vector<double> times;    // ms from the response's first sample, equally spaced
    std::vector<double> levels;   // dB
    std::optional<double> noise;  // what the response ends in, dB relative to its loudest part; none: it ends before it
                                  // has come down to any noise
    double end = 0;               // ms from the first sample: where the response has come down to the noise; nothing
                                  // behind it is counted, but what an exponential decay would still bring

    // Times for 60 dB, s, from a line through part of the curve; none where the curve does not reach so far, or the
    // noise is less than 10 dB below that part.
    std::optional<double> early;  // 0 to -10 dB
    std::optional<double> t20;    // -5 to -25 dB
    std::optional<double> t30;    // -5 to -35 dB
};

// Empty for fewer samples than make a decay, or silence.
EnergyDecay EnergyDecayOf(std::span<const float> samples, double rate);

}  // namespace lumvex::acoustics
