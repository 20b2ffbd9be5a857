// What is particular to corrections: six delays, names of arrays, a rate kept as a float, a position for the session.
#include <limits>

#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

TEST(Corrections, DelaysAreNumberedOneToSix) {
    FullProject full;
    Correction& correction = full.correction;
    for (SHORT index = 1; index <= 6; ++index) correction.FiltChanDelayMs(index, static_cast<float>(index) / 2);
    Listener listener(full.project);
    for (const SHORT index : {SHORT{0}, SHORT{7}, SHORT{-1}, std::numeric_limits<SHORT>::min()}) {
        float value = 9;
        EXPECT_TRUE(FailsBare(E_INVALIDARG, correction.Get()->get_FiltChanDelayMs(index, &value)));
        EXPECT_EQ(value, 9);
        EXPECT_TRUE(FailsBare(E_INVALIDARG, correction.Get()->put_FiltChanDelayMs(index, 1)));
    }
    EXPECT_EQ(listener.Taken(), Strings{});
    correction.FiltChanDelayMs(3, 9);
    EXPECT_EQ(listener.Taken(), Strings{"item C 0"});
    for (SHORT index = 1; index <= 6; ++index)
        EXPECT_EQ(correction.FiltChanDelayMs(index), index == 3 ? 9 : static_cast<float>(index) / 2);
    EXPECT_EQ(LateGet(correction.Pointer(), 0x0b, {Variant::FromLong(6)}).fltVal, 3);
    EXPECT_EQ(LatePut(correction.Pointer(), 0x0b, {Variant::FromLong(7), Variant::FromDouble(1)}), E_INVALIDARG);
}

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

TEST(Corrections, TheirMeasurementMayBeNoneAndGo) {
    FullProject full;
    Corrections corrections = full.config.Corrections();
    Correction bare = corrections.Add(u"bare");
    EXPECT_FALSE(bare.Measurement());
    EXPECT_EQ(bare.SampleRate(), 48000);
    EXPECT_EQ(bare.MeasureScale(), 1);
    bare.Measurement(full.measurement);
    EXPECT_EQ(bare.Measurement().ID(), full.measurement.ID());
    bare.Measurement({});
    EXPECT_FALSE(bare.Measurement());

    FullProject other;
    const LONG before = corrections.Count();
    Ref<::ICorrection> made;
    EXPECT_TRUE(FailsWith(4015, corrections.Get()->Add(Bstr(u"x").get(), other.measurement.Get(), made.Out())));
    EXPECT_TRUE(FailsWith(4015, bare.Get()->put_Measurement(other.measurement.Get())));
    EXPECT_EQ(corrections.Count(), before);
    EXPECT_FALSE(bare.Measurement());

    // The client keeps count of what refers to the measurement; without a count it may go.
    full.measurement.Locks(1);
    EXPECT_TRUE(FailsWith(4008, full.config.Measurements().Get()->Remove(1)));
    full.measurement.Locks(0);
    full.config.Measurements().Remove(1);
    // What refers to it goes on answering it, as an orphan, but does not save it.
    EXPECT_EQ(full.correction.Measurement().Pointer(), full.measurement.Pointer());
    EXPECT_EQ(full.experimentLink.Measurement().Pointer(), full.measurement.Pointer());
    EXPECT_EQ(full.measureLink.LinkDispatch().Pointer(), full.measurement.Pointer());
    EXPECT_TRUE(FailsWith(4009, full.measureLink.Measurement().Get()->put_Volume(1)));

    const Folder folder;
    full.project.SaveFileAs(PathText(folder / "a.lvp"));
    full.project.CloseFile();
    EXPECT_TRUE(CheckDocument(folder / "a.lvp").empty());
    const Project opened = Opened(folder / "a.lvp");
    EXPECT_FALSE(Again(opened, full.correction).Measurement());
    EXPECT_FALSE(Again(opened, full.experimentLink).Measurement());
    const auto link = Again(opened, full.measureLink);
    EXPECT_EQ(link.Get()->get_Measurement(Ref<::IMeasurement>().Out()), S_FALSE);
    Variant target;
    EXPECT_EQ(link.Get()->get_LinkDispatch(target.Out()), S_FALSE);
    EXPECT_EQ(target.vt, VT_EMPTY);
}

// An experiment may go as well; its measurements stay, without a set-up.
TEST(Corrections, MeasurementsOutliveTheirExperiment) {
    FullProject full;
    full.project.Experiments().Remove(1);
    EXPECT_EQ(full.measurement.Experiment().Pointer(), full.experiment.Pointer()) << "as long as it is in memory";
    EXPECT_EQ(full.measurement.DisplayName().substr(0, 8), u"Woofer (");
    Measurements measurements = full.config.Measurements();
    EXPECT_FALSE(measurements.Add(u"alone").Experiment());
    FullProject other;
    Ref<::IMeasurement> made;
    EXPECT_TRUE(FailsWith(4015, measurements.Get()->Add(Bstr(u"x").get(), other.experiment.Get(), made.Out())));
    EXPECT_EQ(measurements.Count(), 2);
}

}  // namespace
}  // namespace lumvex::tests
