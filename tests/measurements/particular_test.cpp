// What is particular to corrections and crossover designs, and references and records that cannot be.
#include <limits>

#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

TEST(Corrections, ArraysHaveNames) {
    const FullProject full;
    const struct {
        int index;
        HRESULT status;
        std::u16string_view name;
    } cases[] = {{LX_DN_DATA, S_OK, u"Speaker Correction"},
                 {LX_DN_DATA2, S_OK, u"Smoothed Measurement"},
                 {LX_DN_MAX, S_FALSE, u""},
                 {-1, S_FALSE, u""}};
    for (const auto& each : cases) {
        Bstr name;
        EXPECT_EQ(full.correction.Get()->get_DataName(static_cast<LXDataName>(each.index), name.Out()), each.status);
        EXPECT_EQ(name.view(), each.name);
        EXPECT_EQ(name.get() == nullptr, each.status == S_FALSE);
    }
    EXPECT_TRUE(FailsBare(E_POINTER, full.correction.Get()->get_DataName(LX_DN_DATA, nullptr)));
    EXPECT_EQ(full.correction.DataSupport(), LX_DATA2 | LX_DATANAME);
    EXPECT_EQ(full.measurement.DataSupport(), 0);
}

// The rate is kept as a float: what that cannot hold is rounded, what a file has beyond a long is answered as its end.
TEST(Corrections, SampleRateIsAFloatInside) {
    const Folder folder;
    FullProject full;
    full.correction.SampleRate(16777217);
    EXPECT_EQ(full.correction.SampleRate(), 16777216);
    full.correction.SampleRate(-44100);
    EXPECT_EQ(full.correction.SampleRate(), -44100);
    full.correction.SampleRate(std::numeric_limits<LONG>::max());
    EXPECT_EQ(full.correction.SampleRate(), std::numeric_limits<LONG>::max());
    full.project.SaveFileAs(PathText(folder / "a.lvp"));
    full.project.CloseFile();
    const struct {
        std::string stored;
        LONG rate;
    } cases[] = {{"00 50 2C 47", 44112},  // 44112.0
                 {"66 46 2C 47", 44102},  // 44102.4
                 {"66 46 2C C7", -44102},
                 {"00 00 80 7F", std::numeric_limits<LONG>::max()},
                 {"F9 02 15 D0", std::numeric_limits<LONG>::min()},
                 {"00 00 C0 7F", 0}};
    for (const auto& each : cases) {
        ReplaceRecord(folder / "a.lvp", full.correction, "01 00 01 80" + kHead + "00 00" + each.stored + "00 00");
        EXPECT_EQ(Again(Opened(folder / "a.lvp"), full.correction).SampleRate(), each.rate) << each.stored;
    }
}

TEST(Crossovers, OneEntryPerConfigurationComesWithTheCollection) {
    const Folder folder;
    Project project = Project::Create();
    Listener listener(project);
    const CrossoverConfigs configs = project.CrossoverConfigs();
    EXPECT_EQ(listener.Taken(), Strings{});
    EXPECT_FALSE(project.Modified()) << "making ready changes nothing";
    ASSERT_EQ(configs.Count(), 4);
    constexpr std::u16string_view kNames[] = {u"Single amp", u"Bi amp", u"Tri amp", u"Subwoofer"};
    std::vector<std::u16string> ids;
    for (const CrossoverConfig each : configs) {
        const auto number = static_cast<LONG>(ids.size()) + 1;
        EXPECT_EQ(each.Name(), kNames[number - 1]);
        EXPECT_EQ(each.ConfigID(), number);
        EXPECT_EQ(each.Config().Pointer(), project.Configs().Item(number).Pointer());
        EXPECT_NE(each.Timestamp(), 0);
        ids.push_back(each.ID());
    }
    project.SaveFileAs(PathText(folder / "a.lvp"));
    project.CloseFile();
    EXPECT_TRUE(CheckDocument(folder / "a.lvp").empty());
    const Project opened = Opened(folder / "a.lvp");
    ASSERT_EQ(opened.CrossoverConfigs().Count(), 4);
    for (LONG number = 1; number <= 4; ++number) {
        EXPECT_EQ(opened.CrossoverConfigs().Item(number).ID(), ids[static_cast<std::size_t>(number - 1)]);
        EXPECT_EQ(opened.CrossoverConfigs().Item(number).ConfigID(), number);
    }
}

// A file may give the ID of anything: what is not of the target's class is no target.
TEST(MeasurementLinks, DoNotPointAtObjectsOfOtherClasses) {
    const Folder folder;
    FullProject full;
    full.project.SaveFileAs(PathText(folder / "a.lvp"));
    full.project.CloseFile();
    ReplaceRecord(folder / "a.lvp", full.experimentLink,
                  "01 00 01 80" + kHead + "01 00" + TextBytes(full.speaker.ID()));
    ReplaceRecord(folder / "a.lvp", full.measurement,
                  "08 00 01 80" + kHead + "01 00" + TextBytes(full.correction.ID()) + "00 00" +
                      std::string(5 * 8, '0') + "80 BB 00 00");
    const Project opened = Opened(folder / "a.lvp");
    EXPECT_EQ(Again(opened, full.experimentLink).Get()->get_Measurement(Ref<::IMeasurement>().Out()), S_FALSE);
    EXPECT_FALSE(Again(opened, full.measurement).Experiment());
    EXPECT_EQ(Again(opened, full.measurement).DisplayName().substr(0, 3), u"A (");
}

// A speaker configuration that names none of the four, and a template whose correction entry says neither links nor
// groups, are faults of the file.
TEST(Records, ThatCannotBeAreRefused) {
    const Folder folder;
    const std::filesystem::path path = folder / "a.lvp";
    FullProject full;
    full.project.SaveFileAs(PathText(path));
    const std::string config = "01 00 01 80" + kHead + "00 00  00 00" + std::string(3 * 8, '0');
    const std::string design = "02 00 02 80" + kHead + "00 00  03 00" + BytesOf(full.group) + "00 00 00 00";
    full.project.CloseFile();
    ReplaceRecord(path, full.config, config + "05 00 00 00");
    ReplaceRecord(path, full.design, design);
    const Project opened = Opened(path);
    EXPECT_EQ(StatusOf([&] { opened.Load(full.config.ID()); }), E_FAIL);
    EXPECT_EQ(StatusOf([&] { opened.Load(full.design.ID()); }), Status(0x80040FAE));
    EXPECT_EQ(opened.SpeakerEQs().Item(1).SpkrEQConfigs().Count(), 1) << "what stands beside it still answers";
}

}  // namespace
}  // namespace lumvex::tests
