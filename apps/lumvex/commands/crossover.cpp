#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include "arguments.hpp"
#include "channels.hpp"
#include "commands.hpp"
#include "design_options.hpp"
#include "document.hpp"
#include "files/file_error.hpp"
#include "files/text_encoding.hpp"
#include "model_lookup.hpp"

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

// One run of the command: the template is made or changed in memory, and the document saved when all of it went in.
class Crossover {
public:
    explicit Crossover(const CrossoverArguments& arguments) : arguments_(arguments), document_(arguments.document) {}

    ExitStatus Run() {
        OnDocument(arguments_.document, "cannot be changed", [&] { Put(); });
        document_.Save("cannot be saved, nothing was changed");
        std::cout << report_ << '\n';
        return kDone;
    }

private:
    void Put() {
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
        Assign(design, arguments_.design.settings);
        if (!arguments_.measurements.empty() || !arguments_.experiment.empty()) LinkMeasurements(design, speakers);
        if (!arguments_.corrections.empty()) GroupCorrections(design, speakers);
        report_ = Shown(design.Name()) + ": a design for " + Quoted(ToUtf8(config.Name())) + " with " +
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

    // The corrections of one name belong together: one for each speaker.
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
    std::string report_;
};

}  // namespace

void AddCrossover(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<CrossoverArguments>();
    CLI::App* command = app.add_subcommand("crossover", "Put a crossover design into a project");
    AddDocument(*command, arguments->document, "the project; created when there is no such file");
    AddName(*command, "--config", arguments->config, "the configuration that is designed for, \"Bi amp\"")->required();
    AddName(*command, "--name", arguments->name, "the name of the design")->required();
    CLI::Option* speaker = AddNames(*command, "--speaker", arguments->speakers,
                                    "a speaker that it draws on, \"Left\" or \"Acme/Alpha/Left\"");
    CLI::Option* experiment =
        AddName(*command, "--experiment", arguments->experiment, "all the speakers' measurements of this set-up");
    CLI::Option* measurement =
        AddNames(*command, "--measurement", arguments->measurements, "the measurement of this name of each speaker");
    CLI::Option* correction =
        AddNames(*command, "--correction", arguments->corrections, "the correction of this name of each speaker");
    CLI::Option* scale =
        command->add_option("--scale", arguments->scale, "factor of the measurements; 1 without it")->type_name("X");
    AddDesignOptions<SpkrEQDesign>(*command, arguments->design);
    command->add_flag("--replace", arguments->replace,
                      "change a design that is there: what is not given stays as it is");
    for (CLI::Option* each : {experiment, measurement, correction}) each->needs(speaker);
    experiment->excludes(measurement);
    command->footer(
        "The design links to measurements and, in one group for each name, to corrections of its speakers in its\n"
        "configuration. With --replace, measurements that are given take the place of all that are linked, and so do\n"
        "corrections.\n\n" +
        DesignHelp() + "Settings of a design:\n" + SettingsHelp<SpkrEQDesign>() +
        "\nThe document is saved when all of it went in, and is else as it was.\n\n" +
        ExitStatusHelp("a name was not found or is taken, or a table was refused; nothing was changed"));
    command->callback([arguments, &chosen, speaker, experiment, measurement, correction, scale] {
        const bool linksMeasurements = experiment->count() != 0 || measurement->count() != 0;
        if (speaker->count() != 0 && !linksMeasurements && correction->count() == 0)
            throw CLI::RequiredError("--speaker needs --experiment, --measurement or --correction");
        if (scale->count() != 0 && !linksMeasurements)
            throw CLI::RequiredError("--scale needs --experiment or --measurement");
        chosen = [arguments] { return Crossover(*arguments).Run(); };
    });
}

}  // namespace lumvex::app
