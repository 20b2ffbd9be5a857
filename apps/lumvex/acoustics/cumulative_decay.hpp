// Cumulative spectral decay: the spectrum of what is left of a response from each of several moments on.
#pragma once

#include <span>
#include <vector>

#include "acoustics/window.hpp"

namespace lumvex::acoustics {

// Of the frequency scale's points every so many are in it: 16 in an octave.
inline constexpr int kMapPoints = 6;

struct CumulativeDecay {
    long firstPoint = 0;              // of the frequency scale
    std::vector<double> times;        // ms after the peak
    std::vector<double> frequencies;  // Hz
    std::vector<float> levels;        // dB relative to the greatest; all frequencies of the first time, then the next
    double fade = 0;                  // ms in which each part fades in
    double resolution = 0;            // Hz, of the first part; that of later, shorter ones is coarser
};

// Of the window, or what of it fits into a transform of 8192 samples. Empty for fewer samples than make a decay.
CumulativeDecay CumulativeDecayOf(std::span<const float> samples, double rate, const Window& window);

}  // namespace lumvex::acoustics
