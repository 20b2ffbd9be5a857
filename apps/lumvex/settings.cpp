#include "settings.hpp"

#include <array>
#include <charconv>
#include <limits>
#include <type_traits>

#include "files/text_table.hpp"

namespace lumvex::app {

namespace {

using namespace std::literals;

constexpr auto kBoxModes =
    std::to_array({"tri-amp"sv, "bi-amp-stereo"sv, "bi-amp-mono"sv, "full-range-stereo"sv, "full-range-mono"sv});
constexpr auto kOptMethods = std::to_array({"min-delay"sv, "min-error"sv});
constexpr auto kXovers = std::to_array({"linear-phase"sv, "linkwitz-riley"sv, "butterworth"sv, "none"sv});
constexpr auto kSmoothings = std::to_array({"cheby"sv, "sinc"sv});
constexpr auto kFilterModes = std::to_array({"disable"sv, "bypass"sv, "correction"sv, "crossover"sv});
constexpr auto kSimpleFilters = std::to_array({"high-pass"sv, "low-pass"sv, "band-pass"sv});
constexpr auto kTweaks = std::to_array({"on"sv, "bypass"sv, "off"sv});

template <class Value>
constexpr Words WordsFor() {
    if constexpr (std::is_same_v<Value, LXOptMethod>) return kOptMethods;
    if constexpr (std::is_same_v<Value, LXXover>) return kXovers;
    if constexpr (std::is_same_v<Value, LXMSmooth>) return kSmoothings;
    if constexpr (std::is_same_v<Value, LXFilterMode>) return kFilterModes;
    if constexpr (std::is_same_v<Value, LXSimpleFilterMode>) return kSimpleFilters;
    if constexpr (std::is_same_v<Value, LXTweak>) return kTweaks;
    return {};
}

template <class Item>
class Table {
public:
    template <class Value>
    void Add(const std::string& name, Value (Item::*get)() const, void (Item::*put)(Value)) {
        Row<Value>(
            name, name, [=](const Item& item) { return (item.*get)(); },
            [=](Item& item, Value value) { (item.*put)(value); });
    }

    template <class Value>
    void Add(const std::string& name, SHORT last, Value (Item::*get)(SHORT) const, void (Item::*put)(SHORT, Value)) {
        const std::string family = name + "(1.." + std::to_string(last) + ')';
        for (SHORT index = 1; index <= last; ++index)
            Row<Value>(
                name + '(' + std::to_string(index) + ')', family, [=](const Item& item) { return (item.*get)(index); },
                [=](Item& item, Value value) { (item.*put)(index, value); });
    }

    template <class Value>
    void Add(const std::string& name, SHORT last, SHORT lastOfEach, Value (Item::*get)(SHORT, SHORT) const,
             void (Item::*put)(SHORT, SHORT, Value)) {
        const std::string family = name + "(1.." + std::to_string(last) + ",1.." + std::to_string(lastOfEach) + ')';
        for (SHORT one = 1; one <= last; ++one) {
            for (SHORT two = 1; two <= lastOfEach; ++two)
                Row<Value>(
                    name + '(' + std::to_string(one) + ',' + std::to_string(two) + ')', family,
                    [=](const Item& item) { return (item.*get)(one, two); },
                    [=](Item& item, Value value) { (item.*put)(one, two, value); });
        }
    }

    std::vector<Setting<Item>> rows;

private:
    template <class Value, class Get, class Put>
    void Row(std::string name, std::string family, Get get, Put put) {
        Setting<Item> row;
        row.name = std::move(name);
        row.family = std::move(family);
        row.words = WordsFor<Value>();
        row.isWhole = std::is_integral_v<Value>;
        if constexpr (std::is_integral_v<Value>) {
            row.lowest = std::numeric_limits<Value>::min();
            row.highest = std::numeric_limits<Value>::max();
        }
        row.get = [get](const Item& item) { return static_cast<double>(get(item)); };
        row.put = [put](Item& item, double value) { put(item, static_cast<Value>(value)); };
        rows.push_back(std::move(row));
    }
};

// The getter and the putter share the published name.
#define LUMVEX_BOTH(name) &Item::name, &Item::name

// What a correction records of its design, and a design template prescribes.
template <class Item>
Table<Item> DesignTable() {
    Table<Item> table;
    table.Add("MeasureStart", LUMVEX_BOTH(MeasureStart));
    table.Add("MeasureEnd", LUMVEX_BOTH(MeasureEnd));
    table.Add("MeasSmooth", LUMVEX_BOTH(MeasSmooth));
    table.Add("MeasSmoothMethod", LUMVEX_BOTH(MeasSmoothMethod));
    table.Add("MinphaseSmooth", LUMVEX_BOTH(MinphaseSmooth));
    table.Add("LmtSmooth", LUMVEX_BOTH(LmtSmooth));
    table.Add("CrossoverMethod", LUMVEX_BOTH(CrossoverMethod));
    table.Add("OptMethod", LUMVEX_BOTH(OptMethod));
    table.Add("MagTol", LUMVEX_BOTH(MagTol));
    table.Add("GDTol", LUMVEX_BOTH(GDTol));
    table.Add("MaxDelay", LUMVEX_BOTH(MaxDelay));
    table.Add("MaxOffset", LUMVEX_BOTH(MaxOffset));
    table.Add("FWTarget", LUMVEX_BOTH(FWTarget));
    return table;
}

std::vector<Setting<Correction>> CorrectionTable() {
    using Item = Correction;
    Table<Item> table = DesignTable<Item>();
    table.Add("MeasureScale", LUMVEX_BOTH(MeasureScale));
    table.Add("MeasureTweak", LUMVEX_BOTH(MeasureTweak));
    table.Add("CorrectionScale", LUMVEX_BOTH(CorrectionScale));
    table.Add("ActMagError", LUMVEX_BOTH(ActMagError));
    table.Add("ActGDError", LUMVEX_BOTH(ActGDError));
    table.Add("ActDelay", LUMVEX_BOTH(ActDelay));
    table.Add("FiltChanDelayMs", 6, LUMVEX_BOTH(FiltChanDelayMs));
    return table.rows;
}

std::vector<Setting<SpkrEQDesign>> TemplateTable() {
    using Item = SpkrEQDesign;
    Table<Item> table = DesignTable<Item>();
    table.Add("AutoScale", LUMVEX_BOTH(AutoScale));
    table.Add("StepResponseCorr", LUMVEX_BOTH(StepResponseCorr));
    table.Add("SampleRate", LUMVEX_BOTH(SampleRate));
    table.Add("GDRangeMin", LUMVEX_BOTH(GDRangeMin));
    return table.rows;
}

std::vector<Setting<BoxCfg>> BoxTable() {
    using Item = BoxCfg;
    constexpr SHORT kBanks = 16, kChannels = 6;
    Table<Item> table;
    table.Add("XdA_UserParametric", LUMVEX_BOTH(XdA_UserParametric));
    table.Add("XdA_LockEQ", LUMVEX_BOTH(XdA_LockEQ));
    table.Add("XdA_DelayTweak", kBanks, kChannels, LUMVEX_BOTH(XdA_DelayTweak));
    table.Add("XdA_LevelTweak", kBanks, kChannels, LUMVEX_BOTH(XdA_LevelTweak));
    table.Add("XdA_Invert", kBanks, kChannels, LUMVEX_BOTH(XdA_Invert));
    table.Add("XdA_Mute", kBanks, kChannels, LUMVEX_BOTH(XdA_Mute));
    table.Add("XdA_FIR", kBanks, LUMVEX_BOTH(XdA_FIR));
    table.Add("XdA_IIRLeft", kBanks, LUMVEX_BOTH(XdA_IIRLeft));
    table.Add("XdA_IIRRight", kBanks, LUMVEX_BOTH(XdA_IIRRight));
    return table.rows;
}

std::vector<Setting<BoxCfgSpkr>> OutputTable() {
    using Item = BoxCfgSpkr;
    constexpr SHORT kStages = 6;
    Table<Item> table;
    table.Add("Mode", LUMVEX_BOTH(Mode));
    table.Add("DelayMs", LUMVEX_BOTH(DelayMs));
    table.Add("GaindB", LUMVEX_BOTH(GaindB));
    table.Add("LastCalcedDelay", LUMVEX_BOTH(LastCalcedDelay));
    table.Add("FilterEnable", kStages, LUMVEX_BOTH(FilterEnable));
    table.Add("FilterMode", kStages, LUMVEX_BOTH(FilterMode));
    table.Add("FilterFrequencyHi", kStages, LUMVEX_BOTH(FilterFrequencyHi));
    table.Add("FilterSlopeHi", kStages, LUMVEX_BOTH(FilterSlopeHi));
    table.Add("FilterMethodHi", kStages, LUMVEX_BOTH(FilterMethodHi));
    table.Add("FilterQHi", kStages, LUMVEX_BOTH(FilterQHi));
    table.Add("FilterFrequencyLo", kStages, LUMVEX_BOTH(FilterFrequencyLo));
    table.Add("FilterSlopeLo", kStages, LUMVEX_BOTH(FilterSlopeLo));
    table.Add("FilterMethodLo", kStages, LUMVEX_BOTH(FilterMethodLo));
    table.Add("FilterQLo", kStages, LUMVEX_BOTH(FilterQLo));
    table.Add("FilterInvert", kStages, LUMVEX_BOTH(FilterInvert));
    table.Add("FilterTweak", kStages, LUMVEX_BOTH(FilterTweak));
    return table.rows;
}

#undef LUMVEX_BOTH

std::string Joined(Words words) {
    std::string text;
    for (const std::string_view word : words) text += (text.empty() ? "" : ", ") + std::string(word);
    return text;
}

constexpr std::size_t kHelpWidth = 110;

}  // namespace

const Words kBoxModeWords = kBoxModes;

std::optional<double> SettingForm::Read(std::string_view text) const {
    for (std::size_t value = 0; value < words.size(); ++value) {
        if (CompareNoCase(FromUtf8(words[value]), FromUtf8(text)) == 0) return static_cast<double>(value);
    }
    if (!words.empty()) return std::nullopt;
    if (!isWhole) {
        float value = 0;
        return ReadNumber(text, value) ? std::optional<double>(value) : std::nullopt;
    }
    long long whole = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), whole);
    const bool good = error == std::errc{} && end == text.data() + text.size();
    const auto value = static_cast<double>(whole);
    return good && value >= lowest && value <= highest ? std::optional<double>(value) : std::nullopt;
}

// The shortest text that reads as the same float.
std::string SettingForm::Text(double value) const {
    if (value >= 0 && value < static_cast<double>(words.size()))
        return std::string(words[static_cast<std::size_t>(value)]);
    std::array<char, 64> digits;
    char* const first = digits.data();
    char* const last = first + digits.size();
    return isWhole ? std::string(first, std::to_chars(first, last, static_cast<long long>(value)).ptr)
                   : std::string(first, std::to_chars(first, last, static_cast<float>(value)).ptr);
}

std::string SettingForm::Expected() const {
    if (!words.empty()) return "one of " + Joined(words);
    if (!isWhole) return "a number";
    return highest > std::numeric_limits<SHORT>::max() ? "a whole number" : "a whole number of 16 bits";
}

std::string SettingsHelp(std::span<const SettingForm* const> settings) {
    std::string text, line;
    const std::string* last = nullptr;
    for (const SettingForm* setting : settings) {
        if (last && *last == setting->family) continue;
        last = &setting->family;
        const std::string entry = setting->family + (setting->words.empty() ? "" : " (" + Joined(setting->words) + ')');
        if (!line.empty() && line.size() + entry.size() > kHelpWidth) {
            text += line + ",\n";
            line.clear();
        }
        line += (line.empty() ? "  " : ", ") + entry;
    }
    return text + line + ".\n";
}

template <>
const std::vector<Setting<Correction>>& SettingsOf<Correction>() {
    static const auto rows = CorrectionTable();
    return rows;
}

template <>
const std::vector<Setting<SpkrEQDesign>>& SettingsOf<SpkrEQDesign>() {
    static const auto rows = TemplateTable();
    return rows;
}

template <>
const std::vector<Setting<BoxCfg>>& SettingsOf<BoxCfg>() {
    static const auto rows = BoxTable();
    return rows;
}

template <>
const std::vector<Setting<BoxCfgSpkr>>& SettingsOf<BoxCfgSpkr>() {
    static const auto rows = OutputTable();
    return rows;
}

Assignment AssignmentIn(std::string_view text) {
    const std::size_t sign = text.find('=');
    return {text.substr(0, sign), sign == text.npos ? "" : text.substr(sign + 1)};
}

NewItems::NewItems() : library(Specifications::Create()), project(Project::Create()) {
    const auto model = library.Manufacturers().Add(u"").Models().Add(u"");
    const auto config = model.ModelConfigs().Add(library.Configs().Item(LX_SINGLEAMP));
    correction = project.SpeakerEQs().Add(u"", model).SpkrEQConfigs().Add(config).Corrections().Add(u"");
    design = project.CrossoverConfigs().Item(LX_SINGLEAMP).SpkrEQDesigns().Add(u"");
    box = project.BoxCfgs().Add(u"");
    output = box.Bank(0).Spkrs().Item(LX_FP_L + 1);
}

}  // namespace lumvex::app
