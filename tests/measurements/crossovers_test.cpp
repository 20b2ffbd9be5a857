// Crossover designs: four entries from the start, and templates whose names differ.
#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

TEST(Crossovers, OneEntryPerConfigurationComesWithTheCollection) {
    const Folder folder;
    Project project = Project::Create();
    Listener listener(project);
    const CrossoverConfigs configs = project.CrossoverConfigs();
    EXPECT_EQ(listener.Taken(), Strings{});
    EXPECT_EQ(project.Modified().boolVal, VARIANT_FALSE) << "making ready changes nothing";
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

TEST(Crossovers, TemplatesRefuseASecondOneOfTheName) {
    FullProject full;
    SpkrEQDesigns designs = full.crossover.SpkrEQDesigns();
    Listener listener(full.project);
    Ref<::ISpkrEQDesign> made;
    EXPECT_TRUE(FailsWith(4000, designs.Get()->Add(Bstr(u"t").get(), made.Out())));
    EXPECT_FALSE(made);
    EXPECT_EQ(designs.Count(), 1);
    EXPECT_EQ(listener.Taken(), Strings{});
    designs.Add(u"t2");
    EXPECT_EQ(listener.Taken(), (Strings{"item t2 1", "collection TEMPLATES 1"}));
    full.project.CrossoverConfigs().Item(LX_SUBWOOFER).SpkrEQDesigns().Add(u"T");  // another collection
    full.design.SpkrCorrectionGroups().Add(u"G");                                  // and other kinds take any name
    EXPECT_EQ(full.design.SpkrCorrectionGroups().Count(), 2);
}

TEST(Crossovers, ANewTemplateStartsPlain) {
    const FullProject full;
    EXPECT_EQ(full.design.SampleRate(), 48000);
    EXPECT_EQ(full.design.CrossoverMethod(), LX_LINEAR_PHASE);
    EXPECT_EQ(full.design.MeasureStart(), 0);
    EXPECT_EQ(full.design.LimitData().vt, VT_EMPTY);
    EXPECT_EQ(full.measureLink.Scale(), 1);
    EXPECT_EQ(full.measureLink.Name(), u"Woofer") << "a link is named after its target";
    EXPECT_EQ(full.measureLink.IsLink(), 1);
    EXPECT_EQ(full.design.IsLink(), 0);
}

TEST(Crossovers, TablesOfAnyShapeComeBackInShape) {
    FullProject full;
    const Variant shifted = ArrayOf(VT_R4, {{5, 1}, {2, -3}}, std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    full.design.LimitData(shifted);
    EXPECT_EQ(ContentOf(full.design.LimitData()), ContentOf(shifted));
    full.design.CrossoverData(Floats({80, 24, 2000}));
    EXPECT_EQ(ContentOf(full.design.CrossoverData()), FloatContent({80, 24, 2000}));
}

// What is copied into an entry does not turn it into another configuration's.
TEST(Crossovers, EntriesKeepTheirConfiguration) {
    FullProject full;
    const CrossoverConfig tri = full.project.CrossoverConfigs().Item(LX_TRIAMP);
    full.crossover.CopyContents(tri);
    EXPECT_EQ(tri.ConfigID(), LX_TRIAMP);
    EXPECT_EQ(tri.Name(), u"Tri amp");
    ASSERT_EQ(tri.SpkrEQDesigns().Count(), 1);
    EXPECT_EQ(tri.SpkrEQDesigns().Item(1).SpkrMeasureLinks().Item(1).Measurement().ID(), full.measurement.ID());
    Variant copy;
    EXPECT_TRUE(FailsWith(4000, full.crossover.Get()->Copy(full.project.CrossoverConfigs().Get(), copy.Out())));
}

}  // namespace
}  // namespace lumvex::tests
