#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/file_error.hpp"
#include "files/text_encoding.hpp"
#include "measurements/channels.hpp"
#include "measurements/design_options.hpp"
#include "measurements/model_lookup.hpp"
#include "objects/changing.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct CrossoverArguments {
    fs::path document;
    std::string config, name, experiment;
    std::vector<std::string> speakers, measurements, corrections;
    float scale = 1.0f;
    DesignOptions design;
    bool replace = false;
};

// One run of the command. Makes or changes the design in memory, and saves the document when all of it was accepted.
class CrossoverRun {
public:
    explicit CrossoverRun(const CrossoverArguments& arguments) : arguments_(arguments), document_(arguments.document) {}

    ExitStatus Run() {
        return ChangeAndSave(document_, [&] { return Put(); });
    }

private:
    std::string Put() {
        const fs::path& path = arguments_.document;
        project_ = ProjectIn(document_);
        const Config config = ExistingConfig(path, project_.Configs(), arguments_.config);
        const SpkrEQDesigns designs = DesignsFor(config.ConfigID());
        SpkrEQDesign design = designs.FindName(FromUtf8(arguments_.name)).As<SpkrEQDesign>();
        if (design && !arguments_.replace)
            throw FileError(path, "there is a design " + Quoted(arguments_.name) + " for " +
                                      Quoted(ToUtf8(config.Name())) + " already; --replace changes it");
        std::vector<SpkrEQConfig> speakers;
        for (const std::string& name : arguments_.speakers) {
            speakers.push_back(ExistingSpeakerConfig(path, ExistingSpeaker(path, project_, name), config.ConfigID()));
            const auto same = [&](const SpkrEQConfig& each) { return each.ID() == speakers.back().ID(); };
            CheckOnce(std::ranges::count_if(speakers, same) == 1, name);
        }

        if (!design) design = designs.Add(FromUtf8(arguments_.name));
        PutTables(arguments_.design, design);
        Settings(TypeOf<SpkrEQDesign>()).Assign(Node(design), arguments_.design.settings);
        if (!arguments_.measurements.empty() || !arguments_.experiment.empty()) LinkMeasurements(design, speakers);
        if (!arguments_.corrections.empty()) GroupCorrections(design, speakers);
        return Shown(design.Name()) + ": a design for " + Quoted(ToUtf8(config.Name())) + " with " +
               CountOf(static_cast<std::size_t>(design.SpkrMeasureLinks().Count()), "measurement") + " and " +
               CountOf(static_cast<std::size_t>(design.SpkrCorrectionGroups().Count()), "correction group");
    }

    SpkrEQDesigns DesignsFor(LXConfig id) const {
        for (const CrossoverConfig& each : project_.CrossoverConfigs()) {
            if (each.ConfigID() == id) return each.SpkrEQDesigns();
        }
        throw FileError(arguments_.document, "it has no place for crossover designs of this configuration");
    }

    void LinkMeasurements(const SpkrEQDesign& design, const std::vector<SpkrEQConfig>& speakers) const {
        SpkrMeasureLinks links = design.SpkrMeasureLinks();
        links.RemoveAll();
        std::vector<std::u16string> linked;  // IDs
        const auto link = [&](const Measurement& measurement) {
            CheckOnce(std::ranges::find(linked, measurement.ID()) == linked.end(), ToUtf8(measurement.Name()));
            linked.push_back(measurement.ID());
            SpkrMeasureLink added = links.Add(measurement);
            added.Scale(arguments_.scale);
        };
        for (const SpkrEQConfig& speaker : speakers) {
            if (!arguments_.experiment.empty()) {
                for (const Measurement& each :
                     MeasurementsWith(arguments_.document, project_, speaker, arguments_.experiment))
                    link(each);
            }
            for (const std::string& name : arguments_.measurements)
                link(Existing(arguments_.document, speaker.Measurements(), name, Has(speaker, "measurement")));
        }
    }

    // Each name makes a group, with the correction of that name of each speaker.
    void GroupCorrections(const SpkrEQDesign& design, const std::vector<SpkrEQConfig>& speakers) const {
        SpkrCorrectionGroups groups = design.SpkrCorrectionGroups();
        groups.RemoveAll();
        for (const std::string& name : arguments_.corrections) {
            CheckOnce(!groups.NameExists(FromUtf8(name)), name);
            const SpkrCorrectionLinks links = groups.Add(FromUtf8(name)).SpkrCorrectionLinks();
            for (const SpkrEQConfig& speaker : speakers)
                links.Add(Existing(arguments_.document, speaker.Corrections(), name, Has(speaker, "correction")));
        }
    }

    void CheckOnce(bool once, const std::string& name) const {
        if (!once) throw FileError(arguments_.document, Quoted(name) + " is named twice");
    }

    static std::string Has(const SpkrEQConfig& speaker, const std::string& what) {
        return Shown(speaker.Parent().Parent().DisplayName()) + " has in " + Quoted(ToUtf8(speaker.Name())) + " no " +
               what;
    }

    const CrossoverArguments& arguments_;
    EditedDocument document_;
    Project project_;
};

}  // namespace

Command commands::Crossover() {
    const auto arguments = std::make_shared<CrossoverArguments>();
    DesignOptions& design = arguments->design;
    return {
        .name = "crossover",
        .summary = "Put a crossover design into a project",
        .use = DocumentUse::Changes,
        .options =
            {DocumentOption(arguments->document, "the project; saved once, when all went in"),
             {"--config",
              &arguments->config,
              kName,
              "the configuration that is designed for, \"Bi amp\"",
              {.required = true}},
             {"--name", &arguments->name, kName, "the name of the design", {.required = true}},
             {"--speaker",
              &arguments->speakers,
              kName,
              "a speaker that it draws on, \"Left\" or \"Acme/Alpha/Left\"; repeatable",
              {.needsOneOf = {"--experiment", "--measurement", "--correction"}}},
             {"--experiment",
              &arguments->experiment,
              kName,
              "all the speakers' measurements of this set-up",
              {.needs = {"--speaker"}, .excludes = {"--measurement"}}},
             {"--measurement",
              &arguments->measurements,
              kName,
              "the measurement of this name of each speaker; repeatable",
              {.needs = {"--speaker"}}},
             {"--correction",
              &arguments->corrections,
              kName,
              "the correction of this name of each speaker; repeatable",
              {.needs = {"--speaker"}}},
             {"--scale",
              &arguments->scale,
              {"X"},
              "factor of the measurements; 1 without it",
              {.needsOneOf = {"--experiment", "--measurement"}}},
             LimitsOption(design),
             CrossoverOption(design),
             SetOption(design.settings, Settings(TypeOf<SpkrEQDesign>())),
             {"--replace", &arguments->replace, {}, "change a design that is there: what is not given stays as it is"}},
        .details =
            "The design links to measurements and, in one group for each name, to corrections of its speakers in its\n"
            "configuration. With --replace, measurements that are given take the place of all that are linked, and so "
            "do\n"
            "corrections.\n\n" +
            DesignHelp() + "Settings of a design:\n" + Settings(TypeOf<SpkrEQDesign>()).Help() +
            "\nThe document is saved when all of it went in, and is else as it was.",
        .incomplete = "a name was not found or is taken, or a table was refused; nothing was changed",
        .run = [arguments] { return CrossoverRun(*arguments).Run(); }};
}

}  // namespace lumvex::app
