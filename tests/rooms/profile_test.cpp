// Profiles and their output positions: what the mode drives, the filter stages, what a position plays.
#include <functional>

#include "kit/listener.hpp"
#include "kit/hand_made.hpp"

namespace lumvex::tests {
namespace {

class Profile : public ::testing::Test {
protected:
    Project project = Project::Create();
    BoxCfg box = project.BoxCfgs().Add(u"Box");
    BoxCfgBank profile = box.Bank(1);
    BoxCfgSpkrs positions = profile.Spkrs();

    std::vector<int> ConfigIDs() {
        std::vector<int> ids;
        for (const BoxCfgSpkr position : positions) ids.push_back(position.ConfigID());
        return ids;
    }
};

using Ids = std::vector<int>;

TEST_F(Profile, ANewOneHasItsFourPositions) {
    const std::u16string_view names[] = {u"Left", u"Left subwoofer", u"Right subwoofer", u"Right"};
    const BoxCfgBank added = box.Banks().Add(u"Fifth");
    for (const BoxCfgBank& each : {profile, added}) {
        ASSERT_EQ(each.Spkrs().Count(), LX_FP_MAX);
        for (int position = 0; position < LX_FP_MAX; ++position)
            EXPECT_EQ(each.Spkrs().Item(position + 1).Name(), names[position]);
        EXPECT_EQ(each.Config(), LX_BM_TRIAMP);
        EXPECT_EQ(each.DataValid(), 0);
        EXPECT_EQ(each.FWTarget(), 0.0f);
        EXPECT_EQ(each.SampleRate(), 48000);
        EXPECT_EQ(each.Data().vt, VT_EMPTY);
        EXPECT_EQ(each.Data2().vt, VT_EMPTY);
        EXPECT_EQ(each.EqualiserData().vt, VT_EMPTY);
        EXPECT_EQ(each.DataSupport(), LX_DATA2);
    }
    EXPECT_EQ(ConfigIDs(), (Ids{LX_TRIAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_TRIAMP}));
    EXPECT_EQ(positions.Name(), u"SPEAKER FILTERS");
    EXPECT_TRUE(IsSameObject(LateGet(positions.Pointer(), 0x28), profile));
    EXPECT_TRUE(IsSameObject(LateGet(positions.Pointer(), 0x29), project));
    EXPECT_TRUE(IsSameObject(LateGet(profile.Pointer(), 0x28), box.Banks()));
    EXPECT_TRUE(IsSameObject(LateGet(profile.Pointer(), 0x29), project));
    EXPECT_TRUE(IsSameObject(LateGet(profile.Pointer(), 0x09), positions));
    EXPECT_TRUE(IsSameObject(LateGet(positions.Item(1).Pointer(), 0x29), positions)) << "exchanged here";
    EXPECT_TRUE(IsSameObject(LateGet(positions.Item(1).Pointer(), 0x28), project));
}

TEST_F(Profile, TheModeDrivesThePositions) {
    const struct {
        LXBoxMode mode;
        Ids configurations;
        Strings told;
    } steps[] = {
        {LX_BM_BIAMPSTEREO,
         {LX_BIAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_BIAMP},
         {"item Left subwoofer 0", "item Right subwoofer 0", "item Left 0", "item Right 0", "item Profile 1 0"}},
        {LX_BM_TRIAMP,
         {LX_TRIAMP, LX_BIAMP, LX_SUBWOOFER, LX_TRIAMP},
         {"item Left 0", "item Right 0", "item Profile 1 0"}},
        {LX_BM_FULLRANGEMONO,
         {LX_SINGLEAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_SINGLEAMP},
         {"item Left subwoofer 0", "item Right subwoofer 0", "item Left 0", "item Right 0", "item Profile 1 0"}},
        {LX_BM_BIAMPMONO,
         {LX_BIAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_BIAMP},
         {"item Left subwoofer 0", "item Right subwoofer 0", "item Left 0", "item Right 0", "item Profile 1 0"}},
        {LX_BM_FULLRANGESTEREO,
         {LX_SINGLEAMP, LX_SUBWOOFER, LX_SUBWOOFER, LX_SINGLEAMP},
         {"item Left subwoofer 0", "item Right subwoofer 0", "item Left 0", "item Right 0", "item Profile 1 0"}},
    };
    Listener listener(project);
    for (const auto& step : steps) {
        SCOPED_TRACE(step.mode);
        if (step.mode == LX_BM_TRIAMP) positions.Item(2).ConfigID(LX_BIAMP);  // three-way leaves the subwoofers alone
        profile.DataValid(1);
        listener.Taken();
        if (step.mode % 2 == 0)
            profile.Config(step.mode);
        else
            EXPECT_EQ(LatePut(profile.Pointer(), 0x03, {Variant::FromLong(step.mode)}), S_OK);
        EXPECT_EQ(listener.Taken(), step.told);
        EXPECT_EQ(ConfigIDs(), step.configurations);
        EXPECT_EQ(profile.DataValid(), 0);
        EXPECT_EQ(LateGet(profile.Pointer(), 0x03).lVal, step.mode);

        profile.DataValid(1);
        positions.Item(1).ConfigID(LX_SUBWOOFER);
        listener.Taken();
        profile.Config(step.mode);
        EXPECT_EQ(listener.Taken(), Strings{}) << "the mode it has already";
        EXPECT_EQ(profile.DataValid(), 1);
        EXPECT_EQ(positions.Item(1).ConfigID(), LX_SUBWOOFER);
    }
}

TEST_F(Profile, ModesThatAreNoneChangeNothing) {
    profile.Config(LX_BM_BIAMPMONO);
    profile.DataValid(1);
    Listener listener(project);
    for (const int mode : {-1, static_cast<int>(LX_BM_MAX), 1000})
        EXPECT_TRUE(FailsBare(E_INVALIDARG, profile.Get()->put_Config(static_cast<LXBoxMode>(mode)))) << mode;
    EXPECT_EQ(profile.Config(), LX_BM_BIAMPMONO);
    EXPECT_EQ(profile.DataValid(), 1);
    EXPECT_EQ(listener.Taken(), Strings{});
    EXPECT_TRUE(FailsBare(E_INVALIDARG, profile.Get()->get_Config(nullptr)));
    EXPECT_TRUE(FailsBare(E_POINTER, profile.Get()->get_DataValid(nullptr)));
}

TEST_F(Profile, ThePositionsThatAreLeftFollow) {
    positions.Remove(3);
    positions.Remove(2);
    profile.Config(LX_BM_FULLRANGESTEREO);
    EXPECT_EQ(ConfigIDs(), (Ids{LX_SINGLEAMP, LX_SUBWOOFER})) << "what is second now counts as the left subwoofer";
    const BoxCfgBank bare = profile.CopyNoChildren(box.Banks()).As<BoxCfgBank>();
    EXPECT_EQ(bare.Spkrs().Count(), 0);
    BoxCfgBank(bare).Config(LX_BM_TRIAMP);
    EXPECT_EQ(bare.Config(), LX_BM_TRIAMP);
}

TEST_F(Profile, TheModeOfAnOrphanStaysStored) {
    profile.DataValid(1);
    project.BoxCfgs().RemoveAll();
    EXPECT_TRUE(FailsWith(4009, profile.Get()->put_Config(LX_BM_BIAMPSTEREO)));
    EXPECT_EQ(profile.Config(), LX_BM_BIAMPSTEREO);
    EXPECT_EQ(profile.DataValid(), 0);
}

TEST_F(Profile, PlainPuts) {
    const Variant table = ArrayOf<float>(VT_R4, {{3, 1}, {2, 0}}, {1, 2, 3, 4, 5, 6});
    BoxCfgSpkr left = positions.Item(1);
    const struct {
        Collectable object;
        DISPID id;
        Variant value;
    } cases[] = {
        {profile, 0x27, table},
        {profile, 0x42, table},
        {profile, 0x0b, table},
        {profile, 0x0a, Variant::FromLong(-3)},
        {profile, 0x64, Variant::FromLong(3)},
        {profile, 0x4a, Variant::FromLong(96000)},
        {left, 0x03, Variant::FromLong(4)},
        {left, 0x04, Variant::FromLong(LX_FM_CROSSOVER)},
        {left, 0x56, Variant::FromLong(LX_BIAMP)},
        {left, 0x10, Variant::FromText(u"Flat")},
        {left, 0x11, Variant::FromText(u"Main")},
        {left, 0x15, Variant::FromLong(-6)},
        {left, 0x27, table},
        {left, 0x42, table},
    };
    Listener listener(project);
    for (const auto& each : cases) {
        SCOPED_TRACE(ToUtf8(each.object.Name()) + " " + std::to_string(each.id));
        const bool isArray = (each.value.vt & VT_ARRAY) != 0;
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(LatePut(each.object.Pointer(), each.id, {each.value}), S_OK);
            EXPECT_EQ(listener.Taken(), Strings{"item " + ToUtf8(each.object.Name()) + (isArray ? " 3" : " 0")});
        }
        const Variant found = LateGet(each.object.Pointer(), each.id);
        if (isArray)
            EXPECT_EQ(ContentOf(found), ContentOf(each.value));
        else if (each.value.vt == VT_BSTR)
            EXPECT_EQ(TextOf(found.bstrVal), TextOf(each.value.bstrVal));
        else
            EXPECT_EQ(NumberOf(found), NumberOf(each.value));
    }
    left.LastCalcedDelay(1.25f);
    EXPECT_EQ(listener.Taken(), Strings{"item Left 0"});
    left.LastCalcedDelay(1.25f);
    EXPECT_EQ(listener.Taken(), Strings{}) << "this one compares";
    EXPECT_EQ(left.LastCalcedDelay(), 1.25f);
}

// ---- the filter stages ----

// One property by stage through its published methods; values as LONG.
struct Stages {
    const char* name;
    DISPID id;
    bool compares;
    std::function<HRESULT(IBoxCfgSpkr*, SHORT, LONG*)> get;
    std::function<HRESULT(IBoxCfgSpkr*, SHORT, LONG)> put;
};

template <class Value>
Stages Of(const char* name, DISPID id, bool compares, HRESULT (STDMETHODCALLTYPE IBoxCfgSpkr::*get)(SHORT, Value*),
          HRESULT (STDMETHODCALLTYPE IBoxCfgSpkr::*put)(SHORT, Value)) {
    return {name, id, compares,
            [get](IBoxCfgSpkr* position, SHORT stage, LONG* value) {
                Value found{};
                const HRESULT status = (position->*get)(stage, value ? &found : nullptr);
                if (value && SUCCEEDED(status)) *value = static_cast<LONG>(found);
                return status;
            },
            [put](IBoxCfgSpkr* position, SHORT stage, LONG value) {
                return (position->*put)(stage, static_cast<Value>(value));
            }};
}

#define STAGES(name, id, compares) Of(#name, id, compares, &IBoxCfgSpkr::get_##name, &IBoxCfgSpkr::put_##name)
const Stages kStages[] = {
    STAGES(FilterMode, 0x5, false),       STAGES(FilterFrequencyHi, 0x6, true), STAGES(FilterSlopeHi, 0x7, true),
    STAGES(FilterFrequencyLo, 0x8, true), STAGES(FilterSlopeLo, 0x9, true),     STAGES(FilterEnable, 0xb, false),
    STAGES(FilterTweak, 0xc, false),      STAGES(FilterInvert, 0xd, false),     STAGES(FilterMethodHi, 0xe, false),
    STAGES(FilterMethodLo, 0xf, false),   STAGES(FilterQHi, 0x13, false),       STAGES(FilterQLo, 0x14, false),
};
#undef STAGES

TEST_F(Profile, FilterStages) {
    const BoxCfgSpkr left = positions.Item(1);
    Listener listener(project);
    for (const Stages& each : kStages) {
        SCOPED_TRACE(each.name);
        for (SHORT stage = 1; stage <= 6; ++stage) {
            LONG value = -1;
            EXPECT_EQ(each.get(left.Get(), stage, &value), S_OK);
            EXPECT_EQ(value, 0);
            if (stage % 2 == 0)
                EXPECT_EQ(each.put(left.Get(), stage, 10 + stage), S_OK);
            else
                EXPECT_EQ(LatePut(left.Pointer(), each.id, {Variant::FromLong(stage), Variant::FromLong(10 + stage)}),
                          S_OK);
        }
        listener.Taken();
        for (SHORT stage = 1; stage <= 6; ++stage) {
            LONG value = -1;
            EXPECT_EQ(each.get(left.Get(), stage, &value), S_OK);
            EXPECT_EQ(value, 10 + stage);
            EXPECT_EQ(each.put(left.Get(), stage, value), S_OK);
            EXPECT_EQ(listener.Taken(), each.compares ? Strings{} : Strings{"item Left 0"})
                << "the value that is there";
        }
        for (const SHORT stage : {SHORT{-32768}, SHORT{-1}, SHORT{0}, SHORT{7}, SHORT{32767}}) {
            LONG value = 0;
            EXPECT_TRUE(FailsBare(E_INVALIDARG, each.get(left.Get(), stage, &value))) << stage;
            EXPECT_TRUE(FailsBare(E_INVALIDARG, each.put(left.Get(), stage, 1))) << stage;
            EXPECT_TRUE(FailsBare(E_POINTER, each.get(left.Get(), stage, nullptr))) << stage;
        }
        EXPECT_EQ(listener.Taken(), Strings{});
    }
    positions.RemoveAll();
    for (const Stages& each : kStages) {
        LONG value = 0;
        EXPECT_TRUE(FailsWith(4009, each.put(left.Get(), 6, 99))) << each.name;
        EXPECT_EQ(each.get(left.Get(), 6, &value), S_OK) << each.name;
        EXPECT_EQ(value, 99) << each.name << ": it stays stored";
        EXPECT_TRUE(FailsBare(E_INVALIDARG, each.put(left.Get(), 7, 99))) << each.name;
    }
}

TEST_F(Profile, ANewPosition) {
    const BoxCfgSpkr position = positions.Add(u"Centre");
    EXPECT_EQ(position.Name(), u"Centre");
    EXPECT_EQ(position.Mode(), LX_FM_DISABLE);
    EXPECT_EQ(position.ConfigID(), LX_SINGLEAMP);
    EXPECT_EQ(position.DelayMs(), 0.0f);
    EXPECT_EQ(position.LastCalcedDelay(), 0.0f);
    EXPECT_EQ(position.GaindB(), 0.0f);
    EXPECT_EQ(position.CorrectionName(), u"");
    EXPECT_EQ(position.SpeakerName(), u"");
    EXPECT_EQ(position.Data().vt, VT_EMPTY);
    EXPECT_EQ(position.Data2().vt, VT_EMPTY);
    EXPECT_FALSE(position.Speaker());
    EXPECT_FALSE(position.Correction());
    EXPECT_EQ(LateGet(position.Pointer(), 0x01).vt, VT_DISPATCH);
    EXPECT_EQ(positions.Count(), 5) << "more than the four are the client's own";
}

// A library with one model in one configuration, which speakers with corrections need.
class PlayedProfile : public Profile {
protected:
    Specifications library = Specifications::Create();
    ModelConfig modelConfig =
        library.Manufacturers().Add(u"Acme").Models().Add(u"Alpha").ModelConfigs().Add(library.Configs().Item(1));

    SpeakerEQ AddSpeaker(const Project& to) { return to.SpeakerEQs().Add(u"Main", Model()); }
    Correction AddCorrection(const SpeakerEQ& speaker) {
        return speaker.SpkrEQConfigs().Add(modelConfig).Corrections().Add(u"Flat", Measurement());
    }
};

TEST_F(PlayedProfile, SpeakerAndCorrectionSurviveAndGoWithTheirTargets) {
    const Folder folder;
    const SpeakerEQ speaker = AddSpeaker(project);
    const Correction correction = AddCorrection(speaker);
    BoxCfgSpkr left = positions.Item(1);
    Listener listener(project);
    left.Speaker(speaker);
    EXPECT_EQ(listener.Taken(), Strings{"item Left 0"});
    EXPECT_EQ(LatePut(left.Pointer(), 0x02, {Variant::FromDispatch(correction.Pointer())}), S_OK);
    EXPECT_EQ(listener.Taken(), Strings{"item Left 0"});
    EXPECT_TRUE(IsSameObject(LateGet(left.Pointer(), 0x01), speaker));
    EXPECT_EQ(left.Correction().IsSame(correction), 1);

    Project other = Project::Create();
    const SpeakerEQ foreign = AddSpeaker(other);
    EXPECT_TRUE(FailsWith(4015, left.Get()->put_Speaker(foreign.Get())));
    EXPECT_TRUE(FailsWith(4015, left.Get()->put_Correction(AddCorrection(foreign).Get())));
    EXPECT_EQ(left.Speaker().IsSame(speaker), 1) << "the one it had";
    EXPECT_EQ(listener.Taken(), Strings{});

    const std::u16string speakerId = speaker.ID(), correctionId = correction.ID();
    project.SaveFileAs(PathText(folder / "played.lvx"));
    Project reopened = Project::Create();
    project.CloseFile();
    reopened.OpenFile(PathText(folder / "played.lvx"));
    left = reopened.BoxCfgs().Item(1).Bank(1).Spkrs().Item(1);
    EXPECT_EQ(left.Speaker().ID(), speakerId);
    EXPECT_EQ(left.Correction().ID(), correctionId);

    BoxCfgSpkr right = reopened.BoxCfgs().Item(1).Bank(1).Spkrs().Item(4);
    right.Speaker(left.Speaker());
    left.Speaker(SpeakerEQ());
    EXPECT_FALSE(left.Speaker()) << "emptied";
    reopened.SpeakerEQs().RemoveAll();
    EXPECT_EQ(left.Correction().ID(), correctionId) << "removed, but held";
    EXPECT_EQ(right.Speaker().ID(), speakerId);
    reopened.SaveFile();
    reopened = Project::Create();
    reopened.OpenFile(PathText(folder / "played.lvx"));
    left = reopened.BoxCfgs().Item(1).Bank(1).Spkrs().Item(1);
    EXPECT_FALSE(left.Speaker());
    EXPECT_FALSE(left.Correction());
}

TEST_F(PlayedProfile, ACopyInTheSameDocumentPlaysTheSameOneElsewhereNone) {
    const SpeakerEQ speaker = AddSpeaker(project);
    positions.Item(1).Speaker(speaker);
    Project other = Project::Create();
    EXPECT_EQ(profile.Copy(box.Banks()).As<BoxCfgBank>().Spkrs().Item(1).Speaker().IsSame(speaker), 1);
    EXPECT_FALSE(box.Copy(other.BoxCfgs()).As<BoxCfg>().Bank(1).Spkrs().Item(1).Speaker());
}

TEST_F(Profile, CopiesAreComplete) {
    profile.Config(LX_BM_BIAMPSTEREO);
    BoxCfgSpkr right = positions.Item(4);
    right.FilterFrequencyHi(6, 80.5f);
    right.FilterTweak(1, LX_TWEAK_OFF);
    right.Data2(Floats({7, 8}));
    right.SpeakerName(u"Main");
    box.XdA_LevelTweak(2, 3, -1.5f);
    box.XdA_DelayTweak(16, 6, 12);
    box.XdA_CustomText(u"text");
    Project other = Project::Create();
    for (const BoxCfgs& destination : {project.BoxCfgs(), other.BoxCfgs()}) {
        const BoxCfg copy = box.Copy(destination).As<BoxCfg>();
        EXPECT_EQ(copy.XdA_LevelTweak(2, 3), -1.5f);
        EXPECT_EQ(copy.XdA_DelayTweak(16, 6), 12);
        EXPECT_EQ(copy.XdA_FIR(16), 3);
        EXPECT_EQ(copy.XdA_CustomText(), u"text");
        ASSERT_EQ(copy.Banks().Count(), 4) << "the copied ones, none made anew";
        EXPECT_EQ(copy.Bank(1).Config(), LX_BM_BIAMPSTEREO);
        ASSERT_EQ(copy.Bank(1).Spkrs().Count(), 4);
        const BoxCfgSpkr found = copy.Bank(1).Spkrs().Item(4);
        EXPECT_EQ(found.ConfigID(), LX_BIAMP);
        EXPECT_EQ(found.FilterFrequencyHi(6), 80.5f);
        EXPECT_EQ(found.FilterTweak(1), LX_TWEAK_OFF);
        EXPECT_EQ(found.SpeakerName(), u"Main");
        EXPECT_EQ(ContentOf(found.Data2()), FloatContent({7, 8}));
    }
    BoxCfgBank last = box.Bank(3);
    profile.CopyContents(last);
    EXPECT_EQ(last.Name(), u"Profile 3");
    EXPECT_EQ(last.Config(), LX_BM_BIAMPSTEREO);
    EXPECT_EQ(last.Spkrs().Item(4).FilterFrequencyHi(6), 80.5f);
}

}  // namespace
}  // namespace lumvex::tests
