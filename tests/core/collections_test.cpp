#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

class Collections : public ::testing::Test {
protected:
    void Fill(std::initializer_list<std::u16string_view> names) {
        for (const std::u16string_view name : names) data.Add(name);
    }
    HRESULT Find(std::u16string_view name, IDispatch** found) {
        Variant value = Variant::FromLong(3);
        const HRESULT status = data.Get()->FindName(Bstr(name).get(), value.Out());
        *found = value.vt == VT_DISPATCH ? value.pdispVal : nullptr;
        EXPECT_EQ(value.vt, status == S_OK ? VT_DISPATCH : VT_EMPTY);
        return status;
    }

    Project project = Project::Create();
    Data data = project.Data();
};

TEST_F(Collections, NamesAreFoundWholeAndInAnyCase) {
    IDispatch* found = nullptr;
    EXPECT_EQ(Find(u"anything", &found), S_FALSE) << "of an empty collection";
    Variant out;
    EXPECT_TRUE(FailsWith(4011, data.Get()->FindNameExact(Bstr(u"anything").get(), out.Out())));

    Fill({u"Woofer", u"WOOFER near", u"M\u00FCller", u"\u0394\u03A3", u"", u"woofer"});
    const struct {
        std::u16string_view wanted;
        LONG position;
    } cases[] = {{u"WOOFER", 1}, {u"woofer", 1}, {u"Woofer Near", 2}, {u"M\u00DCLLER", 3}, {u"\u03B4\u03C3", 4},
                 {u"", 5},       {u"Woof", 0},   {u"Woofer ", 0},     {u"Muller", 0}};
    for (const auto& each : cases) {
        SCOPED_TRACE(ToUtf8(each.wanted));
        IDispatch* const expected = each.position ? data.Item(each.position).Pointer() : nullptr;
        EXPECT_EQ(Find(each.wanted, &found), expected ? S_OK : S_FALSE);
        EXPECT_EQ(found, expected);
        const HRESULT exact = data.Get()->FindNameExact(Bstr(each.wanted).get(), out.Out());
        if (expected) {
            EXPECT_EQ(exact, S_OK);
            EXPECT_EQ(out.pdispVal, expected);
        } else {
            EXPECT_TRUE(FailsWith(4011, exact));
            EXPECT_EQ(out.vt, VT_EMPTY);
        }
        LONG exists = 7;
        EXPECT_EQ(data.Get()->NameExists(Bstr(each.wanted).get(), &exists), S_OK);
        EXPECT_EQ(exists, expected ? 1 : 0);
        // A miss leaves the error information of the search behind.
        EXPECT_EQ(TakeErrorInfo().description, expected ? u"" : u"The object could not be located.");
    }
    data.Item(1).Name(u"Renamed");
    EXPECT_EQ(Find(u"woofer", &found), S_OK);
    EXPECT_EQ(found, data.Item(6).Pointer()) << "the first that bears the name now";
}

TEST_F(Collections, IDsAreFoundHereAndBelow) {
    Fill({u"A", u"B"});
    Project other = Project::Create();
    const std::u16string id = data.Item(2).ID(), foreign = other.Data().Add(u"A").ID();
    std::u16string lower = id;
    for (char16_t& unit : lower)
        if (unit >= u'A' && unit <= u'F') unit = static_cast<char16_t>(unit + 32);

    for (const LONG below : {-1, 0, 1}) {
        EXPECT_EQ(data.FindID(id, below).Pointer(), data.Item(2).Pointer());
        EXPECT_EQ(data.FindID(lower, below).Pointer(), data.Item(2).Pointer());
        for (const std::u16string_view miss : {std::u16string_view(foreign), std::u16string_view(u"no ID"),
                                               std::u16string_view(), std::u16string_view(id).substr(1)}) {
            Variant out = Variant::FromLong(3);
            EXPECT_EQ(data.Get()->FindID(Bstr(miss).get(), below, out.Out()), S_FALSE);
            EXPECT_EQ(out.vt, VT_EMPTY);
        }
    }
    EXPECT_EQ(project.FindID(id).Pointer(), data.Item(2).Pointer());
    EXPECT_EQ(project.FindID(data.ID()).Pointer(), data.Pointer());
    EXPECT_FALSE(project.FindID(foreign));
    EXPECT_FALSE(data.FindID(data.ID())) << "a collection is not below itself";
    EXPECT_FALSE(data.FindID(project.ID()));
    EXPECT_FALSE(data.Item(1).FindID(id)) << "a neighbour is not below";
}

}  // namespace
}  // namespace lumvex::tests
