#include "acoustics/filters.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumvex::acoustics {

namespace {

constexpr double kSlopeOfOrder = 6;  // dB/oct
constexpr long kHighestOrder = 64;

bool Filters(const Corner& corner) {
    return corner.shape != FilterShape::None && corner.frequency > 0 && corner.slope > 0;
}

long OrderOf(const Corner& corner) {
    return static_cast<long>(std::clamp(std::round(corner.slope / kSlopeOfOrder), 1.0, double{kHighestOrder}));
}

// The normalized Butterworth low-pass at s = i * ratio, from its poles on the left half of the unit circle.
Complex Butterworth(long order, double ratio) {
    const Complex s(0, ratio);
    Complex below = 1;
    for (long k = 0; k < order; ++k) {
        const double angle =
            std::numbers::pi * (0.5 + (2 * static_cast<double>(k) + 1) / (2 * static_cast<double>(order)));
        below *= s - std::polar(1.0, angle);
    }
    return 1.0 / below;
}

// The low-pass of the corner's shape at a frequency in units of its corner; the high-pass is that of the reciprocal
// one, conjugate.
Complex Prototype(const Corner& corner, double ratio) {
    const long order = OrderOf(corner);
    if (corner.shape == FilterShape::Butterworth) return Butterworth(order, ratio);
    const Complex half = Butterworth((order + 1) / 2, ratio);
    return corner.shape == FilterShape::LinearPhase ? Complex(std::norm(half)) : half * half;
}

}  // namespace

Complex LowPass(const Corner& corner, double frequency) {
    return Filters(corner) ? Prototype(corner, frequency / corner.frequency) : 1;
}

Complex HighPass(const Corner& corner, double frequency) {
    if (!Filters(corner)) return 1;
    return frequency > 0 ? std::conj(Prototype(corner, corner.frequency / frequency)) : 0;
}

Complex ResponseOf(const Stage& stage, double frequency) {
    Complex response = stage.inverts ? -1 : 1;
    if (stage.kind != FilterKind::LowPass) response *= HighPass(stage.lower, frequency);
    if (stage.kind != FilterKind::HighPass) response *= LowPass(stage.upper, frequency);
    return response;
}

Complex ResponseOf(std::span<const Stage> stages, double gain, double delay, double frequency) {
    Complex response = std::polar(std::pow(10, gain / 20), -2 * std::numbers::pi * frequency * delay / 1000);
    for (const Stage& stage : stages) response *= ResponseOf(stage, frequency);
    return response;
}

Complex ResponseOf(const Bell& bell, double frequency) {
    if (!(bell.frequency > 0 && bell.alpha > 0)) return 1;
    const double amplitude = std::pow(10, bell.gain / 40), ratio = frequency / bell.frequency;
    const double rest = 1 - ratio * ratio;
    return Complex(rest, 2 * bell.alpha * amplitude * ratio) / Complex(rest, 2 * bell.alpha / amplitude * ratio);
}

std::vector<Complex> WaysOf(std::vector<Corner> corners, double frequency) {
    std::ranges::sort(corners, {}, &Corner::frequency);
    std::vector<Complex> ways(corners.size() + 1, Complex(1));
    for (std::size_t corner = 0; corner < corners.size(); ++corner) {
        ways[corner] *= LowPass(corners[corner], frequency);
        ways[corner + 1] *= HighPass(corners[corner], frequency);
    }
    return ways;
}

}  // namespace lumvex::acoustics
