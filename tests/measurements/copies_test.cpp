// Copies of deep trees, within a project and into another one.
#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

TEST(SpeakerCopies, ReferencesInsideFollowTheCopy) {
    FullProject full;
    full.measurement.Data(Columns(4, 2));
    full.correction.Data(Columns(5, 2));
    full.correction.FiltChanDelayMs(6, 2.5f);
    full.measurement.Locks(3);
    const SpeakerEQ copy = full.speaker.Copy(full.project.SpeakerEQs()).As<SpeakerEQ>();
    ASSERT_TRUE(copy);
    EXPECT_EQ(full.project.SpeakerEQs().Count(), 2);
    EXPECT_EQ(copy.DisplayName(), u"Acme/Alpha/Main");
    EXPECT_EQ(copy.Model().ID(), full.catalogue.alpha.ID());
    const SpkrEQConfig config = copy.SpkrEQConfigs().Item(1);
    EXPECT_EQ(config.ConfigID(), LX_BIAMP);
    EXPECT_EQ(config.ModelConfig().ID(), full.catalogue.biAmp.ID());
    const Measurement measurement = config.Measurements().Item(1);
    EXPECT_NE(measurement.ID(), full.measurement.ID());
    EXPECT_EQ(measurement.Locks(), 0);
    EXPECT_EQ(ContentOf(measurement.Data()), ContentOf(full.measurement.Data()));
    const Correction correction = config.Corrections().Item(1);
    EXPECT_EQ(correction.Measurement().ID(), measurement.ID()) << "the copy's own measurement";
    EXPECT_EQ(correction.FiltChanDelayMs(6), 2.5f);
    EXPECT_EQ(measurement.Experiment().ID(), full.experiment.ID()) << "outside the copied tree: the same";
    EXPECT_EQ(StatusOf([&] { Measurement(measurement).Data(Columns(4, 3)); }), Status(0x80040FA2));
}

TEST(SpeakerCopies, IntoAnotherProjectWithTheirParents) {
    FullProject full;
    Project other = Project::Create();
    // Another speaker of that name, and the same configuration under another name.
    SpeakerEQ namesake = other.SpeakerEQs().Add(u"Main");
    SpeakerEQ same = other.SpeakerEQs().Add(u"main", full.catalogue.alpha);
    SpkrEQConfig tri = same.SpkrEQConfigs().Add(full.catalogue.triAmp);
    SpkrEQConfig renamed = same.SpkrEQConfigs().Add(full.catalogue.biAmp);
    tri.Name(u"Bi amp");
    renamed.Name(u"My two amplifiers");

    const Measurement measurement = full.measurement.CopyWithParents(other).As<Measurement>();
    EXPECT_EQ(measurement.Parent().Parent().ID(), renamed.ID())
        << "configurations match by number, speakers by name and model";
    EXPECT_FALSE(measurement.Experiment()) << "the other project does not have it";
    const Correction correction = full.correction.CopyWithParents(other).As<Correction>();
    EXPECT_EQ(correction.Parent().Parent().ID(), renamed.ID());
    EXPECT_FALSE(correction.Measurement()) << "the copy of the measurement has an ID of its own";
    EXPECT_EQ(other.SpeakerEQs().Count(), 2);
    EXPECT_EQ(namesake.SpkrEQConfigs().Count(), 0);

    // A template arrives under the entry of its configuration, though nobody has asked for the collection before.
    const SpkrEQDesign design = full.design.CopyWithParents(other).As<SpkrEQDesign>();
    EXPECT_EQ(design.Parent().Parent().ConfigID(), LX_BIAMP);
    EXPECT_EQ(other.CrossoverConfigs().Count(), 4);
    ASSERT_EQ(design.SpkrMeasureLinks().Count(), 1);
    EXPECT_EQ(design.SpkrMeasureLinks().Item(1).Get()->get_Measurement(Ref<::IMeasurement>().Out()), S_FALSE);
    Variant again;
    EXPECT_TRUE(FailsWith(4000, full.design.Get()->CopyWithParents(other.Get(), again.Out())));
    EXPECT_TRUE(FailsWith(4015, full.measureLink.Get()->Copy(design.SpkrMeasureLinks().Get(), again.Out())));

    const Project empty = Project::Create();
    full.correction.CopyWithParents(empty);
    ASSERT_EQ(empty.SpeakerEQs().Count(), 1);
    EXPECT_EQ(empty.SpeakerEQs().Item(1).SpkrEQConfigs().Item(1).ConfigID(), LX_BIAMP);
    EXPECT_EQ(empty.SpeakerEQs().Item(1).SpkrEQConfigs().Item(1).Measurements().Count(), 0) << "without its children";
    EXPECT_EQ(empty.SpeakerEQs().Item(1).DisplayName(), u"Acme/Alpha/Main")
        << "without the library, by the names it had";
}

TEST(SpeakerCopies, TemplatesWithinAProjectKeepWhatTheyDrawOn) {
    FullProject full;
    const SpkrEQDesigns target = full.project.CrossoverConfigs().Item(LX_SINGLEAMP).SpkrEQDesigns();
    const SpkrEQDesign copy = full.design.Copy(target).As<SpkrEQDesign>();
    EXPECT_EQ(copy.SpkrMeasureLinks().Item(1).Measurement().ID(), full.measurement.ID());
    const SpkrCorrectionGroup group = copy.SpkrCorrectionGroups().Item(1);
    EXPECT_EQ(group.Name(), u"G");
    EXPECT_EQ(group.SpkrCorrectionLinks().Item(1).Correction().ID(), full.correction.ID());
    const SpkrEQDesign bare =
        full.design.CopyNoChildren(full.project.CrossoverConfigs().Item(3).SpkrEQDesigns()).As<SpkrEQDesign>();
    EXPECT_EQ(bare.SpkrCorrectionGroups().Count(), 0);
}

}  // namespace
}  // namespace lumvex::tests
