#include "destination.hpp"

#include <span>
#include <unordered_set>

#include "files/text_encoding.hpp"
#include "model_lookup.hpp"
#include "named_data.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

using Kind = MeasurementFile::Kind;

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
            throw FileError(path, "the name " + Quoted(name) + " is that of another file of this import already");
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

private:
    bool replace_;
    std::unordered_set<std::u16string> written_;  // IDs of what this import has made or replaced
};

class DataDestination final : public NamedDestination {
public:
    DataDestination(const Project& project, bool replace)
        : NamedDestination(replace), data_(project.Data()), names_(data_) {}

    MeasurementFile Add(std::span<const InputFile> files) override {
        const std::filesystem::path& path = files[0].path;
        const MeasurementFile& file = files[0].content;
        Place(path, file.name, "the document has a datum", data_, names_.Find(FromUtf8(file.name)),
              [&](const Datum& datum) { Store(file, datum); });
        return file;
    }

private:
    Data data_;
    NamedData names_;
};

class MicrophoneDestination final : public NamedDestination {
public:
    MicrophoneDestination(const Specifications& library, bool replace)
        : NamedDestination(replace), microphones_(library.Microphones()) {}

    MeasurementFile Add(std::span<const InputFile> files) override {
        const std::filesystem::path& path = files[0].path;
        const MeasurementFile& file = files[0].content;
        if (file.kind != Kind::Calibration)
            throw FileError(path, "it is no microphone calibration, and a library takes no other measurements");
        MeasurementFile curve = LevelsOf(file);
        curve.name = file.serialNumber.value_or(file.name);
        Place(path, curve.name, "the library has a microphone", microphones_,
              microphones_.FindName(FromUtf8(curve.name)).As<Microphone>(), [&](Microphone microphone) {
                  Store(curve, microphone);
                  if (file.sensitivity) microphone.Scale(static_cast<float>(*file.sensitivity));
              });
        return curve;
    }

private:
    Microphones microphones_;
};

// A measurement has no place for the frequencies and phases of a response: the levels go into it, and the whole table
// into the named data of the project.
class ResponseTables {
public:
    ResponseTables(const Project& project, bool replace) : data_(project.Data()), names_(data_), replace_(replace) {}

    // Throws FileError when a name belongs to other data that is not to be replaced.
    void Check(std::span<const InputFile> files) {
        for (const auto& [path, file] : files) {
            if (file.kind != Kind::Response || replace_) continue;
            const Datum existing = names_.Find(FromUtf8(file.name));
            if (existing && DifferenceOf(file, existing))
                throw FileError(path, "the document has other data named " + Quoted(file.name) +
                                          "; --replace gives it the file's content");
        }
    }

    void Keep(std::span<const InputFile> files) {
        for (const auto& [path, file] : files) {
            if (file.kind != Kind::Response) continue;
            const std::u16string name = FromUtf8(file.name);
            const Datum existing = names_.Find(name);
            Store(file, existing ? existing : data_.Add(name));
        }
    }

private:
    Data data_;
    NamedData names_;
    bool replace_;
};

class SpeakerDestination final : public NamedDestination {
public:
    SpeakerDestination(const fs::path& document, const Project& project, const Placement& placement)
        : NamedDestination(placement.replace),
          config_(FindOrAddSpeakerConfig(document, project, placement)),
          configName_(ToUtf8(config_.Name())),
          outputs_(static_cast<std::size_t>(config_.Config().OutputCount())),
          measurements_(config_.Measurements()),
          experiment_(FindOrAdd(project.Experiments(), FromUtf8(placement.experiment))),
          tables_(project, placement.replace) {}

    std::size_t FilesTogether() const override { return outputs_; }

    MeasurementFile Add(std::span<const InputFile> files) override {
        for (const InputFile& file : files) CheckIsMeasurement(file);
        MeasurementFile channels = WithOutputs(files, outputs_, "a measurement of " + Quoted(configName_));
        tables_.Check(files);
        Place(files[0].path, channels.name, "the speaker's configuration has a measurement", measurements_,
              measurements_.FindName(FromUtf8(channels.name)).As<Measurement>(), [&](Measurement measurement) {
                  Store(channels, measurement);
                  measurement.Experiment(experiment_);
                  tables_.Keep(files);
                  Link(measurement);
              });
        return channels;
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
    std::string configName_;
    std::size_t outputs_;
    Measurements measurements_;
    Experiment experiment_;
    ResponseTables tables_;
};

class RoomDestination final : public NamedDestination {
public:
    RoomDestination(const Project& project, const Placement& placement)
        : NamedDestination(placement.replace),
          measurements_(
              FindOrAdd(FindOrAdd(project.Rooms(), FromUtf8(placement.room)).Positions(), FromUtf8(placement.position))
                  .Measurements()),
          channel_(*placement.channel),
          tables_(project, placement.replace) {}

    MeasurementFile Add(std::span<const InputFile> files) override {
        CheckIsMeasurement(files[0]);
        MeasurementFile channels = Joined(files);
        tables_.Check(files);
        Place(files[0].path, channels.name, "the position has a measurement", measurements_,
              measurements_.FindName(FromUtf8(channels.name)).As<RoomMeasurement>(), [&](RoomMeasurement measurement) {
                  Store(channels, measurement);
                  measurement.Channel(channel_);
                  tables_.Keep(files);
              });
        return channels;
    }

private:
    RoomMeasurements measurements_;
    short channel_;
    ResponseTables tables_;
};

}  // namespace

std::unique_ptr<Destination> MakeDestination(const EditedDocument& document, const Placement& placement) {
    const bool isSpeaker = !placement.speaker.empty(), isRoom = !placement.room.empty();
    if (const Specifications* library = document.AsLibrary()) {
        if (isSpeaker || isRoom)
            throw FileError(document.Path(), "it is a library; speakers and rooms are kept in projects");
        return std::make_unique<MicrophoneDestination>(*library, placement.replace);
    }
    const Project& project = *document.AsProject();
    if (isSpeaker) return std::make_unique<SpeakerDestination>(document.Path(), project, placement);
    if (isRoom) return std::make_unique<RoomDestination>(project, placement);
    return std::make_unique<DataDestination>(project, placement.replace);
}

}  // namespace lumvex::app
