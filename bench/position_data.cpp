// Measures how long a position takes to return its measurements as one array, beside a plain copy of the same bytes: 64
// measurements of 65,536 samples, in every element type.
//
//     position_data [rounds]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "lumvex/lumvex.hpp"

namespace {

using namespace lumvex;

constexpr std::size_t kMeasurements = 64, kSamples = 65536;

template <class Work>
double Milliseconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> times) {
    std::ranges::nth_element(times, times.begin() + std::ssize(times) / 2);
    return times[times.size() / 2];
}

volatile std::byte seen{};  // reading the copy keeps the compiler from leaving it out

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 51;
    Project project = Project::Create();
    const RoomPosition position = project.Rooms().Add(u"Room").Positions().Add(u"Position");
    const RoomMeasurements measurements = position.Measurements();
    std::vector<float> samples(kSamples);
    for (std::size_t at = 0; at < kMeasurements; ++at) {
        std::ranges::fill(samples, static_cast<float>(at));
        measurements.Add(u"Measurement").Data(Array::FromColumns(samples, kSamples, 1));
    }

    std::printf("%zu measurements of %zu samples, median of %d\n", kMeasurements, kSamples, rounds);
    std::printf("type     MiB    answer ms    copy ms    ratio\n");
    const struct {
        LXArray type;
        const char* name;
        std::size_t size;
    } types[] = {{LX_R4, "LX_R4", sizeof(float)}, {LX_R8, "LX_R8", sizeof(double)}, {LX_VT, "LX_VT", sizeof(VARIANT)}};
    for (const auto& each : types) {
        project.SafeArrayType(each.type);
        const std::size_t bytes = kMeasurements * kSamples * each.size;
        const std::vector<std::byte> source(bytes, std::byte{1});
        std::vector<double> answers, copies;
        for (int round = 0; round < rounds; ++round) {
            Array answer;
            answers.push_back(Milliseconds([&] { answer = position.Data(); }));
            answer = Array();
            std::unique_ptr<std::byte[]> copy;
            copies.push_back(Milliseconds([&] {
                copy.reset(new std::byte[bytes]);
                std::memcpy(copy.get(), source.data(), bytes);
                seen = copy[bytes / 2];
            }));
        }
        const double answer = Median(answers), copy = Median(copies);
        std::printf("%-6s %5.0f %12.2f %10.2f %8.2f\n", each.name, static_cast<double>(bytes) / (1 << 20), answer, copy,
                    answer / copy);
    }
    return 0;
}
