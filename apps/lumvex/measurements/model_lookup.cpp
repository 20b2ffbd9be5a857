#include "measurements/model_lookup.hpp"

#include "files/text_encoding.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

// Finds "Acme/Alpha". The names of manufacturer and model may contain slashes themselves: each slash is tried as the
// one between them.
Model FindModel(const Manufacturers& manufacturers, std::string_view name) {
    for (std::size_t slash = name.find('/'); slash != name.npos; slash = name.find('/', slash + 1)) {
        const auto manufacturer = manufacturers.FindName(FromUtf8(name.substr(0, slash))).As<Manufacturer>();
        if (!manufacturer) continue;
        if (auto model = manufacturer.Models().FindName(FromUtf8(name.substr(slash + 1))).As<Model>()) return model;
    }
    return {};
}

Model ModelOf(const fs::path& document, const Project& project, const std::string& name) {
    const Specifications library = project.Specifications();
    if (!library)
        throw FileError(document, "the project has no library, or it cannot be opened, and so the model " +
                                      Quoted(name) + " is not known; --library LIB.lvs gives it one");
    Model model = FindModel(library.Manufacturers(), name);
    if (!model) throw FileError(document, "its library has no model " + Quoted(name) + " (MANUFACTURER/MODEL)");
    return model;
}

SpkrEQConfig ConfigOf(const SpkrEQConfigs& configs, LXConfig id) {
    for (const SpkrEQConfig& config : configs) {
        if (config.ConfigID() == id) return config;
    }
    return {};
}

}  // namespace

Config FindConfig(const Configs& configs, std::string_view name) {
    const std::u16string wanted = FromUtf8(name);
    for (const Config& config : configs) {
        if (CompareNoCase(config.Name(), wanted) == 0) return config;
    }
    const std::optional<long> id = ReadWord(*FindEnumerationDescription("LXConfig"), name);
    return id ? configs.Item(static_cast<LXConfig>(*id)) : Config();
}

std::string ConfigNames(const Configs& configs) {
    std::string names;
    for (const Config& config : configs) names += (names.empty() ? "" : ", ") + ToUtf8(config.Name());
    return names;
}

void LinkLibrary(const fs::path& document, const Project& project, const fs::path& library) {
    if (library.empty()) return;
    const Node root(project);
    const Property property{root.Type().Find("Specifications"), {}};
    OnObjects(document, "cannot be changed",
              [&] { SetText(root, property, Utf8(library), Addresses(document, root)); });
}

Project ProjectIn(const EditedDocument& document) {
    if (const Project* project = document.AsProject()) return *project;
    throw FileError(document.Path(), "it is a library; speakers and what is designed for them are kept in projects");
}

Config ExistingConfig(const fs::path& document, const Configs& configs, const std::string& name) {
    Config config = FindConfig(configs, name);
    if (!config)
        throw FileError(document, "there is no configuration " + Quoted(name) + ", only " + ConfigNames(configs));
    return config;
}

SpeakerEQ ExistingSpeaker(const fs::path& document, const Project& project, const std::string& name) {
    const std::u16string wanted = FromUtf8(name);
    const SpeakerEQs speakers = project.SpeakerEQs();
    std::vector<SpeakerEQ> found;
    std::string foundNames;
    for (const SpeakerEQ& speaker : speakers) {
        const bool isWhole = CompareNoCase(speaker.DisplayName(), wanted) == 0;
        if (!isWhole && CompareNoCase(speaker.Name(), wanted) != 0) continue;
        if (isWhole) return speaker;
        found.push_back(speaker);
        foundNames += (foundNames.empty() ? "" : ", ") + Shown(speaker.DisplayName());
    }
    if (found.empty())
        throw FileError(document, "the project has no speaker " + Quoted(name) + "; there is " + NamesIn(speakers));
    if (found.size() > 1)
        throw FileError(document, "several speakers are named " + Quoted(name) + "; say which: " + foundNames);
    return found[0];
}

SpkrEQConfig ExistingSpeakerConfig(const fs::path& document, const SpeakerEQ& speaker, LXConfig id) {
    const SpkrEQConfigs configs = speaker.SpkrEQConfigs();
    if (SpkrEQConfig found = ConfigOf(configs, id)) return found;
    throw FileError(document, "the speaker " + Shown(speaker.DisplayName()) + " has no configuration " +
                                  Quoted(ToUtf8(speaker.Root().Configs().Item(id).Name())) + "; there is " +
                                  NamesIn(configs));
}

std::vector<Measurement> MeasurementsWith(const fs::path& document, const Project& project, const SpkrEQConfig& config,
                                          const std::string& experiment) {
    const Experiment wanted = Existing(document, project.Experiments(), experiment, "the project has no experiment");
    std::vector<Measurement> found;
    for (const Measurement& measurement : config.Measurements()) {
        const Experiment takenWith = measurement.Experiment();
        if (takenWith && takenWith.ID() == wanted.ID()) found.push_back(measurement);
    }
    if (found.empty())
        throw FileError(document, "no measurement of " + Shown(config.Parent().Parent().DisplayName()) + " in " +
                                      Quoted(ToUtf8(config.Name())) + " was taken with " + Quoted(experiment));
    return found;
}

SpkrEQConfig FindOrAddSpeakerConfig(const fs::path& document, const Project& project, const Placement& placement) {
    LinkLibrary(document, project, placement.library);
    const Config config = ExistingConfig(document, project.Configs(), placement.config);
    const SpeakerEQs speakers = project.SpeakerEQs();
    const std::u16string name = FromUtf8(placement.speaker);
    Model model;
    if (!placement.model.empty()) model = ModelOf(document, project, placement.model);
    SpeakerEQ speaker = speakers.FindName(name, model).As<SpeakerEQ>();
    if (!speaker) speaker = speakers.Add(name, model);
    const SpkrEQConfigs configs = speaker.SpkrEQConfigs();
    if (SpkrEQConfig found = ConfigOf(configs, config.ConfigID())) return found;

    if (!model) model = speaker.Model();
    if (!model)
        throw FileError(document, "the speaker " + Quoted(placement.speaker) + " has no configuration " +
                                      Quoted(placement.config) +
                                      " yet; to make it, its model has to be known: --model and a library");
    for (const ModelConfig& each : model.ModelConfigs()) {
        if (each.ConfigID() == config.ConfigID()) return configs.Add(each);
    }
    throw FileError(document, "the library has no configuration " + Quoted(placement.config) + " of the model " +
                                  Shown(model.Name()) + "; `lumvex catalogue` adds it");
}

}  // namespace lumvex::app
