#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

TEST(Items, PutsTakeAnyValueAndMarkTheDocument) {
    Project project = Project::Create();
    Datum datum = project.Data().Add(u"A");
    EXPECT_TRUE(IsModified(project));
    for (const LONG locks : std::initializer_list<LONG>{1, -5, 0x7FFFFFFF, static_cast<LONG>(0x80000000), 0}) {
        datum.Locks(locks);
        EXPECT_EQ(datum.Locks(), locks);
    }
    for (const DATE date : {0.0, -1.25, 2958465.999, 1e300}) {
        datum.Timestamp(date);
        EXPECT_EQ(datum.Timestamp(), date);
    }
    for (const LONG rate : {0, -44100, 768000}) {
        datum.SampleRate(rate);
        EXPECT_EQ(datum.SampleRate(), rate);
    }
    datum.Name(u"");
    EXPECT_EQ(datum.Name(), u"");
    EXPECT_EQ(datum.Get()->put_Name(nullptr), S_OK) << "a null text is the empty text";
}

// A short name is kept in another way than a long one.
TEST(Items, NamesOfEveryLengthTakeEachOthersPlace) {
    const Project project = Project::Create();
    const Datum datum = project.Data().Add(u"");
    std::u16string longest;
    for (char16_t unit = u'a'; unit <= u'z'; ++unit) longest += unit;
    for (std::size_t from = 0; from <= longest.size(); ++from) {
        for (std::size_t to = 0; to <= longest.size(); ++to) {
            datum.Get()->put_Name(Bstr(std::u16string_view(longest).substr(longest.size() - from)).get());
            datum.Get()->put_Name(Bstr(std::u16string_view(longest).substr(0, to)).get());
            ASSERT_EQ(datum.Name(), longest.substr(0, to)) << from;
        }
    }
}

TEST(Items, SameAndSameID) {
    Project project = Project::Create();
    const Data data = project.Data();
    const Datum first = data.Add(u"A"), second = data.Add(u"A");
    LONG answer = 7;
    EXPECT_EQ(first.Get()->IsSame(first.Pointer(), &answer), S_OK);
    EXPECT_EQ(answer, 1);
    const struct {
        const char* what;
        IUnknown* tested;
        IUnknown* with;
        HRESULT same;
    } cases[] = {{"an item and another", first.Pointer(), second.Pointer(), S_FALSE},
                 {"an item and its collection", first.Pointer(), data.Pointer(), S_FALSE},
                 {"an item and its root", first.Pointer(), project.Pointer(), S_FALSE},
                 {"an item and itself", second.Pointer(), second.Pointer(), S_OK}};
    for (const auto& each : cases) {
        const auto item = Ref<IUnknown>(each.tested).As<IDatum>();
        EXPECT_EQ(item->IsSame(each.with, &answer), each.same) << each.what;
        EXPECT_EQ(answer, each.same == S_OK ? 1 : 0) << each.what;
        EXPECT_EQ(item->IsSameID(each.with, &answer), each.same) << each.what;
        EXPECT_EQ(answer, each.same == S_OK ? 1 : 0) << each.what;
    }
    EXPECT_EQ(data.Get()->IsSame(data.Pointer(), &answer), S_OK);
    EXPECT_EQ(data.Get()->IsSameID(first.Pointer(), &answer), S_FALSE);
    // Of a root the answer may be left to the status.
    EXPECT_EQ(project.Get()->IsSame(project.Pointer(), nullptr), S_OK);
    EXPECT_EQ(project.Get()->IsSameID(data.Pointer(), nullptr), S_FALSE);
    EXPECT_EQ(project.Get()->IsSame(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(project.Get()->IsSameID(Project::Create().Pointer(), nullptr), S_FALSE);
}

// ---- what a client still holds of what has left the document ----

void ExpectBaseMembersAnswer(const Datum& datum, const std::u16string& id, std::u16string_view name) {
    EXPECT_EQ(datum.ID(), id);
    EXPECT_EQ(datum.Name(), name);
    EXPECT_EQ(datum.DisplayName(), name);
    EXPECT_EQ(datum.Timestamp(), 1.5);
    EXPECT_EQ(datum.Locks(), 0);
    EXPECT_EQ(datum.IsLink(), 0);
    EXPECT_EQ(datum.DataSupport(), 0);
    EXPECT_EQ(datum.SampleRate(), 96000);
    EXPECT_EQ(datum.InterfaceID(), u"{5281BFCB-CB56-4B5D-A88E-D0B028D7B626}");
    EXPECT_EQ(datum.IsSame(datum), 1);
    EXPECT_EQ(datum.IsSameID(datum), 1);
}

void ExpectOrphan(Datum& datum, const std::u16string& id) {
    ExpectBaseMembersAnswer(datum, id, u"Orphan");
    Variant out = Variant::FromLong(3);
    Ref<IData> parent;
    Ref<IProject> root;
    Ref<_Root> rootBase;
    Ref<_Collection> parentBase;
    EXPECT_TRUE(FailsWith(4009, datum.Get()->get_Parent(parent.Out())));
    EXPECT_TRUE(FailsWith(4009, datum.Get()->get_Root(root.Out())));
    EXPECT_TRUE(FailsWith(4009, datum.Get()->get_RootBase(rootBase.Out())));
    EXPECT_TRUE(FailsWith(4009, datum.Get()->get_ParentBase(parentBase.Out())));
    EXPECT_TRUE(FailsWith(4009, datum.Get()->get_Data(out.Out())));
    EXPECT_EQ(out.vt, VT_EMPTY);
    EXPECT_TRUE(FailsWith(4009, datum.Get()->put_Data(Floats({1, 2}))));
    EXPECT_TRUE(FailsWith(4009, datum.Get()->put_Data(Variant())));
    EXPECT_TRUE(FailsWith(4009, datum.Get()->put_Name(Bstr(u"changed").get())));
    EXPECT_TRUE(FailsWith(4009, datum.Get()->put_Timestamp(9)));
    EXPECT_TRUE(FailsWith(4009, datum.Get()->FindID(Bstr(id).get(), out.Out())));
    ExpectBaseMembersAnswer(datum, id, u"Orphan");
    EXPECT_TRUE(FailsWith(4009, datum.Get()->put_SampleRate(22050)));
    EXPECT_EQ(datum.SampleRate(), 22050) << "a refused scalar put keeps its value";
    EXPECT_TRUE(FailsWith(4009, datum.Get()->put_Locks(3)));
    EXPECT_EQ(datum.Locks(), 3);
}

Datum AddOrphanToBe(const Project& project) {
    Datum datum = project.Data().Add(u"Orphan");
    datum.Timestamp(1.5);
    datum.SampleRate(96000);
    datum.Data(Floats({1, 2, 3}));
    return datum;
}

TEST(Orphans, ReleasingTheRootOrphansWhatIsHeldBelow) {
    const std::size_t before = inside::LiveObjects();
    {
        Project project = Project::Create();
        Datum datum = AddOrphanToBe(project);
        Data data = project.Data();
        const std::u16string id = datum.ID(), dataId = data.ID();
        const Descendants members = data.Enumerate();
        const Ref<IEnumVARIANT> next = [&] {
            Ref<IUnknown> made;
            EXPECT_EQ(data.Get()->get__NewEnum(made.Out()), S_OK);
            return made.As<IEnumVARIANT>();
        }();
        project = Project();
        ExpectOrphan(datum, id);

        EXPECT_EQ(data.Name(), u"Data");
        EXPECT_EQ(data.ID(), dataId);
        EXPECT_EQ(data.Count(), 1);
        Variant out;
        Ref<IDatum> item;
        Ref<IProject> root;
        Ref<IUnknown> members2;
        EXPECT_TRUE(FailsWith(4009, data.Get()->get_Item(1, item.Out())));
        EXPECT_TRUE(FailsWith(4009, data.Get()->get_Root(root.Out())));
        EXPECT_TRUE(FailsWith(4009, data.Get()->get_Parent(root.Out())));
        EXPECT_TRUE(FailsWith(4009, data.Get()->Add(Bstr(u"B").get(), item.Out())));
        EXPECT_TRUE(FailsWith(4009, data.Get()->Remove(1)));
        EXPECT_TRUE(FailsWith(4009, data.Get()->RemoveAll()));
        EXPECT_TRUE(FailsWith(4009, data.Get()->FindName(Bstr(u"Orphan").get(), out.Out())));
        EXPECT_TRUE(FailsWith(4009, data.Get()->get_NewDescendantsEnum(members2.Out())));
        EXPECT_TRUE(FailsWith(4009, next->Next(1, out.Out(), nullptr)));
        EXPECT_EQ(data.Count(), 1);
        EXPECT_EQ(inside::LiveObjects(), before + 4) << "what is held here: the root itself is gone";
    }
    EXPECT_EQ(inside::LiveObjects(), before);
}

}  // namespace
}  // namespace lumvex::tests
