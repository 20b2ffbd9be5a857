// Designs a correction through the interfaces in lumvex/lumvex.hpp: calls go through the objects' function tables.
//
//     correct_early RESPONSE FOLDER
//
// FOLDER gets the documents acme.lvs and desk.lvp.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <vector>

#include "lumvex/events.hpp"
#include "lumvex/lumvex.hpp"

namespace {

namespace fs = std::filesystem;
using lumvex::ToUtf8;

constexpr LONG kSampleRate = 48000;
constexpr double kFullScale = 32768;
constexpr std::size_t kTaps = 12;

// The samples of a text file, one a line, full scale being 1; a line that begins with # is a comment.
std::vector<float> ReadResponse(const fs::path& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path.string() + " cannot be read");
    std::vector<float> response;
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with('#')) response.push_back(static_cast<float>(std::stoi(line) / kFullScale));
    }
    return response;
}

std::size_t PeakOf(const std::vector<float>& response) {
    const auto lower = [](float left, float right) { return std::abs(left) < std::abs(right); };
    return std::max_element(response.begin(), response.end(), lower) - response.begin();
}

// The filter that, after the response from `start` on, leaves one impulse and then silence for its own length.
std::vector<float> InverseOf(const std::vector<float>& response, std::size_t start) {
    std::vector<float> filter(kTaps);
    for (std::size_t n = 0; n < kTaps; ++n) {
        double rest = n == 0 ? 1 : 0;
        for (std::size_t k = 1; k <= n; ++k) rest -= response[start + k] * filter[n - k];
        filter[n] = static_cast<float>(rest / response[start]);
    }
    return filter;
}

std::vector<float> ValuesOf(const lumvex::Array& array) {
    const auto values = array.Values<float>();
    return {values.begin(), values.end()};
}

// The items' Locks say how many links point at them; whoever makes a link counts it.
template <class Links, class Item>
void Link(const Links& links, Item target) {
    links.Add(target);
    target.Locks(target.Locks() + 1);
}

lumvex::ModelConfig MakeLibrary(lumvex::Specifications library, const fs::path& folder) {
    const auto config = library.Configs().FindName(u"Single amp").As<lumvex::Config>();
    const auto model = library.Manufacturers().Add(u"Acme").Models().Add(u"Alpha");
    const auto modelConfig = model.ModelConfigs().Add(config);
    library.SaveFileAs((folder / "acme.lvs").u16string());
    std::cout << "library: " << ToUtf8(modelConfig.ManufacturerName()) << "/" << ToUtf8(modelConfig.ModelName()) << ", "
              << ToUtf8(modelConfig.Name()) << ", outputs " << modelConfig.Config().OutputCount() << "\n";
    return modelConfig;
}

void PrintChange(const lumvex::Change& change) {
    if (change.kind == lumvex::Change::Kind::Root) {
        std::cout << "event: RootChanged\n";
    } else if (const auto item = change.object.As<lumvex::Collectable>()) {
        std::cout << "event: ItemChanged " << ToUtf8(item.Name()) << " " << change.type << "\n";
    } else {
        const auto collection = change.object.As<lumvex::Collection>();
        std::cout << "event: CollectionChanged " << ToUtf8(collection.Name()) << " " << change.type << "\n";
    }
}

void MakeProject(lumvex::Project project, const lumvex::ModelConfig& modelConfig, const std::vector<float>& response,
                 const fs::path& folder) {
    auto experiment = project.Experiments().Add(u"At the desk");
    experiment.MicDistance(1);
    experiment.ModelConfig(modelConfig);

    const auto speaker = project.SpeakerEQs().Add(u"Left", modelConfig.Model());
    const auto speakerConfig = speaker.SpkrEQConfigs().Add(modelConfig);
    auto measurement = speakerConfig.Measurements().Add(u"Sweep", experiment);
    measurement.SampleRate(kSampleRate);
    measurement.Data(response);

    const auto crossover = project.CrossoverConfigs().FindName(u"Single amp").As<lumvex::CrossoverConfig>();
    const auto designs = crossover.SpkrEQDesigns();
    auto design = designs.Add(u"Desk");
    design.OptMethod(LX_OM_MINERROR);
    std::vector<float> limits(LX_LIMITSIZE);
    limits[LX_LIMITFREQ] = 20;
    limits[LX_LIMITMAX] = 6;
    limits[LX_LIMITMIN] = -12;
    design.LimitData(limits);
    Link(design.SpkrMeasureLinks(), measurement);

    const std::size_t start = PeakOf(response);
    auto correction = speakerConfig.Corrections().Add(u"Inverse", measurement);
    correction.SampleRate(kSampleRate);
    correction.ActDelay(1000.0f * static_cast<float>(start) / kSampleRate);
    correction.OptMethod(design.OptMethod());
    correction.LimitData(design.LimitData());
    correction.Data(InverseOf(response, start));
    Link(design.SpkrCorrectionGroups().Add(u"First try").SpkrCorrectionLinks(), correction);

    try {
        designs.Add(u"DESK");
    } catch (const lumvex::Error& error) {
        std::cout << "refused: " << error.Words() << "\n";
    }
    project.SaveFileAs((folder / "desk.lvp").u16string());
}

void PrintValues(const std::string& title, const std::vector<float>& values, double unit) {
    std::cout << title;
    for (const float value : values) std::cout << " " << std::lround(value / unit);
    std::cout << "\n";
}

void ListSpeaker(const lumvex::SpeakerEQ& speaker) {
    for (const auto& config : speaker.SpkrEQConfigs()) {
        std::cout << "speaker: " << ToUtf8(speaker.DisplayName()) << ", " << ToUtf8(config.Config().Name()) << "\n";
        for (const auto& measurement : config.Measurements()) {
            const auto response = ValuesOf(measurement.Data());
            std::cout << "  measurement: " << ToUtf8(measurement.Name()) << ", "
                      << ToUtf8(measurement.Experiment().DisplayName()) << ", " << response.size() << " values at "
                      << measurement.SampleRate() << " Hz, links " << measurement.Locks() << "\n";
        }
        for (const auto& correction : config.Corrections()) {
            const auto response = ValuesOf(correction.Measurement().Data());
            const auto filter = ValuesOf(correction.Data());
            std::cout << "  correction: " << ToUtf8(correction.Name()) << " of "
                      << ToUtf8(correction.Measurement().Name()) << ", " << std::lround(1000 * correction.ActDelay())
                      << " us, links " << correction.Locks() << "\n";
            PrintValues("    filter in 1/8192:", filter, 1 / 8192.0);
            const std::size_t start = PeakOf(response);
            std::vector<float> corrected(filter.size());
            for (std::size_t n = 0; n < filter.size(); ++n)
                for (std::size_t k = 0; k <= n; ++k) corrected[n] += response[start + k] * filter[n - k];
            PrintValues("    corrected response:", corrected, 1);
        }
    }
}

void ListDesign(const lumvex::SpkrEQDesign& design) {
    std::cout << "template: " << ToUtf8(design.Name()) << " for " << ToUtf8(design.Parent().Parent().Config().Name())
              << ", method " << design.OptMethod() << "\n";
    PrintValues("  limits:", ValuesOf(design.LimitData()), 1);
    for (const auto& link : design.SpkrMeasureLinks())
        std::cout << "  draws on: " << ToUtf8(link.Measurement().Name()) << "\n";
    for (const auto& group : design.SpkrCorrectionGroups())
        for (const auto& link : group.SpkrCorrectionLinks())
            std::cout << "  " << ToUtf8(group.Name()) << ": " << ToUtf8(link.Correction().Name()) << "\n";
}

void List(const fs::path& folder) {
    auto project = lumvex::Project::Create();
    project.AccessMode(LX_SHARE_READ);
    project.OpenFile((folder / "desk.lvp").u16string());
    for (const auto& speaker : project.SpeakerEQs()) ListSpeaker(speaker);
    for (const auto& crossover : project.CrossoverConfigs())
        for (const auto& design : crossover.SpkrEQDesigns()) ListDesign(design);
    project.CloseFile();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "correct_early RESPONSE FOLDER\n";
        return 2;
    }
    try {
        const fs::path folder = argv[2];
        const auto response = ReadResponse(argv[1]);
        auto library = lumvex::Specifications::Create();
        const auto modelConfig = MakeLibrary(library, folder);
        auto project = lumvex::Project::Create();
        const lumvex::Subscription events(project, PrintChange);
        project.Specifications(library);
        MakeProject(project, modelConfig, response, folder);
        project.CloseFile();
        List(folder);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
