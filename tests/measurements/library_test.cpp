// What speakers, their configurations and experiments know of the catalogue, with it and without it.
#include "kit/full_project.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::tests {
namespace {

class LibraryReferences : public testing::Test {
protected:
    Folder folder;
    FullProject full;
    std::filesystem::path path = folder / "a.lvp", libraryPath = folder / "a.lvs";

    // The project opened anew; its library stands in a file of its own beside it.
    Project Reopened() {
        full.catalogue.library.SaveFileAs(PathText(libraryPath));
        full.project.SaveFileAs(PathText(path));
        full.project.CloseFile();
        full.catalogue.library.CloseFile();
        return Opened(path);
    }
};

TEST_F(LibraryReferences, AreFoundThroughTheProjectsLibrary) {
    full.experiment.ModelConfig(full.catalogue.sub);
    EXPECT_EQ(full.speaker.Model().Pointer(), full.catalogue.alpha.Pointer());
    const Project opened = Reopened();
    EXPECT_EQ(Again(opened, full.speaker).Model().ID(), full.catalogue.alpha.ID());
    EXPECT_EQ(Again(opened, full.config).ModelConfig().ID(), full.catalogue.biAmp.ID());
    EXPECT_EQ(Again(opened, full.experiment).ModelConfig().ID(), full.catalogue.sub.ID());
    EXPECT_EQ(Again(opened, full.config).ModelConfig().Root().Pointer(), opened.Specifications().Pointer());
    Experiment experiment = Again(opened, full.experiment);
    experiment.ModelConfig({});
    EXPECT_FALSE(experiment.ModelConfig());
    EXPECT_FALSE(opened.Experiments().Add(u"another").ModelConfig());
}

TEST_F(LibraryReferences, OutlastTheLibrary) {
    full.experiment.ModelConfig(full.catalogue.sub);
    Project opened = Reopened();
    std::filesystem::rename(libraryPath, folder / "elsewhere.lvs");
    opened.CloseFile();
    opened = Opened(path);
    EXPECT_FALSE(opened.Specifications());
    SpeakerEQ speaker = Again(opened, full.speaker);
    SpkrEQConfig config = Again(opened, full.config);
    EXPECT_FALSE(speaker.Model());
    EXPECT_FALSE(config.ModelConfig());
    EXPECT_FALSE(Again(opened, full.experiment).ModelConfig());
    EXPECT_EQ(speaker.DisplayName(), u"Acme/Alpha/Main");
    EXPECT_EQ(config.ConfigID(), LX_BIAMP);
    EXPECT_EQ(config.Config().OutputCount(), 2);
    Measurement measurement = Again(opened, full.measurement);
    EXPECT_EQ(StatusOf([&] { measurement.Data(Columns(3, 1)); }), Status(0x80040FA2));
    measurement.Data(Columns(3, 2));
    // What cannot be resolved is saved as it was.
    speaker.Name(u"Renamed");
    config.Timestamp(3);
    Again(opened, full.experiment).MicAngle(1);
    opened.SaveFile();
    opened.CloseFile();
    std::filesystem::rename(folder / "elsewhere.lvs", libraryPath);
    opened = Opened(path);
    EXPECT_EQ(Again(opened, full.speaker).Model().ID(), full.catalogue.alpha.ID());
    EXPECT_EQ(Again(opened, full.config).ModelConfig().ID(), full.catalogue.biAmp.ID());
    EXPECT_EQ(Again(opened, full.experiment).ModelConfig().ID(), full.catalogue.sub.ID());
}

TEST_F(LibraryReferences, NamesFollowTheCatalogue) {
    full.catalogue.acme.Name(u"Apex");
    full.catalogue.alpha.Name(u"Beta");
    EXPECT_EQ(full.speaker.DisplayName(), u"Apex/Beta/Main");
    full.project.Specifications({});
    EXPECT_EQ(full.speaker.DisplayName(), u"Apex/Beta/Main") << "the model that was put still lives";
    full.catalogue = Catalogue();
    EXPECT_FALSE(full.speaker.Model());
    EXPECT_EQ(full.speaker.DisplayName(), u"Apex/Beta/Main");
    EXPECT_EQ(full.project.SpeakerEQs().Add(u"Main").DisplayName(), u"Unknown Spkr/Main");
}

// Names that a display name found new are the speaker's own from then on, though nobody changed the document.
TEST_F(LibraryReferences, NamesThatWereShownAreSaved) {
    full.catalogue.library.SaveFileAs(PathText(libraryPath));
    full.project.SaveFileAs(PathText(path));
    full.catalogue.acme.Name(u"Apex");
    full.catalogue.library.SaveFile();
    full.catalogue.library.CloseFile();
    full.project.CloseFile();
    const auto shown = [&](const Project& project) { return Again(project, full.speaker).DisplayName(); };
    {
        Project reader = Project::Create();
        reader.AccessMode(LX_SHARE_READ);
        reader.OpenFile(PathText(path));
        reader.SetCacheBounds(1, 2);
        EXPECT_EQ(shown(reader), u"Apex/Alpha/Main");
        Again(reader, full.experiment);
        Again(reader, full.correction);
        EXPECT_FALSE(reader.FindID(full.speaker.ID())) << "what cannot be saved is not kept for it";
        EXPECT_TRUE(FailsBare(inside::kAccessDenied, reader.Get()->SaveFile()));
        EXPECT_EQ(shown(reader), u"Apex/Alpha/Main");
    }
    const Bytes before = ReadDocument(path).at(StreamOf(full.correction));
    Project project = Opened(path);
    project.SetCacheBounds(1, 2);
    Listener listener(project);
    EXPECT_EQ(shown(project), u"Apex/Alpha/Main");
    EXPECT_EQ(listener.Taken(), Strings{});
    EXPECT_FALSE(project.Modified());
    Again(project, full.experiment);
    Again(project, full.correction);
    project.SaveFile();
    project.CloseFile();
    EXPECT_EQ(AsHex(ReadDocument(path).at(StreamOf(full.correction))), AsHex(before));
    EXPECT_TRUE(CheckDocument(path).empty());
    std::filesystem::remove(libraryPath);
    EXPECT_EQ(shown(Opened(path)), u"Apex/Alpha/Main");
}

// A display name looks for an absent library once; who asks for the library, or for something in it, looks again.
TEST_F(LibraryReferences, NamesDoNotLookForAnAbsentLibraryAgain) {
    const auto away = folder / "away.lvs";
    full.catalogue.library.SaveFileAs(PathText(libraryPath));
    full.project.SaveFileAs(PathText(path));
    full.catalogue.acme.Name(u"Apex");
    full.catalogue.library.SaveFile();
    full.project.CloseFile();
    full.catalogue.library.CloseFile();
    std::filesystem::rename(libraryPath, away);
    const auto absentThenBack = [&](Project& project) {
        SpeakerEQ speaker = Again(project, full.speaker);
        EXPECT_EQ(speaker.DisplayName(), u"Acme/Alpha/Main");
        std::filesystem::rename(away, libraryPath);
        EXPECT_EQ(speaker.DisplayName(), u"Acme/Alpha/Main");
        return speaker;
    };
    const auto refresh = [&](auto change) {
        Project project = Opened(path);
        const SpeakerEQ speaker = absentThenBack(project);
        change(project);
        EXPECT_EQ(speaker.DisplayName(), u"Apex/Alpha/Main");
        project = Project();
        std::filesystem::rename(libraryPath, away);
    };
    refresh([](Project& project) { EXPECT_TRUE(project.Specifications()); });
    refresh([&](Project& project) { EXPECT_TRUE(Again(project, full.speaker).Model()); });
    refresh([&](Project& project) {
        std::filesystem::create_directory(folder / "moved");
        project.SaveFileAs(PathText(folder / "moved" / "b.lvp"));
    });
}

// A document from elsewhere may name a library on any machine: being shown, it does not reach out for it.
TEST_F(LibraryReferences, NamesDoNotOpenLibrariesOnOtherMachines) {
    full.catalogue.library.SaveFileAs(PathText(libraryPath));
    full.project.SaveFileAs(PathText(path));
    full.catalogue.acme.Name(u"Apex");
    std::filesystem::create_directory(folder / "far");
    full.catalogue.library.SaveFileAs(PathText(folder / "far" / "b.lvs"));
    full.catalogue.library.CloseFile();
    full.project.CloseFile();
    std::filesystem::remove(libraryPath);
    Streams streams = ReadDocument(path);
    const std::u16string local = PathText(folder / "far" / "b.lvs");
    // The same file by a way that may lead far.
    const std::u16string distant = (local.starts_with(u'/') ? u"/" : u"\\\\?\\") + local;
    for (const char16_t* name : {u"ROOT", u"ROOT-V200"}) {
        std::string root = AsHex(streams.at(name));
        const std::string stored = TextBytes(PathText(libraryPath));
        const std::size_t at = root.find(stored);
        ASSERT_NE(at, root.npos);
        streams.at(name) = Hex(root.replace(at, stored.size(), TextBytes(distant)));
    }
    WriteDocument(path, streams);
    const Project project = Opened(path);
    const SpeakerEQ speaker = Again(project, full.speaker);
    EXPECT_EQ(speaker.DisplayName(), u"Acme/Alpha/Main");
    EXPECT_FALSE(speaker.Model());
    EXPECT_FALSE(Again(project, full.config).ModelConfig());
    ASSERT_TRUE(project.Specifications()) << "asked for by its name";
    EXPECT_EQ(speaker.DisplayName(), u"Apex/Alpha/Main");
    EXPECT_TRUE(speaker.Model());
}

TEST_F(LibraryReferences, ModelConfigurationsDecideTheChannels) {
    struct Case {
        ModelConfig config;
        LXConfig id;
        std::size_t outputs;
    };
    const Catalogue& all = full.catalogue;
    full.measurement.Data(Columns(2, 2));
    Listener listener(full.project);
    for (const Case& each : {Case{all.single, LX_SINGLEAMP, 1}, Case{all.triAmp, LX_TRIAMP, 3},
                             Case{all.sub, LX_SUBWOOFER, 1}, Case{all.biAmp, LX_BIAMP, 2}}) {
        SCOPED_TRACE(each.id);
        listener.Taken();
        full.config.ModelConfig(each.config);
        EXPECT_EQ(listener.Taken(), Strings{"item Bi amp 0"});
        EXPECT_EQ(full.config.ConfigID(), each.id);
        EXPECT_EQ(full.config.Config().ConfigID(), each.id);
        EXPECT_EQ(ContentOf(full.measurement.Data()).count[0], 2u) << "what is there stays";
        for (std::size_t columns = 1; columns <= 4; ++columns) {
            const HRESULT expected = columns == each.outputs ? S_OK : Status(0x80040FA2);
            EXPECT_EQ(StatusOf([&] { full.measurement.Data(Columns(2, columns)); }), expected) << columns;
            EXPECT_EQ(StatusOf([&] { full.correction.VerifyMeas(Columns(2, columns)); }), expected) << columns;
        }
        full.measurement.Data(Columns(2, each.outputs));
    }
    EXPECT_TRUE(FailsBare(E_POINTER, full.config.Get()->put_ModelConfig(nullptr)));
    EXPECT_EQ(full.config.ConfigID(), LX_BIAMP);
    EXPECT_EQ(full.config.Name(), u"Bi amp");
    Ref<::ISpkrEQConfig> made;
    EXPECT_TRUE(FailsBare(E_POINTER, full.speaker.SpkrEQConfigs().Get()->Add(nullptr, made.Out())));
}

TEST_F(LibraryReferences, SpeakersAreFoundByNameAndModel) {
    SpeakerEQs speakers = full.project.SpeakerEQs();
    const Model beta = full.catalogue.acme.Models().Add(u"Beta"), gamma = full.catalogue.acme.Models().Add(u"Gamma");
    const SpeakerEQ unknown = speakers.Add(u"Main"), second = speakers.Add(u"MAIN", beta);
    const auto idOf = [](const Object& found) { return found ? found.As<SpeakerEQ>().ID() : std::u16string(); };
    EXPECT_EQ(idOf(speakers.FindName(u"main")), full.speaker.ID()) << "the first of the name";
    EXPECT_EQ(idOf(speakers.FindName(u"main", full.catalogue.alpha)), full.speaker.ID());
    EXPECT_EQ(idOf(speakers.FindName(u"main", beta)), second.ID());
    EXPECT_EQ(idOf(speakers.FindName(u"main", gamma)), u"");
    EXPECT_EQ(idOf(speakers.FindName(u"Left", beta)), u"");

    // By name alone: the shared member, which late-bound callers reach by its number.
    Variant found;
    EXPECT_EQ(static_cast<::_Collection*>(speakers.Get())->FindName(Bstr(u"MAIN").get(), found.Out()), S_OK);
    EXPECT_EQ(found.pdispVal, full.speaker.Pointer());
    const Bstr main(u"Main"), nobody(u"Nobody");
    const auto find = [&](DISPID id, std::initializer_list<VARIANT> arguments) {
        return DoLate(speakers.Pointer(), id, arguments);
    };
    EXPECT_EQ(find(0x01, {TextArgument(main.get()), ObjectArgument(beta.Pointer())}).Object(), second.Pointer());
    EXPECT_EQ(find(0x01, {TextArgument(main.get())}).Object(), full.speaker.Pointer());
    EXPECT_EQ(find(0x20, {TextArgument(nobody.get())}).status, S_FALSE);
    EXPECT_EQ(find(0x01, {TextArgument(main.get()), TextArgument(main.get())}).status, DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(FailsBare(E_POINTER, speakers.Get()->FindName(nullptr, beta.Get(), found.Out())));

    const Project opened = Reopened();
    EXPECT_EQ(idOf(opened.SpeakerEQs().FindName(u"Main", Model(beta))), second.ID()) << "models are told apart by ID";
}

}  // namespace
}  // namespace lumvex::tests
