// The records of rooms and processor configurations byte by byte, as written and as read back.
#include "kit/listener.hpp"
#include "storage/document_file.hpp"
#include "kit/hand_made.hpp"

namespace lumvex::tests {
namespace {

std::string IdBytes(const std::u16string& idText) {
    const GUID id = ParseGuid(idText).value();
    Bytes bytes(sizeof id);
    std::memcpy(bytes.data(), &id, sizeof id);
    return AsHex(bytes) + " ";
}

// A child collection in its owner's record.
template <class Owned>
std::string Child(const Owned& collection) {
    return "01 00 " + IdBytes(collection.ID()) + "00 00 00 00 ";
}

std::string Times(int count, const std::string& text) {
    std::string all;
    for (int at = 0; at < count; ++at) all += text + " ";
    return all;
}

// What every record here opens with: version 1, timestamp 1.5, the name "N".
const std::string kFrame = "01 00 01 80  00 00 00 00 00 00 F8 3F  04 00 00 00 4E 00 00 00 ";
const std::string kNone = "00 00 ";  // no reference, no array
const std::string kZero = "00 00 00 00 ";
// 1.0 and 2.0, from 0 on.
const std::string kArray = "02 00 01 00 00 00 04 00  00 00 00 00 01 00 00 00  00 00 80 3F 00 00 00 40 ";

class RoomRecords : public ::testing::Test {
protected:
    // Saves, compares each object's stream, opens the file again.
    void ExpectRecords() {
        project.SaveFileAs(PathText(path));
        project.CloseFile();
        const Streams streams = ReadDocument(path);
        for (const auto& [id, record] : expected) {
            const auto found = streams.find(inside::StreamNameOf(*ParseGuid(id)));
            ASSERT_NE(found, streams.end()) << record;
            EXPECT_EQ(AsHex(found->second), AsHex(Hex(record)));
        }
        project = Project::Create();
        project.OpenFile(PathText(path));
    }
    template <class Item>
    Item Framed(Item item) {
        item.Name(u"N");
        item.Timestamp(1.5);
        return item;
    }

    Project project = Project::Create();
    std::vector<std::pair<std::u16string, std::string>> expected;
    const Folder folder;
    const std::filesystem::path path = folder / "records.lvx";
};

TEST_F(RoomRecords, Rooms) {
    RoomEQ room = Framed(project.Rooms().Add(u""));
    RoomCorrectionGroup group = Framed(room.CorrectionGroups().Add(u""));
    RoomCorrection correction = Framed(group.Corrections().Add(u""));
    RoomPosition position = Framed(room.Positions().Add(u""));
    RoomMeasurement measurement = Framed(position.Measurements().Add(u""));
    room.MeasureStart(1.0f);
    room.MeasureEnd(2.0f);
    room.MeasSmooth(-0.5f);
    room.MeasSmoothMethod(LX_MSMTH_SINC);
    room.EqualiserData(Floats({1, 2}));
    correction.Data(Floats({1, 2}));
    position.SampleRate(44100.9f);
    position.Scale(0.5f);
    measurement.ConfigData(Floats({1, 2}));
    measurement.Channel(-2);
    measurement.SampleRate(96000);
    measurement.IOConfig(LX_IOCFG_MICIN);
    const RoomEQ fresh = Framed(project.Rooms().Add(u""));
    expected = {
        {room.ID(), kFrame + Child(room.CorrectionGroups()) + Child(room.Positions()) +
                        "00 00 80 3F  00 00 00 40  00 00 00 BF  01 00 00 00" + kArray},
        {fresh.ID(), kFrame + kNone + kNone + Times(4, kZero) + kNone},
        {group.ID(), kFrame + Child(group.Corrections())},
        {correction.ID(), kFrame + kArray},
        {position.ID(), kFrame + Child(position.Measurements()) + "44 AC 00 00  00 00 00 3F"},
        {measurement.ID(), kFrame + kNone + kArray + "FE FF  00 77 01 00  10 00 00 00"},
    };
    ExpectRecords();
    room = project.Rooms().Item(1);
    EXPECT_EQ(room.MeasureStart(), 1.0f);
    EXPECT_EQ(room.MeasureEnd(), 2.0f);
    EXPECT_EQ(room.MeasSmooth(), -0.5f);
    EXPECT_EQ(room.MeasSmoothMethod(), LX_MSMTH_SINC);
    EXPECT_EQ(ContentOf(room.EqualiserData()), FloatContent({1, 2}));
    EXPECT_EQ(ContentOf(room.CorrectionGroups().Item(1).Corrections().Item(1).Data()), FloatContent({1, 2}));
    position = room.Positions().Item(1);
    EXPECT_EQ(position.Scale(), 0.5f);
    measurement = position.Measurements().Item(1);
    EXPECT_EQ(measurement.Data().vt, VT_EMPTY);
    EXPECT_EQ(ContentOf(measurement.ConfigData()), FloatContent({1, 2}));
    EXPECT_EQ(measurement.Channel(), -2);
    EXPECT_EQ(measurement.SampleRate(), 96000);
    EXPECT_EQ(measurement.IOConfig(), LX_IOCFG_MICIN);
}

// A position keeps whole numbers of its own rate: toward zero, and the nearest that there is.
TEST_F(RoomRecords, TheRateThatAPositionKeeps) {
    const struct {
        float put;
        const char* kept;
    } cases[] = {{44100.9f, "44 AC 00 00"},       {-1.9f, "FF FF FF FF"},
                 {0.99f, "00 00 00 00"},          {3e9f, "FF FF FF 7F"},
                 {-3e9f, "00 00 00 80"},          {2147483648.0f, "FF FF FF 7F"},
                 {-2147483648.0f, "00 00 00 80"}, {std::numeric_limits<float>::quiet_NaN(), "00 00 00 00"}};
    const RoomPositions positions = Framed(project.Rooms().Add(u"")).Positions();
    for (const auto& each : cases) {
        RoomPosition position = Framed(positions.Add(u""));
        position.SampleRate(each.put);
        expected.push_back({position.ID(), kFrame + kNone + each.kept + "00 00 80 3F"});
    }
    ExpectRecords();
}

TEST_F(RoomRecords, AProcessorConfiguration) {
    BoxCfg box = Framed(project.BoxCfgs().Add(u""));
    const BoxCfg fresh = Framed(project.BoxCfgs().Add(u""));
    box.XdA_UserParametric(-2);
    box.XdA_CustomText(u"Hi");
    box.XdA_Mute(1, 2, 3);
    box.XdA_Invert(16, 6, -1);
    box.XdA_LevelTweak(2, 1, 1.0f);
    box.XdA_DelayTweak(15, 6, 2);
    box.XdA_FIR(16, -3);
    box.XdA_IIRLeft(1, 4);
    box.XdA_IIRRight(2, 5);
    box.XdA_LockEQ(1);
    const auto slots = [](std::string_view digits) {  // one 32-bit slot per digit
        std::string text;
        for (const char digit : digits) text += std::string("0") + digit + " 00 00 00 ";
        return text;
    };
    expected = {
        {box.ID(), kFrame + Child(box.Banks()) + "FE FF  06 00 00 00 48 00 69 00 00 00" +  //
                       kZero + "03 00 00 00" + Times(94, kZero) +                          // mute
                       Times(95, kZero) + "FF FF FF FF" +                                  // invert
                       Times(6, kZero) + "00 00 80 3F" + Times(89, kZero) +                // level
                       Times(89, kZero) + "00 00 00 40" + Times(6, kZero) +                // delay
                       slots("022213331333133") + "FD FF FF FF" +                          // FIR
                       slots("4000111122223333") + slots("0523012301230123") + "01 00 00 00"},
        {fresh.ID(), kFrame + Child(fresh.Banks()) + "00 00" + kZero + Times(4 * 96, kZero) +
                         slots("0222133313331333") + slots("0000111122223333") + slots("0123012301230123") + kZero},
    };
    ExpectRecords();
    box = project.BoxCfgs().Item(1);
    EXPECT_EQ(box.XdA_UserParametric(), -2);
    EXPECT_EQ(box.XdA_CustomText(), u"Hi");
    EXPECT_EQ(box.XdA_Mute(1, 2), 3);
    EXPECT_EQ(box.XdA_Invert(16, 6), -1);
    EXPECT_EQ(box.XdA_LevelTweak(2, 1), 1.0f);
    EXPECT_EQ(box.XdA_DelayTweak(15, 6), 2);
    EXPECT_EQ(box.XdA_FIR(16), -3);
    EXPECT_EQ(box.XdA_IIRLeft(1), 4);
    EXPECT_EQ(box.XdA_IIRRight(2), 5);
    EXPECT_EQ(box.XdA_LockEQ(), 1);
    EXPECT_EQ(box.Banks().Count(), 4);
}

TEST_F(RoomRecords, AProfile) {
    BoxCfgBank profile = Framed(project.BoxCfgs().Add(u"").Bank(0));
    profile.Config(LX_BM_FULLRANGEMONO);
    profile.Data2(Floats({1, 2}));
    profile.DataValid(7);
    profile.EqualiserData(Floats({1, 2}));
    profile.FWTarget(0.5f);
    profile.SampleRate(44100);
    BoxCfgSpkr fresh = Framed(profile.Spkrs().Item(2));
    BoxCfgSpkr left = Framed(profile.Spkrs().Item(1));
    left.DelayMs(1.0f);
    left.Mode(LX_FM_CROSSOVER);
    left.FilterMode(1, LX_LFM_BANDPASS);
    left.FilterFrequencyHi(2, 1.0f);
    left.FilterSlopeHi(3, 1.0f);
    left.FilterFrequencyLo(4, 1.0f);
    left.FilterSlopeLo(5, 1.0f);
    left.FilterEnable(6, 1);
    left.FilterTweak(1, LX_TWEAK_OFF);
    left.FilterInvert(2, -1);
    left.FilterMethodHi(3, LX_NONE);
    left.FilterMethodLo(4, LX_BUTTERWORTH);
    left.CorrectionName(u"C");
    left.SpeakerName(u"S");
    left.LastCalcedDelay(2.0f);
    left.FilterQHi(5, 1.0f);
    left.FilterQLo(6, 1.0f);
    left.GaindB(-0.5f);
    left.Data2(Floats({1, 2}));
    const auto stages = [](int stage, const std::string& value) {
        return Times(stage - 1, kZero) + value + " " + Times(6 - stage, kZero);
    };
    const std::string one = "00 00 80 3F";
    expected = {
        {profile.ID(), kFrame + Child(profile.Spkrs()) + "04 00 00 00" + kNone + kArray + "07 00 00 00" + kArray +
                           "00 00 00 3F  44 AC 00 00"},
        {left.ID(), kFrame + kNone + kNone + "00 00 80 3F  03 00 00 00" + stages(1, "02 00 00 00") + stages(2, one) +
                        stages(3, one) + stages(4, one) + stages(5, one) + "01 00 00 00" + stages(6, "01 00 00 00") +
                        stages(1, "02 00 00 00") + stages(2, "FF FF FF FF") + stages(3, "03 00 00 00") +
                        stages(4, "02 00 00 00") + "04 00 00 00 43 00 00 00  04 00 00 00 53 00 00 00  00 00 00 40" +
                        stages(5, one) + stages(6, one) + "00 00 00 BF" + kNone + kArray},
        {fresh.ID(), kFrame + kNone + kNone + Times(2 + 5 * 6, kZero) + "04 00 00 00" + Times(5 * 6, kZero) +
                         Times(2 + 1 + 12 + 1, kZero) + kNone + kNone},
    };
    ExpectRecords();
    profile = project.BoxCfgs().Item(1).Bank(0);
    EXPECT_EQ(profile.Config(), LX_BM_FULLRANGEMONO);
    EXPECT_EQ(profile.DataValid(), 7);
    EXPECT_EQ(profile.FWTarget(), 0.5f);
    EXPECT_EQ(profile.SampleRate(), 44100);
    EXPECT_EQ(ContentOf(profile.EqualiserData()), FloatContent({1, 2}));
    left = profile.Spkrs().Item(1);
    EXPECT_EQ(left.FilterMode(1), LX_LFM_BANDPASS);
    EXPECT_EQ(left.FilterEnable(6), 1);
    EXPECT_EQ(left.FilterInvert(2), -1);
    EXPECT_EQ(left.FilterMethodLo(4), LX_BUTTERWORTH);
    EXPECT_EQ(left.SpeakerName(), u"S");
    EXPECT_EQ(left.GaindB(), -0.5f);
    EXPECT_EQ(ContentOf(left.Data2()), FloatContent({1, 2}));
}

// What a position plays stands first, as the target's ID in text.
TEST_F(RoomRecords, APositionThatPlaysASpeaker) {
    const SpeakerEQ speaker = project.SpeakerEQs().Add(u"Main", Model());
    BoxCfgSpkr centre = Framed(project.BoxCfgs().Add(u"").Bank(0).Spkrs().Add(u""));
    centre.Speaker(speaker);
    std::string id;
    for (const char16_t c : speaker.ID() + u'\0') id += AsHex({static_cast<std::byte>(c)}) + " 00 ";
    expected = {{centre.ID(), kFrame + "01 00  4E 00 00 00 " + id + kNone + Times(2 + 5 * 6, kZero) + "01 00 00 00" +
                                  Times(5 * 6 + 2 + 1 + 12 + 1, kZero) + kNone + kNone}};
    ExpectRecords();
}

}  // namespace
}  // namespace lumvex::tests
