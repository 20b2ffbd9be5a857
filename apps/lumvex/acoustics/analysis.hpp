// All curves of one impulse response, as pictures and reports show them.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "acoustics/cumulative_decay.hpp"
#include "acoustics/energy_decay.hpp"
#include "acoustics/frequency_scale.hpp"
#include "acoustics/spectrum.hpp"
#include "acoustics/window.hpp"

namespace lumvex::acoustics {

struct Points {
    std::vector<double> x, y;
};

inline constexpr double kLowestAnalysed = 10;  // Hz

struct AnalysisOptions {
    double rate = 48000;                             // Hz, above 0
    double startMs = 0, endMs = 0;                   // the window; see WindowFrom()
    double scale = 1;                                // of the samples, for levels
    bool hasDecay = true;                            // energy decay and cumulative decay are wanted
    std::function<double(double)> calibration = {};  // factor of the level at a frequency in Hz; none: 1
};

struct Analysis {
    Window window;
    std::size_t size = 0;             // of the transform
    double resolution = 0;            // Hz
    double arrival = 0;               // ms from the first sample to the window's peak
    std::vector<double> frequencies;  // Hz: FrequencyScale()
    Points exact;                     // level in dB of the transform's own values
    OctaveParts parts;                // for level and group delay at these frequencies, smoothed
    std::vector<double> phase;        // degrees, arrival taken out, unwrapped
    Points impulse, step;             // ms; the step relative to the greatest sample
    EnergyDecay decay;
    std::vector<BandDecay> bands;
    CumulativeDecay cumulative;
};

// At least one sample, all finite.
Analysis Analyse(std::span<const float> samples, const AnalysisOptions& options);

// Samples against time in ms, thinned out to what can be seen.
Points ImpulseOf(std::span<const float> samples, double rate);

// Their running sum, relative to the greatest sample.
Points StepOf(std::span<const float> samples, double rate);

// Level and phase of a response that is known at any frequency, at the frequencies of the scale.
Points LevelOf(const std::function<Complex(double)>& response, std::span<const double> frequencies);
std::vector<double> PhaseOf(const std::function<Complex(double)>& response, std::span<const double> frequencies);

}  // namespace lumvex::acoustics
