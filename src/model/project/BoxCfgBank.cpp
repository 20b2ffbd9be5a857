#include "model/project/BoxCfgBank.hpp"

namespace lumvex::inside {

namespace {

constexpr std::u16string_view kPositionNames[LX_FP_MAX] = {u"Left", u"Left subwoofer", u"Right subwoofer", u"Right"};

constexpr bool IsSubwoofer(int position) { return position == LX_FP_LSUB || position == LX_FP_RSUB; }

constexpr LXConfig MainConfiguration(LXBoxMode mode) {
    switch (mode) {
        case LX_BM_TRIAMP:
            return LX_TRIAMP;
        case LX_BM_BIAMPSTEREO:
        case LX_BM_BIAMPMONO:
            return LX_BIAMP;
        default:
            return LX_SINGLEAMP;
    }
}

}  // namespace

// Each position changes by a put of its own, which raises an event: the subwoofers first. Loading them may fail, so
// that all are loaded before anything changes.
void CBoxCfgBank::Config(LXBoxMode mode) {
    if (mode < LX_BM_TRIAMP || mode >= LX_BM_MAX) throw Failure(E_INVALIDARG);
    if (mode == config_.value) return;
    Positions changing;
    if (OwnEntry().document)
        changing = PositionsThatFollow(mode);  // an orphaned profile stores the mode, and then fails
    PrepareToRaise(changing.size() + 1);
    config_.value = mode;
    DataValid.value = 0;
    for (const auto& [position, configuration] : changing) {
        auto& speaker = static_cast<CBoxCfgSpkr&>(*position);
        speaker.ConfigID.Put(configuration, speaker);
    }
    Commit(LX_EV_DEFAULT);
}

// The positions whose speaker configuration the mode decides, in the order in which they change. A client may have
// removed some.
CBoxCfgBank::Positions CBoxCfgBank::PositionsThatFollow(LXBoxMode mode) {
    const Ref<Object> collection = Spkrs.Get(*this);
    auto& speakers = static_cast<CBoxCfgSpkrs&>(*collection);
    Positions positions;
    const auto follows = [&](LXFilterPos position, LXConfig configuration) {
        if (position < speakers.Count()) positions.emplace_back(speakers.Item(position + 1), configuration);
    };
    if (mode != LX_BM_TRIAMP) {
        follows(LX_FP_LSUB, LX_SUBWOOFER);
        follows(LX_FP_RSUB, LX_SUBWOOFER);
    }
    follows(LX_FP_L, MainConfiguration(mode));
    follows(LX_FP_R, MainConfiguration(mode));
    return positions;
}

void CBoxCfgBank::AddPositions() {
    const Ref<Object> collection = Spkrs.Get(*this);
    auto& positions = static_cast<CBoxCfgSpkrs&>(*collection);
    for (int position = LX_FP_L; position < LX_FP_MAX; ++position) {
        const Ref<Object> speaker = positions.Add(kPositionNames[position]);
        static_cast<CBoxCfgSpkr&>(*speaker).ConfigID.value =
            IsSubwoofer(position) ? LX_SUBWOOFER : MainConfiguration(config_.value);
    }
}

}  // namespace lumvex::inside
