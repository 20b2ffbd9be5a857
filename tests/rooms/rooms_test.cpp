// What is particular to rooms and processor configurations; what all classes do is tested over the class list.
#include <limits>

#include "kit/hand_made.hpp"
#include "kit/listener.hpp"
#include "storage/document/document_file.hpp"

namespace lumvex::tests {
namespace {

using Ids = std::vector<int>;

class Processor : public ::testing::Test {
protected:
    Project project = Project::Create();
    BoxCfg box = project.BoxCfgs().Add(u"Box");
    BoxCfgBank profile = box.Bank(1);
    BoxCfgSpkrs positions = profile.Spkrs();

    Ids ConfigIDs() {
        Ids ids;
        for (const BoxCfgSpkr position : positions) ids.push_back(position.ConfigID());
        return ids;
    }
};

TEST_F(Processor, ComesWithProfilesAndTheseWithPositions) {
    const std::u16string_view profiles[] = {u"Bypass", u"Profile 1", u"Profile 2", u"Profile 3"};
    const std::u16string_view names[] = {u"Left", u"Left subwoofer", u"Right subwoofer", u"Right"};
    ASSERT_EQ(box.Banks().Count(), 4);
    for (int number = 0; number < 4; ++number) {  // by Bank counted from 0, by Item from 1
        EXPECT_EQ(box.Bank(number).Name(), profiles[number]);
        EXPECT_EQ(box.Bank(number).IsSame(box.Banks().Item(number + 1)), 1);
    }
    IBoxCfgBank* none = nullptr;
    for (const int number : {-1, 4, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        EXPECT_TRUE(FailsBare(E_INVALIDARG, box.Get()->get_Bank(number, &none))) << number;
    for (const BoxCfgBank& each : {profile, box.Banks().Add(u"Fifth")}) {
        ASSERT_EQ(each.Spkrs().Count(), LX_FP_MAX);
        for (int position = 0; position < LX_FP_MAX; ++position)
            EXPECT_EQ(each.Spkrs().Item(position + 1).Name(), names[position]);
    }
    EXPECT_EQ(ConfigIDs(), (Ids{LX_TRIAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_TRIAMP}));
    EXPECT_EQ(positions.Add(u"Centre").ConfigID(), LX_SINGLEAMP);
    EXPECT_EQ(box.Copy(project.BoxCfgs()).As<BoxCfg>().Banks().Count(), 5) << "the copied ones, none made anew";
}

TEST_F(Processor, TheModeDrivesThePositions) {
    const Strings all{"item Left subwoofer 0", "item Right subwoofer 0", "item Left 0", "item Right 0",
                      "item Profile 1 0"};
    const struct {
        LXBoxMode mode;
        Ids configurations;
        Strings told;
    } steps[] = {{LX_BM_BIAMPSTEREO, {LX_BIAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_BIAMP}, all},
                 // Three-way leaves the subwoofers alone.
                 {LX_BM_TRIAMP,
                  {LX_TRIAMP, LX_BIAMP, LX_SUBWOOFER, LX_TRIAMP},
                  {"item Left 0", "item Right 0", "item Profile 1 0"}},
                 {LX_BM_FULLRANGEMONO, {LX_SINGLEAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_SINGLEAMP}, all},
                 {LX_BM_BIAMPMONO, {LX_BIAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_BIAMP}, all},
                 {LX_BM_FULLRANGESTEREO, {LX_SINGLEAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_SINGLEAMP}, all}};
    Listener listener(project);
    for (const auto& step : steps) {
        SCOPED_TRACE(step.mode);
        if (step.mode == LX_BM_TRIAMP) positions.Item(2).ConfigID(LX_BIAMP);
        profile.DataValid(1);
        listener.Taken();
        profile.Config(step.mode);
        EXPECT_EQ(listener.Taken(), step.told);
        EXPECT_EQ(ConfigIDs(), step.configurations);
        EXPECT_EQ(profile.DataValid(), 0);
        profile.DataValid(1);
        positions.Item(1).ConfigID(LX_SUBWOOFER);
        listener.Taken();
        profile.Config(step.mode);
        EXPECT_EQ(listener.Taken(), Strings{}) << "the mode it has already";
        EXPECT_EQ(profile.DataValid(), 1);
        EXPECT_EQ(positions.Item(1).ConfigID(), LX_SUBWOOFER);
        for (const int mode : {-1, static_cast<int>(LX_BM_MAX), 1000})
            EXPECT_TRUE(FailsBare(E_INVALIDARG, profile.Get()->put_Config(static_cast<LXBoxMode>(mode)))) << mode;
        EXPECT_EQ(profile.Config(), step.mode);
        EXPECT_EQ(profile.DataValid(), 1);
        EXPECT_EQ(listener.Taken(), Strings{});
    }
    positions.Remove(3);
    positions.Remove(2);
    profile.Config(LX_BM_BIAMPSTEREO);
    EXPECT_EQ(ConfigIDs(), (Ids{LX_BIAMP, LX_SUBWOOFER})) << "what is second now counts as the left subwoofer";
    const BoxCfgBank bare = profile.CopyNoChildren(box.Banks()).As<BoxCfgBank>();
    EXPECT_EQ(bare.Spkrs().Count(), 0);
    EXPECT_EQ(bare.Get()->put_Config(LX_BM_TRIAMP), S_OK);
}

// A delay is kept as a real number: large ones lose their last digits, and one too many for a LONG becomes the largest.
TEST_F(Processor, DelaysPassThroughRealNumbers) {
    const struct {
        LONG given, found;
    } cases[] = {{5, 5}, {-5, -5}, {16777217, 16777216}, {2147483647, 2147483647}, {-2147483647 - 1, -2147483647 - 1}};
    for (const auto& each : cases) {
        box.XdA_DelayTweak(3, 2, each.given);
        EXPECT_EQ(box.XdA_DelayTweak(3, 2), each.found);
    }
    box.XdA_DelayTweak(3, 2, 16777216);
    Listener listener(project);
    box.XdA_DelayTweak(3, 2, 16777217);
    EXPECT_EQ(listener.Taken(), Strings{}) << "equal once it is a real number";
}

// Of an orphan the owners come first, then the pointer, then the indices.
TEST_F(Processor, WhatComesFirst) {
    LONG value = 0;
    EXPECT_TRUE(FailsBare(E_POINTER, box.Get()->get_XdA_Mute(0, 1, nullptr)));
    EXPECT_TRUE(FailsBare(E_POINTER, box.Get()->get_Bank(99, nullptr)));
    EXPECT_TRUE(FailsBare(E_INVALIDARG, profile.Get()->get_Config(nullptr)));
    project.BoxCfgs().RemoveAll();
    EXPECT_TRUE(FailsWith(4009, box.Get()->get_XdA_Mute(0, 1, nullptr)));
    EXPECT_TRUE(FailsWith(4009, box.Get()->get_Bank(99, nullptr)));
    EXPECT_TRUE(FailsWith(4009, box.Get()->get_XdA_Mute(1, 1, &value)));
    EXPECT_TRUE(FailsBare(E_INVALIDARG, box.Get()->put_XdA_Mute(0, 1, 8)));
    EXPECT_TRUE(FailsWith(4009, box.Get()->put_XdA_Mute(1, 1, 8)));
    EXPECT_EQ(box.Get()->put_XdA_Mute(1, 1, 8), S_OK) << "the value stayed, so this changes nothing";
}

// What a position plays is kept by its ID: held while it is in memory, gone once it is read again.
TEST_F(Processor, SpeakersGoWithTheirRemoval) {
    const Folder folder;
    const SpeakerEQ speaker = project.SpeakerEQs().Add(u"Main", Model());
    BoxCfgSpkr left = positions.Item(1), right = positions.Item(4);
    left.Speaker(speaker);
    right.Speaker(speaker);
    EXPECT_TRUE(FailsWith(4015, left.Get()->put_Speaker(Project::Create().SpeakerEQs().Add(u"Main", Model()).Get())));
    EXPECT_EQ(left.Speaker().IsSame(speaker), 1) << "the one it had";
    project.SaveFileAs(PathText(folder / "played.lvx"));
    project.SpeakerEQs().RemoveAll();
    EXPECT_EQ(left.Speaker().ID(), speaker.ID()) << "removed, but held";
    project.SaveFile();
    project.CloseFile();
    project.OpenFile(PathText(folder / "played.lvx"));
    EXPECT_FALSE(project.BoxCfgs().Item(1).Bank(1).Spkrs().Item(1).Speaker());
    EXPECT_FALSE(project.BoxCfgs().Item(1).Bank(1).Spkrs().Item(4).Speaker());
}

class Rooms : public ::testing::Test {
protected:
    Project project = Project::Create();
    RoomPosition position = project.Rooms().Add(u"Studio").Positions().Add(u"Sofa");
    RoomMeasurements measurements = position.Measurements();
};

TEST_F(Rooms, APositionAnswersTheFirstMeasurementsRate) {
    measurements.Add(u"First").SampleRate(96000);
    measurements.Add(u"Second").SampleRate(44100);
    EXPECT_EQ(position.SampleRate(), 96000.0f);
    position.SampleRate(8000.0f);
    EXPECT_EQ(position.SampleRate(), 96000.0f) << "its own is never asked";
    measurements.Remove(1);
    EXPECT_EQ(position.SampleRate(), 44100.0f);
    measurements.RemoveAll();
    float untouched = 7.5f;
    EXPECT_EQ(position.Get()->get_SampleRate(&untouched), S_FALSE);
    EXPECT_EQ(untouched, 7.5f);
    EXPECT_TRUE(FailsBare(E_INVALIDARG, position.Get()->get_SampleRate(nullptr)));
    EXPECT_TRUE(FailsBare(E_POINTER, position.Get()->get_Scale(nullptr)));
}

// It keeps whole numbers of its own rate: toward zero, and the nearest that there is.
TEST_F(Rooms, TheRateThatAPositionKeeps) {
    const struct {
        float put;
        const char* kept;
    } cases[] = {{44100.9f, "44 AC 00 00"},       {-1.9f, "FF FF FF FF"},
                 {0.99f, "00 00 00 00"},          {3e9f, "FF FF FF 7F"},
                 {-3e9f, "00 00 00 80"},          {2147483648.0f, "FF FF FF 7F"},
                 {-2147483648.0f, "00 00 00 80"}, {std::numeric_limits<float>::quiet_NaN(), "00 00 00 00"}};
    const Folder folder;
    project.AccessMode(LX_SHARE_READWRITE);
    for (const auto& each : cases) {
        position.SampleRate(each.put);
        project.SaveFileAs(PathText(folder / "rate.lvx"));
        const Bytes record = ReadDocument(folder / "rate.lvx").at(inside::StreamNameOf(*ParseGuid(position.ID())));
        EXPECT_EQ(AsHex({record.end() - 8, record.end() - 4}), each.kept);
    }
}

}  // namespace
}  // namespace lumvex::tests
