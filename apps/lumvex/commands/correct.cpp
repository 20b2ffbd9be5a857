#include <iostream>
#include <memory>
#include <span>
#include <vector>

#include "command_line/progress_line.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/text_encoding.hpp"
#include "measurements/channels.hpp"
#include "measurements/design_options.hpp"
#include "measurements/model_lookup.hpp"
#include "measurements/named_data.hpp"
#include "measurements/settings.hpp"
#include "objects/changing.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct CorrectArguments {
    fs::path document;
    std::string speaker, config, name, measurement, experiment;
    std::vector<fs::path> filters, smoothed, verified;
    DesignOptions design;
    bool replace = false;
};

// Its sample rate comes with the filter.
const Settings& SettingsOfCorrection() {
    static const Settings settings(TypeOf<Correction>(), {"SampleRate"});
    return settings;
}

// One run of the command. Makes or changes the correction in memory, and saves the document when all of it was
// accepted.
class CorrectRun {
public:
    explicit CorrectRun(const CorrectArguments& arguments) : arguments_(arguments), document_(arguments.document) {}

    ExitStatus Run() {
        return ChangeAndSave(document_, [&] {
            std::string report = Put();
            progress_.Clear();
            return report;
        });
    }

private:
    std::string Put() {
        const Project project = ProjectIn(document_);
        const Config config = ExistingConfig(arguments_.document, project.Configs(), arguments_.config);
        const SpeakerEQ speaker = ExistingSpeaker(arguments_.document, project, arguments_.speaker);
        config_ = ExistingSpeakerConfig(arguments_.document, speaker, config.ConfigID());
        const Corrections corrections = config_.Corrections();
        Correction correction = corrections.FindName(FromUtf8(arguments_.name)).As<Correction>();
        const bool isNew = !correction;
        if (!isNew && !arguments_.replace)
            throw FileError(arguments_.document, "the speaker's configuration has a correction " +
                                                     Quoted(arguments_.name) + " already; --replace changes it");
        const Measurement measurement = Source(project);
        if (isNew && !measurement)
            throw FileError(arguments_.document, "the correction " + Quoted(arguments_.name) +
                                                     " is new and needs its --measurement or --experiment");
        std::optional<MeasurementFile> filter = Read(arguments_.filters);
        const std::optional<MeasurementFile> smoothed = Read(arguments_.smoothed), verified = Read(arguments_.verified);
        if (isNew) {
            correction = corrections.Add(FromUtf8(arguments_.name), measurement);
            correction.SampleRate(measurement.SampleRate());
        } else if (measurement) {
            correction.Measurement(measurement);
        }
        if (filter) {
            CheckOtherArrays(correction, *filter);
            Store(*filter, correction);
        }
        if (smoothed) correction.Data2(ArrayAt(correction.SampleRate(), *smoothed, arguments_.smoothed[0]));
        if (verified) correction.VerifyMeas(ArrayAt(correction.SampleRate(), *verified, arguments_.verified[0]));
        PutTables(arguments_.design, correction);
        SettingsOfCorrection().Assign(Node(correction), arguments_.design.settings);

        const Array data(correction.Data());
        const Measurement source = correction.Measurement();
        return Shown(correction.Name()) + ": " +
               (data.Empty() ? std::string("no filter yet") : ShapeText(data.Rows(), data.Columns())) + ", " +
               std::to_string(correction.SampleRate()) + " Hz" + (source ? ", from " + Shown(source.Name()) : "") +
               "; a correction of " + Shown(speaker.DisplayName()) + " in " + Quoted(ToUtf8(config_.Name()));
    }

    // The measurement that the correction is designed from; empty where the arguments name none.
    Measurement Source(const Project& project) const {
        const Measurements measurements = config_.Measurements();
        if (!arguments_.measurement.empty())
            return Existing(arguments_.document, measurements, arguments_.measurement,
                            "the speaker's configuration has no measurement");
        if (arguments_.experiment.empty()) return {};
        const auto found = MeasurementsWith(arguments_.document, project, config_, arguments_.experiment);
        if (found.size() == 1) return found[0];
        std::string names;
        for (const Measurement& each : found) names += (names.empty() ? "" : ", ") + Shown(each.Name());
        throw FileError(arguments_.document, "several measurements were taken with " + Quoted(arguments_.experiment) +
                                                 "; --measurement says which: " + names);
    }

    std::optional<MeasurementFile> Read(const std::vector<fs::path>& paths) {
        if (paths.empty()) return std::nullopt;
        const std::size_t total = arguments_.filters.size() + arguments_.smoothed.size() + arguments_.verified.size();
        std::vector<InputFile> files;
        for (const fs::path& path : paths) {
            progress_.Show(++started_, total);
            files.push_back({path, ReadMeasurementFile(path)});
            CheckIsImpulse(files.back());
        }
        return WithOutputs(files, static_cast<std::size_t>(config_.Config().OutputCount()),
                           "a correction of " + Quoted(ToUtf8(config_.Name())));
    }

    // A new filter sets the correction's sample rate, so arrays that stay must have that rate already.
    void CheckOtherArrays(const Correction& correction, const MeasurementFile& filter) const {
        const bool smoothedStays = arguments_.smoothed.empty() && !Array(correction.Data2()).Empty();
        const bool verifiedStays = arguments_.verified.empty() && !Array(correction.VerifyMeas()).Empty();
        if (filter.sampleRate == correction.SampleRate() || !(smoothedStays || verifiedStays)) return;
        throw FileError(arguments_.filters[0], "its sample rate is " + std::to_string(filter.sampleRate) +
                                                   " Hz, and the correction's other arrays are at " +
                                                   std::to_string(correction.SampleRate()));
    }

    // The file's values, which must be at the sample rate (Hz) that the correction has for all its arrays.
    static Array ArrayAt(LONG rate, const MeasurementFile& file, const fs::path& path) {
        if (file.sampleRate != rate)
            throw FileError(path, "its sample rate is " + std::to_string(file.sampleRate) +
                                      " Hz, and that of the correction " + std::to_string(rate));
        return ArrayOf(file);
    }

    const CorrectArguments& arguments_;
    EditedDocument document_;
    SpkrEQConfig config_;
    ProgressLine progress_{"reading file"};
    std::size_t started_ = 0;
};

}  // namespace

Command commands::Correct() {
    const auto arguments = std::make_shared<CorrectArguments>();
    DesignOptions& design = arguments->design;
    return {
        .name = "correct",
        .summary = "Put a correction of a speaker into a project",
        .use = DocumentUse::Changes,
        .options = {DocumentOption(arguments->document, "the project that has the speaker's measurements"),
                    {"--speaker",
                     &arguments->speaker,
                     kName,
                     "the speaker, \"Left\" or \"Acme/Alpha/Left\"",
                     {.required = true}},
                    {"--config", &arguments->config, kName, "its configuration, \"Bi amp\"", {.required = true}},
                    {"--name", &arguments->name, kName, "the name of the correction", {.required = true}},
                    {"--measurement", &arguments->measurement, kName, "the measurement it was designed from"},
                    {"--experiment",
                     &arguments->experiment,
                     kName,
                     "the set-up of that measurement, instead of its name",
                     {.excludes = {"--measurement"}}},
                    {"--smoothed", &arguments->smoothed, kFile, "the smoothed measurement; repeated for mono files"},
                    {"--verified", &arguments->verified, kFile,
                     "the measurement that verified the correction; repeated for mono files"},
                    LimitsOption(design),
                    CrossoverOption(design),
                    SetOption(design.settings, SettingsOfCorrection()),
                    {"--replace",
                     &arguments->replace,
                     {},
                     "change a correction that is there: what is not given stays as it is"},
                    {"FILE", &arguments->filters, kShown, "the correction filter"}},
        .details =
            "The filter, the smoothed and the verifying measurement are impulse responses with one channel per output "
            "of\n"
            "the configuration: one sound file, or as many mono files in the outputs' order. The correction takes its\n"
            "sample rate in Hz from the filter, else from the measurement, and the others must be at that rate. A "
            "filter\n"
            "may follow later, with --replace.\n\n" +
            DesignHelp() + "Settings of a correction:\n" + SettingsOfCorrection().Help() +
            "\nThe document is saved when all of it went in, and is else as it was.",
        .incomplete = "a name was not found or is taken, or a file was refused; nothing was changed",
        .run = [arguments] { return CorrectRun(*arguments).Run(); }};
}

}  // namespace lumvex::app
