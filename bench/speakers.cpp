// Measures a project as its users make them: 200 speakers in two configurations each, every configuration with four
// measurements and four corrections of 4,096 samples a channel, and a crossover design for each. The library that it is
// linked to is FILE.lvs.
//
//     bench_speakers save|walk FILE
//
// save: builds it and makes it durable. walk: opens it and gets the name of every object. Prints milliseconds as JSON.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "lumvex/lumvex.hpp"

namespace {

using namespace lumvex;

constexpr int kSpeakers = 200, kResponses = 4;
constexpr std::size_t kRows = 4096;

std::u16string Numbered(const std::string& word, int number) {
    const std::string text = word + " " + std::to_string(number);
    return {text.begin(), text.end()};
}

Array Response(int seed, std::size_t channels) {
    std::vector<float> values(kRows * channels);
    for (std::size_t at = 0; at < values.size(); ++at) values[at] = static_cast<float>(seed) + static_cast<float>(at);
    return Array::FromColumns(values, kRows, channels);
}

void Save(const std::u16string& path) {
    Specifications library = Specifications::Create();
    const Model model = library.Manufacturers().Add(u"Acme").Models().Add(u"Alpha");
    const ModelConfig configs[] = {model.ModelConfigs().Add(library.Configs().Item(LX_SINGLEAMP)),
                                   model.ModelConfigs().Add(library.Configs().Item(LX_BIAMP))};
    library.SaveFileAs(path + u".lvs");
    Project project = Project::Create();
    project.Specifications(library);
    const Experiment experiment = project.Experiments().Add(u"Anechoic");
    for (int number = 1; number <= kSpeakers; ++number) {
        const SpeakerEQ speaker = project.SpeakerEQs().Add(Numbered("Speaker", number), model);
        std::size_t channels = 1;
        for (const ModelConfig& each : configs) {
            const SpkrEQConfig config = speaker.SpkrEQConfigs().Add(each);
            for (int at = 1; at <= kResponses; ++at) {
                Measurement measurement = config.Measurements().Add(Numbered("Measurement", at), experiment);
                measurement.Data(Response(number + at, channels));
                config.Corrections().Add(Numbered("Correction", at), measurement).Data(Response(at, channels));
            }
            ++channels;
        }
        project.CrossoverConfigs().Item(LX_BIAMP).SpkrEQDesigns().Add(Numbered("Design", number));
    }
    project.SaveFileAs(path);
    project.CloseFile();
}

void Walk(const std::u16string& path) {
    Project project = Project::Create();
    project.AccessMode(LX_SHARE_READ);
    project.OpenFile(path);
    std::size_t objects = 0;
    for (const Object& object : project.NewDescendantsEnum())
        objects += object.As<Collectable>().Name().empty() ? 0 : 1;
    constexpr std::size_t kLeast = kSpeakers * (2 + 2 * 2 * kResponses);
    if (objects < kLeast) throw std::runtime_error("not every object was there");
    project.CloseFile();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s save|walk FILE\n", argv[0]);
        return 2;
    }
    try {
        const std::string path = argv[2];
        const bool saves = std::string(argv[1]) == "save";
        if (saves)
            for (const char* extension : {"", ".lvs"}) std::filesystem::remove(path + extension);
        const std::u16string text = FromUtf8(path);
        const auto start = std::chrono::steady_clock::now();
        saves ? Save(text) : Walk(text);
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
        std::printf("{\"ms\": %.6f}\n", taken.count());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
