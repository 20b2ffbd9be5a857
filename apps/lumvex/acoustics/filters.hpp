// Crossovers and filter stages as analogue prototypes: their complex response at a frequency.
#pragma once

#include <span>
#include <vector>

#include "acoustics/fft.hpp"

namespace lumvex::acoustics {

enum class FilterShape { LinearPhase, LinkwitzRiley, Butterworth, None };
enum class FilterKind { HighPass, LowPass, BandPass };

struct Corner {
    double frequency = 0;  // Hz
    double slope = 0;      // dB/oct
    FilterShape shape = FilterShape::None;
};

// One corner. Its order is the slope divided by 6 dB/oct, rounded; Linkwitz-Riley takes two Butterworth filters of half
// the order, rounded up, so that it is -6 dB at its corner; linear phase has the magnitude of Linkwitz-Riley and no
// phase. Without a shape, frequency or slope nothing is filtered.
Complex LowPass(const Corner& corner, double frequency);
Complex HighPass(const Corner& corner, double frequency);

struct Stage {
    FilterKind kind = FilterKind::HighPass;
    Corner upper = {}, lower = {};  // a high-pass uses the lower, a low-pass the upper, a band-pass both
    bool inverts = false;
};

Complex ResponseOf(const Stage& stage, double frequency);

// What stages in a row do together, with a gain in dB and a delay in ms.
Complex ResponseOf(std::span<const Stage> stages, double gain, double delay, double frequency);

// A band of a parametric equaliser: a bell around its frequency.
struct Bell {
    double frequency = 0;  // Hz
    double alpha = 0;      // half of the reciprocal of its Q
    double gain = 0;       // dB, at the frequency
};

// The analogue prototype (s^2 + 2 a A s + 1) / (s^2 + 2 a / A s + 1), A^2 being the gain: bells of opposite gains undo
// each other. Without a frequency or alpha nothing is filtered.
Complex ResponseOf(const Bell& bell, double frequency);

// The ways of a crossover with these corners: the lowest first, one more than there are corners. Corners are put into
// the order of their frequencies.
std::vector<Complex> WaysOf(std::vector<Corner> corners, double frequency);

}  // namespace lumvex::acoustics
