#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

class Enumerators : public ::testing::Test {
protected:
    Enumerators() {
        for (const char16_t* name : {u"A", u"B", u"C", u"D", u"E"}) data.Add(name);
    }
    Ref<IEnumVARIANT> New() const {
        Ref<IUnknown> made;
        EXPECT_EQ(data.Get()->get__NewEnum(made.Out()), S_OK);
        return made.As<IEnumVARIANT>();
    }
    // The names of the next `count`, in one call.
    std::u16string Next(IEnumVARIANT* from, ULONG count, HRESULT status) {
        std::vector<Variant> values(count);
        std::vector<VARIANT> raw(count + 1);
        ULONG fetched = 0;
        EXPECT_EQ(from->Next(count, raw.data(), &fetched), status);
        std::u16string names;
        for (ULONG at = 0; at < fetched; ++at) {
            values[at] = Variant::Attach(raw[at]);
            EXPECT_EQ(values[at].vt, VT_DISPATCH);
            names += Datum(Ref<IDispatch>(values[at].pdispVal).As<IDatum>()).Name();
        }
        return names;
    }

    Project project = Project::Create();
    Data data = project.Data();
};

TEST_F(Enumerators, GoThroughTheMembersInOrder) {
    const auto all = New();
    EXPECT_EQ(Next(all.get(), 2, S_OK), u"AB");
    EXPECT_EQ(Next(all.get(), 0, S_OK), u"");
    EXPECT_EQ(Next(all.get(), 9, S_FALSE), u"CDE");
    EXPECT_EQ(Next(all.get(), 1, S_FALSE), u"");
    EXPECT_EQ(all->Reset(), S_OK);
    EXPECT_EQ(all->Skip(3), S_OK);
    Ref<IEnumVARIANT> copy;
    ASSERT_EQ(all->Clone(copy.Out()), S_OK);
    EXPECT_EQ(Next(all.get(), 1, S_OK), u"D");
    EXPECT_EQ(Next(copy.get(), 2, S_OK), u"DE") << "a copy stands where the original stood";
    EXPECT_EQ(all->Skip(2), S_FALSE);
    EXPECT_EQ(Next(all.get(), 1, S_FALSE), u"");
    EXPECT_EQ(copy->Skip(0), S_OK);
    EXPECT_EQ(all->Reset(), S_OK);
    EXPECT_EQ(Next(all.get(), 5, S_OK), u"ABCDE");

    Variant value;
    EXPECT_EQ(all->Reset(), S_OK);
    EXPECT_EQ(all->Next(1, value.Out(), nullptr), S_OK);
    EXPECT_EQ(all->Next(2, value.Out(), nullptr), E_POINTER);
    EXPECT_EQ(all->Next(1, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(all->Clone(nullptr), E_POINTER);
    EXPECT_FALSE(all.As<IDispatch>());
}

TEST_F(Enumerators, ShowTheListAsItWasWithoutWhatIsGone) {
    const auto all = New();
    data.Remove(2);
    data.Add(u"F");
    EXPECT_EQ(Next(all.get(), 3, S_OK), u"ACD");
    data.RemoveAll();
    EXPECT_EQ(Next(all.get(), 3, S_FALSE), u"");
    EXPECT_EQ(all->Reset(), S_OK);
    EXPECT_EQ(Next(all.get(), 1, S_FALSE), u"");
}

TEST_F(Enumerators, KeepTheirCollectionAlive) {
    const std::size_t before = inside::LiveObjects();
    Ref<IEnumVARIANT> all;
    {
        Project other = Project::Create();
        other.Data().Add(u"A");
        Ref<IUnknown> made;
        ASSERT_EQ(other.Data().Get()->get__NewEnum(made.Out()), S_OK);
        all = made.As<IEnumVARIANT>();
    }
    Variant value;
    EXPECT_TRUE(FailsWith(4009, all->Next(1, value.Out(), nullptr)));
    all = nullptr;
    EXPECT_EQ(inside::LiveObjects(), before);
}

}  // namespace
}  // namespace lumvex::tests
