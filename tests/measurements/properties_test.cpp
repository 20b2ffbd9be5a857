// Every property of experiments, measurements, speakers, corrections and templates, by the interface tables: late-bound
// round trips, events, and what an orphaned object answers.
#include <map>

#include "interfaces/tables.hpp"
#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

const tables::Interface& TableOf(const Collectable& item) {
    const std::u16string iid = item.InterfaceID();
    for (const tables::Interface& each : tables::Interfaces())
        if (u"{" + FromUtf8(each.iid) + u"}" == iid) return each;
    throw std::logic_error("no table");
}

bool IsObject(const tables::Member& member) { return member.type.back() == '*'; }

std::vector<tables::Member> PlainPuts(const Collectable& item) {
    std::vector<tables::Member> puts;
    for (const tables::Member& each : TableOf(item).members)
        if (each.kind == tables::Kind::Put && each.parameters.empty() && each.type != "VARIANT" && !IsObject(each))
            puts.push_back(each);
    return puts;
}

class Properties : public testing::Test {
protected:
    FullProject full;
    Listener listener{full.project};
};

TEST_F(Properties, ComeBackAsTheyWerePutAndThroughAFile) {
    std::map<std::u16string, std::map<long, Variant>> expected;  // by item and DISPID
    LONG next = 100;
    for (const Collectable& item : full.Items()) {
        const std::string told = "item " + ToUtf8(item.Name()) + " 0";
        for (const tables::Member& put : PlainPuts(item)) {
            SCOPED_TRACE(std::string(TableOf(item).name) + "." + std::string(put.name));
            ++next;
            const Variant value = put.type == "BSTR" ? Variant::FromText(FromUtf8("Nr. " + std::to_string(next)))
                                                     : Variant::FromLong(next);
            listener.Taken();
            ASSERT_EQ(LatePut(item.Pointer(), static_cast<DISPID>(put.id), {value}), S_OK);
            EXPECT_EQ(listener.Taken(), Strings{told});
            Variant found = LateGet(item.Pointer(), static_cast<DISPID>(put.id));
            EXPECT_EQ(found.vt, put.type == "BSTR" ? VT_BSTR : put.type == "float" ? VT_R4 : VT_I4);
            Variant same;
            ASSERT_EQ(VariantChangeType(&same, &found, 0, value.vt), S_OK);
            if (value.vt == VT_BSTR)
                EXPECT_EQ(TextOf(same.bstrVal), TextOf(value.bstrVal));
            else
                EXPECT_EQ(same.lVal, value.lVal);
            expected[item.ID()].emplace(put.id, std::move(found));
        }
    }
    EXPECT_EQ(next, 100 + 11 + 6 + 21 + 17 + 1) << "experiment, measurement, correction, template, link";

    const Folder folder;
    full.project.SaveFileAs(PathText(folder / "a.lvp"));
    full.project.CloseFile();
    const Project opened = Opened(folder / "a.lvp");
    for (const auto& [id, properties] : expected) {
        const Collectable item = opened.Load(id).As<Collectable>();
        for (const auto& [dispid, value] : properties) {
            SCOPED_TRACE(std::string(TableOf(item).name) + " " + std::to_string(dispid));
            const Variant found = LateGet(item.Pointer(), static_cast<DISPID>(dispid));
            ASSERT_EQ(found.vt, value.vt);
            const bool isStored = !(item.As<Correction>() && dispid == 6);
            if (found.vt == VT_BSTR)
                EXPECT_EQ(TextOf(found.bstrVal), TextOf(value.bstrVal));
            else if (found.vt == VT_R4)
                EXPECT_EQ(found.fltVal, value.fltVal);
            else
                EXPECT_EQ(found.lVal, isStored ? value.lVal : 0);
        }
    }
}

TEST_F(Properties, ArraysTellOfChangedDataAndKeepWhatARefusedPutFound) {
    struct Case {
        Collectable item;
        DISPID id;
        bool perChannel;
    };
    const Case cases[] = {{full.measurement, 0x27, true}, {full.correction, 0x27, true},
                          {full.correction, 0x42, true},  {full.correction, 0x5f, true},
                          {full.correction, 0x5e, false}, {full.correction, 0x57, false},
                          {full.design, 0x5e, false},     {full.design, 0x57, false}};
    const Array two = Columns(3, 2), three = Columns(3, 3);
    const Variant cube = ArrayOf(VT_R4, {{1, 0}, {2, 0}, {1, 0}}, std::vector<float>{1, 2});
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(TableOf(each.item).name) + " " + std::to_string(each.id));
        const std::string told = "item " + ToUtf8(each.item.Name()) + " 3";
        listener.Taken();
        EXPECT_EQ(LatePut(each.item.Pointer(), each.id, {Variant(two)}), S_OK);
        EXPECT_EQ(listener.Taken(), Strings{told});
        EXPECT_EQ(LatePut(each.item.Pointer(), each.id, {cube}), Status(0x80040FA3));
        EXPECT_EQ(LatePut(each.item.Pointer(), each.id, {Variant::FromLong(1)}), Status(0x80040FA4));
        EXPECT_EQ(listener.Taken(), Strings{}) << "a refused put tells nothing";
        EXPECT_EQ(ContentOf(LateGet(each.item.Pointer(), each.id)), ContentOf(two));
        EXPECT_EQ(LatePut(each.item.Pointer(), each.id, {Variant(three)}), each.perChannel ? Status(0x80040FA2) : S_OK);
        EXPECT_EQ(LatePut(each.item.Pointer(), each.id, {Floats({1, 2})}), each.perChannel ? Status(0x80040FA2) : S_OK)
            << "one dimension is one channel";
        EXPECT_EQ(ContentOf(LateGet(each.item.Pointer(), each.id)).count.size(), each.perChannel ? 2u : 1u);
        full.project.SafeArrayType(LX_R8);
        EXPECT_EQ(LateGet(each.item.Pointer(), each.id).vt, VT_ARRAY | VT_R8);
        full.project.SafeArrayType(LX_R4);
        EXPECT_EQ(LatePut(each.item.Pointer(), each.id, {Variant()}), S_OK);
        EXPECT_EQ(LateGet(each.item.Pointer(), each.id).vt, VT_EMPTY);
    }
}

// Of an object whose document is gone only what every item has still answers.
TEST_F(Properties, OfOrphansFailWithoutTheirOwners) {
    const std::vector<Collectable> items = full.Items();
    const std::u16string shown = full.speaker.DisplayName();
    full = FullProject();
    listener = Listener(full.project);
    for (const Collectable& item : items) {
        EXPECT_EQ(item.ID().size(), 38u);
        EXPECT_FALSE(item.DisplayName().empty());
        for (const tables::Member& member : TableOf(item).members) {
            if (!member.parameters.empty()) continue;
            SCOPED_TRACE(std::string(TableOf(item).name) + "." + std::string(member.name));
            const auto id = static_cast<DISPID>(member.id);
            Variant value;
            if (member.kind == tables::Kind::Get) {
                EXPECT_EQ(Late(item.Pointer(), id, DISPATCH_PROPERTYGET, {}, value), kOrphaned);
            }
            if (member.kind != tables::Kind::Put) continue;
            if (member.type == "VARIANT") value = Variant(Columns(1, 2));
            if (member.type == "IMeasurement*") value = Variant::FromDispatch(items[2].Pointer());
            if (member.type == "ICorrection*") value = Variant::FromDispatch(items[5].Pointer());
            if (member.type == "IModelConfig*") value = Variant::FromDispatch(full.catalogue.biAmp.Pointer());
            if (!IsObject(member) && member.type != "VARIANT") value = Variant::FromLong(1);
            EXPECT_EQ(LatePut(item.Pointer(), id, {value}), kOrphaned);
        }
    }
    EXPECT_EQ(items[3].DisplayName(), shown) << "by the names it last had";
}

// The one getter of its kind: where the result should go is an argument like any other.
TEST_F(Properties, AMeasurementsSampleRateNeedsAPlace) {
    EXPECT_EQ(full.measurement.Get()->get_SampleRate(nullptr), E_INVALIDARG);
    EXPECT_EQ(full.measurement.Get()->get_Volume(nullptr), E_POINTER);
    EXPECT_EQ(full.correction.Get()->get_SampleRate(nullptr), E_POINTER);
    EXPECT_EQ(full.experiment.Get()->get_MicAngle(nullptr), E_POINTER);
}

// The published numbers of Parent and Root, exchanged on groups.
TEST_F(Properties, ParentAndRootByNumber) {
    const auto is = [&](const Object& object, DISPID id, const Object& expected) {
        EXPECT_TRUE(IsSameObject(LateGet(object.Pointer(), id), expected)) << id;
    };
    is(full.group, 0x29, full.design.SpkrCorrectionGroups());
    is(full.group, 0x28, full.project);
    is(full.design.SpkrCorrectionGroups(), 0x29, full.design);
    is(full.design.SpkrCorrectionGroups(), 0x28, full.project);
    is(full.measurement, 0x28, full.config.Measurements());
    is(full.config.Measurements(), 0x28, full.config);
    is(full.correctionLink, 0x28, full.group.SpkrCorrectionLinks());
    is(full.project.SpeakerEQs(), 0x28, full.project);
    is(full.project.CrossoverConfigs(), 0x29, full.project);
    for (const Collectable& item : full.Items())
        EXPECT_EQ(item.FQName().substr(0, 8), u"PROJECT/") << ToUtf8(item.Name());
}

}  // namespace
}  // namespace lumvex::tests
