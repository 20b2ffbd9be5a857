// Links and their targets: re-pointing, other documents, and the links that an object knows of.
#include <set>

#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

using Ids = std::multiset<std::u16string>;

Ids DependentsOf(const Collectable& target) {
    Ids ids;
    for (const Object& each : target.NewDependentLinksEnum()) ids.insert(each.As<Collectable>().ID());
    return ids;
}

// The three kinds of link, each with two targets of its kind in one document and one in another.
template <class Link>
void Repoint(Link& link, const Collectable& first, const Collectable& second, const Collectable& foreign,
             const Project& project) {
    const DISPID target = 0x3a;
    SCOPED_TRACE(ToUtf8(link.InterfaceID()));
    EXPECT_EQ(link.IsLink(), 1);
    EXPECT_TRUE(IsSameObject(LateGet(link.Pointer(), target), first));
    const LONG locks = second.Locks();
    Listener listener(project);
    EXPECT_EQ(LatePut(link.Pointer(), target, {Variant::FromDispatch(second.Pointer())}), S_OK);
    EXPECT_EQ(listener.Taken(), Strings{"item " + ToUtf8(link.Name()) + " 0"});
    EXPECT_EQ(second.Locks(), locks) << "counting is the client's";
    EXPECT_TRUE(IsSameObject(LateGet(link.Pointer(), target), second));
    EXPECT_EQ(link.LinkDispatch().template As<Collectable>().ID(), second.ID());
    EXPECT_EQ(LatePut(link.Pointer(), target, {Variant::FromDispatch(foreign.Pointer())}), Status(0x80040FAF));
    EXPECT_EQ(LatePut(link.Pointer(), target, {Variant::FromDispatch(nullptr)}), E_POINTER);
    EXPECT_EQ(LatePut(link.Pointer(), target, {Variant::FromDispatch(link.Pointer())}), DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(IsSameObject(LateGet(link.Pointer(), target), second)) << "a refused target changes nothing";
    EXPECT_EQ(listener.Taken(), Strings{});
}

TEST(MeasurementLinks, AreRepointedWithinTheirDocument) {
    FullProject full, other;
    const Measurement second = full.config.Measurements().Add(u"second");
    const Correction secondCorrection = full.config.Corrections().Add(u"second", second);
    Repoint(full.experimentLink, full.measurement, second, other.measurement, full.project);
    Repoint(full.measureLink, full.measurement, second, other.measurement, full.project);
    Repoint(full.correctionLink, full.correction, secondCorrection, other.correction, full.project);
}

TEST(MeasurementLinks, NeedATargetToBeAdded) {
    FullProject full, other;
    Ref<::IExpMeasureLink> measureLink;
    Ref<::ISpkrCorrectionLink> correctionLink;
    ExpMeasureLinks links = full.experiment.ExpMeasureLinks();
    EXPECT_TRUE(FailsBare(E_POINTER, links.Get()->Add(nullptr, measureLink.Out())));
    EXPECT_TRUE(FailsWith(4015, links.Get()->Add(other.measurement.Get(), measureLink.Out())));
    EXPECT_TRUE(
        FailsWith(4015, full.group.SpkrCorrectionLinks().Get()->Add(other.correction.Get(), correctionLink.Out())));
    EXPECT_EQ(links.Count(), 1);
    EXPECT_EQ(links.Add(full.measurement).Name(), u"Woofer");
}

TEST(MeasurementLinks, AreKnownToTheirTargetsOnceEach) {
    const Folder folder;
    FullProject full;
    const Measurement second = full.config.Measurements().Add(u"second");
    const Ids both{full.experimentLink.ID(), full.measureLink.ID()};
    EXPECT_EQ(DependentsOf(full.measurement), both);
    EXPECT_EQ(DependentsOf(full.correction), Ids{full.correctionLink.ID()});
    EXPECT_EQ(DependentsOf(second), Ids{});
    full.experimentLink.Measurement(second);
    EXPECT_EQ(DependentsOf(full.measurement), Ids{full.measureLink.ID()});
    EXPECT_EQ(DependentsOf(second), Ids{full.experimentLink.ID()});
    full.experimentLink.Measurement(full.measurement);
    full.project.SaveFileAs(PathText(folder / "a.lvp"));
    full.project.CloseFile();

    Project opened = Opened(folder / "a.lvp");
    EXPECT_EQ(DependentsOf(Again(opened, full.measurement)), both) << "though nothing but the measurement was loaded";
    const SpkrEQDesign design = Again(opened, full.design);
    const SpkrEQDesign copy = design.Copy(opened.CrossoverConfigs().Item(LX_TRIAMP).SpkrEQDesigns()).As<SpkrEQDesign>();
    const std::u16string copied = copy.SpkrMeasureLinks().Item(1).ID();
    EXPECT_EQ(DependentsOf(Again(opened, full.measurement)),
              (Ids{full.experimentLink.ID(), full.measureLink.ID(), copied}));
    opened.CrossoverConfigs().Item(LX_TRIAMP).SpkrEQDesigns().Remove(1);
    EXPECT_EQ(DependentsOf(Again(opened, full.measurement)), both) << "links go with what they stand in";
    design.SpkrMeasureLinks().Remove(1);
    EXPECT_EQ(DependentsOf(Again(opened, full.measurement)), Ids{full.experimentLink.ID()});
    opened.SaveFile();
    EXPECT_EQ(DependentsOf(Again(opened, full.measurement)), Ids{full.experimentLink.ID()});
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

}  // namespace
}  // namespace lumvex::tests
