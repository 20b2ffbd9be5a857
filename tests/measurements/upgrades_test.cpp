// Records of older programs: what they meant.
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

    Project opened_;
};

// ---- measurements ----

// What each version carries is in tests/model/old_records_test.cpp.
TEST_F(Upgrades, AStartOfOneIsNoSecondAnyMore) {
    const std::string fields = "00 00  00 00" + kFloat[1] + kFloat[1];
    EXPECT_EQ(Loaded(full.measurement, "02 00 01 80" + kHead + fields).MeasureStart(), 1);
}

// Flags, IDs and texts as other programs may write them.
TEST_F(Upgrades, OddReferencesAndTexts) {
    const std::u16string id = full.experiment.ID(), bare = id.substr(1, id.size() - 2);
    std::u16string small = id;
    for (char16_t& unit : small)
        if (unit >= u'A' && unit <= u'F') unit = static_cast<char16_t>(unit - u'A' + u'a');
    const struct {
        const char* what;
        std::string reference;
        bool found;
    } cases[] = {{"as it is written", "01 00" + TextBytes(id), true},
                 {"another flag, small letters", "02 00" + TextBytes(small), true},
                 {"no braces", "01 00" + TextBytes(bare), false},
                 {"no ID", "01 00 00 00 00 00", false}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const Measurement found = Loaded(full.measurement, "01 00 01 80" + kHead + each.reference + "00 00");
        const Experiment experiment = found.Experiment();
        EXPECT_EQ(experiment ? experiment.ID() : u"", each.found ? id : u"");
    }
    const std::string unended = "00 00 00 00 00 00 F8 3F  04 00 00 00 41 00 42 00 ";
    EXPECT_EQ(Loaded(full.measurement, "01 00 01 80" + unended + "00 00 00 00").Name(), u"A")
        << "the last unit is lost";
    opened_.CloseFile();
    ReplaceRecord(path, full.design, "02 00 02 80" + kHead + "00 00  03 00" + std::string(200, '0'));
    opened_ = Opened(path);
    Ref<ISpkrEQDesign> design;
    const SpkrEQDesigns designs = Again(opened_, full.crossover).SpkrEQDesigns();
    EXPECT_TRUE(FailsWith(4014, designs.Get()->get_Item(1, design.Out())));
}

// An element as records have it.
template <class T>
std::string ElementBytes(T value) {
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return AsHex(bytes) + " ";
}

// Numbers in memory order; texts are read as numbers.
std::vector<double> NumbersOf(const VARIANT& value) {
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
    const std::pair<const char*, std::string> cases[] = {
        {"04 00 ", floats}, {"05 00 ", doubles}, {"0C 00 ", variants}, {"11 00 ", bytes}, {"08 00 ", texts}};
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
            EXPECT_TRUE(opened_.Modified());
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
    EXPECT_FALSE(opened_.Modified()) << "once is enough";
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
