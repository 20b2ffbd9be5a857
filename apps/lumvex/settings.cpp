#include "settings.hpp"

#include <array>
#include <charconv>
#include <limits>
#include <map>
#include <stdexcept>

#include "files/text_table.hpp"

namespace lumvex::app {

namespace {

// A rate comes with a file, the configuration of an output with the amplification of its profile, and where a client
// shows a correction is not kept.
constexpr std::string_view kGivenOtherwise[] = {"ICorrection.SampleRate", "ICorrection.DisplayPosition",
                                                "IBoxCfgSpkr.ConfigID"};

Words WordsOf(const EnumerationDescription& enumeration) {
    static std::map<std::string_view, std::vector<std::string_view>> known;
    std::vector<std::string_view>& words = known[enumeration.name];
    if (words.empty())
        for (long value = 0; const ValueDescription* each = enumeration.OfValue(value); ++value)
            if (!each->word.empty()) words.push_back(each->word);
    return words;
}

// "(1,2)"; empty without indexes.
std::string InParentheses(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "(" : ",") + part;
    return text.empty() ? text : text + ')';
}

void AddPlaces(Settings& settings, const SettingForm& form, std::span<const ParameterDescription> open) {
    if (!open.empty()) {
        for (long index = open.front().range.lowest; index <= open.front().range.highest; ++index) {
            SettingForm place = form;
            place.indexes.push_back(static_cast<SHORT>(index));
            AddPlaces(settings, place, open.subspan(1));
        }
        return;
    }
    std::vector<std::string> indexes;
    for (const SHORT index : form.indexes) indexes.push_back(std::to_string(index));
    settings.push_back(form);
    settings.back().name += InParentheses(indexes);
}

template <class Number>
void TakeWhole(SettingForm& form) {
    form.isWhole = true;
    form.lowest = std::numeric_limits<Number>::min();
    form.highest = std::numeric_limits<Number>::max();
}

bool IsSetting(const InterfaceDescription& owner, const MemberDescription& member) {
    const std::string name = std::string(owner.name) + '.' + std::string(member.name);
    return member.use == MemberUse::ReadWrite &&
           std::ranges::find(kGivenOtherwise, name) == std::end(kGivenOtherwise) &&
           (member.enumeration || member.type == "LONG" || member.type == "SHORT" || member.type == "float");
}

Variant Invoke(IDispatch& object, const SettingForm& setting, WORD kind, const VARIANT* value) {
    // The last argument comes first.
    std::vector<VARIANT> arguments;
    if (value) arguments.push_back(*value);
    for (auto index = setting.indexes.rbegin(); index != setting.indexes.rend(); ++index) {
        VARIANT argument{};
        argument.vt = VT_I2;
        argument.iVal = *index;
        arguments.push_back(argument);
    }
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{arguments.data(), value ? &named : nullptr, static_cast<UINT>(arguments.size()),
                          value ? 1u : 0u};
    Variant result;
    Check(
        object.Invoke(static_cast<DISPID>(setting.id), IID_NULL, 0, kind, &parameters, result.Out(), nullptr, nullptr));
    return result;
}

std::string Joined(Words words) {
    std::string text;
    for (const std::string_view word : words) text += (text.empty() ? "" : ", ") + std::string(word);
    return text;
}

constexpr std::size_t kHelpWidth = 110;

}  // namespace

const Words kBoxModeWords = WordsOf(*FindEnumerationDescription("LXBoxMode"));

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

const InterfaceDescription& DescriptionOf(const GUID& interfaceId) {
    const std::string id = ToUtf8(ToText(interfaceId));
    for (const InterfaceDescription& each : kInterfaces)
        if (id == '{' + std::string(each.id) + '}') return each;
    throw std::logic_error("an interface without description");
}

Settings SettingsIn(const InterfaceDescription& owner) {
    Settings settings;
    for (const MemberDescription& member : owner.members) {
        if (!IsSetting(owner, member)) continue;
        SettingForm form;
        form.id = member.id;
        form.name = std::string(member.name);
        std::vector<std::string> ranges;
        for (const ParameterDescription& each : member.parameters)
            ranges.push_back(std::to_string(each.range.lowest) + ".." + std::to_string(each.range.highest));
        form.family = form.name + InParentheses(ranges);
        if (member.enumeration) form.words = WordsOf(*member.enumeration);
        if (member.type == "LONG") TakeWhole<LONG>(form);
        if (member.type == "SHORT") TakeWhole<SHORT>(form);
        AddPlaces(settings, form, member.parameters);
    }
    return settings;
}

double ValueOf(IDispatch& object, const SettingForm& setting) {
    const Variant value = Invoke(object, setting, DISPATCH_PROPERTYGET, nullptr);
    if (value.vt == VT_R4) return value.fltVal;
    return value.vt == VT_I2 ? value.iVal : value.lVal;
}

void Assign(IDispatch& object, const SettingForm& setting, double value) {
    VARIANT argument{};
    argument.vt = VT_R8;
    argument.dblVal = value;
    Invoke(object, setting, DISPATCH_PROPERTYPUT, &argument);
}

const SettingForm* FindSetting(const Settings& settings, std::string_view name) {
    for (const SettingForm& setting : settings)
        if (CompareNoCase(FromUtf8(setting.name), FromUtf8(name)) == 0) return &setting;
    return nullptr;
}

std::string ProblemOf(const Settings& settings, std::string_view text) {
    const auto [name, value] = AssignmentIn(text);
    const SettingForm* setting = FindSetting(settings, name);
    if (!setting) return "there is no setting " + std::string(name);
    return setting->Read(value) ? "" : std::string(name) + " takes " + setting->Expected();
}

void Assign(IDispatch& object, const Settings& settings, const std::vector<std::string>& assignments) {
    for (const std::string& text : assignments) {
        const auto [name, value] = AssignmentIn(text);
        const SettingForm* setting = FindSetting(settings, name);
        Assign(object, *setting, *setting->Read(value));
    }
}

std::string Differences(IDispatch& object, IDispatch& other, const Settings& settings) {
    std::string text;
    for (const SettingForm& setting : settings) {
        const double value = ValueOf(object, setting);
        if (value != ValueOf(other, setting)) text += "  " + setting.name + '=' + setting.Text(value);
    }
    return text;
}

std::string SettingsHelp(const Settings& settings) {
    std::string text, line;
    const std::string* last = nullptr;
    for (const SettingForm& setting : settings) {
        if (last && *last == setting.family) continue;
        last = &setting.family;
        const std::string entry = setting.family + (setting.words.empty() ? "" : " (" + Joined(setting.words) + ')');
        if (!line.empty() && line.size() + entry.size() > kHelpWidth) {
            text += line + ",\n";
            line.clear();
        }
        line += (line.empty() ? "  " : ", ") + entry;
    }
    return text + line + ".\n";
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
