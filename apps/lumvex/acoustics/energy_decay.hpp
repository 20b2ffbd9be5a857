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

// Of all frequencies. Empty for fewer samples than make a decay, or silence.
EnergyDecay EnergyDecayOf(std::span<const float> samples, double rate);

// The centres of the octave bands of room acoustics, Hz.
inline constexpr double kOctaveBands[] = {125, 250, 500, 1000, 2000, 4000, 8000};

struct BandDecay {
    double centre = 0;  // Hz
    EnergyDecay decay;
};

// In the octave bands below half the sample rate, each from its own greatest power on. The bands' filters have no delay
// and are 3 dB down at the bands' edges; they pass all within 1/4 octave of the centre and nothing beyond 3/4. A time
// that is too short to be told from the filter's own decay is not defined. Empty for fewer samples than make a decay.
std::vector<BandDecay> OctaveBandDecays(std::span<const float> samples, double rate);

}  // namespace lumvex::acoustics
