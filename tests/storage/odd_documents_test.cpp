// Documents that nobody means to make, yet that are met: damaged, put together by other programs, or half moved away.
#include "core/objects/object.hpp"
#include "kit/documents.hpp"
#include "kit/full_project.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

class OddDocuments : public ::testing::Test {
protected:
    // Every object has gone, and with it every lock on a file.
    ~OddDocuments() override { EXPECT_EQ(inside::LiveObjects(), 0u); }

    // Changes one text in an object's record, for one as long.
    void ReplaceText(const std::u16string& id, std::u16string_view from, std::u16string_view to) {
        Streams streams = ReadDocument(path);
        Bytes& record = streams.at(inside::StreamNameOf(ParseGuid(id).value()));
        auto bytes = std::as_bytes(std::span(from));
        auto found = std::search(record.begin(), record.end(), bytes.begin(), bytes.end());
        ASSERT_NE(found, record.end());
        std::ranges::copy(std::as_bytes(std::span(to)), found);
        WriteDocument(path, streams);
    }
    void ExpectSound(const fs::path& document) const {
        for (const DocumentProblem& problem : CheckDocument(document))
            ADD_FAILURE() << problem.where << ": " << problem.what;
    }

    const Folder folder;
    const fs::path path = folder / "a.lvp";
};

// The workspace is the one array of a root, and is left in the file like all others until it is asked for.
TEST_F(OddDocuments, TheWorkspaceSurvivesSavesOfOtherThings) {
    for (const std::size_t size : {2u, 3u, 4095u, 4096u, 4097u, 65535u, 65536u, 70000u}) {
        SCOPED_TRACE(size);
        std::vector<BYTE> bytes(size);
        for (std::size_t at = 0; at < size; ++at) bytes[at] = static_cast<BYTE>(at % 251);
        const Variant workspace = ArrayOf(VT_UI1, {{static_cast<ULONG>(size), 0}}, bytes);
        {
            Project made = Project::Create();
            made.Data().Add(u"A");
            made.WorkspaceData(workspace);
            made.SaveFileAs(PathText(path));
        }
        Project project = Opened(path);
        project.Data().Item(1).Name(u"renamed");
        project.SaveFile();
        EXPECT_EQ(ContentOf(project.WorkspaceData()), ContentOf(workspace));
        project = Project();
        project = Opened(path);
        project.SaveFileAs(PathText(folder / "copy.lvp"));
        project = Project();
        for (const fs::path& each : {path, folder / "copy.lvp"}) {
            ExpectSound(each);
            Project again = Opened(each, LX_SHARE_READ);
            EXPECT_EQ(again.Data().Item(1).Name(), u"renamed");
            EXPECT_EQ(ContentOf(again.WorkspaceData()), ContentOf(workspace));
        }
    }
}

// A stored ID is a target only if it is that of an object of the right class: not the root's, not the link's own.
TEST_F(OddDocuments, ReferencesToObjectsOfOtherClassesAreEmpty) {
    std::u16string project, link, measurement, experiment, speaker;
    {
        FullProject full;
        full.project.SaveFileAs(PathText(path));
        project = full.project.ID(), link = full.measureLink.ID(), measurement = full.measurement.ID();
        experiment = full.experiment.ID(), speaker = full.speaker.ID();
    }
    std::u16string pointsAt = measurement, setUp = experiment;
    for (const std::u16string& target : {project, link, speaker}) {
        SCOPED_TRACE(ToUtf8(target));
        ReplaceText(link, std::exchange(pointsAt, target), target);
        ReplaceText(measurement, std::exchange(setUp, target), target);
        Project opened = Opened(path);
        auto found = opened.Load(link).As<SpkrMeasureLink>();
        Variant dispatched;
        EXPECT_EQ(found.Get()->get_LinkDispatch(dispatched.Out()), S_FALSE);
        EXPECT_EQ(found.Get()->get_Measurement(Ref<::IMeasurement>().Out()), S_FALSE);
        EXPECT_EQ(opened.Load(speaker).As<SpeakerEQ>().NewDependentLinksEnum().begin(), std::default_sentinel);
        EXPECT_FALSE(opened.Load(measurement).As<Measurement>().Experiment());
    }
}

// Other programs may write names in another case, in which they are the same names.
TEST_F(OddDocuments, RootStreamsInAnotherCaseAreReplaced) {
    Streams streams;
    for (auto& [name, bytes] : SmallDocument()) {
        std::u16string lower = name;
        for (char16_t& unit : lower) unit = unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
        streams.emplace(std::move(lower), bytes);
    }
    WriteDocument(path, streams);
    {
        Project project = Opened(path);
        EXPECT_EQ(project.Data().Count(), 2);
        project.Data().Add(u"Third");
        project.SaveFileAs(PathText(folder / "b.lvp"));
        project.Data().Add(u"Fourth");
        project.SaveFile();
    }
    ExpectSound(folder / "b.lvp");
    EXPECT_EQ(Opened(folder / "b.lvp").Data().Count(), 4);
}

// "ROOTDIR-V100" without the second datum, whose record the collection names.
Streams WithAnUnlistedMember() {
    Streams streams = SmallDocument();
    Bytes& directory = streams.at(u"ROOTDIR-V100");
    directory.resize(directory.size() - 52);
    directory[0] = std::byte{3};
    return streams;
}

TEST_F(OddDocuments, AMemberThatTheDirectoryLacksIsAddedToIt) {
    WriteDocument(path, WithAnUnlistedMember());
    {
        Project project = Opened(path);
        project.SaveFileAs(PathText(folder / "copy.lvp"));
        EXPECT_TRUE(project.Load(kSecondId)) << "in a copy, though nobody had reached it";
    }
    ExpectSound(folder / "copy.lvp");
    {
        Project project = Opened(path);
        EXPECT_EQ(project.Data().Item(2).Name(), u"Second");
        project.SaveFile();
    }
    ExpectSound(path);
    EXPECT_TRUE(Opened(path).Load(kSecondId));
}

TEST_F(OddDocuments, ObjectsThatNothingOwnsAreNotFoundBelowAnything) {
    Streams streams = SmallDocument();
    streams.at(kDataStream) = Hex("01 00 01 80  01 00 00 00" + kFirstIdBytes + "05 00 00 00");
    WriteDocument(path, streams);
    Project project = Opened(path);
    Data data = project.Data();
    Variant found;
    EXPECT_EQ(data.Get()->FindID(Bstr(kSecondId).get(), -1, found.Out()), S_FALSE);
    EXPECT_EQ(data.Item(1).Get()->FindID(Bstr(kSecondId).get(), found.Out()), S_FALSE);
    EXPECT_TRUE(project.Load(kSecondId)) << "it is there, but stands alone";
}

// A list of more than 204 members is left in the file until it is changed.
TEST_F(OddDocuments, OrphanedCollectionsSaySoWhateverTheirLength) {
    for (const int members : {0, 3, 204, 205, 400}) {
        SCOPED_TRACE(members);
        MakeDocument(path, members);
        Project project = Opened(path);
        Data data = project.Data();
        project = Project();
        Variant found;
        Ref<IUnknown> all;
        for (const LONG descendants : {0, -1})
            EXPECT_TRUE(FailsWith(4009, data.Get()->FindID(Bstr(kSecondId).get(), descendants, found.Out())));
        EXPECT_TRUE(FailsWith(4009, data.Get()->get__NewEnum(all.Out())));
        EXPECT_TRUE(FailsWith(4009, data.Get()->Remove(1)));
        EXPECT_EQ(data.Count(), members);
    }
}

// A closed document may be the only copy of what was changed last.
TEST_F(OddDocuments, WhatCannotBeOpenedCostsNothingOfAClosedTree) {
    Streams damaged = SmallDocument();
    damaged.at(u"ROOT-V200").resize(40);
    WriteDocument(folder / "damaged.lvp", damaged);
    damaged = SmallDocument();
    damaged.at(u"ROOTDIR-V100").resize(60);
    WriteDocument(folder / "cut.lvp", damaged);
    damaged = SmallDocument();
    damaged[u"PROJECTSETTINGS-V100"] = Hex("01 00");
    WriteDocument(folder / "settings.lvp", damaged);

    WriteDocument(path, SmallDocument());
    Project project = Opened(path);
    Datum held = project.Data().Item(2);
    held.Name(u"changed");
    project.WorkspaceData(ArrayOf(VT_UI1, {{2, 0}}, std::vector<BYTE>{1, 2}));
    project.Units(LX_UNITS_IMPERIAL);
    project.Data().Item(1).Name();
    project.CloseFile();
    for (const char* name : {"damaged.lvp", "cut.lvp", "settings.lvp", "missing.lvp"}) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(FAILED(project.Get()->OpenFile(Bstr(PathText(folder / name)).get())));
        EXPECT_EQ(project.ID(), kProjectId);
        EXPECT_EQ(project.Data().Count(), 2);
        EXPECT_EQ(held.Name(), u"changed");
        EXPECT_EQ(held.Parent().Pointer(), project.Data().Pointer());
        EXPECT_EQ(project.Units(), LX_UNITS_IMPERIAL);
    }
    project.SaveFileAs(PathText(folder / "saved.lvp"));
    project.CloseFile();
    EXPECT_EQ(Opened(folder / "saved.lvp", LX_SHARE_READ).Data().Item(2).Name(), u"changed");
    project.OpenFile(PathText(path));
    EXPECT_TRUE(FailsWith(4009, held.Get()->put_SampleRate(1))) << "of the tree that was given up";
    EXPECT_TRUE(project.WorkspaceData().Empty());
    EXPECT_EQ(project.Units(), LX_UNITS_METRIC);
}

// The measurement of a correction was removed; another document, saved before that, still has it.
TEST_F(OddDocuments, DeadReferencesFindNothingInAnotherDocument) {
    FullProject full;
    full.project.SaveFileAs(PathText(path));
    full.project.SaveFileAs(PathText(folder / "later.lvp"));
    full.config.Measurements().Remove(1);
    full.project.SaveFile();
    full.project.CloseFile();
    Project from = Opened(folder / "later.lvp"), to = Opened(path);
    ASSERT_TRUE(to.Load(full.measurement.ID()));
    Correction copy = Again(from, full.correction).Copy(Again(to, full.config).Corrections()).As<Correction>();
    EXPECT_FALSE(copy.Measurement());
    auto design = Again(from, full.design).Copy(to.CrossoverConfigs().Item(1).SpkrEQDesigns()).As<SpkrEQDesign>();
    EXPECT_EQ(design.SpkrMeasureLinks().Item(1).Get()->get_Measurement(Ref<::IMeasurement>().Out()), S_FALSE);
}

// An object that is reached by its ID does not know its owner. The first search for one goes through the document, the
// second notes all owners, which have to be right whatever happens to the document from then on.
class OwnersOfObjectsReachedByID : public OddDocuments {
protected:
    OwnersOfObjectsReachedByID() {
        FullProject full;
        for (const std::u16string_view name : {u"1", u"2", u"3", u"4"}) {
            const SpeakerEQ speaker = full.project.SpeakerEQs().Add(name, full.catalogue.alpha);
            speakers.push_back(speaker.ID());
            const Measurements list = speaker.SpkrEQConfigs().Add(full.catalogue.biAmp).Measurements();
            pairs.emplace_back(list.Add(name, full.experiment).ID(), list.ID());
        }
        full.project.SaveFileAs(PathText(path));
    }
    // Hardly anything that is not held stays in memory.
    static void SaveAndForget(Project& project) {
        project.SaveFile();
        project.SetCacheBounds(1, 2);
    }
    static void Expect(const Project& project, const std::pair<std::u16string, std::u16string>& memberAndOwner) {
        EXPECT_EQ(project.Load(memberAndOwner.first).As<Measurement>().Parent().ID(), memberAndOwner.second);
    }
    static std::pair<std::u16string, std::u16string> FirstOf(const SpeakerEQ& speaker) {
        const Measurements list = speaker.SpkrEQConfigs().Item(1).Measurements();
        return {list.Item(1).ID(), list.ID()};
    }

    std::vector<std::u16string> speakers;                          // IDs
    std::vector<std::pair<std::u16string, std::u16string>> pairs;  // IDs of a measurement and of its list
};

TEST_F(OwnersOfObjectsReachedByID, AreRightWhateverHasChangedSince) {
    Project project = Opened(path);
    project.SetCacheBounds(1, 2);
    for (auto pair = pairs.rbegin(); pair != pairs.rend(); ++pair) Expect(project, *pair);

    const auto speaker = [&](std::size_t at) { return project.Load(speakers[at]).As<SpeakerEQ>(); };
    const Measurements list = project.Load(pairs[0].second).As<Measurements>();
    const std::pair added(list.Add(u"added", project.Experiments().Item(1)).ID(), list.ID());
    speaker(0).CopyContents(speaker(1));
    const auto copied = FirstOf(speaker(1));
    SaveAndForget(project);
    for (const auto& each : {added, copied, pairs[0], pairs[3]}) Expect(project, each);
    EXPECT_FALSE(project.Load(pairs[1].first)) << "replaced";

    const Measurement held = project.Load(pairs[2].first).As<Measurement>();
    EXPECT_EQ(held.Parent().ID(), pairs[2].second);
    project.SpeakerEQs().Remove(4);  // behind one that is not looked for
    EXPECT_EQ(StatusOf([&] { held.Parent(); }), kOrphaned);

    SaveAndForget(project);
    project.CloseFile();
    project.OpenFile(PathText(path));
    for (const auto& each : {copied, pairs[3], added, pairs[0]}) Expect(project, each);
}

TEST_F(OwnersOfObjectsReachedByID, AreFoundInFrontOfDamage) {
    Streams streams = ReadDocument(path);
    streams.at(inside::StreamNameOf(ParseGuid(pairs[3].second).value())) = Hex("01 00");
    WriteDocument(path, streams);
    const Project project = Opened(path);
    for (const std::size_t at : {2u, 0u, 1u}) Expect(project, pairs[at]);
    EXPECT_TRUE(FAILED(StatusOf([&] { project.Load(pairs[3].first).As<Measurement>().Parent(); })));
}

// Owners of what is held come into memory before the file goes; what nobody has reached goes with it.
TEST_F(OddDocuments, ClosingKeepsTheOwnersOfWhatIsHeld) {
    {
        FullProject full;
        full.project.SaveFileAs(PathText(path));
        full.project.CloseFile();
        for (const LXAccessMode mode : {LX_EXCLUSIVE_READWRITE, LX_SHARE_READ}) {
            SCOPED_TRACE(mode);
            Project project = Opened(path, mode);
            auto correction = Again(project, full.correction);
            project.CloseFile();
            EXPECT_EQ(correction.Parent().Parent().Parent().Parent().ID(), full.speaker.ID());
            EXPECT_EQ(correction.Parent().Item(1).Pointer(), correction.Pointer());
            correction.MaxDelay(3);
            Ref<::IExperiments> experiments;
            EXPECT_TRUE(FailsWith(4010, project.Get()->get_Experiments(experiments.Out()), kProject));
        }
    }
    {
        Project reader = Opened(path, LX_SHARE_READ);
        for ([[maybe_unused]] const Object& each : reader.NewDescendantsEnum()) {
        }
        EXPECT_GT(StatisticsOf(reader.Get()).objectsLoaded, 10u);
        reader.CloseFile();
        EXPECT_EQ(StatisticsOf(reader.Get()).objectsLoaded, 0u) << "a reader keeps nothing that nobody holds";
    }
}

}  // namespace
}  // namespace lumvex::tests
