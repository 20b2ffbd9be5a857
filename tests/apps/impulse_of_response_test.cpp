// Impulse responses made of frequency responses, beside the digital filters that the responses are those of.
#include "files/impulse_of_response.hpp"

#include <complex>
#include <numbers>

#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

using Kind = MeasurementFile::Kind;

constexpr int kRate = 48000;

// A section b0 + b1 z^-1 + b2 z^-2 over 1 + a1 z^-1 + a2 z^-2.
struct Filter {
    const char* name;
    double b0, b1, b2, a1, a2;
    int delay;  // in samples

    std::complex<double> At(double frequency) const {
        const std::complex<double> z = std::polar(1.0, -2 * std::numbers::pi * frequency / kRate);
        return (b0 + b1 * z + b2 * z * z) / (1.0 + a1 * z + a2 * z * z) * std::pow(z, delay);
    }

    std::vector<double> Impulse(std::size_t length) const {
        std::vector<double> response(length);
        double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
        for (std::size_t at = 0; at < length; ++at) {
            const double x = at == static_cast<std::size_t>(delay) ? 1 : 0;
            const double y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
            response[at] = y;
            x2 = x1, x1 = x, y2 = y1, y1 = y;
        }
        return response;
    }
};

// All are of minimum phase but for the delay.
const Filter kFilters[] = {{"unity", 1, 0, 0, 0, 0, 0},
                           {"peak at 1 kHz", 1.0613, -1.8757, 0.8328, -1.8757, 0.8941, 0},
                           {"low-pass at 2 kHz", 0.0154, 0.0308, 0.0154, -1.6329, 0.6945, 0},
                           {"high-pass at 80 Hz, delayed", 0.9926, -1.9852, 0.9926, -1.9852, 0.9852, 140}};

// At 24 frequencies an octave up to 23 kHz.
MeasurementFile ResponseOf(const Filter& filter, bool hasPhase) {
    std::vector<float> frequencies, levels, phases;
    for (double frequency = 5; frequency < 23000; frequency *= std::exp2(1 / 24.0)) {
        const std::complex<double> value = filter.At(static_cast<double>(static_cast<float>(frequency)));
        frequencies.push_back(static_cast<float>(frequency));
        levels.push_back(static_cast<float>(20 * std::log10(std::abs(value))));
        phases.push_back(static_cast<float>(std::arg(value) * 180 / std::numbers::pi));
    }
    std::vector<float> table = frequencies;
    table.insert(table.end(), levels.begin(), levels.end());
    if (hasPhase) table.insert(table.end(), phases.begin(), phases.end());
    return Table(Kind::Response, hasPhase ? 3 : 2, std::move(table));
}

TEST(ImpulseOfResponse, IsTheImpulseResponseOfKnownFilters) {
    for (const Filter& filter : kFilters) {
        for (const bool hasPhase : {false, true}) {
            if (filter.delay != 0 && !hasPhase) continue;
            SCOPED_TRACE(std::string(filter.name) + (hasPhase ? ", with phases" : ", of minimum phase"));
            const MeasurementFile impulse = ImpulseOf("f", ResponseOf(filter, hasPhase), kRate);
            EXPECT_EQ(impulse.kind, Kind::Impulse);
            EXPECT_EQ(impulse.sampleRate, kRate);
            ASSERT_EQ(impulse.rows, kImpulseLength);
            const std::size_t before = hasPhase ? kImpulseLength / 8 : 0;
            EXPECT_EQ(impulse.startTime.value_or(0), -static_cast<double>(before) / kRate);

            const std::vector<double> expected = filter.Impulse(4096);
            double worst = 0, peak = 0;
            for (std::size_t at = 0; at < expected.size(); ++at) {
                worst = std::max(worst, std::abs(expected[at] - static_cast<double>(impulse.values[before + at])));
                peak = std::max(peak, std::abs(expected[at]));
            }
            EXPECT_LT(worst, 0.02 * peak);
            for (const double frequency : {20.0, 50.0, 200.0, 1000.0, 1414.0, 3000.0, 9000.0, 18000.0}) {
                std::complex<double> sum = 0;
                for (std::size_t at = 0; at < impulse.rows; ++at)
                    sum += static_cast<double>(impulse.values[at]) *
                           std::polar(1.0, -2 * std::numbers::pi * frequency / kRate * static_cast<double>(at));
                EXPECT_NEAR(20 * std::log10(std::abs(sum / filter.At(frequency))), 0, 0.1) << frequency;
            }
        }
    }
}

TEST(ImpulseOfResponse, RefusesFrequenciesThatItCannotUse) {
    for (const std::vector<float>& table : {std::vector<float>{20, 20, 1, 2}, {0, 20, 1, 2}, {30000, 40000, 1, 2}})
        EXPECT_TRUE(ErrorOf([&] { static_cast<void>(ImpulseOf("f", Table(Kind::Response, 2, table), kRate)); }));
}

}  // namespace
}  // namespace lumvex::app
