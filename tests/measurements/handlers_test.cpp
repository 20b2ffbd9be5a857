// Handlers that call back into the model in the middle of what they are told of. Whatever they do, the document that is
// saved afterwards is sound and holds what the live one shows.
#include "kit/documents.hpp"
#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

class Handlers : public ::testing::Test {
protected:
    // Calls `handle` at the first event of a type, and never again.
    void AtFirst(LXEventType type, std::function<void()> handle) {
        subscription = Subscription(full.project, [type, handle, done = false](const Change& change) mutable {
            if (change.type == type && !std::exchange(done, true)) handle();
        });
    }
    void ExpectSoundWhenSaved() {
        const std::vector<std::string> live = Below(full.project);
        full.project.SaveFileAs(PathText(folder / "after.lvp"));
        full.project.CloseFile();
        for (const DocumentProblem& problem : CheckDocument(folder / "after.lvp"))
            ADD_FAILURE() << problem.where << ": " << problem.what;
        EXPECT_EQ(Below(Opened(folder / "after.lvp", LX_SHARE_READ)), live);
    }
    static std::vector<std::string> Below(const Project& project) {
        std::vector<std::string> all;
        for (const Object& each : project.NewDescendantsEnum()) {
            const auto item = each.As<Collectable>();
            all.push_back(ToUtf8(item.ID()) + " " + ToUtf8(item.Name()));
        }
        return all;
    }

    FullProject full;
    const Folder folder;
    Subscription subscription;
};

// A save takes the marks of what has changed away; what is removed after it has to be marked again.
TEST_F(Handlers, SavingBeforeTheMembersGo) {
    Data data = full.project.Data();
    for (const char16_t* name : {u"A", u"B", u"C"}) data.Add(name);
    full.project.SaveFileAs(PathText(folder / "a.lvp"));
    AtFirst(LX_EV_BEFORE_REMOVEALL, [&] { full.project.SaveFile(); });
    data.RemoveAll();
    full.project.SaveFile();
    full.project.CloseFile();
    Project again = Opened(folder / "a.lvp");
    EXPECT_EQ(again.Data().Count(), 0);
    again = Project();
    EXPECT_TRUE(CheckDocument(folder / "a.lvp").empty());
}

TEST_F(Handlers, AddingToACollectionThatWasJustEmptied) {
    Corrections corrections = full.config.Corrections();
    full.config.Measurements();
    int told = 0;
    const Subscription adding(full.project, [&](const Change& change) {
        // The measurements are emptied after the corrections.
        if (change.type == LX_EV_BEFORE_REMOVEALL && ++told == 2) corrections.Add(u"late");
    });
    EXPECT_TRUE(FailsWith(4018, full.speaker.SpkrEQConfigs().Get()->Remove(1)));
    EXPECT_EQ(full.config.Corrections().Pointer(), corrections.Pointer());
    ASSERT_EQ(corrections.Count(), 1);
    EXPECT_EQ(corrections.Item(1).Name(), u"late") << "what a handler adds is not lost";
    ExpectSoundWhenSaved();
}

TEST_F(Handlers, ReadingTheChildrenOfWhatIsBeingRemoved) {
    RoomEQ room = full.project.Rooms().Add(u"R");
    room.Positions().Add(u"P");
    std::vector<Collection> seen;
    const Subscription reading(full.project, [&](const Change&) { seen.push_back(room.CorrectionGroups()); });
    full.project.Rooms().Remove(1);
    EXPECT_FALSE(seen.empty());
    EXPECT_TRUE(FailsWith(4009, room.Get()->put_Name(Bstr(u"x").get())));
    ExpectSoundWhenSaved();
}

TEST_F(Handlers, RemovingOrLockingWhatIsBeingRemoved) {
    Data data = full.project.Data();
    for (const char16_t* name : {u"A", u"B", u"C"}) data.Add(name);
    AtFirst(LX_EV_BEFORE_DELETE, [&] { data.Remove(1); });
    EXPECT_TRUE(FailsWith(4011, data.Get()->Remove(1))) << "gone already";
    EXPECT_EQ(data.Count(), 2);
    AtFirst(LX_EV_BEFORE_DELETE, [&] { data.Item(1).Locks(1); });
    EXPECT_TRUE(FailsWith(4008, data.Get()->Remove(1)));
    AtFirst(LX_EV_BEFORE_DELETE, [&] { data.Remove(2); });
    EXPECT_TRUE(FailsWith(4008, data.Get()->Remove(1)));
    data.Item(1).Locks(0);
    AtFirst(LX_EV_BEFORE_REMOVEALL, [&] { full.speaker.SpkrEQConfigs().Remove(1); });
    full.project.SpeakerEQs().RemoveAll();
    EXPECT_EQ(full.project.SpeakerEQs().Count(), 0);
    ExpectSoundWhenSaved();
}

TEST_F(Handlers, ReleasingTheRootEndsTheDocumentButNotTheProgram) {
    for (const bool all : {false, true}) {
        SCOPED_TRACE(all);
        Project project = Project::Create();
        RoomEQs rooms = project.Rooms();
        RoomEQ room = rooms.Add(u"R");
        room.Positions().Add(u"P").Measurements().Add(u"M");
        {
            auto container = Ref<IDispatch>(project.Pointer()).As<IConnectionPointContainer>();
            Ref<IConnectionPoint> point;
            ASSERT_EQ(container->FindConnectionPoint(kIidOf<::_ILXDEvents>, point.Out()), S_OK);
            DWORD cookie = 0;
            const Ref<IUnknown> sink(new events::FunctionSink([&](const Change& change) {
                if (change.type != LX_EV_AFTER_REMOVEALL) project = Project();
            }));
            ASSERT_EQ(point->Advise(sink.get(), &cookie), S_OK);
        }
        const HRESULT status = all ? rooms.Get()->RemoveAll() : rooms.Get()->Remove(1);
        EXPECT_TRUE(status == S_OK || status == kOrphaned) << InHex(status);
        EXPECT_FALSE(project);
        EXPECT_TRUE(FailsWith(4009, room.Get()->put_Name(Bstr(u"x").get())));
    }
}

// One locked measurement keeps its configuration; everything that a client holds of it stays what it was.
TEST_F(Handlers, WhatCannotBeRemovedKeepsItsCollections) {
    Corrections corrections = full.config.Corrections();
    Measurements measurements = full.config.Measurements();
    full.measurement.Locks(1);
    EXPECT_TRUE(FailsWith(4018, full.speaker.SpkrEQConfigs().Get()->Remove(1)));
    EXPECT_EQ(full.config.Corrections().Pointer(), corrections.Pointer());
    EXPECT_EQ(corrections.Parent().Pointer(), full.config.Pointer());
    EXPECT_EQ(corrections.Count(), 0);
    EXPECT_EQ(measurements.Count(), 1);
    corrections.Add(u"again");
    ExpectSoundWhenSaved();
}

// A copy replaces all members or none: also those that cannot be read, of which an older way kept the readable ones
// out.
TEST_F(Handlers, ContentsReplaceWhatCannotBeRead) {
    Corrections corrections = full.config.Corrections();
    for (const char16_t* name : {u"second", u"third"}) corrections.Add(name);
    full.project.SaveFileAs(PathText(folder / "damaged.lvp"));
    full.project.SaveFileAs(PathText(folder / "sound.lvp"));
    Streams streams = ReadDocument(folder / "damaged.lvp");
    streams.at(inside::StreamNameOf(ParseGuid(corrections.Item(2).ID()).value())).resize(20);
    WriteDocument(folder / "damaged.lvp", streams);
    Project damaged = Opened(folder / "damaged.lvp");
    const auto config = damaged.Load(full.config.ID()).As<SpkrEQConfig>();
    EXPECT_TRUE(FailsBare(STG_E_READFAULT, config.Get()->CopyContents(full.config.Get()))) << "nothing to copy";
    EXPECT_EQ(corrections.Count(), 3);
    EXPECT_EQ(corrections.Item(1).Name(), u"C");
    full.config.CopyContents(config);
    ASSERT_EQ(config.Get()->get_Corrections(Ref<::ICorrections>().Out()), S_OK);
    damaged.SaveFile();
    damaged.CloseFile();
    EXPECT_TRUE(CheckDocument(folder / "damaged.lvp").empty());
}

TEST_F(Handlers, ContentsMoveIntoTheCollectionsThatAreThere) {
    SpkrEQConfig other = full.speaker.SpkrEQConfigs().Add(full.catalogue.triAmp);
    Corrections taken = other.Corrections();
    taken.Add(u"old");
    Measurements measurements = other.Measurements();
    full.config.CopyContents(other);
    EXPECT_EQ(other.Corrections().Pointer(), taken.Pointer());
    EXPECT_EQ(other.Measurements().Pointer(), measurements.Pointer());
    ASSERT_EQ(taken.Count(), 1);
    EXPECT_EQ(taken.Item(1).Name(), u"C");
    EXPECT_EQ(taken.Item(1).Parent().Pointer(), taken.Pointer());
    EXPECT_EQ(taken.Item(1).Measurement().Pointer(), measurements.Item(1).Pointer()) << "the copy's own";
    ExpectSoundWhenSaved();
}

TEST_F(Handlers, ALinkThatCannotGoToAnotherProjectLeavesNothingThere) {
    Project other = Project::Create();
    Variant copy;
    EXPECT_TRUE(FailsWith(4015, full.experimentLink.Get()->CopyWithParents(other.Get(), copy.Out())));
    EXPECT_EQ(other.Experiments().Count(), 0);
    EXPECT_FALSE(other.Modified());
}

}  // namespace
}  // namespace lumvex::tests
