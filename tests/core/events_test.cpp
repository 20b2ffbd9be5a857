// Change events as a client sees them: what is told, in which order, and what a sink may do.
#include <thread>

#include "kit/listener.hpp"

namespace lumvex::tests {
namespace {

class Events : public testing::Test {
protected:
    Project project = Project::Create();
    Data data = project.Data();
    Listener listener{project};

    Strings Taken() { return listener.Taken(); }
};

TEST_F(Events, EachKindOfChangeIsToldOncePerObject) {
    Datum datum = data.Add(u"A");
    EXPECT_EQ(Taken(), (Strings{"item A 1", "collection Data 1"}));
    datum.Name(u"B");
    EXPECT_EQ(Taken(), Strings{"item B 2"});
    datum.Timestamp(2.5);
    EXPECT_EQ(Taken(), Strings{"item B 2"});
    datum.Locks(0);
    EXPECT_EQ(Taken(), Strings{"item B 0"});
    datum.SampleRate(1);
    EXPECT_EQ(Taken(), Strings{"item B 0"});
    datum.Data(Array::FromColumns(std::vector<float>(2), 2, 1));
    EXPECT_EQ(Taken(), Strings{"item B 3"});
    project.Units(LX_UNITS_IMPERIAL);
    EXPECT_EQ(Taken(), Strings{"root"});
    EXPECT_THROW(datum.Data(Variant::FromLong(3)), Error);
    EXPECT_EQ(Taken(), Strings{}) << "a refused put tells nothing";
}

TEST_F(Events, RemovalTellsBeforeAndAfter) {
    Datum first = data.Add(u"A");
    data.Add(u"B").Locks(1);
    data.Add(u"C");
    Taken();
    LONG countBefore = 0;
    Subscription counting(project, [&](const Change& change) {
        if (change.type == LX_EV_BEFORE_DELETE) countBefore = data.Count();
    });
    data.Remove(1);
    EXPECT_EQ(countBefore, 3) << "told while the member is still there";
    EXPECT_EQ(Taken(), (Strings{"item A 7", "collection Data 9"}));
    EXPECT_THROW(data.Remove(1), Error);
    EXPECT_EQ(Taken(), Strings{}) << "a locked member is not announced";
    EXPECT_THROW(data.RemoveAll(), Error);
    EXPECT_EQ(Taken(), (Strings{"collection Data 4", "collection Data 6"}));
    data.Item(1).Locks(0);
    Taken();
    data.RemoveAll();
    EXPECT_EQ(Taken(), (Strings{"collection Data 4", "collection Data 5"}));
    data.RemoveAll();
    EXPECT_EQ(Taken(), (Strings{"collection Data 4", "collection Data 5"})) << "of an empty collection as well";
}

TEST_F(Events, ChangesMadeByAHandlerAreToldInTheSameDelivery) {
    Datum other = data.Add(u"Other");
    Taken();
    Subscription renaming(project, [&](const Change& change) {
        if (change.kind == Change::Kind::Item && change.type == LX_EV_CREATE) {
            change.object.As<Collectable>().Name(u"Renamed");  // its first event was already told: dropped
            other.SampleRate(7);
        }
    });
    data.Add(u"New");
    EXPECT_EQ(Taken(), (Strings{"item New 1", "collection Data 1", "item Other 0"}));
    EXPECT_EQ(other.SampleRate(), 7);
}

TEST_F(Events, ObjectsGoneBeforeDeliveryAreNotTold) {
    Taken();
    Subscription removing(project, [&](const Change& change) {
        if (change.kind == Change::Kind::Item && change.type == LX_EV_CREATE) {
            Datum temporary = data.Add(u"Temporary");
            data.Remove(data.Count());
        }
    });
    data.Add(u"A");
    for (const std::string& each : Taken()) EXPECT_EQ(each.find("Temporary"), std::string::npos) << each;
}

TEST_F(Events, SinksMayLeaveThrowAndFail) {
    int calls = 0;
    Subscription once;
    once = Subscription(project, [&](const Change&) {
        ++calls;
        once.End();
        throw std::runtime_error("a handler's own trouble");
    });
    data.Add(u"A");
    EXPECT_EQ(calls, 1) << "a sink that left within its first call is not called again";
    EXPECT_EQ(Taken(), (Strings{"item A 1", "collection Data 1"})) << "the others hear everything";
    listener.End();
    data.Add(u"B");
    EXPECT_EQ(Taken(), Strings{});
}

TEST_F(Events, ASubscriptionMayBeMovedReplacedAndDestroyedAtAnyTime) {
    int first = 0, second = 0;
    Subscription one(project, [&](const Change&) { ++first; }), two(project, [&](const Change&) { ++second; });
    one = std::move(two);
    data.Add(u"A");
    EXPECT_EQ(first, 0) << "what an assignment replaces is ended";
    EXPECT_EQ(second, 2);

    // Moved and replaced in its own handler, which goes on until it returns.
    std::vector<int> said;
    Subscription next, current;
    current = Subscription(project, [&](const Change&) {
        const int kept = 1;
        next = std::move(current);
        next = Subscription(project, [&](const Change&) { said.push_back(2); });
        said.push_back(kept);
    });
    data.Add(u"B");
    EXPECT_EQ(said, (std::vector{1, 2})) << "the new handler hears of what comes next";

    // A handler that owns its own subscription, and through it alone the document: ending it destroys all three.
    struct Session {
        Project document = Project::Create();
        Subscription subscription;
    };
    for (const bool inHandler : {true, false}) {
        auto session = std::make_shared<Session>();
        const std::weak_ptr<Session> watched = session;
        Data its = session->document.Data();
        Session* const held = session.get();
        held->subscription = Subscription(held->document, [session = std::move(session)](const Change&) {
            session->document = Project();
            session->subscription.End();
        });
        if (inHandler)
            its.Add(u"C");
        else
            held->subscription.End();
        EXPECT_TRUE(watched.expired());
    }
}

TEST_F(Events, WhatAHandlerThrowsStaysOnItsOwnSide) {
    const Ref<events::FunctionSink> sink(
        new events::FunctionSink([](const Change&) { throw std::runtime_error("no"); }));
    VARIANT root;
    VariantInit(&root);
    root.vt = VT_UNKNOWN;
    root.punkVal = project.Pointer();
    DISPPARAMS arguments{&root, nullptr, 1, 0};
    EXPECT_EQ(sink->Invoke(3, GUID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &arguments, nullptr, nullptr, nullptr),
              E_UNEXPECTED);
}

TEST_F(Events, TheErrorOfTheCallOutlivesItsHandlers) {
    data.Add(u"A").Locks(1);
    Subscription noisy(project, [&](const Change&) { EXPECT_THROW(data.FindNameExact(u"nobody"), Error); });
    try {
        data.RemoveAll();
        FAIL() << "a locked member must stay";
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), static_cast<HRESULT>(0x80040FB2));
        EXPECT_EQ(error.Words(), "Not all items could be removed from the collection.");
    }
}

TEST_F(Events, ConnectionPointsFollowThePlatform) {
    const auto container = Ref<IDispatch>(project.Pointer()).As<IConnectionPointContainer>();
    ASSERT_TRUE(container);
    EXPECT_EQ(Ref<IConnectionPointContainer>(container).As<IUnknown>(),
              Ref<IDispatch>(project.Pointer()).As<IUnknown>());
    Ref<IConnectionPoint> point;
    EXPECT_EQ(container->FindConnectionPoint(kIidOf<IDispatch>, point.Out()), CONNECT_E_NOCONNECTION);
    ASSERT_EQ(container->FindConnectionPoint(kIidOf<::_ILXDEvents>, point.Out()), S_OK);
    IID iid;
    EXPECT_EQ(point->GetConnectionInterface(&iid), S_OK);
    EXPECT_TRUE(IsEqualGUID(iid, kIidOf<::_ILXDEvents>));
    EXPECT_EQ(point->Unadvise(4711), CONNECT_E_NOCONNECTION);
    DWORD cookie = 0;
    EXPECT_EQ(point->Advise(nullptr, &cookie), E_POINTER);
    EXPECT_EQ(point->Advise(point.get(), &cookie), CONNECT_E_CANNOTCONNECT);
    Ref<IEnumConnections> connections;
    ASSERT_EQ(point->EnumConnections(connections.Out()), S_OK);
    CONNECTDATA found[2]{};
    ULONG fetched = 0;
    EXPECT_EQ(connections->Next(2, found, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 1u);
    found[0].pUnk->Release();
    Ref<IEnumConnectionPoints> points;
    ASSERT_EQ(container->EnumConnectionPoints(points.Out()), S_OK);
    Ref<IConnectionPoint> only;
    EXPECT_EQ(points->Next(1, only.Out(), nullptr), S_OK);
    EXPECT_EQ(only, point);
    EXPECT_EQ(points->Skip(1), S_FALSE);
}

// Two threads on one document and one of its own each, sinks listening: each thread hears its own changes.
TEST(EventThreads, ChangesAreToldOnTheThreadThatMadeThem) {
    Project shared = Project::Create();
    Data sharedData = shared.Data();
    std::atomic<int> onOtherThread{0}, heard{0};
    thread_local bool inside = false;
    Subscription listening(shared, [&](const Change&) {
        ++heard;
        if (!inside) ++onOtherThread;
    });
    const auto work = [&] {
        Project own = Project::Create();
        int ownHeard = 0;
        Subscription ownListening(own, [&](const Change&) { ++ownHeard; });
        inside = true;
        for (int i = 0; i < 200; ++i) {
            sharedData.Add(u"shared").SampleRate(i);
            own.Data().Add(u"own");
        }
        EXPECT_EQ(ownHeard, 400);
    };
    std::thread first(work), second(work);
    first.join();
    second.join();
    EXPECT_EQ(onOtherThread, 0);
    EXPECT_EQ(heard, 2 * 200 * 3);
    EXPECT_EQ(sharedData.Count(), 400);
}

}  // namespace
}  // namespace lumvex::tests
