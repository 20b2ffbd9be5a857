// What the tests of measurements, corrections and crossover designs share: a project with one of everything, and the
// records of its objects as bytes.
#pragma once

#include "kit/documents.hpp"
#include "kit/listener.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/document/document_file.hpp"

namespace lumvex::tests {

// A library with the model Alpha of Acme in all four configurations.
struct Catalogue {
    Specifications library = Specifications::Create();
    Manufacturer acme = library.Manufacturers().Add(u"Acme");
    Model alpha = acme.Models().Add(u"Alpha");
    ModelConfig single = Add(LX_SINGLEAMP), biAmp = Add(LX_BIAMP), triAmp = Add(LX_TRIAMP), sub = Add(LX_SUBWOOFER);

private:
    ModelConfig Add(LXConfig id) { return alpha.ModelConfigs().Add(library.Configs().Item(id)); }
};

// One item of each class; the speaker is measured bi-amped, so its arrays have two columns.
struct FullProject {
    Catalogue catalogue;
    Project project = Project::Create();
    Experiment experiment = project.Experiments().Add(u"E");
    SpeakerEQ speaker = project.SpeakerEQs().Add(u"Main", catalogue.alpha);
    SpkrEQConfig config = speaker.SpkrEQConfigs().Add(catalogue.biAmp);
    Measurement measurement = config.Measurements().Add(u"Woofer", experiment);
    Correction correction = config.Corrections().Add(u"C", measurement);
    ExpMeasureLink experimentLink = experiment.ExpMeasureLinks().Add(measurement);
    CrossoverConfig crossover = project.CrossoverConfigs().Item(LX_BIAMP);
    SpkrEQDesign design = crossover.SpkrEQDesigns().Add(u"T");
    SpkrMeasureLink measureLink = design.SpkrMeasureLinks().Add(measurement);
    SpkrCorrectionGroup group = design.SpkrCorrectionGroups().Add(u"G");
    SpkrCorrectionLink correctionLink = group.SpkrCorrectionLinks().Add(correction);

    FullProject() { project.Specifications(catalogue.library); }
    std::vector<Collectable> Items() const {
        return {experiment, experimentLink, measurement, speaker, config,        correction,
                crossover,  design,         measureLink, group,   correctionLink};
    }
};

// Values 1, 2, ... column after column.
inline Array Columns(std::size_t rows, std::size_t columns) {
    std::vector<float> values(rows * columns);
    for (std::size_t at = 0; at < values.size(); ++at) values[at] = static_cast<float>(at + 1);
    return Array::FromColumns(values, rows, columns);
}

// The same item in a document opened anew.
template <class Class>
Class Again(const Project& opened, const Class& item) {
    return opened.Load(item.ID()).template As<Class>();
}

// ---- records ----

inline std::string BytesOf(const Object& object) {
    const GUID id =
        ParseGuid(object.As<Collectable>() ? object.As<Collectable>().ID() : object.As<Collection>().ID()).value();
    Bytes bytes(sizeof id);
    std::memcpy(bytes.data(), &id, sizeof id);
    return AsHex(bytes) + " ";
}

// A text as records have it: byte count with terminator, UTF-16, terminator.
inline std::string TextBytes(std::u16string_view text) {
    const std::uint32_t count = text.empty() ? 0 : static_cast<std::uint32_t>(text.size() * 2 + 2);
    Bytes bytes(sizeof count + count);
    std::memcpy(bytes.data(), &count, sizeof count);
    if (count != 0) std::memcpy(bytes.data() + sizeof count, text.data(), text.size() * 2);
    return AsHex(bytes) + " ";
}

// A reference to a collection whose tag is 0, behind its flag.
inline std::string ChildBytes(const Collection& collection, const std::string& flag = "01 00 ") {
    return flag + BytesOf(collection) + "00 00 00 00 ";
}

inline std::u16string StreamOf(const Collectable& item) { return inside::StreamNameOf(ParseGuid(item.ID()).value()); }

inline void ReplaceRecord(const std::filesystem::path& path, const Collectable& item, const std::string& hex) {
    Streams streams = ReadDocument(path);
    streams.at(StreamOf(item)) = Hex(hex);
    WriteDocument(path, streams);
}

// Dated 1.5, named A.
inline const std::string kHead = "00 00 00 00 00 00 F8 3F  04 00 00 00 41 00 00 00 ";
// 1.0 to 9.0 as 32-bit floats.
inline const std::string kFloat[] = {"00 00 00 00 ", "00 00 80 3F ", "00 00 00 40 ", "00 00 40 40 ", "00 00 80 40 ",
                                     "00 00 A0 40 ", "00 00 C0 40 ", "00 00 E0 40 ", "00 00 00 41 ", "00 00 10 41 "};
// Floats of 1 row and 2 columns; of 2 rows in one dimension: bounds, ready for their elements.
inline const std::string kRowOfTwo = "02 00  02 00 00 00  04 00  00 00 00 00 00 00 00 00  00 00 00 00 01 00 00 00 ";
inline const std::string kTwo = "02 00  01 00 00 00  04 00  00 00 00 00 01 00 00 00 ";

}  // namespace lumvex::tests
