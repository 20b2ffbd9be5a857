// Records of older programs: what each version carries, and what it meant.
#include <functional>

#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

class Upgrades : public testing::Test {
protected:
    Folder folder;
    FullProject full;
    std::filesystem::path path = folder / "old.lvp";

    void SetUp() override {
        full.project.SaveFileAs(PathText(path));
        full.project.CloseFile();
    }
    // The item as it loads when its record is `hex`.
    template <class Class>
    Class Loaded(const Class& item, const std::string& hex) {
        if (opened_) opened_.CloseFile();
        ReplaceRecord(path, item, hex);
        opened_ = Opened(path);
        return Again(opened_, item);
    }
    static std::string VersionWord(int version) {
        static constexpr char kDigits[] = "0123456789ABCDEF";
        return std::string("0") + kDigits[version] + " 00 01 80 ";
    }

    Project opened_;
};

// ---- measurements ----

TEST_F(Upgrades, MeasurementsByVersion) {
    // 0.002 is 6F 12 03 3B; 1.0 was seconds no more.
    const std::string start = "6F 12 03 3B ", noExperiment = "00 00 ", array = kRowOfTwo + kFloat[1] + kFloat[2];
    const struct {
        int version;
        std::string fields;
        std::vector<double> data;
        float end, start, volume, scale;
        LONG io, rate;
    } cases[] = {
        {0, array, {2, 1}, 0, 0, 0, 1, 0, 48000},
        {0, kTwo + kFloat[1] + kFloat[2], {1, 2}, 0, 0, 0, 1, 0, 48000},
        {1, array, {1, 2}, 0, 0, 0, 1, 0, 48000},
        {2, array + kFloat[3] + start, {1, 2}, 3, 2, 0, 1, 0, 48000},
        {3, array + kFloat[3] + kFloat[1], {1, 2}, 3, 1, 0, 1, 0, 48000},
        {4, array + kFloat[3] + start + kFloat[4], {1, 2}, 3, 2, 4, 1, 0, 48000},
        {5, array + start + start + kFloat[4] + kFloat[5], {1, 2}, 0.002f, 2, 4, 5, 0, 48000},
        {6, array + kFloat[3] + start + kFloat[4] + kFloat[5] + "06 00 00 00", {1, 2}, 3, 2, 4, 5, 6, 48000},
        {7, array + kFloat[3] + start + kFloat[4] + kFloat[5] + "06 00 00 00", {1, 2}, 3, 0.002f, 4, 5, 6, 48000},
        {8,
         array + kFloat[3] + start + kFloat[4] + kFloat[5] + "06 00 00 00  44 AC 00 00",
         {1, 2},
         3,
         0.002f,
         4,
         5,
         6,
         44100},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.version);
        const Measurement found =
            Loaded(full.measurement, VersionWord(each.version) + kHead + noExperiment + each.fields);
        EXPECT_EQ(found.Name(), u"A");
        EXPECT_EQ(ContentOf(found.Data()).values, each.data);
        EXPECT_EQ(found.MeasureEnd(), each.end);
        EXPECT_FLOAT_EQ(found.MeasureStart(), each.start);
        EXPECT_EQ(found.Volume(), each.volume);
        EXPECT_EQ(found.SPLScale(), each.scale);
        EXPECT_EQ(found.IOConfig(), each.io);
        EXPECT_EQ(found.SampleRate(), each.rate);
        EXPECT_FALSE(found.Experiment());
    }
}

// An element as records have it.
template <class T>
std::string ElementBytes(T value) {
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return AsHex(bytes) + " ";
}

// Numbers in memory order; texts are read as numbers.
std::vector<double> NumbersOf(const Variant& value) {
    if (value.vt != (VT_ARRAY | VT_BSTR)) return ContentOf(value).values;
    std::vector<double> numbers;
    const auto* texts = static_cast<const BSTR*>(value.parray->pvData);
    for (LONG at = 0; at < 6; ++at) numbers.push_back(std::stod(ToUtf8(TextOf(texts[at]))));
    return numbers;
}

// Two rows and three columns of 1 to 6, in every type that arrays are stored in.
TEST_F(Upgrades, OldestMeasurementsSwapWholeColumns) {
    std::string floats, doubles, variants, bytes, texts;
    for (int value = 1; value <= 6; ++value) {
        floats += kFloat[value];
        doubles += ElementBytes(double(value));
        variants += "04 00 00 00 00 00 00 00 " + kFloat[value] + "00 00 00 00 ";
        bytes += ElementBytes(BYTE(value));
    }
    for (const int value : {1, 3, 5, 2, 4, 6})  // texts go along the rows
        texts += "04 00 00 00 " + ElementBytes(char16_t(u'0' + value)) + "00 00 ";
    const std::string bounds = "00 00 00 00 01 00 00 00  00 00 00 00 02 00 00 00 ";
    const std::pair<const char*, std::string> cases[] = {{"04 00 ", floats},
                                                         {"05 00 ", doubles},
                                                         {"0C 00 ", variants},
                                                         {"11 00 ", bytes},
                                                         {"08 00 ", texts}};
    const std::vector<double> swapped{3, 4, 1, 2, 5, 6};  // the third one stays
    for (const auto& [type, elements] : cases) {
        SCOPED_TRACE(type);
        Measurement found = Loaded(full.measurement, "00 00 00 00" + kHead + "01 00  00 00 00 00  02 00  02 00 00 00 " +
                                                               type + bounds + elements);
        EXPECT_EQ(NumbersOf(found.Data()), swapped);
        EXPECT_FALSE(found.Experiment()) << "an ID without length is none";
        found.Volume(1);
        opened_.SaveFile();
        opened_.CloseFile();
        opened_ = Opened(path);
        EXPECT_EQ(NumbersOf(Again(opened_, full.measurement).Data()), swapped) << "once is enough";
    }
    const Measurement narrow = Loaded(
        full.measurement, "00 00 00 00" + kHead +
                              "00 00  02 00  02 00 00 00  04 00  00 00 00 00 01 00 00 00  00 00 00 00 00 00 00 00" +
                              kFloat[1] + kFloat[2]);
    EXPECT_EQ(ContentOf(narrow.Data()).values, (std::vector<double>{1, 2})) << "one column has nothing to swap with";
}

// ---- corrections ----

struct CorrectionProperty {
    int field;
    std::function<double(const Correction&)> value;
    double stored, initial;
};

const std::vector<CorrectionProperty> kCorrectionProperties = {
    {2, [](const Correction& c) { return c.SampleRate(); }, 44100, 48000},
    {3, [](const Correction& c) { return Array(c.Data()).Columns(); }, 2, 0},
    {4, [](const Correction& c) { return Array(c.Data2()).Columns(); }, 2, 0},
    {5, [](const Correction& c) { return c.ActDelay(); }, 1, 0},
    {6, [](const Correction& c) { return c.ActGDError(); }, 2, 0},
    {7, [](const Correction& c) { return c.ActMagError(); }, 3, 0},
    {8, [](const Correction& c) { return Array(c.LimitData()).Rows(); }, 2, 0},
    {9, [](const Correction& c) { return Array(c.CrossoverData()).Rows(); }, 1, 0},
    {10, [](const Correction& c) { return c.MaxDelay(); }, 4, 0},
    {11, [](const Correction& c) { return c.GDTol(); }, 5, 0},
    {12, [](const Correction& c) { return c.MagTol(); }, 6, 0},
    {13, [](const Correction& c) { return c.CrossoverMethod(); }, LX_BUTTERWORTH, LX_LINEAR_PHASE},
    {14, [](const Correction& c) { return c.MeasSmoothMethod(); }, LX_MSMTH_SINC, LX_MSMTH_CHEBY},
    {15, [](const Correction& c) { return c.MeasSmooth(); }, 7, 0},
    {16, [](const Correction& c) { return c.LmtSmooth(); }, 8, 0},
    {17, [](const Correction& c) { return c.MaxOffset(); }, 9, 0},
    {18, [](const Correction& c) { return c.MeasureEnd(); }, 0.5, 0},
    {20, [](const Correction& c) { return Array(c.VerifyMeas()).Columns(); }, 2, 0},
    {21, [](const Correction& c) { return c.MeasureScale(); }, 2, 1},
    {22, [](const Correction& c) { return c.OptMethod(); }, LX_OM_MINERROR, LX_OM_MINDELAY},
    {23, [](const Correction& c) { return c.MinphaseSmooth(); }, 23, 0},
    {24, [](const Correction& c) { return c.MeasureTweak(); }, 4, 0},
    {25, [](const Correction& c) { return c.CorrectionScale(); }, 5, 1},
    {26, [](const Correction& c) { return c.FiltChanDelayMs(1); }, 1, 0},
    {26, [](const Correction& c) { return c.FiltChanDelayMs(6); }, 6, 0},
    {27, [](const Correction& c) { return c.FWTarget(); }, 7, 0},
};

// Field 1 is the measurement, field 19 the start of the window, in seconds for a long time: 0.005 is 0A D7 A3 3B.
std::vector<std::string> CorrectionFields(const Measurement& measurement) {
    return {"",
            "01 00" + TextBytes(measurement.ID()),
            "00 44 2C 47",
            kRowOfTwo + kFloat[1] + kFloat[2],
            kRowOfTwo + kFloat[3] + kFloat[4],
            kFloat[1],
            kFloat[2],
            kFloat[3],
            kTwo + kFloat[8] + kFloat[9],
            kRowOfTwo + kFloat[5] + kFloat[6],
            kFloat[4],
            kFloat[5],
            kFloat[6],
            "02 00 00 00",
            "01 00 00 00",
            kFloat[7],
            kFloat[8],
            kFloat[9],
            "00 00 00 3F",
            "0A D7 A3 3B",
            kRowOfTwo + kFloat[7] + kFloat[8],
            kFloat[2],
            "01 00 00 00",
            "17 00 00 00",
            kFloat[4],
            kFloat[5],
            kFloat[1] + kFloat[2] + kFloat[3] + kFloat[4] + kFloat[5] + kFloat[6],
            kFloat[7]};
}

TEST_F(Upgrades, CorrectionsByVersion) {
    constexpr int kLastField[] = {3, 3, 4, 7, 7, 19, 20, 21, 22, 23, 24, 25, 25, 26, 27};
    const std::vector<std::string> fields = CorrectionFields(full.measurement);
    for (int version = 0; version <= 14; ++version) {
        SCOPED_TRACE(version);
        std::string record = VersionWord(version) + kHead;
        for (int field = 1; field <= kLastField[version]; ++field)
            if (version != 0 || field != 2) record += fields[static_cast<std::size_t>(field)];
        const Correction found = Loaded(full.correction, record);
        EXPECT_EQ(found.Measurement().ID(), full.measurement.ID());
        for (const CorrectionProperty& property : kCorrectionProperties) {
            const bool present = property.field <= kLastField[version] && (version != 0 || property.field != 2);
            EXPECT_EQ(property.value(found), present ? property.stored : property.initial)
                << "field " << property.field;
        }
        EXPECT_FLOAT_EQ(found.MeasureStart(), version < 5 ? 0.0f : version < 12 ? 5.0f : 0.005f);
    }
}

TEST_F(Upgrades, AnOldCorrectionIsWrittenAnewOnceItIsChanged) {
    const std::vector<std::string> fields = CorrectionFields(full.measurement);
    std::string body, newest;
    for (std::size_t field = 1; field <= 25; ++field) body += fields[field];
    Correction found = Loaded(full.correction, VersionWord(11) + kHead + body);
    opened_.Data().Add(u"another object");
    opened_.SaveFile();
    opened_.CloseFile();
    EXPECT_EQ(AsHex(ReadDocument(path).at(StreamOf(full.correction))), AsHex(Hex(VersionWord(11) + kHead + body)))
        << "an untouched record stays as it is";
    opened_ = Opened(path);
    found = Again(opened_, full.correction);
    found.Timestamp(1.5);
    for (SHORT index = 1; index <= 6; ++index) found.FiltChanDelayMs(index, index);
    found.FWTarget(7);
    opened_.SaveFile();
    opened_.CloseFile();
    for (std::size_t field = 1; field < fields.size(); ++field) newest += field == 19 ? kFloat[5] : fields[field];
    EXPECT_EQ(AsHex(ReadDocument(path).at(StreamOf(full.correction))), AsHex(Hex("0E 00 01 80" + kHead + newest)));
}

// ---- templates ----

// A template as it was before there were groups: its correction entry leads straight to the links.
TEST_F(Upgrades, LinksOnATemplateMoveIntoAGroup) {
    const std::string links = ChildBytes(full.design.SpkrMeasureLinks()) + ChildBytes(full.group.SpkrCorrectionLinks());
    const std::string rest = "00 00  00 00" + std::string(17 * 8, '0');
    Streams streams = ReadDocument(path);
    streams.erase(u"ROOTDIR-V100");  // its age had none, and knew neither groups nor their collection
    streams.erase(StreamOf(full.group));
    streams.erase(inside::StreamNameOf(ParseGuid(full.design.SpkrCorrectionGroups().ID()).value()));
    WriteDocument(path, streams);
    ReplaceRecord(path, full.design, "01 00 01 80" + kHead + links + rest);
    for (const DocumentProblem& problem : CheckDocument(path)) ADD_FAILURE() << problem.where << ": " << problem.what;
    opened_ = Opened(path);
    SpkrEQDesign found = Again(opened_, full.design);
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(found.SpkrCorrectionGroups().Count(), 1);
        const SpkrCorrectionGroup old = found.SpkrCorrectionGroups().Item(1);
        EXPECT_EQ(old.Name(), u"Old Corrections");
        ASSERT_EQ(old.SpkrCorrectionLinks().Count(), 1);
        const SpkrCorrectionLink link = old.SpkrCorrectionLinks().Item(1);
        EXPECT_EQ(link.ID(), full.correctionLink.ID());
        EXPECT_EQ(link.Correction().ID(), full.correction.ID());
        EXPECT_EQ(link.Parent().Parent().ID(), old.ID());
        if (round == 0) {
            EXPECT_EQ(opened_.Modified().boolVal, VARIANT_TRUE);
            opened_.SaveFile();
            opened_.CloseFile();
            EXPECT_TRUE(CheckDocument(path).empty());
            EXPECT_EQ(AsHex(ReadDocument(path).at(StreamOf(full.design))),
                      AsHex(Hex("02 00 02 80" + kHead + ChildBytes(found.SpkrMeasureLinks()) +
                                ChildBytes(found.SpkrCorrectionGroups(), "02 00") + rest)));
            opened_ = Opened(path);
            found = Again(opened_, full.design);
        }
    }
    EXPECT_EQ(opened_.Modified().boolVal, VARIANT_FALSE) << "once is enough";
}

// Reaching one of the old links first has to come to the same.
TEST_F(Upgrades, OldLinksAreReachedThroughTheirNewGroup) {
    const std::string record = "01 00 01 80" + kHead + "00 00" + ChildBytes(full.group.SpkrCorrectionLinks()) +
                               "00 00  00 00" + std::string(17 * 8, '0');
    ReplaceRecord(path, full.design, record);
    opened_ = Opened(path);
    SpkrCorrectionLink link = Again(opened_, full.correctionLink);
    EXPECT_EQ(link.Parent().Parent().Name(), u"Old Corrections");
    link.Correction(Again(opened_, full.correction));
    int dependents = 0;
    for (const Object& each : Again(opened_, full.correction).NewDependentLinksEnum()) {
        EXPECT_EQ(each.As<Collectable>().ID(), link.ID());
        ++dependents;
    }
    EXPECT_EQ(dependents, 1);
}

}  // namespace
}  // namespace lumvex::tests
