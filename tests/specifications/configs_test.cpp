// The fixed table of speaker configurations, as both roots offer it.
#include "kit/listener.hpp"

namespace lumvex::tests {
namespace {

constexpr struct {
    LXConfig id;
    LONG outputs;
    const char16_t* name;
} kTable[] = {{LX_SINGLEAMP, 1, u"Single amp"},
              {LX_BIAMP, 2, u"Bi amp"},
              {LX_TRIAMP, 3, u"Tri amp"},
              {LX_SUBWOOFER, 1, u"Subwoofer"}};

std::vector<std::pair<const char*, Configs>> Tables() {
    return {{"library", Specifications::Create().Configs()}, {"project", Project::Create().Configs()}};
}

TEST(ConfigTable, IsTheSameInBothRootsAndOutlivesThem) {
    for (const auto& [root, table] : Tables()) {
        SCOPED_TRACE(root);
        ASSERT_EQ(table.Count(), 4);
        LONG position = 0;
        for (const auto& row : kTable) {
            const Config config = table.Item(++position);
            EXPECT_EQ(config.ConfigID(), row.id);
            EXPECT_EQ(config.OutputCount(), row.outputs);
            EXPECT_EQ(config.Name(), row.name);
            EXPECT_EQ(table.FindName(row.name).Pointer(), config.Pointer());
        }
        position = 0;
        for (const lumvex::Object& each : table.Enumerate())
            EXPECT_EQ(each.Pointer(), table.Item(++position).Pointer());
        EXPECT_EQ(position, 4);
    }
}

TEST(ConfigTable, OneTablePerRootForItsWholeLife) {
    const Specifications library = Specifications::Create();
    const Configs table = library.Configs();
    EXPECT_EQ(library.Configs().Pointer(), table.Pointer());
    EXPECT_NE(Specifications::Create().Configs().Pointer(), table.Pointer());
}

TEST(ConfigTable, PositionsBelowTheFirstAnswerItAndBeyondTheLastFail) {
    const Configs table = Project::Create().Configs();
    for (const LONG position : std::initializer_list<LONG>{0, -5, static_cast<LONG>(0x80000000), 1})
        EXPECT_EQ(table.Item(position).ConfigID(), LX_SINGLEAMP) << position;
    for (const LONG position : {5, 0x7FFFFFFF}) {
        IConfig* config = table.Item(1).Get();
        EXPECT_TRUE(FailsBare(E_FAIL, table.Get()->get_Item(position, &config))) << position;
        EXPECT_EQ(config, nullptr);
    }
    EXPECT_TRUE(FailsBare(E_POINTER, table.Get()->get_Item(1, nullptr)));
}

TEST(ConfigTable, NamesAreComparedExactly) {
    const Configs table = Project::Create().Configs();
    for (const char16_t* name : {u"bi amp", u"Biamp", u"Bi amp ", u"Bi", u"SubWoofer"}) {
        Variant found = Variant::FromLong(3);
        EXPECT_EQ(table.Get()->FindName(Bstr(name).get(), found.Out()), S_FALSE) << ToUtf8(name);
        EXPECT_EQ(found.vt, VT_EMPTY);
    }
    Variant found;
    const Bstr empty(u"");
    for (const BSTR nothing : {BSTR{nullptr}, empty.get()})
        EXPECT_TRUE(FailsBare(E_POINTER, table.Get()->FindName(nothing, found.Out())))
            << "null or empty, it is no name";
    EXPECT_TRUE(FailsBare(E_POINTER, table.Get()->FindName(Bstr(u"Bi amp").get(), nullptr)));
}

TEST(ConfigTable, PlainObjectsHaveOneIdentityAndNoPlaceInTheTree) {
    const std::size_t before = inside::LiveObjects();
    {
        const Configs table = Project::Create().Configs();
        const Config config = table.Item(2);
        for (IDispatch* object : {table.Pointer(), config.Pointer()}) {
            const Ref<IDispatch> plain(object);
            EXPECT_EQ(plain.As<IUnknown>(), plain.As<ISupportErrorInfo>().As<IUnknown>());
            EXPECT_FALSE(plain.As<_Collectable>());
            EXPECT_FALSE(plain.As<_Collection>());
            EXPECT_FALSE(inside::InsideOf(object));
        }
        EXPECT_EQ(config.Get()->QueryInterface(kIidOf<IConfig>, nullptr), E_POINTER);
    }
    EXPECT_EQ(inside::LiveObjects(), before);
}

TEST(ConfigTable, LateBound) {
    const Configs table = Specifications::Create().Configs();
    Answer answer = CallByName(table.Pointer(), u"Item", DISPATCH_PROPERTYGET, {Variant::FromText(u"4")});
    ASSERT_EQ(answer.value.vt, VT_DISPATCH);
    const Ref<IDispatch> subwoofer(answer.value.pdispVal);
    EXPECT_EQ(CallByName(subwoofer.get(), u"configid", DISPATCH_PROPERTYGET).value.lVal, 4);
    EXPECT_EQ(CallByName(subwoofer.get(), u"OutputCount", DISPATCH_METHOD).value.lVal, 1);
    DISPPARAMS none{};
    Variant name;
    EXPECT_EQ(subwoofer->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, name.Out(), nullptr, nullptr),
              S_OK);
    ASSERT_EQ(name.vt, VT_BSTR);
    EXPECT_EQ(TextOf(name.bstrVal), u"Subwoofer") << "the default member";
    answer = CallByName(table.Pointer(), u"Item", DISPATCH_PROPERTYGET, {Variant::FromLong(5)});
    EXPECT_EQ(answer.status, E_FAIL);
    answer = CallByName(table.Pointer(), u"FindName", DISPATCH_METHOD, {Variant::FromText(u"bi amp")});
    EXPECT_EQ(answer.status, S_FALSE);
    EXPECT_EQ(answer.value.vt, VT_EMPTY);
    for (const Variant& nothing : {Variant::FromText(u""), Variant()}) {
        answer = CallByName(table.Pointer(), u"FindName", DISPATCH_METHOD, {nothing});
        EXPECT_EQ(answer.status, E_POINTER);
    }
    EXPECT_EQ(CallByName(table.Pointer(), u"_NewEnum", DISPATCH_PROPERTYGET).value.vt, VT_UNKNOWN);
}

}  // namespace
}  // namespace lumvex::tests
