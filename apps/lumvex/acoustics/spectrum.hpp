// The spectrum of an impulse response and what is read from it: level, phase, group delay.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "acoustics/fft.hpp"
#include "acoustics/window.hpp"

namespace lumvex::acoustics {

// 20 lg of a magnitude, 10 lg of a power; what is next to nothing is -300 dB.
double Decibels(double magnitude);
double PowerDecibels(double power);

// values[k] belongs to k * distance Hz. The phase is that of the time of the response's first sample.
struct ResponseSpectrum {
    std::vector<Complex> values;
    std::vector<Complex> delays;  // the transform of time (s) times response: gives the group delay without unwrapping
    double distance = 0;          // between two values, Hz
    double resolution = 0;        // Hz: 1 / duration of the window; what is finer does not come from the response
    double arrival = 0;           // s from the first sample to the window's peak
    std::size_t size = 0;         // of the transform

    double Highest() const { return distance * static_cast<double>(values.size() - 1); }
};

// The transform is as long as the window, and not below 32,768, so that its values are close together.
ResponseSpectrum SpectrumOf(std::span<const float> samples, double rate, const Window& window);

// Multiplies every value with what a function answers for its frequency in Hz.
void Multiply(ResponseSpectrum& spectrum, const std::function<double(double)>& factor);

// The spectrum's power at a frequency, a mean over one part of an octave in `smoothing`; in dB.
std::vector<double> SmoothedLevel(const ResponseSpectrum& spectrum, std::span<const double> frequencies, int smoothing);

// Group delay in ms from the response's first sample: the mean over the same band, weighted with the power.
std::vector<double> GroupDelay(const ResponseSpectrum& spectrum, std::span<const double> frequencies, int smoothing);

// Phase in degrees without jumps, with the arrival's delay taken out; within +-180 at the lowest frequency.
std::vector<double> UnwrappedPhase(const ResponseSpectrum& spectrum, std::span<const double> frequencies);

// Takes jumps of more than half a turn out of phases, in degrees.
void Unwrap(std::span<double> degrees);

// Linear between the spectrum's values; 0 above the highest.
Complex ValueAt(const ResponseSpectrum& spectrum, double frequency);

}  // namespace lumvex::acoustics
