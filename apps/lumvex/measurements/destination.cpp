#include "measurements/destination.hpp"

#include <span>
#include <unordered_set>

#include "files/text_encoding.hpp"
#include "files/text_writer.hpp"
#include "measurements/model_lookup.hpp"
#include "measurements/named_data.hpp"
#include "measurements/stored_files.hpp"
#include "objects/address.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

using FileKind = MeasurementFile::Kind;

// What all destinations have in common: a name that is taken is refused, or its item replaced where --replace asks for
// it.
class NamedDestination : public Destination {
protected:
    explicit NamedDestination(bool replace) : replace_(replace) {}

    // `put(item)` fills the item. `what`: "the document has a datum".
    template <class Collection, class Item, class Put>
    void Place(const fs::path& path, const std::string& name, const std::string& what, const Collection& collection,
               const Item& existing, Put put) {
        if (existing && written_.contains(existing.ID()))
            throw FileError(path,
                            "the name " + Quoted(name) +
                                " is that of another file of this import already; --name or --prefix gives others");
        if (existing && !replace_)
            throw FileError(path, what + " named " + Quoted(name) + " already; --replace gives it the file's content");
        Item item = existing;
        try {
            if (!item) item = collection.Add(FromUtf8(name));
            put(item);
        } catch (const Error& error) {
            if (item && !existing) Collection(collection).Remove(collection.Count());
            throw FileError(path, "cannot be stored: " + Describe(error));
        }
        written_.insert(item.ID());
    }

    bool Replaces() const { return replace_; }

private:
    bool replace_;
    std::unordered_set<std::u16string> written_;  // IDs of what this import has made or replaced
};

class DataDestination final : public NamedDestination {
public:
    DataDestination(const Project& project, const Placement& placement)
        : NamedDestination(placement.replace), data_(project.Data()), names_(data_), header_(placement.header) {}

    StoredItem Add(std::span<InputFile> files) override {
        const fs::path& path = files[0].path;
        MeasurementFile& file = files[0].content;
        const std::u16string name = FromUtf8(file.name);
        const std::string header = HeaderOf(file);
        const std::u16string headerName = HeaderNameOf(name);
        const Datum existing = names_.Find(name), oldHeader = names_.Find(headerName);
        if (oldHeader && !header.empty() && (!HeaderIn(oldHeader) || !Replaces()))
            throw FileError(
                path, "the document has a datum named " + Quoted(ToUtf8(headerName)) + ", where the header would go");
        // It is looked for behind its datum alone, so that nothing else has to be loaded for it.
        const bool isBehind = !existing || (oldHeader ? names_.Place(headerName) == names_.Place(name) + 1
                                                      : names_.Place(name) == data_.Count());
        Place(path, file.name, "the document has a datum", data_, existing,
              [&](const Datum& datum) { Store(file, datum); });
        StoredItem stored{Shown(name), file};
        if (!isBehind) {
            if (!header.empty()) stored.note = "its header is not kept, because another datum follows";
        } else if (!header.empty()) {
            Datum datum = oldHeader ? oldHeader : data_.Add(headerName);
            StoreHeader(header, datum);
            datum.Timestamp(ToDate(file.modified));
        } else if (oldHeader && HeaderIn(oldHeader)) {
            StoreHeader({}, oldHeader);  // the old header is not the new file's
        }
        return stored;
    }

private:
    // What a datum has no property for.
    std::string HeaderOf(const MeasurementFile& file) const {
        const bool isMore = file.kind == FileKind::Calibration || file.startTime.value_or(0) != 0 ||
                            (file.kind == FileKind::Impulse && !file.loudspeakers.empty());
        return isMore || (header_ && !file.header.empty()) ? HeaderText(file) : std::string();
    }

    Data data_;
    NamedData names_;
    bool header_;
};

class MicrophoneDestination final : public NamedDestination {
public:
    MicrophoneDestination(const Specifications& library, const Placement& placement)
        : NamedDestination(placement.replace),
          microphones_(library.Microphones()),
          names_(microphones_),
          prefix_(placement.prefix) {}

    StoredItem Add(std::span<InputFile> files) override {
        const fs::path& path = files[0].path;
        MeasurementFile& file = files[0].content;
        if (file.kind != FileKind::Calibration)
            throw FileError(path,
                            "it is no microphone calibration, and a library takes no other measurements (--as "
                            "calibration says that it is one)");
        if (const std::string problem = ProblemOfCalibration(file); !problem.empty()) throw FileError(path, problem);
        if (!file.isNamed && file.serialNumber) file.name = prefix_ + *file.serialNumber;
        Place(path, file.name, "the library has a microphone", microphones_, names_.Find(FromUtf8(file.name)),
              [&](Microphone microphone) {
                  microphone.Data(CalibrationEntries(file));
                  microphone.SampleRate(0);
                  microphone.Timestamp(ToDate(file.modified));
                  microphone.Scale(ScaleOf(file.sensitivity));
              });
        return {Shown(FromUtf8(file.name)), file};
    }

private:
    Microphones microphones_;
    MembersByName<Microphones> names_;
    std::string prefix_;
};

// What measurements of speakers and rooms have no property for.
std::string NoteOn(const MeasurementFile& channels) {
    return channels.loudspeakers.empty() ? "" : "the loudspeakers of its channels are not kept; named data keep them";
}

class SpeakerDestination final : public NamedDestination {
public:
    SpeakerDestination(const fs::path& document, const Project& project, const Placement& placement)
        : NamedDestination(placement.replace),
          config_(FindOrAddSpeakerConfig(document, project, placement)),
          configName_(ToUtf8(config_.Name())),
          speakerName_(placement.speaker),
          outputs_(static_cast<std::size_t>(config_.Config().OutputCount())),
          measurements_(config_.Measurements()),
          names_(measurements_),
          experiment_(FindOrAdd(project.Experiments(), FromUtf8(placement.experiment))) {}

    std::size_t FilesTogether() const override { return outputs_; }

    StoredItem Add(std::span<InputFile> files) override {
        for (const InputFile& file : files) CheckIsSound(file, "speaker");
        MeasurementFile channels = WithOutputs(files, outputs_, "a measurement of " + Quoted(configName_));
        const std::u16string name = FromUtf8(channels.name);
        Place(files[0].path, channels.name, "the speaker's configuration has a measurement", measurements_,
              names_.Find(name), [&](Measurement measurement) {
                  Store(channels, measurement);
                  StoreStartTime(channels.startTime, measurement);
                  measurement.Experiment(experiment_);
                  Link(measurement);
              });
        return {StepText(FromUtf8(speakerName_)) + '/' + StepText(FromUtf8(configName_)) + '/' + StepText(name),
                channels, NoteOn(channels)};
    }

private:
    void Link(const Measurement& measurement) {
        const ExpMeasureLinks links = experiment_.ExpMeasureLinks();
        for (const ExpMeasureLink& link : links) {
            const Measurement target = link.Measurement();
            if (target && target.ID() == measurement.ID()) return;
        }
        links.Add(measurement);
    }

    SpkrEQConfig config_;
    std::string configName_, speakerName_;
    std::size_t outputs_;
    Measurements measurements_;
    MembersByName<Measurements> names_;
    Experiment experiment_;
};

class RoomDestination final : public NamedDestination {
public:
    RoomDestination(const Project& project, const Placement& placement)
        : NamedDestination(placement.replace),
          place_(StepText(FromUtf8(placement.room)) + '/' + StepText(FromUtf8(placement.position)) + '/'),
          measurements_(
              FindOrAdd(FindOrAdd(project.Rooms(), FromUtf8(placement.room)).Positions(), FromUtf8(placement.position))
                  .Measurements()),
          names_(measurements_),
          channel_(*placement.channel) {}

    StoredItem Add(std::span<InputFile> files) override {
        CheckIsSound(files[0], "room");
        MeasurementFile channels = Joined(files);
        const std::u16string name = FromUtf8(channels.name);
        Place(files[0].path, channels.name, "the position has a measurement", measurements_, names_.Find(name),
              [&](RoomMeasurement measurement) {
                  Store(channels, measurement);
                  StoreStartTime(channels.startTime, measurement);
                  measurement.Channel(channel_);
              });
        return {place_ + StepText(name), channels, NoteOn(channels)};
    }

private:
    std::string place_;
    RoomMeasurements measurements_;
    MembersByName<RoomMeasurements> names_;
    short channel_;
};

}  // namespace

std::unique_ptr<Destination> MakeDestination(const EditedDocument& document, const Placement& placement) {
    const bool isSpeaker = !placement.speaker.empty(), isRoom = !placement.room.empty();
    if (const Specifications* library = document.AsLibrary()) {
        if (isSpeaker || isRoom)
            throw FileError(document.Path(), "it is a library; speakers and rooms are kept in projects");
        return std::make_unique<MicrophoneDestination>(*library, placement);
    }
    const Project& project = *document.AsProject();
    if (isSpeaker) return std::make_unique<SpeakerDestination>(document.Path(), project, placement);
    if (isRoom) return std::make_unique<RoomDestination>(project, placement);
    return std::make_unique<DataDestination>(project, placement);
}

}  // namespace lumvex::app
