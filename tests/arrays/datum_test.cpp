// Array properties through the published interfaces.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

TEST(ArrayProperties, AnswerInTheTypeThatTheRootSaysAtThatMoment) {
    Project project = Project::Create();
    Datum datum = project.Data().Add(u"A");
    EXPECT_EQ(project.SafeArrayType(), LX_R4);
    EXPECT_EQ(datum.SampleRate(), 48000);
    EXPECT_TRUE(datum.Data().Empty());
    datum.Data(ArrayOf<float>(VT_R4, {{2, 1}, {2, 1}}, {1, 2, 3, 4}));
    const std::vector<double> values{1, 2, 3, 4};
    EXPECT_EQ(ContentOf(datum.Data()), (Content{VT_R4, {1, 1}, {2, 2}, values}));
    project.SafeArrayType(LX_R8);
    EXPECT_EQ(ContentOf(datum.Data()), (Content{VT_R8, {0, 0}, {2, 2}, values}));
    project.SafeArrayType(LX_VT);
    EXPECT_EQ(ContentOf(datum.Data()), (Content{VT_VARIANT, {0, 0}, {2, 2}, values}));
    for (const int type : {17, 6, 0, -1, 8, 3}) {
        EXPECT_TRUE(FailsBare(E_INVALIDARG, project.Get()->put_SafeArrayType(static_cast<LXArray>(type)))) << type;
        EXPECT_EQ(project.SafeArrayType(), LX_VT);
    }

    datum.Data(datum.Data());  // what a get gave may be put
    EXPECT_EQ(ContentOf(datum.Data()), (Content{VT_VARIANT, {0, 0}, {2, 2}, values}));
    const Array taken = datum.Data();
    datum.Data(Variant());
    EXPECT_TRUE(datum.Data().Empty());
    EXPECT_EQ(ContentOf(taken).values, values) << "what a client got is its own";
}

TEST(ArrayProperties, RefusedPutsSayWhyAndKeepTheData) {
    Project project = Project::Create();
    Datum datum = project.Data().Add(u"A");
    datum.Data(Floats({1, 2, 3}));
    EXPECT_TRUE(FailsWith(4003, datum.Get()->put_Data(ArrayOf<float>(VT_R4, {{1, 0}, {1, 0}, {1, 0}}, {1}))));
    EXPECT_TRUE(FailsWith(4004, datum.Get()->put_Data(Variant::FromLong(1))));
    EXPECT_TRUE(FailsWith(4007, datum.Get()->put_Data(ArrayOf<SHORT>(VT_I2, {{2, 0}}, {1, 2}))));
    EXPECT_TRUE(FailsBare(DISP_E_BADINDEX, datum.Get()->put_Data(Floats({1}))));
    EXPECT_EQ(ContentOf(datum.Data()), FloatContent({1, 2, 3}));
}

TEST(ArrayProperties, TheWorkspaceIsBytesWhateverTheSetting) {
    Project project = Project::Create();
    EXPECT_TRUE(project.WorkspaceData().Empty());
    EXPECT_FALSE(project.Modified());
    project.WorkspaceData(ArrayOf<BYTE>(VT_UI1, {{3, 0}}, {1, 0, 255}));
    EXPECT_TRUE(project.Modified());
    for (const LXArray type : {LX_R4, LX_R8, LX_VT}) {
        project.SafeArrayType(type);
        EXPECT_EQ(ContentOf(project.WorkspaceData()), (Content{VT_UI1, {0}, {3}, {1, 0, 255}}));
    }
    EXPECT_TRUE(FailsWith(4004, project.Get()->put_WorkspaceData(Variant::FromText(u"blob")), kProject));
    EXPECT_EQ(ContentOf(project.WorkspaceData()).values.size(), 3u);
    project.WorkspaceData(Variant());
    EXPECT_TRUE(project.WorkspaceData().Empty());
}

// ---- stored records -------------------------------------------------------------------------------------------------

struct Loaded {
    HRESULT status = S_OK;
    LONG rate = 0;
    std::u16string name{};
    Content data{};
};

// The first datum of a document whose record is replaced.
Loaded Load(const Bytes& record) {
    const Folder folder;
    Streams streams = SmallDocument();
    streams[kFirstStream] = record;
    WriteDocument(folder / "a.lvx", streams);
    Project project = Project::Create();
    project.OpenFile(PathText(folder / "a.lvx"));
    Ref<IDatum> first;
    Loaded loaded{project.Data().Get()->get_Item(1, first.Out())};
    if (SUCCEEDED(loaded.status)) {
        const Datum datum(first);
        loaded.rate = datum.SampleRate();
        loaded.name = datum.Name();
        loaded.data = ContentOf(datum.Data());
    } else {
        EXPECT_FALSE(first);
        EXPECT_EQ(project.Data().Item(2).Name(), u"Second") << "the others can still be reached";
    }
    return loaded;
}

TEST(DatumRecord, OddVersionsAndCutOnes) {
    const std::string date = "00 00 00 00 00 00 F8 3F ", name = "04 00 00 00 41 00 00 00 ", none = "00 00 ";
    const struct {
        const char* what;
        std::string record;
        LONG rate;
    } cases[] = {
        {"what follows version 1 has no meaning", "01 00 01 80 " + date + name + none + "11 22 33 44", 48000},
        {"version 2 without a minimum reader", "02 00 00 00 " + date + name + none + "44 AC 00 00", 44100},
        {"a newer writer appends", "07 00 02 80 " + date + name + none + "44 AC 00 00 99 99", 44100},
        {"a minimum reader that is not said to be there", "02 00 09 00 " + date + name + none + "44 AC 00 00", 44100},
    };
    for (const auto& each : cases) {
        const Loaded loaded = Load(Hex(each.record));
        EXPECT_EQ(loaded.status, S_OK) << each.what;
        EXPECT_EQ(loaded.name, u"A") << each.what;
        EXPECT_EQ(loaded.rate, each.rate) << each.what;
    }
    const Loaded first = Load(FirstRecord());
    EXPECT_EQ(first.data, FloatContent({1, 2, 3}));
    EXPECT_EQ(first.rate, 44100);

    EXPECT_TRUE(FailsWith(4014, Load(Hex("03 00 03 80 " + date + name + none + "44 AC 00 00")).status))
        << "a newer minimum reader";
    EXPECT_TRUE(FailsWith(4007, Load(Hex("02 00 01 80 " + date + name + "05 00")).status));
    for (std::size_t length = 0; length < FirstRecord().size(); ++length) {
        const Bytes whole = FirstRecord();
        EXPECT_TRUE(FailsBare(STG_E_READFAULT,
                              Load(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))).status))
            << length;
    }
}

TEST(DatumRecord, NamesNullEmptyAndLong) {
    const std::string head = "02 00 01 80 00 00 00 00 00 00 00 00 ", tail = " 00 00 80 BB 00 00";
    EXPECT_EQ(Load(Hex(head + "00 00 00 00" + tail)).name, u"");
    EXPECT_EQ(Load(Hex(head + "02 00 00 00 00 00" + tail)).name, u"");
    EXPECT_EQ(Load(Hex(head + "08 00 00 00 41 00 00 00 00 D8 00 00" + tail)).name, std::u16string(u"A\0\xD800", 3));
    EXPECT_TRUE(FailsBare(STG_E_READFAULT, Load(Hex(head + "03 00 00 00 41 00 00" + tail)).status));
    EXPECT_TRUE(FailsBare(STG_E_READFAULT, Load(Hex(head + "FE FF FF FF 41 00 00" + tail)).status));
}

}  // namespace
}  // namespace lumvex::tests
