#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "channels.hpp"
#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "named_data.hpp"
#include "settings.hpp"

namespace lumvex::app {

namespace {

struct TreeArguments {
    std::filesystem::path document;
    bool ids = false;
};

// Documents may be larger than memory, and what has been printed is not needed again: few items are kept.
constexpr LONG kFewestKept = 16, kMostKept = 64;

class TreePrinter {
public:
    explicit TreePrinter(const TreeArguments& arguments)
        : arguments_(arguments), document_(OpenDocument(arguments.document, LX_SHARE_READ)) {}

    ExitStatus Run() {
        Root root = RootOf(document_);
        OnDocument(arguments_.document, "cannot be read", [&] {
            root.SetCacheBounds(kFewestKept, kMostKept);
            const std::string file = Utf8(arguments_.document.filename());
            if (const auto* project = std::get_if<Project>(&document_)) {
                Line(0, "Project " + file, *project);
                PrintProject(*project);
            } else {
                const auto& library = std::get<Specifications>(document_);
                Line(0, "Specifications " + file, library);
                PrintLibrary(library);
            }
        });
        const LoadStatistics statistics = StatisticsOf(root.Get());
        std::cout << loaded_ << " objects loaded to answer, " << statistics.objectsLoaded << " still in memory, "
                  << statistics.bytesRead << " bytes read\n";
        return status_;
    }

private:
    template <class Class>
    void Line(int depth, const std::string& text, const Class& object) {
        std::cout << std::string(2 * static_cast<std::size_t>(depth), ' ') << text;
        if (arguments_.ids) std::cout << "  " << ToUtf8(object.ID());
        std::cout << '\n';
    }

    // Prints the collection and calls print(depth, item) for each member; prints nothing for an empty collection. A
    // member that cannot be read is reported, and the others are printed.
    template <class Collection, class Print>
    void Members(int depth, const Collection& collection, Print print) {
        const LONG count = collection.Count();
        if (count == 0) return;
        ++loaded_;
        Line(depth, Shown(collection.DisplayName()) + " (" + std::to_string(count) + ')', collection);
        for (LONG position = 1; position <= count && std::cout; ++position) {
            try {
                const auto item = collection.Item(position);
                ++loaded_;
                print(depth + 1, item);
            } catch (const Error& error) {
                std::cerr << Utf8(arguments_.document) << ": item " << position << " of "
                          << Shown(collection.DisplayName()) << " cannot be read: " << Describe(error) << '\n';
                status_ = kDocumentFailed;
            }
        }
    }

    template <class Item>
    void Name(int depth, const Item& item) {
        Line(depth, Shown(item.Name()), item);
    }

    // Prints an item's name, its sample rate and the size of its array.
    template <class Item>
    void Measured(int depth, const Item& item, const std::string& more = {}) {
        const Array array(item.Data());
        Line(depth,
             Shown(item.Name()) + "  " + std::to_string(item.SampleRate()) + " Hz  " +
                 ShapeText(array.Rows(), array.Columns()) + more,
             item);
    }

    // Prints a link by its target. `of` says what the target belongs to, such as a speaker.
    template <class Link, class Target>
    void PointedAt(int depth, const Link& link, const Target& target, const std::string& of = {},
                   const std::string& more = {}) {
        Line(depth, target ? "-> " + Shown(target.Name()) + of + more : "-> nothing", link);
    }

    template <class Target>
    static std::string OfSpeaker(const Target& target) {
        return target ? "  of " + Shown(target.Parent().Parent().Parent().Parent().DisplayName()) : "";
    }

    // "Bi amp, 2 channels"
    static std::string ConfigText(const Config& config) {
        return Shown(config.Name()) + ", " + CountOf(static_cast<std::size_t>(config.OutputCount()), "channel");
    }

    // "  crossover 2200 Hz, 24 dB/oct  3 limits": the tables of a correction or a design.
    template <class Item>
    static std::string TablesText(const Item& item) {
        std::ostringstream text;
        const Array crossovers(item.CrossoverData()), limits(item.LimitData());
        const bool areUsual = crossovers.Rows() == LX_XOVERSIZE && crossovers.Type() == VT_R4;
        if (!crossovers.Empty() && !areUsual)
            text << "  crossovers " << ShapeText(crossovers.Rows(), crossovers.Columns());
        for (std::size_t entry = 0; areUsual && entry < crossovers.Columns(); ++entry) {
            const std::span<const float> values = crossovers.Values<float>().subspan(entry * LX_XOVERSIZE);
            text << "  crossover " << values[LX_XOVERFREQ] << " Hz, " << values[LX_XOVERSLOPE] << " dB/oct";
        }
        if (!limits.Empty())
            text << "  "
                 << (limits.Rows() == LX_LIMITSIZE ? CountOf(limits.Columns(), "limit")
                                                   : "limits " + ShapeText(limits.Rows(), limits.Columns()));
        return text.str();
    }

    // Made only when an item is to be compared with them, because it takes a document of its own.
    const NewItems& New() {
        if (!newItems_) newItems_.emplace();
        return *newItems_;
    }

    void PrintProject(const Project& project) {
        Members(1, project.Data(), [&](int depth, const Datum& datum) { Measured(depth, datum); });
        Members(1, project.Experiments(), [&](int depth, const Experiment& experiment) {
            Line(depth, Shown(experiment.Name()) + "  " + Shown(experiment.DisplayName()), experiment);
            Members(depth + 1, experiment.ExpMeasureLinks(),
                    [&](int below, const ExpMeasureLink& link) { PointedAt(below, link, link.Measurement()); });
        });
        Members(1, project.SpeakerEQs(), [&](int depth, const SpeakerEQ& speaker) {
            Line(depth, Shown(speaker.DisplayName()), speaker);
            Members(depth + 1, speaker.SpkrEQConfigs(),
                    [&](int below, const SpkrEQConfig& config) { PrintSpeakerConfig(below, config); });
        });
        PrintCrossovers(project.CrossoverConfigs());
        Members(1, project.Rooms(), [&](int depth, const RoomEQ& room) { PrintRoom(depth, room); });
        Members(1, project.BoxCfgs(), [&](int depth, const BoxCfg& box) {
            const std::u16string text = box.XdA_CustomText();
            Line(depth,
                 Shown(box.Name()) + (text.empty() ? "" : "  \"" + Shown(text) + '"') + Differences(box, New().box),
                 box);
            Members(depth + 1, box.Banks(), [&](int below, const BoxCfgBank& bank) { PrintProfile(below, bank); });
        });
    }

    void PrintSpeakerConfig(int depth, const SpkrEQConfig& config) {
        const Config kind = config.Config();
        const bool isNamedSo = CompareNoCase(config.Name(), kind.Name()) == 0;
        Line(depth, (isNamedSo ? "" : Shown(config.Name()) + "  ") + ConfigText(kind), config);
        Members(depth + 1, config.Measurements(), [&](int below, const Measurement& measurement) {
            const Experiment experiment = measurement.Experiment();
            Measured(below, measurement, experiment ? "  with " + Shown(experiment.Name()) : "");
        });
        Members(depth + 1, config.Corrections(), [&](int below, const Correction& correction) {
            const Measurement source = correction.Measurement();
            const Array smoothed(correction.Data2()), verified(correction.VerifyMeas());
            std::string more = source ? "  from " + Shown(source.Name()) : "";
            if (!smoothed.Empty()) more += "  smoothed " + ShapeText(smoothed.Rows(), smoothed.Columns());
            if (!verified.Empty()) more += "  verified " + ShapeText(verified.Rows(), verified.Columns());
            Measured(below, correction, more + TablesText(correction) + Differences(correction, New().correction));
        });
    }

    // Every project has one entry for each configuration. Nothing is printed unless one of them has designs.
    void PrintCrossovers(const CrossoverConfigs& crossovers) {
        bool designed = false;
        for (const CrossoverConfig& crossover : crossovers) designed |= crossover.SpkrEQDesigns().Count() != 0;
        if (!designed) return;
        Members(1, crossovers, [&](int depth, const CrossoverConfig& crossover) {
            Line(depth, ConfigText(crossover.Config()), crossover);
            Members(depth + 1, crossover.SpkrEQDesigns(),
                    [&](int below, const SpkrEQDesign& design) { PrintDesign(below, design); });
        });
    }

    void PrintDesign(int depth, const SpkrEQDesign& design) {
        Line(depth, Shown(design.Name()) + TablesText(design) + Differences(design, New().design), design);
        Members(depth + 1, design.SpkrMeasureLinks(), [&](int below, const SpkrMeasureLink& link) {
            const Measurement target = link.Measurement();
            std::ostringstream scale;
            if (link.Scale() != 1.0f) scale << "  scale " << link.Scale();
            PointedAt(below, link, target, OfSpeaker(target), scale.str());
        });
        Members(depth + 1, design.SpkrCorrectionGroups(), [&](int below, const SpkrCorrectionGroup& group) {
            Name(below, group);
            Members(below + 1, group.SpkrCorrectionLinks(), [&](int lowest, const SpkrCorrectionLink& link) {
                const Correction target = link.Correction();
                PointedAt(lowest, link, target, OfSpeaker(target));
            });
        });
    }

    void PrintRoom(int depth, const RoomEQ& room) {
        Name(depth, room);
        Members(depth + 1, room.Positions(), [&](int below, const RoomPosition& position) {
            Name(below, position);
            Members(below + 1, position.Measurements(), [&](int lowest, const RoomMeasurement& measurement) {
                Measured(lowest, measurement, "  channel " + std::to_string(measurement.Channel()));
            });
        });
        Members(depth + 1, room.CorrectionGroups(), [&](int below, const RoomCorrectionGroup& group) {
            Name(below, group);
            Members(below + 1, group.Corrections(), [&](int lowest, const RoomCorrection& correction) {
                const Array array(correction.Data());
                Line(lowest, Shown(correction.Name()) + "  " + ShapeText(array.Rows(), array.Columns()), correction);
            });
        });
    }

    void PrintProfile(int depth, const BoxCfgBank& bank) {
        const auto mode = static_cast<std::size_t>(bank.Config());
        Line(depth, Shown(bank.Name()) + (mode < kBoxModeWords.size() ? "  " + std::string(kBoxModeWords[mode]) : ""),
             bank);
        Members(depth + 1, bank.Spkrs(), [&](int below, const BoxCfgSpkr& output) {
            const SpeakerEQ speaker = output.Speaker();
            const Correction correction = output.Correction();
            const bool known = output.ConfigID() >= LX_SINGLEAMP && output.ConfigID() <= LX_SUBWOOFER;
            Line(below,
                 Shown(output.Name()) +
                     (known ? "  " + ConfigText(output.Root().Configs().Item(output.ConfigID())) : "") +
                     (speaker ? "  -> " + Shown(speaker.DisplayName()) : "") +
                     (correction ? "  with " + Shown(correction.Name()) : "") + Differences(output, New().output),
                 output);
        });
    }

    void PrintLibrary(const Specifications& library) {
        Members(1, library.Manufacturers(), [&](int depth, const Manufacturer& manufacturer) {
            Name(depth, manufacturer);
            Members(depth + 1, manufacturer.Models(), [&](int below, const Model& model) {
                Name(below, model);
                Members(below + 1, model.ModelConfigs(),
                        [&](int lowest, const ModelConfig& config) { Name(lowest, config); });
            });
        });
        Members(1, library.Microphones(), [&](int depth, const Microphone& microphone) {
            std::ostringstream scale;
            scale << "  scale " << microphone.Scale();
            Measured(depth, microphone, scale.str());
        });
    }

    const TreeArguments& arguments_;
    AnyDocument document_;
    std::optional<NewItems> newItems_;
    std::size_t loaded_ = 0;
    ExitStatus status_ = kDone;
};

}  // namespace

Command commands::Tree() {
    const auto arguments = std::make_shared<TreeArguments>();
    return {
        .name = "tree",
        .summary = "Print the content of a document as an indented tree",
        .options = {DocumentOption(arguments->document, "the project or library; opened for reading only"),
                    {"--ids", &arguments->ids, {}, "print every object's ID behind it"}},
        .details =
            "Collections that have members are printed with their number; data, measurements and corrections with "
            "their\n"
            "sample rate in Hz (0 for frequency responses) and the size of their array, rows x columns; links with "
            "the\n"
            "name of what they point at, and the speaker it belongs to; configurations and output positions with the\n"
            "channels that their measurements and corrections have. Of corrections, designs and processor\n"
            "configurations the settings that are not as in a new one follow, NAME=VALUE as the commands that make "
            "them\n"
            "take them. The last line says how many objects had to be loaded for the answer and how many bytes of the\n"
            "file were read, in whole sectors.",
        .incomplete = "the tree could not be printed",
        .run = [arguments] { return TreePrinter(*arguments).Run(); }};
}

}  // namespace lumvex::app
