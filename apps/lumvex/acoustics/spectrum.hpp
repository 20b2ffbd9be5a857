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

// A spectrum's power and group delay in equal parts of an octave. All smoothed curves are made of it: a band of 1/48
// octave around a point of the frequency scale is two parts, one of 1/3 octave 32.
struct OctaveParts {
    long first = 0;                   // part k begins at the frequency scale's point first + k: ScaleFrequency()
    double highest = 0;               // Hz; where the last part ends
    std::vector<double> levels = {};  // dB: mean power
    std::vector<double> delays = {};  // ms from the response's first sample, weighted with the power
};

// The parts that bands of every smoothing need around the points from `lowest` Hz up to the spectrum's highest.
OctaveParts PartsOf(const ResponseSpectrum& spectrum, double lowest);

// Curves of the parts, at the points that PartsOf() was asked for: the mean power in the band around each point, and
// the group delay in it, weighted with the power. `smoothing` is one of kSmoothings.
struct Smoothed {
    std::vector<double> levels, delays;  // dB, ms
};
Smoothed SmoothedFrom(const OctaveParts& parts, int smoothing);

// The spectrum's mean power over 1/12 octave at any frequencies, in dB.
std::vector<double> TwelfthOctaveLevel(const ResponseSpectrum& spectrum, std::span<const double> frequencies);

// Phase in degrees without jumps, with the arrival's delay taken out; within +-180 at the lowest frequency.
std::vector<double> UnwrappedPhase(const ResponseSpectrum& spectrum, std::span<const double> frequencies);

// Takes jumps of more than half a turn out of phases, in degrees.
void Unwrap(std::span<double> degrees);

// Linear between the spectrum's values; 0 above the highest.
Complex ValueAt(const ResponseSpectrum& spectrum, double frequency);

}  // namespace lumvex::acoustics
