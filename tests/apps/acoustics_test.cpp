// The transforms against closed forms. Tolerances are what the method itself costs: rounding of 32-bit samples, the
// ends of responses that are cut, bands of finite width.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

#include "acoustics/analysis.hpp"
#include "acoustics/filters.hpp"
#include "acoustics/thinned.hpp"

namespace lumvex::acoustics {
namespace {

constexpr double kRate = 48000;
constexpr double kTurn = 2 * std::numbers::pi;

// A resonance as samples, and its spectrum: g r^n sin(w n), with r from the quality.
struct Resonance {
    double frequency, quality, gain;

    double W() const { return kTurn * frequency / kRate; }
    double R() const { return std::exp(-W() / (2 * quality)); }
    std::vector<float> Samples(std::size_t count, std::size_t delay = 0) const {
        std::vector<float> samples(count);
        for (std::size_t n = delay; n < count; ++n) {
            const auto k = static_cast<double>(n - delay);
            samples[n] = static_cast<float>(gain * std::pow(R(), k) * std::sin(W() * k));
        }
        return samples;
    }
    Complex At(double f) const {
        const Complex z = std::polar(1.0, -kTurn * f / kRate);
        return gain * R() * std::sin(W()) * z / (1.0 - 2 * R() * std::cos(W()) * z + R() * R() * z * z);
    }
};

double Slope(const std::function<double(double)>& value, double at, double step) {
    return (value(at + step) - value(at - step)) / (2 * step);
}

TEST(Fft, IsTheSumOfItsDefinitionAndComesBack) {
    for (const std::size_t size : {2u, 4u, 6u, 30u, 64u}) {
        std::vector<double> samples(size);
        for (std::size_t n = 0; n < size; ++n) samples[n] = std::sin(static_cast<double>(n * n)) + 0.25;
        const std::vector<Complex> spectrum = Spectrum(samples, size);
        ASSERT_EQ(spectrum.size(), size / 2 + 1);
        for (std::size_t k = 0; k <= size / 2; ++k) {
            Complex sum = 0;
            for (std::size_t n = 0; n < size; ++n)
                sum += samples[n] * std::polar(1.0, -kTurn * static_cast<double>(k * n) / static_cast<double>(size));
            EXPECT_LT(std::abs(spectrum[k] - sum), 1e-12 * static_cast<double>(size)) << size << ' ' << k;
        }
        const std::vector<double> back = SamplesOf(spectrum, size);
        for (std::size_t n = 0; n < size; ++n) EXPECT_NEAR(back[n], samples[n], 1e-13);
    }
}

TEST(Analysis, AResonanceHasItsFrequencyLevelQualityAndDelay) {
    for (const Resonance& resonance : {Resonance{1000, 10, 0.5}, Resonance{63, 5, 1}, Resonance{8000, 30, 0.01}}) {
        const std::vector<float> samples = resonance.Samples(65536, 480);
        const Analysis found = Analyse(samples, {.rate = kRate, .scale = 2, .hasDecay = false});
        const auto level = [&](double f) { return Decibels(2 * std::abs(resonance.At(f))); };
        std::size_t highest = 0;
        for (std::size_t k = 0; k < found.exact.x.size(); ++k) {
            if (found.exact.y[k] > found.exact.y[highest]) highest = k;
            if (found.exact.x[k] < 20000) {
                ASSERT_NEAR(found.exact.y[k], level(found.exact.x[k]), 0.005);
            }
        }
        EXPECT_NEAR(found.exact.x[highest], resonance.frequency, resonance.frequency / resonance.quality / 20);
        const Smoothed narrow = SmoothedFrom(found.parts, 48);
        ASSERT_EQ(narrow.levels.size(), found.frequencies.size());
        for (std::size_t k = 0; k < found.frequencies.size(); ++k) {
            const double f = found.frequencies[k];
            if (f > 20000) continue;
            // Narrow bands lower a peak by little; at the feet of a resonance the means of power and level differ more.
            if (resonance.quality <= 10) {
                EXPECT_NEAR(narrow.levels[k], level(f), 0.04) << f;
            }
            if (std::abs(std::log2(f / resonance.frequency)) > 0.5) continue;
            const double turned = kTurn * f * (480 / kRate - found.arrival / 1000);
            const Complex expected = resonance.At(f) * std::polar(1.0, -turned);
            EXPECT_NEAR(std::remainder(found.phase[k] - std::arg(expected) * 360 / kTurn, 360), 0, 0.5) << f;
            const double delay =
                10 -
                1000 * Slope([&](double at) { return std::arg(resonance.At(at) / resonance.At(f)); }, f, 0.1) / kTurn;
            if (resonance.quality <= 10) {
                EXPECT_NEAR(narrow.delays[k], delay, 0.01 * std::abs(delay)) << f;
            }
        }
    }
}

TEST(Analysis, ADelayIsConstantAndItsLevelIsFlat) {
    std::vector<float> samples(4096);
    samples[240] = -0.5f;  // 5 ms
    const Analysis found = Analyse(samples, {.rate = kRate, .hasDecay = false});
    EXPECT_DOUBLE_EQ(found.arrival, 5);
    for (const int smoothing : kSmoothings) {
        for (const double level : SmoothedFrom(found.parts, smoothing).levels) EXPECT_NEAR(level, Decibels(0.5), 1e-6);
        for (const double delay : SmoothedFrom(found.parts, smoothing).delays) EXPECT_NEAR(delay, 5, 1e-6);
    }
    for (const double phase : found.phase) EXPECT_NEAR(std::abs(phase), 180, 1e-6);
    EXPECT_DOUBLE_EQ(StepOf(samples, kRate).y.back(), -1);
}

TEST(Analysis, AWindowLeavesOutAReflectionAndKeepsTheTimeOfTheFirstSample) {
    std::vector<float> samples(9600);
    samples[96] = 1;      // 2 ms
    samples[480] = 0.5f;  // 10 ms: a comb of +3.5 and -6 dB
    const auto ripple = [&](double end) {
        const Analysis found = Analyse(samples, {.rate = kRate, .startMs = 1, .endMs = end, .hasDecay = false});
        EXPECT_DOUBLE_EQ(found.arrival, 2);
        const double turned = std::cos(kTurn * found.frequencies.front() * 0.008);
        EXPECT_NEAR(SmoothedFrom(found.parts, 48).delays.front(),
                    end < 10 ? 2 : 2 + 8 * (0.25 + 0.5 * turned) / (1.25 + turned), 0.002);
        for (const double phase : found.phase) EXPECT_NEAR(phase, 0, end < 10 ? 1e-6 : 31);  // asin(1/2) of the comb
        const auto [low, high] = std::ranges::minmax(found.exact.y);
        return high - low;
    };
    EXPECT_LT(ripple(8), 1e-6);
    EXPECT_NEAR(ripple(200), Decibels(1.5 / 0.5), 0.01);
    // Fades take half of what they cover, and leave the peak: a fifth of 1 ms before it and of 38 ms behind it.
    std::vector<float> ones(9600, 1.0f);
    ones[96] = 2;
    const Window faded = WindowFrom(1, 40, kRate, ones);
    const std::vector<double> inside = Windowed(ones, faded);
    EXPECT_EQ(inside[48], 2);
    EXPECT_NEAR(std::accumulate(inside.begin(), inside.end(), 0.0), 39 * 48 + 1 - (9 + 364) / 2.0, 1e-9);
    EXPECT_TRUE(WindowFrom(5, 5, kRate, samples).isWhole);
    EXPECT_TRUE(WindowFrom(300, 400, kRate, samples).isWhole);
    const Window beyond = WindowFrom(100, 1e9, kRate, samples);
    EXPECT_EQ(beyond.first, 4800u);
    EXPECT_EQ(beyond.last, samples.size());
}

// One Hz between values; only the power differs from a response without delay.
ResponseSpectrum SpectrumOfPowers(const std::function<double(double)>& power) {
    ResponseSpectrum spectrum{
        .values = std::vector<Complex>(20001), .delays = std::vector<Complex>(20001), .distance = 1};
    for (std::size_t k = 0; k < spectrum.values.size(); ++k)
        spectrum.values[k] = std::sqrt(power(static_cast<double>(k)));
    return spectrum;
}

TEST(Smoothing, IsTheMeanPowerOfItsBand) {
    const std::vector<double> scale = FrequencyScale(20, 20000);
    EXPECT_NEAR(scale[96] / scale[0], 2, 1e-12);
    const auto middle = static_cast<std::size_t>(std::ranges::find(scale, 1000.0) - scale.begin());
    ASSERT_LT(middle, scale.size());
    // A line has the area of 1 Hz, from 999 to 1001 Hz; a step of -40 dB lies between 1000 and 1001 Hz.
    const OctaveParts line = PartsOf(SpectrumOfPowers([](double f) { return f == 1000 ? 1 : 0; }), 20);
    const OctaveParts step = PartsOf(SpectrumOfPowers([](double f) { return f <= 1000 ? 1 : 1e-4; }), 20);
    for (const int smoothing : kSmoothings) {
        const double half = std::exp2(0.5 / smoothing);
        const auto parts = static_cast<std::size_t>(kPointsPerOctave / 2 / smoothing);
        const std::vector<double> lines = SmoothedFrom(line, smoothing).levels,
                                  steps = SmoothedFrom(step, smoothing).levels;
        ASSERT_EQ(lines.size(), scale.size());
        for (std::size_t k = 0; k < scale.size(); ++k) {
            const double from = scale[k] / half, to = std::min(scale[k] * half, 20000.0);
            const double below = std::clamp(1000.5 - from, 0.0, to - from);
            EXPECT_NEAR(steps[k], PowerDecibels((below + 1e-4 * (to - from - below)) / (to - from)),
                        k == middle + parts || k == middle - parts ? 0.5 : 0.02)
                << smoothing << ' ' << scale[k];
            if (k == middle + parts || k == middle - parts) {
                EXPECT_NEAR(lines[k], PowerDecibels(0.5 / (to - from)), 0.01)
                    << smoothing;  // half of it is in the band
            } else if (k > middle - parts && k < middle + parts) {
                EXPECT_NEAR(lines[k], PowerDecibels(1 / (to - from)), 0.01) << smoothing << ' ' << scale[k];
            } else {
                EXPECT_LT(lines[k], -250) << smoothing << ' ' << scale[k];
            }
        }
    }
    const double half = std::exp2(0.5 / 12);
    const std::vector<double> twelfth = TwelfthOctaveLevel(SpectrumOfPowers([](double f) { return f == 1000 ? 1 : 0; }),
                                                           std::vector<double>{975.0, 1025.0, 1035.0});
    EXPECT_NEAR(twelfth[0], PowerDecibels(1 / (975 * (half - 1 / half))), 0.01);
    EXPECT_NEAR(twelfth[1], PowerDecibels(1 / (1025 * (half - 1 / half))), 0.01);
    EXPECT_LT(twelfth[2], -250);
}

TEST(Decay, AnExponentialHasItsReverberationTime) {
    // Seconds, and the noise's level below the start; times that noise hides are not told.
    struct Case {
        double time, noise, tolerance;
        bool hasT20, hasT30;
    };
    for (const Case& each : {Case{0.5, -200, 0.01, true, true},
                             {2, -200, 0.01, true, false},
                             {0.3, -60, 0.04, true, true},
                             {0.4, -40, 0.06, true, false},
                             {0.4, -43, 0.06, true, false},
                             {0.4, -30, 0, false, false}}) {
        std::mt19937 random(7);
        std::normal_distribution<double> normal;
        std::vector<float> samples(48000);
        for (std::size_t n = 1000; n < samples.size(); ++n) {
            const double falling = std::pow(10, -3 * static_cast<double>(n - 1000) / kRate / each.time);
            // Alternating signs have the power of a smooth exponential.
            samples[n] =
                static_cast<float>((n % 2 ? 1 : -1) * falling + std::pow(10, each.noise / 20) * normal(random));
        }
        samples[1000] = 1.5f;
        const EnergyDecay decay = EnergyDecayOf(samples, kRate);
        ASSERT_EQ(decay.t20.has_value(), each.hasT20) << each.noise;
        ASSERT_EQ(decay.t30.has_value(), each.hasT30) << each.noise;
        if (decay.t20) {
            EXPECT_NEAR(*decay.t20, each.time, each.tolerance * each.time);
            EXPECT_NEAR(*decay.early, each.time, std::max(0.02, each.tolerance) * each.time);
        }
        if (decay.t30) {
            EXPECT_NEAR(*decay.t30, each.time, each.tolerance * each.time);
        }
        if (each.noise > -100) {
            EXPECT_NEAR(decay.noise.value(), each.noise, 6);  // relative to the loudest block, quieter than the peak
        } else {
            EXPECT_FALSE(decay.noise);
        }
    }
    EXPECT_TRUE(EnergyDecayOf(std::vector<float>(1000), kRate).levels.empty());
    EXPECT_TRUE(EnergyDecayOf(std::vector<float>(10, 1.0f), kRate).levels.empty());
}

TEST(Decay, EveryOctaveBandHasItsOwnReverberationTime) {
    // Resonances in the middle of each band die away at rates of their own; noise hides the end of them.
    const double times[] = {1.2, 0.9, 0.7, 0.5, 0.4, 0.3, 0.25};
    for (const double noise : {-200.0, -70.0}) {
        std::mt19937 random(3);
        std::normal_distribution<double> normal;
        std::vector<float> samples(65536);
        for (std::size_t n = 0; n < samples.size(); ++n) {
            double sum = std::pow(10, noise / 20) * normal(random);
            for (std::size_t band = 0; band < std::size(kOctaveBands) && n >= 10; ++band) {
                const double t = static_cast<double>(n - 10) / kRate;
                sum += std::pow(10, -3 * t / times[band]) * std::sin(kTurn * kOctaveBands[band] * t);
            }
            samples[n] = static_cast<float>(sum);
        }
        const std::vector<BandDecay> bands = OctaveBandDecays(samples, kRate);
        ASSERT_EQ(bands.size(), std::size(kOctaveBands));
        for (std::size_t band = 0; band < bands.size(); ++band) {
            const double time = times[band], tolerance = (noise > -100 ? 0.03 : 0.01) * time;
            EXPECT_EQ(bands[band].centre, kOctaveBands[band]);
            EXPECT_NEAR(bands[band].decay.early.value_or(0), time, 0.06 * time) << bands[band].centre;
            EXPECT_NEAR(bands[band].decay.t20.value_or(0), time, tolerance) << bands[band].centre;
            EXPECT_NEAR(bands[band].decay.t30.value_or(0), time, tolerance) << bands[band].centre;
            if (noise > -100) {
                EXPECT_TRUE(bands[band].decay.noise) << bands[band].centre;
            }
        }
    }
    // A band's own decay is not taken for that of a room; bands above half the sample rate are left out.
    std::vector<float> one(16384);
    one[100] = 1;
    for (const BandDecay& band : OctaveBandDecays(one, kRate)) EXPECT_FALSE(band.decay.t20) << band.centre;
    EXPECT_EQ(OctaveBandDecays(one, 8000).size(), 5u);
    EXPECT_TRUE(OctaveBandDecays(std::vector<float>(1000), kRate).empty());
    EXPECT_TRUE(EnergyDecayOf(std::vector<float>(1000, 1.0f), kRate).levels.empty());  // nothing dies away
}

// The level in dB of the energy to come of exponentials: their reverberation times in s, their powers at the start.
double EnergyToCome(std::span<const std::pair<double, double>> exponentials, double seconds) {
    double now = 0, all = 0;
    for (const auto& [time, power] : exponentials) {
        now += power * time * std::pow(10, -6 * seconds / time);
        all += power * time;
    }
    return PowerDecibels(now / all);
}

TEST(Decay, ItsBeginningAndItsEndHaveTimesOfTheirOwn) {
    const std::pair<double, double> parts[] = {{0.2, 1}, {0.9, 0.01}};
    std::vector<float> samples(65536);
    for (std::size_t n = 0; n < samples.size(); ++n) {
        const double t = static_cast<double>(n) / kRate;
        const double power = std::pow(10, -6 * t / 0.2) + 0.01 * std::pow(10, -6 * t / 0.9);
        samples[n] = static_cast<float>((n % 2 ? 1 : -1) * std::sqrt(power));
    }
    const auto expected = [&](double highest, double lowest) {
        double count = 0, t = 0, tt = 0, l = 0, tl = 0;
        for (double at = 0; at < 1.3; at += 0.0005) {
            const double level = EnergyToCome(parts, at);
            if (level > highest || level < lowest) continue;
            count += 1, t += at, tt += at * at, l += level, tl += at * level;
        }
        return -60 * (count * tt - t * t) / (count * tl - t * l);
    };
    const EnergyDecay decay = EnergyDecayOf(samples, kRate);
    EXPECT_NEAR(decay.early.value_or(0), expected(0, -10), 0.005);
    EXPECT_NEAR(decay.t20.value_or(0), expected(-5, -25), 0.01);
    EXPECT_NEAR(decay.t30.value_or(0), expected(-5, -35), 0.01);
    EXPECT_GT(expected(-5, -15), 1.1 * expected(0, -10));  // one for the other would be seen
    for (std::size_t k = 0; k < decay.times.size() && decay.times[k] < 1000; k += 20)
        EXPECT_NEAR(decay.levels[k], EnergyToCome(parts, decay.times[k] / 1000), 0.1) << decay.times[k];
}

TEST(Decay, AnOctaveBandEndsAtItsEdges) {
    // A resonance that dies away slowly, beside the middle of the band, is heard as far as the filter passes it.
    struct Case {
        double octaves, level;  // dB
    };
    for (const Case& each : {Case{0.24, 0}, {-0.24, 0}, {0.5, -3.0103}, {-0.5, -3.0103}, {0.6, -7.021}, {0.78, -80}}) {
        const double beside = 1000 * std::exp2(each.octaves);
        std::vector<float> samples(65536);
        for (std::size_t n = 480; n < samples.size(); ++n) {
            const double t = static_cast<double>(n - 480) / kRate;
            samples[n] = static_cast<float>(std::pow(10, -3 * t / 0.2) * std::sin(kTurn * 1000 * t) +
                                            0.1 * std::pow(10, -3 * t / 1.0) * std::sin(kTurn * beside * t));
        }
        const std::pair<double, double> parts[] = {{0.2, 1}, {1.0, 0.01 * std::pow(10, each.level / 10)}};
        const EnergyDecay decay = OctaveBandDecays(samples, kRate)[3].decay;
        const double wanted = EnergyToCome(parts, 0.4);
        const auto at = std::ranges::lower_bound(decay.times, 410.0) - decay.times.begin();
        if (each.level > -50) {
            EXPECT_NEAR(decay.levels[at], wanted, 0.6) << each.octaves;
        } else {
            EXPECT_LT(decay.levels[at], -40) << each.octaves;
        }
    }
}

TEST(Decay, ACumulativeSpectrumFallsAsTheResonanceDoes) {
    const Resonance resonance{1000, 20, 1};  // 60 dB in 2.2 * 20 / 1000 s
    const std::vector<float> samples = resonance.Samples(8192);
    const CumulativeDecay decay = CumulativeDecayOf(samples, kRate, WindowFrom(0, 0, kRate, samples));
    EXPECT_DOUBLE_EQ(decay.frequencies[0], ScaleFrequency(decay.firstPoint));
    EXPECT_DOUBLE_EQ(decay.frequencies[1], ScaleFrequency(decay.firstPoint + kMapPoints));
    const auto column = static_cast<std::size_t>(
        std::ranges::min_element(decay.frequencies, {}, [](double f) { return std::abs(f - 1000); }) -
        decay.frequencies.begin());
    for (std::size_t row = 0; row < decay.times.size() && decay.times[row] < 60; ++row)
        EXPECT_NEAR(decay.levels[row * decay.frequencies.size() + column],
                    -20 * std::log10(std::numbers::e) * kTurn * 1000 / 40 * decay.times[row] / 1000, 0.6)
            << decay.times[row];
}

TEST(Decay, PartsOfTheCumulativeSpectrumFadeAtBothEnds) {
    // Far from a resonance that lasts, what is left of its cut ends would be at -70 dB.
    const std::vector<float> samples = Resonance{1000, 1000, 1}.Samples(8178);
    const CumulativeDecay decay = CumulativeDecayOf(samples, kRate, WindowFrom(0, 0, kRate, samples));
    const std::size_t columns = decay.frequencies.size();
    for (std::size_t place = columns; place < decay.levels.size(); ++place) {
        if (decay.frequencies[place % columns] > 10000) {
            ASSERT_LT(decay.levels[place], -90) << place / columns;
        }
    }
}

TEST(Filters, HaveTheirShapes) {
    struct Case {
        FilterShape shape;
        double slope, atCorner, sum;  // dB; the sum of low-pass and high-pass
    };
    for (const Case& each : {Case{FilterShape::Butterworth, 18, -3.0103, 0},
                             {FilterShape::LinkwitzRiley, 24, -6.0206, 0},
                             {FilterShape::LinkwitzRiley, 48, -6.0206, 0},
                             {FilterShape::LinearPhase, 24, -6.0206, 0},
                             {FilterShape::LinearPhase, 48, -6.0206, 0},
                             {FilterShape::Butterworth, 6, -3.0103, 0}}) {
        const Corner corner{2000, each.slope, each.shape};
        EXPECT_NEAR(Decibels(std::abs(LowPass(corner, 2000))), each.atCorner, 1e-4);
        EXPECT_NEAR(Decibels(std::abs(HighPass(corner, 2000))), each.atCorner, 1e-4);
        EXPECT_NEAR(Decibels(std::abs(LowPass(corner, 64000) / LowPass(corner, 32000))), -each.slope, 0.2);
        EXPECT_NEAR(Decibels(std::abs(HighPass(corner, 62.5) / HighPass(corner, 125))), -each.slope, 0.2);
        for (const double f : {20.0, 1500.0, 2000.0, 2500.0, 15000.0}) {
            const std::vector<Complex> ways = WaysOf({corner}, f);
            EXPECT_NEAR(Decibels(std::abs(ways[0] + ways[1])), each.sum, 1e-6) << each.slope << ' ' << f;
            if (each.shape == FilterShape::LinearPhase) {
                EXPECT_EQ(std::arg(ways[0]), 0);
            }
        }
    }
    const Stage pass{
        FilterKind::BandPass, {2000, 24, FilterShape::LinkwitzRiley}, {100, 24, FilterShape::LinkwitzRiley}, true};
    const Stage stages[] = {pass, {FilterKind::HighPass, {}, {0, 24, FilterShape::Butterworth}}};
    const Complex response = ResponseOf(stages, -6, 0.5, 450);
    EXPECT_NEAR(Decibels(std::abs(response)), -6 - 0.03, 0.02);
    EXPECT_NEAR(std::remainder(std::arg(response / ResponseOf(pass, 450)) + kTurn * 450 * 0.0005, kTurn), 0, 1e-9);
    EXPECT_EQ(HighPass({100, 24, FilterShape::LinkwitzRiley}, 0), Complex(0));
    EXPECT_EQ(WaysOf({{3000, 24, FilterShape::LinkwitzRiley}, {300, 24, FilterShape::LinkwitzRiley}}, 30).size(), 3u);
}

TEST(Filters, ABellHasItsGainAndWidth) {
    for (const double gain : {-12.0, -0.5, 3.0, 18.0}) {
        for (const double q : {0.5, 1.0, 8.0}) {
            const Bell bell{500, 0.5 / q, gain};
            const auto level = [&](double f) { return Decibels(std::abs(ResponseOf(bell, f))); };
            EXPECT_NEAR(level(500), gain, 1e-9);
            // Half of the gain in dB at the two frequencies that are f0 / Q apart around it.
            const double apart = 1 / (2 * q), ratio = std::sqrt(1 + apart * apart) + apart;
            EXPECT_NEAR(level(500 * ratio), gain / 2, 1e-9);
            EXPECT_NEAR(level(500 / ratio), gain / 2, 1e-9);
            EXPECT_NEAR(level(0.001), 0, 1e-3);
            const Complex undone = ResponseOf(bell, 700) * ResponseOf(Bell{500, 0.5 / q, -gain}, 700);
            EXPECT_LT(std::abs(undone - 1.0), 1e-12);
        }
    }
    EXPECT_EQ(ResponseOf(Bell{0, 1, 6}, 100), Complex(1));
}

TEST(Thinning, KeepsTheExtremesInTheirOrder) {
    const std::vector<double> values{3, 1, 2, 9, 5, 5, 5, -4, 0};
    const std::vector<std::size_t> parts{0, 4, 7};
    EXPECT_EQ(Thinned(values, parts), (std::vector<std::size_t>{1, 3, 4, 7, 8}));
    EXPECT_EQ(EqualParts(10, 3), (std::vector<std::size_t>{0, 3, 6}));
    EXPECT_EQ(EqualParts(2, 600).size(), 2u);
}

}  // namespace
}  // namespace lumvex::acoustics
