#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/file_error.hpp"
#include "files/text_encoding.hpp"
#include "files/text_numbers.hpp"
#include "files/text_table.hpp"
#include "measurements/channels.hpp"
#include "measurements/design_options.hpp"
#include "measurements/model_lookup.hpp"
#include "measurements/settings.hpp"
#include "objects/changing.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct ProcessorArguments {
    fs::path document, table;
    std::string name;
    std::optional<std::string> text;
    bool replace = false;
    std::vector<std::string> settings;
};

// The columns that name something. All other columns are settings of the output position.
enum Column { kProfile, kAmplification, kPosition, kSpeaker, kCorrection, kNamedColumns };
constexpr std::string_view kColumnNames[kNamedColumns] = {"profile", "amplification", "position", "speaker",
                                                          "correction"};

// A position has the configuration of its profile's amplification.
const Settings& SettingsOfPosition() {
    static const Settings settings(TypeOf<BoxCfgSpkr>(), {"ConfigID"});
    return settings;
}

const MemberDescription& Amplification() { return *TypeOf<BoxCfgBank>().Find("Config"); }

bool SameName(std::string_view one, std::string_view two) { return CompareNoCase(FromUtf8(one), FromUtf8(two)) == 0; }

// The table of the output positions: a header that names the columns, and a row for each position.
class PositionTable {
public:
    explicit PositionTable(const fs::path& path) : path_(path), rows_(ReadTable(path)) {
        TableRow& header = rows_[0];
        DropEmptyEnd(header, 0);
        Check(header, header.problem.empty(), header.problem);
        settings_.resize(header.fields.size());
        for (std::size_t index = 0; index < header.fields.size(); ++index) Take(header, index);
        for (const Column column : {kProfile, kPosition})
            Check(header, places_[column] != kAbsent,
                  "the header names no column " + Quoted(std::string(kColumnNames[column])));
        rows_.erase(rows_.begin());
        if (rows_.empty()) throw FileError(path, "there are no rows below the header");
        for (TableRow& row : rows_) {
            DropEmptyEnd(row, settings_.size());
            Check(row, row.problem.empty(), row.problem);
            Check(row, row.fields.size() == settings_.size(),
                  "expected " + CountOf(settings_.size(), "field") + ", found " + std::to_string(row.fields.size()));
        }
    }

    const std::vector<TableRow>& Rows() const { return rows_; }

    // Empty where the table has no such column.
    std::string Field(const TableRow& row, Column column) const {
        return places_[column] == kAbsent ? "" : row.fields[places_[column]];
    }

    // An empty field leaves the setting as it is.
    void PutSettings(const TableRow& row, BoxCfgSpkr& output) const {
        for (std::size_t index = 0; index < settings_.size(); ++index) {
            for (const Property& property : settings_[index])
                if (!row.fields[index].empty()) Put(row, Node(output), property, row.fields[index]);
        }
    }

    // Puts a field into a property. Tables whose fields are between semicolons may have decimal commas.
    void Put(const TableRow& row, const Node& item, const Property& property, std::string field,
             const std::string& column = {}) const {
        float number = 0;
        if (!IsGrouped(field, ',') && ReadNumber(field, number)) std::ranges::replace(field, ',', '.');
        try {
            SetPlain(item, property, field);
        } catch (const PropertyError& error) {
            Check(row, false, column + error.what());
        }
    }

    // Throws FileError with the row's line unless the condition holds.
    void Check(const TableRow& row, bool condition, const std::string& problem) const {
        if (!condition) throw FileError(fs::path(path_) += ':' + std::to_string(row.line), problem);
    }

private:
    static constexpr std::size_t kAbsent = static_cast<std::size_t>(-1);

    void Take(const TableRow& header, std::size_t index) {
        const std::string& name = header.fields[index];
        const auto named =
            std::ranges::find_if(kColumnNames, [&](std::string_view each) { return SameName(each, name); });
        bool isNew = true;
        if (named != std::end(kColumnNames)) {
            std::size_t& place = places_[named - std::begin(kColumnNames)];
            isNew = place == kAbsent;
            place = index;
        } else {
            try {
                settings_[index] = SettingsOfPosition().Find(name);
            } catch (const PropertyError&) {
                Check(header, false, "there is no column " + Quoted(name) + "; `lumvex help processor` lists all");
            }
            for (const Property& each : settings_[index]) isNew = seen_.insert(each.Name()).second && isNew;
        }
        Check(header, isNew, "the header names the column " + Quoted(name) + " twice");
    }

    fs::path path_;
    std::vector<TableRow> rows_;
    std::size_t places_[kNamedColumns] = {kAbsent, kAbsent, kAbsent, kAbsent, kAbsent};
    std::vector<std::vector<Property>> settings_;  // by column; none for one that names something
    std::set<std::string> seen_;
};

// One run of the command. Makes or changes the configuration in memory, and saves the document when all of it was
// accepted.
class ProcessorRun {
public:
    explicit ProcessorRun(const ProcessorArguments& arguments)
        : arguments_(arguments),
          table_(arguments.table.empty() ? std::nullopt : std::optional<PositionTable>(arguments.table)),
          document_(arguments.document) {}

    ExitStatus Run() {
        return ChangeAndSave(document_, [&] { return Put(); });
    }

private:
    std::string Put() {
        project_ = ProjectIn(document_);
        const BoxCfgs boxes = project_.BoxCfgs();
        box_ = boxes.FindName(FromUtf8(arguments_.name)).As<BoxCfg>();
        if (box_ && !arguments_.replace)
            throw FileError(arguments_.document, "there is a processor configuration " + Quoted(arguments_.name) +
                                                     " already; --replace changes it");
        if (!box_) box_ = boxes.Add(FromUtf8(arguments_.name));
        if (arguments_.text) box_.XdA_CustomText(FromUtf8(*arguments_.text));
        Settings(TypeOf<BoxCfg>()).Assign(Node(box_), arguments_.settings);
        const std::size_t positions = table_ ? table_->Rows().size() : 0;
        if (table_) {
            PutAmplifications();
            for (const TableRow& row : table_->Rows()) PutPosition(row);
            for (const TableRow& row : table_->Rows()) CheckPlayable(row);
        }
        return Shown(box_.Name()) + ": a processor configuration with " +
               CountOf(static_cast<std::size_t>(box_.Banks().Count()), "profile") + "; " +
               CountOf(positions, "output position") + " filled";
    }

    BoxCfgBank ProfileOf(const TableRow& row) const {
        const std::string name = table_->Field(row, kProfile);
        auto profile = box_.Banks().FindName(FromUtf8(name)).As<BoxCfgBank>();
        table_->Check(row, bool(profile),
                      "there is no profile " + Quoted(name) + "; there is " + NamesIn(box_.Banks()));
        return profile;
    }

    // Runs before the positions are filled, because the amplification decides which configuration of a speaker they
    // play.
    void PutAmplifications() const {
        std::vector<std::pair<std::u16string, std::string>> seen;  // profile and amplification
        for (const TableRow& row : table_->Rows()) {
            const std::string field = table_->Field(row, kAmplification);
            BoxCfgBank profile = ProfileOf(row);
            if (field.empty()) continue;
            const auto before = std::ranges::find(seen, profile.ID(), [](const auto& each) { return each.first; });
            table_->Check(row, before == seen.end() || SameName(before->second, field),
                          "the profile has another amplification in a line above");
            seen.emplace_back(profile.ID(), field);
            table_->Put(row, Node(profile), {&Amplification(), {}}, field, "amplification: ");
        }
    }

    void PutPosition(const TableRow& row) {
        const BoxCfgSpkrs positions = ProfileOf(row).Spkrs();
        const std::string name = table_->Field(row, kPosition);
        BoxCfgSpkr output = positions.FindName(FromUtf8(name)).As<BoxCfgSpkr>();
        table_->Check(row, bool(output), "there is no position " + Quoted(name) + "; there is " + NamesIn(positions));
        table_->Check(row, std::ranges::find(filled_, output.ID()) == filled_.end(),
                      "a line above has the same position already");
        filled_.push_back(output.ID());
        table_->Check(
            row, table_->Field(row, kCorrection).empty() || !table_->Field(row, kSpeaker).empty() || output.Speaker(),
            "a correction needs its speaker");
        try {
            PutPlayed(row, output);
        } catch (const FileError& error) {
            table_->Check(row, false, error.what());
        }
        table_->PutSettings(row, output);
    }

    // Sets the speaker and the correction that the position plays.
    void PutPlayed(const TableRow& row, BoxCfgSpkr& output) const {
        const std::string speakerName = table_->Field(row, kSpeaker), correctionName = table_->Field(row, kCorrection);
        SpeakerEQ speaker = output.Speaker();
        if (!speakerName.empty()) {
            speaker = ExistingSpeaker(arguments_.document, project_, speakerName);
            ExistingSpeakerConfig(arguments_.document, speaker, output.ConfigID());
            const SpeakerEQ before = output.Speaker();
            if (!before || before.ID() != speaker.ID()) {
                output.Correction({});  // it belongs to the speaker before
                output.CorrectionName(u"");
            }
            output.Speaker(speaker);
            output.SpeakerName(speaker.Name());
        }
        if (correctionName.empty()) return;
        const SpkrEQConfig config = ExistingSpeakerConfig(arguments_.document, speaker, output.ConfigID());
        const Correction correction =
            Existing(arguments_.document, config.Corrections(), correctionName,
                     Shown(speaker.DisplayName()) + " has in " + Quoted(ToUtf8(config.Name())) + " no correction");
        output.Correction(correction);
        output.CorrectionName(correction.Name());
        output.Mode(LX_FM_CORRECTION);
    }

    // Refuses a change of the amplification that leaves a position of the profile with a correction for the old one.
    void CheckPlayable(const TableRow& row) const {
        for (const BoxCfgSpkr& output : ProfileOf(row).Spkrs()) {
            const Correction correction = output.Correction();
            table_->Check(row, !correction || correction.Parent().Parent().ConfigID() == output.ConfigID(),
                          "the position " + Shown(output.Name()) + " plays the correction " +
                              Quoted(ToUtf8(output.CorrectionName())) +
                              ", which is for another amplification; the table has to give it another");
        }
    }

    const ProcessorArguments& arguments_;
    std::optional<PositionTable> table_;
    EditedDocument document_;
    Project project_;
    BoxCfg box_;
    std::vector<std::u16string> filled_;  // IDs of positions
};

}  // namespace

Command commands::Processor() {
    const auto arguments = std::make_shared<ProcessorArguments>();
    return {
        .name = "processor",
        .summary = "Put a processor configuration into a project",
        .use = DocumentUse::Changes,
        .options = {DocumentOption(arguments->document, "the project; saved once, when all went in"),
                    {"TABLE", &arguments->table, kShown, "the output positions of its profiles"},
                    {"--name", &arguments->name, kName, "the name of the configuration", {.required = true}},
                    {"--text", &arguments->text, {"TEXT"}, "the text that the processor keeps"},
                    SetOption(arguments->settings, Settings(TypeOf<BoxCfg>())),
                    {"--replace",
                     &arguments->replace,
                     {},
                     "change a configuration that is there: what is not given stays as it is"}},
        .details =
            "A new configuration has the profiles \"Bypass\" and \"Profile 1\" to \"Profile 3\", each with the output "
            "positions\n"
            "\"Left\", \"Left subwoofer\", \"Right subwoofer\" and \"Right\". TABLE fills them: text, with fields "
            "between commas or\n"
            "semicolons. Its first line names the columns, in any order; each other line is one position:\n"
            "  profile, position (both needed), speaker (\"Left\" or \"Acme/Alpha/Left\"), correction,\n"
            "  amplification (" +
            WordsText(*Amplification().enumeration) +
            "), the same for all of a profile,\n"
            "and any of these settings of a position:\n" +
            SettingsOfPosition().Help() +
            "An empty field leaves things as they are. The amplification decides which configuration of its speaker a\n"
            "position plays: the correction has to be one of that. It sets Mode to correction where the table has no "
            "other.\n\n"
            "Settings of the configuration, by bank and channel:\n" +
            Settings(TypeOf<BoxCfg>()).Help() +
            "\nThe document is saved when all of it went in, and is else as it was.",
        .incomplete = "a name was not found or is taken, or TABLE was refused; nothing was changed",
        .run = [arguments] { return ProcessorRun(*arguments).Run(); }};
}

}  // namespace lumvex::app
