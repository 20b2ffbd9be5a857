// The records of experiments, measurements, speakers, corrections and templates as they are written.
#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

class Records : public testing::Test {
protected:
    Folder folder;
    FullProject full;
    std::filesystem::path path = folder / "a.lvp";

    void SetUp() override {
        for (Collectable item : full.Items()) {
            item.Timestamp(1.5);
            item.Name(u"A");
        }
        full.project.AccessMode(LX_SHARE_READWRITE);
    }
    std::string Saved(const Collectable& item) {
        if (streams_.empty()) {
            full.project.SaveFileAs(PathText(path));
            streams_ = ReadDocument(path);
        }
        return AsHex(streams_.at(StreamOf(item)));
    }
    static std::string Expected(const std::string& hex) { return AsHex(Hex(hex)); }
    std::string ModelIds() const { return TextBytes(full.catalogue.acme.ID()) + TextBytes(full.catalogue.alpha.ID()); }

private:
    Streams streams_;
};

TEST_F(Records, OfAnExperiment) {
    Experiment& experiment = full.experiment;
    experiment.MicSerialNo(u"7");
    experiment.CableType(10);
    experiment.MicDistance(1);
    experiment.MicHeight(2);
    experiment.MicAngle(3);
    experiment.AverageOver(11);
    experiment.SignalType(12);
    experiment.TweeterFreq(4);
    experiment.MidrangeFreq(5);
    experiment.WooferFreq(6);
    experiment.ModelConfig(full.catalogue.triAmp);
    EXPECT_EQ(Saved(experiment),
              Expected("01 00 01 80" + kHead + "04 00 00 00 37 00 00 00  00 00 00 00  0A 00 00 00" + kFloat[1] +
                       kFloat[2] + kFloat[3] + "0B 00 00 00  0C 00 00 00" + kFloat[4] + kFloat[5] + kFloat[6] +
                       ChildBytes(experiment.ExpMeasureLinks()) + ModelIds() + TextBytes(full.catalogue.triAmp.ID())));
    EXPECT_EQ(Saved(full.experimentLink), Expected("01 00 01 80" + kHead + "01 00" + TextBytes(full.measurement.ID())));
}

TEST_F(Records, OfAnExperimentWithNothing) {
    Experiment bare = full.project.Experiments().Add(u"A");
    bare.Timestamp(1.5);
    EXPECT_EQ(Saved(bare), Expected("01 00 01 80" + kHead + "00 00 00 00  00 00 00 00" + std::string(9 * 8, '0') +
                                    "00 00  00 00 00 00  00 00 00 00  00 00 00 00"));
}

TEST_F(Records, OfAMeasurement) {
    Measurement& measurement = full.measurement;
    measurement.Data(Columns(1, 2));
    measurement.MeasureEnd(3);
    measurement.MeasureStart(4);
    measurement.Volume(5);
    measurement.SPLScale(6);
    measurement.IOConfig(static_cast<LXIOConfig>(LX_IOCFG_ANIN | LX_IOCFG_MICIN));
    measurement.SampleRate(96000);
    Measurement bare = full.config.Measurements().Add(u"A");
    bare.Timestamp(1.5);
    EXPECT_EQ(Saved(measurement),
              Expected("08 00 01 80" + kHead + "01 00" + TextBytes(full.experiment.ID()) + kRowOfTwo + kFloat[1] +
                       kFloat[2] + kFloat[3] + kFloat[4] + kFloat[5] + kFloat[6] + "11 00 00 00  00 77 01 00"));
    EXPECT_EQ(Saved(bare), Expected("08 00 01 80" + kHead + "00 00  00 00" + kFloat[0] + kFloat[0] + kFloat[0] +
                                    kFloat[1] + "00 00 00 00  80 BB 00 00"));
}

TEST_F(Records, OfASpeakerAndItsConfiguration) {
    SpeakerEQ unknown = full.project.SpeakerEQs().Add(u"A");
    unknown.Timestamp(1.5);
    EXPECT_EQ(Saved(full.speaker), Expected("01 00 01 80" + kHead + ChildBytes(full.speaker.SpkrEQConfigs()) +
                                            ModelIds() + TextBytes(u"Acme") + TextBytes(u"Alpha")));
    EXPECT_EQ(Saved(unknown), Expected("01 00 01 80" + kHead + "00 00" + std::string(4 * 8, '0')));
    EXPECT_EQ(Saved(full.config), Expected("01 00 01 80" + kHead + ChildBytes(full.config.Corrections()) +
                                           ChildBytes(full.config.Measurements()) + ModelIds() +
                                           TextBytes(full.catalogue.biAmp.ID()) + "02 00 00 00"));
}

TEST_F(Records, OfATemplateWithItsLinks) {
    SpkrEQDesign& design = full.design;
    design.LimitData(Columns(2, 1));
    design.MaxDelay(1);
    design.GDTol(2);
    design.MagTol(3);
    design.CrossoverMethod(LX_NONE);
    design.MeasSmoothMethod(LX_MSMTH_SINC);
    design.MeasSmooth(4);
    design.LmtSmooth(5);
    design.MaxOffset(6);
    design.MeasureEnd(7);
    design.MeasureStart(8);
    design.AutoScale(14);
    design.OptMethod(LX_OM_MINERROR);
    design.MinphaseSmooth(16);
    design.StepResponseCorr(17);
    design.SampleRate(44100);
    design.GDRangeMin(9);
    design.FWTarget(1);
    full.measureLink.Scale(2);
    EXPECT_EQ(Saved(design),
              Expected("02 00 02 80" + kHead + ChildBytes(design.SpkrMeasureLinks()) +
                       ChildBytes(design.SpkrCorrectionGroups(), "02 00 ") + kTwo + kFloat[1] + kFloat[2] + "00 00" +
                       kFloat[1] + kFloat[2] + kFloat[3] + "03 00 00 00  01 00 00 00" + kFloat[4] + kFloat[5] +
                       kFloat[6] + kFloat[7] + kFloat[8] +
                       "0E 00 00 00  01 00 00 00  10 00 00 00  11 00 00 00  44 AC 00 00" + kFloat[9] + kFloat[1]));
    EXPECT_EQ(Saved(full.measureLink),
              Expected("01 00 01 80" + kHead + "01 00" + TextBytes(full.measurement.ID()) + kFloat[2]));
    EXPECT_EQ(Saved(full.group), Expected("01 00 01 80" + kHead + ChildBytes(full.group.SpkrCorrectionLinks())));
    EXPECT_EQ(Saved(full.correctionLink), Expected("01 00 01 80" + kHead + "01 00" + TextBytes(full.correction.ID())));
    EXPECT_EQ(Saved(full.crossover),
              Expected("01 00 01 80" + kHead + ChildBytes(full.crossover.SpkrEQDesigns()) + "02 00 00 00"));
}

// A speaker configuration that names none of the four, and a template whose correction entry says neither links nor
// groups, are faults of the file.
TEST_F(Records, ThatCannotBeAreRefused) {
    Saved(full.config);
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
