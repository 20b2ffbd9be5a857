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

// Each position changes by its own put and tells of it, the subwoofers first.
void CBoxCfgBank::Config(LXBoxMode mode) {
    if (mode < LX_BM_TRIAMP || mode >= LX_BM_MAX) throw Failure(E_INVALIDARG);
    if (mode == config_.value) return;
    config_.value = mode;
    DataValid.value = 0;
    const Ref<Object> collection = Spkrs.Get(*this);
    auto& positions = static_cast<CBoxCfgSpkrs&>(*collection);
    const auto configure = [&](LXFilterPos position, LXConfig configuration) {
        if (position >= positions.Count()) return;
        const Ref<Object> item = positions.Item(position + 1);
        auto& speaker = static_cast<CBoxCfgSpkr&>(*item);
        speaker.ConfigID.Put(configuration, speaker);
    };
    if (mode != LX_BM_TRIAMP) {
        configure(LX_FP_LSUB, LX_SUBWOOFER);
        configure(LX_FP_RSUB, LX_SUBWOOFER);
    }
    configure(LX_FP_L, MainConfiguration(mode));
    configure(LX_FP_R, MainConfiguration(mode));
    Commit(LX_EV_DEFAULT);
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
