#include "objects/address.hpp"

#include <algorithm>
#include <charconv>
#include <set>
#include <stdexcept>

#include "command_line/status_text.hpp"
#include "files/file_error.hpp"

namespace lumvex::app {

const char* const kAddressHelp =
    "ADDRESS is the path of names from the document down: \"Left/Bi amp/Measurements/On axis\". A step is the name of\n"
    "a collection (as \"tree\" prints it) or of a member; \"[2]\" is a collection's second member and \"Take[2]\" the\n"
    "second of those named Take. Collections may be left out, names are compared regardless of case, and the\n"
    "beginning of a name will do, as long as only one object is meant. Configurations are found by their words as "
    "well\n"
    "(bi-amp). A name with / [ ] * ? in it is put in quotation marks, 'a/b' or \"a/b\", where a backslash takes the "
    "next\n"
    "character as it is, and \\n, \\t and \\u0041 are what they are in JSON; '' is the empty name. An ID in braces is "
    "an\n"
    "address, too, and / is the document itself. In a step without quotation marks * stands for any characters and\n"
    "? for any one; such a pattern fits collections as well as members, members before collections in the last step,\n"
    "and ** fits any number of steps: \"Left/**/On*\". Of several objects that an address fits each is taken; where\n"
    "one is wanted, that is refused.";

namespace {

constexpr std::size_t kMostListed = 12;

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// Would the unit be invisible, or change the line that it is printed on?
bool IsHidden(char16_t unit) {
    const bool isControl = unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
    const bool isDirection =
        (unit >= 0x200E && unit <= 0x200F) || (unit >= 0x2028 && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
    return isControl || isDirection || unit == 0xFEFF || unit >= 0xFFFE;
}

// A surrogate that is no half of a pair cannot be written in UTF-8.
bool IsLone(std::u16string_view text, std::size_t at) {
    if (IsHighSurrogate(text[at])) return at + 1 == text.size() || !IsLowSurrogate(text[at + 1]);
    return IsLowSurrogate(text[at]) && (at == 0 || !IsHighSurrogate(text[at - 1]));
}

bool NeedsQuotes(std::u16string_view name) {
    if (name.empty() || name == u"." || name.front() == u' ' || name.back() == u' ') return true;
    if (std::u16string_view(u"'\"{").find(name.front()) != name.npos) return true;
    if (name.find_first_of(u"/[]*?") != name.npos) return true;
    for (std::size_t at = 0; at < name.size(); ++at)
        if (IsHidden(name[at]) || IsLone(name, at)) return true;
    return false;
}

bool EqualNames(std::u16string_view left, std::u16string_view right) { return CompareNoCase(left, right) == 0; }

bool StartsWith(std::u16string_view name, std::u16string_view beginning) {
    return name.size() >= beginning.size() && EqualNames(name.substr(0, beginning.size()), beginning);
}

// ---- reading a path ----

class PathReader {
public:
    explicit PathReader(std::string_view path) : text_(FromUtf8(path)) {}

    std::vector<Step> Steps() {
        std::vector<Step> steps;
        if (Next() == u'/') ++at_;
        while (at_ < text_.size()) {
            Step step = ReadStep();
            if (step.isQuoted || step.place || step.name != u".") steps.push_back(std::move(step));
            if (at_ < text_.size()) ++at_;  // the slash
        }
        return steps;
    }

private:
    char16_t Next() const { return at_ < text_.size() ? text_[at_] : u'\0'; }
    bool AtEndOfStep() const { return at_ == text_.size() || text_[at_] == u'/'; }

    Step ReadStep() {
        const std::size_t first = at_;
        Step step;
        if (Next() == u'\'' || Next() == u'"') {
            step.name = ReadQuoted();
            step.isQuoted = true;
            const std::size_t rest = at_;
            while (!AtEndOfStep()) ++at_;
            const std::u16string_view behind = std::u16string_view(text_).substr(rest, at_ - rest);
            step.place = PlaceIn(behind);
            if (!behind.empty() && !step.place)
                throw std::invalid_argument("something follows a closing quotation mark: " + Quoted(ToUtf8(behind)));
        } else {
            while (!AtEndOfStep()) ++at_;
            step.name = text_.substr(first, at_ - first);
            if (step.name.empty())
                throw std::invalid_argument("a step is empty (the empty name is written as two quotation marks)");
            const std::size_t bracket = step.name.rfind(u'[');
            if (bracket != step.name.npos) step.place = PlaceIn(std::u16string_view(step.name).substr(bracket));
            if (step.place) step.name.resize(bracket);
            step.isPattern = step.name.find_first_of(u"*?") != step.name.npos;
            step.isAnySteps = step.name == u"**" && !step.place;
        }
        step.text = ToUtf8(std::u16string_view(text_).substr(first, at_ - first));
        return step;
    }

    // "[12]"; nothing for any other text.
    static std::optional<LONG> PlaceIn(std::u16string_view text) {
        const std::string narrow = ToUtf8(text);
        if (narrow.size() < 3 || narrow.front() != '[' || narrow.back() != ']') return std::nullopt;
        LONG place = 0;
        const char* const last = narrow.data() + narrow.size() - 1;
        const auto [end, error] = std::from_chars(narrow.data() + 1, last, place);
        return error == std::errc{} && end == last && place > 0 ? std::optional(place) : std::nullopt;
    }

    std::u16string ReadQuoted() {
        const char16_t mark = text_[at_++];
        std::u16string name;
        while (at_ < text_.size() && text_[at_] != mark) {
            if (text_[at_] != u'\\') {
                name += text_[at_++];
                continue;
            }
            if (++at_ == text_.size()) break;
            name += ReadEscaped();
        }
        if (at_ == text_.size()) throw std::invalid_argument("a quotation mark is not closed");
        ++at_;
        return name;
    }

    char16_t ReadEscaped() {
        const char16_t sign = text_[at_++];
        constexpr std::u16string_view kSigns = u"nrt", kMeanings = u"\n\r\t";
        if (const std::size_t at = kSigns.find(sign); at != kSigns.npos) return kMeanings[at];
        if (sign != u'u') return sign;
        const std::string digits = ToUtf8(std::u16string_view(text_).substr(at_, 4));
        unsigned value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (digits.size() != 4 || error != std::errc{} || end != digits.data() + 4)
            throw std::invalid_argument("four hexadecimal digits belong behind \\u");
        at_ += 4;
        return static_cast<char16_t>(value);
    }

    std::u16string text_;
    std::size_t at_ = 0;
};

// ---- finding ----

// How a step may fit, best first: what fits better hides what fits less.
enum class Fit { Whole, Word, Beginning };

// The property that leads from a project into its library.
bool LeadsToLibrary(const MemberDescription& property) {
    const ClassDescription* known =
        property.objectInterface ? FindClassDescription(property.objectInterface->name) : nullptr;
    return known && known->kind == Kind::Root && !LeadsUp(property);
}

// The properties of an item or root that a step can name.
std::vector<const MemberDescription*> StepsBelow(const InterfaceDescription& type) {
    std::vector<const MemberDescription*> all;
    for (const MemberDescription* each : PropertiesOf(type))
        if (IsChildCollection(*each) || IsFixedTable(*each) || LeadsToLibrary(*each)) all.push_back(each);
    return all;
}

bool NamesStep(const InterfaceDescription& type, std::u16string_view name) {
    return std::ranges::any_of(StepsBelow(type),
                               [&](const MemberDescription* each) { return EqualNames(FromUtf8(each->name), name); });
}

// The words of what the member is: "bi-amp" of a configuration. Only what cannot be changed tells what an object is.
bool HasWord(const Node& member, std::u16string_view word) {
    for (const MemberDescription* each : PropertiesOf(member.Type())) {
        if (!each->enumeration || each->use != MemberUse::ReadOnly || !each->parameters.empty()) continue;
        const ValueDescription* value = each->enumeration->OfValue(member.Get(*each).lVal);
        if (value && !value->word.empty() && EqualNames(FromUtf8(value->word), word)) return true;
    }
    return false;
}

bool Fits(const Node& member, const Step& step, Fit fit) {
    if (fit == Fit::Word) return !step.isQuoted && HasWord(member, step.name);
    const std::u16string name = member.Name();
    if (step.isPattern) return FitsPattern(name, step.name);
    return fit == Fit::Whole ? EqualNames(name, step.name) : !step.isQuoted && StartsWith(name, step.name);
}

void AddMembers(const Node& collection, const Step& step, Fit fit, std::vector<Node>& found) {
    const LONG count = collection.Count();
    if (step.name.empty() && !step.isQuoted) {
        if (fit == Fit::Whole && *step.place <= count) found.push_back(collection.Member(*step.place));
        return;
    }
    LONG seen = 0;
    for (LONG place = 1; place <= count; ++place) {
        try {
            Node member = collection.Member(place);
            if (!Fits(member, step, fit)) continue;
            if (!step.place || ++seen == *step.place) found.push_back(std::move(member));
        } catch (const Error&) {
            continue;  // what cannot be read has no name, and others beside it have
        }
    }
}

void AddBelow(const Node& from, const Step& step, Fit fit, std::vector<Node>& found) {
    if (from.IsCollection()) {
        AddMembers(from, step, fit, found);
        return;
    }
    const std::size_t before = found.size();
    std::vector<Node> owned;
    for (const MemberDescription* each : StepsBelow(from.Type())) {
        const std::u16string name = FromUtf8(each->name);
        const bool isMeant = !step.isQuoted && !step.name.empty() &&
                             ((fit == Fit::Whole && EqualNames(name, step.name)) ||
                              (fit == Fit::Beginning && StartsWith(name, step.name)));
        const Node target = isMeant || IsChildCollection(*each) ? from.Follow(*each) : Node();
        if (isMeant && target && step.place) {
            if (target.IsCollection() && *step.place <= target.Count()) found.push_back(target.Member(*step.place));
        } else if (isMeant && target) {
            found.push_back(target);
        }
        if (IsChildCollection(*each)) owned.push_back(target);
    }
    if (fit == Fit::Whole && found.size() > before) return;  // the collection's name hides members of the same name
    const bool isPlaceAlone = step.name.empty() && !step.isQuoted;
    if (isPlaceAlone && owned.size() != 1) return;
    for (const Node& collection : owned) AddMembers(collection, step, fit, found);
}

// Without those that are there twice: a member can be reached through its collection and past it.
std::vector<Node> EachOnce(std::vector<Node> nodes) {
    std::set<std::u16string> seen;
    std::erase_if(nodes, [&](const Node& each) { return each.HasId() && !seen.insert(each.Id()).second; });
    return nodes;
}

std::vector<Node> CollectionsOf(const Node& owner) {
    std::vector<Node> collections;
    for (const MemberDescription* each : ChildCollectionsOf(owner.Type())) collections.push_back(owner.Follow(*each));
    return collections;
}

// The object and everything below it, owners first; of what cannot be read, nothing.
void AddWithAllBelow(const Node& from, std::vector<Node>& found) {
    found.push_back(from);
    if (from.IsCollection()) {
        const LONG count = from.Count();
        for (LONG place = 1; place <= count; ++place) {
            try {
                AddWithAllBelow(from.Member(place), found);
            } catch (const Error&) {
                continue;
            }
        }
        return;
    }
    for (const Node& each : CollectionsOf(from)) AddWithAllBelow(each, found);
}

// The step "**". As the last one it fits what is below, items alone.
std::vector<Node> AnyStepsFrom(const std::vector<Node>& from, bool isLast) {
    std::vector<Node> found;
    for (const Node& each : from) {
        const std::size_t first = found.size();
        AddWithAllBelow(each, found);
        if (isLast) found.erase(found.begin() + static_cast<std::ptrdiff_t>(first));
    }
    if (isLast) std::erase_if(found, [](const Node& each) { return each.IsCollection(); });
    return found;
}

// A pattern fits members, and the collections that lead to more.
std::vector<Node> PatternFrom(const std::vector<Node>& from, const Step& step, bool isLast) {
    std::vector<Node> members, collections;
    for (const Node& each : from) {
        if (each.IsCollection()) {
            AddMembers(each, step, Fit::Whole, members);
            continue;
        }
        for (const Node& collection : CollectionsOf(each)) {
            AddMembers(collection, step, Fit::Whole, members);
            if (!FitsPattern(FromUtf8(PropertyOf(each, collection)), step.name)) continue;
            if (!step.place) {
                collections.push_back(collection);
            } else if (*step.place <= collection.Count()) {
                collections.push_back(collection.Member(*step.place));
            }
        }
    }
    if (!isLast || members.empty()) members.insert(members.end(), collections.begin(), collections.end());
    return members;
}

std::vector<Node> StepFrom(const std::vector<Node>& from, const Step& step, bool isLast) {
    if (step.isAnySteps) return AnyStepsFrom(from, isLast);
    if (step.isPattern) return PatternFrom(from, step, isLast);
    std::vector<Node> found;
    for (const Fit fit : {Fit::Whole, Fit::Word, Fit::Beginning}) {
        for (const Node& each : from) AddBelow(each, step, fit, found);
        if (!found.empty()) return found;
    }
    if (!step.place || step.name.empty() || step.isQuoted) return found;
    Step literal = step;  // perhaps the brackets are the name's own
    literal.name = FromUtf8(step.text);
    literal.place.reset();
    for (const Node& each : from) AddBelow(each, literal, Fit::Whole, found);
    return found;
}

std::string ListText(const std::vector<std::string>& texts, std::size_t total) {
    std::string text;
    for (const std::string& each : texts) text += (text.empty() ? "" : ", ") + each;
    return total > texts.size() ? text + ", ..." : text;
}

// What a step could name below the object: "Corrections (0), Measurements (5)", or a collection's members.
std::string Below(const Node& from) {
    std::vector<std::string> texts;
    std::size_t total = 0;
    if (from.IsCollection()) {
        total = static_cast<std::size_t>(from.Count());
        for (std::size_t place = 1; place <= std::min(total, kMostListed); ++place) {
            try {
                texts.push_back(StepText(from.Member(static_cast<LONG>(place)).Name()));
            } catch (const Error&) {
                texts.push_back('[' + std::to_string(place) + "], which cannot be read");
            }
        }
    } else {
        for (const MemberDescription* each : ChildCollectionsOf(from.Type()))
            texts.push_back(std::string(each->name) + " (" + std::to_string(from.Follow(*each).Count()) + ')');
        total = texts.size();
    }
    return texts.empty() ? "there is nothing" : "there is " + ListText(texts, total);
}

std::string Joined(const std::string& path, const std::string& step) { return path == "/" ? step : path + '/' + step; }

// "an Experiment"
std::string ArticleName(const InterfaceDescription& type) {
    const std::string name = TypeName(type);
    return (std::string_view("AEIOU").find(name[0]) != std::string_view::npos ? "an " : "a ") + name;
}

// The table of configurations is the same in every document.
std::string PathInFixedTable(const Node& object) {
    for (const ClassDescription& each : kClasses) {
        if (each.kind != Kind::Root) continue;
        for (const MemberDescription* property : PropertiesOf(*each.ownInterface)) {
            if (!IsFixedTable(*property)) continue;
            const std::string table(property->name);
            return object.IsCollection() ? table : Joined(table, StepText(object.Name()));
        }
    }
    return {};
}

}  // namespace

std::vector<Step> StepsOf(std::string_view path) { return PathReader(path).Steps(); }

// Remembers the last star and where it began to match, and comes back there when what follows does not fit.
bool FitsPattern(std::u16string_view text, std::u16string_view pattern) {
    std::size_t at = 0, in = 0, star = pattern.npos, retry = 0;
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == u'*') {
            star = in++;
            retry = at;
        } else if (in < pattern.size() && (pattern[in] == u'?' || ToUpper(pattern[in]) == ToUpper(text[at]))) {
            ++in;
            ++at;
        } else if (star != pattern.npos) {
            in = star + 1;
            at = ++retry;
        } else {
            return false;
        }
    }
    while (in < pattern.size() && pattern[in] == u'*') ++in;
    return in == pattern.size();
}

void Addresses::Refuse(std::string_view address, const std::string& reason) const {
    throw FileError(document_, Quoted(address) + ": " + reason);
}

std::vector<Step> Addresses::Steps(std::string_view address) const {
    try {
        return StepsOf(address);
    } catch (const std::invalid_argument& error) {
        Refuse(address, error.what());
    }
}

std::vector<Node> Addresses::Resolved(const Node& from, std::string_view address) const {
    const std::vector<Step> steps = Steps(address);
    std::vector<Node> found{from};
    std::size_t at = 0;
    if (!steps.empty() && !steps[0].isQuoted && ParseGuid(steps[0].name)) {
        try {
            const MemberDescription& load = *root_.Type().Find("Load");
            const Variant id = Variant::FromText(steps[at++].name);
            const Variant loaded = root_.Call(load, id);
            if (loaded.vt != VT_DISPATCH || !loaded.pdispVal) Refuse(address, "there is no object of this ID");
            found = {Node(Object(Ref<IDispatch>(loaded.pdispVal)))};
        } catch (const Error& error) {
            Refuse(address, "there is no object of this ID: " + Describe(error));
        }
    }
    for (; at < steps.size(); ++at) {
        std::vector<Node> next = EachOnce(StepFrom(found, steps[at], at + 1 == steps.size()));
        if (next.empty() && found.size() > 1)
            Refuse(address, "there is no " + Quoted(steps[at].text) + " in the " + std::to_string(found.size()) +
                                " objects that what is before it fits");
        if (next.empty())
            Refuse(address,
                   "there is no " + Quoted(steps[at].text) + " in " + PathOf(found[0]) + "; " + Below(found[0]));
        found = std::move(next);
    }
    return found;
}

Node Addresses::OnlyOne(std::string_view address, const std::vector<Node>& found) const {
    if (found.size() == 1) return found[0];
    std::vector<std::string> texts;
    Paths paths;
    for (std::size_t at = 0; at < std::min(found.size(), kMostListed); ++at) texts.push_back(paths.Of(found[at]));
    Refuse(address,
           "it fits " + std::to_string(found.size()) + " objects; say which: " + ListText(texts, found.size()));
}

Node Addresses::Find(std::string_view address) const { return Find(root_, address); }

Node Addresses::Find(const Node& from, std::string_view address) const {
    return OnlyOne(address, Resolved(from, address));
}

std::vector<Node> Addresses::FindAll(std::string_view address) const { return FindAll(root_, address); }

std::vector<Node> Addresses::FindAll(const Node& from, std::string_view address) const {
    return Resolved(from, address);
}

Node Addresses::FindOwn(std::string_view address) const {
    Node found = Find(address);
    RequireOwn(address, found);
    return found;
}

std::vector<Node> Addresses::FindAllOwn(std::string_view address) const {
    std::vector<Node> found = FindAll(address);
    for (const Node& each : found) RequireOwn(address, each);
    return found;
}

void Addresses::RequireOwn(std::string_view address, const Node& object) const {
    if (!object.HasId()) return;  // a fixed table, which says itself that it cannot be changed
    const Node root = object.Is(Kind::Root) ? object : object.Root();
    if (root.Class() == root_.Class()) return;
    Refuse(address, "it is of the library; to change that, name its file as the document");
}

Node Addresses::FindTarget(const InterfaceDescription& type, std::string_view address) const {
    const std::vector<Step> steps = Steps(address);
    const bool isId = !steps.empty() && ParseGuid(steps[0].name);
    const ClassDescription* home = RootClassOf(type);
    Node from = root_;
    for (const MemberDescription* each : StepsBelow(root_.Type())) {
        const bool isLibrary = home && home != root_.Class() && each->objectInterface == home->ownInterface;
        const bool isTable = IsFixedTable(*each) && &MemberTypeOf(*each->objectInterface) == &type;
        const bool isNamed = !steps.empty() && EqualNames(steps[0].name, FromUtf8(each->name));
        if (isId || isNamed || (!isLibrary && !isTable)) continue;
        from = root_.Follow(*each);
        if (!from) Refuse(address, "the project has no library, or it cannot be opened");
    }
    const std::vector<Node> all = Resolved(from, address);
    std::vector<Node> fitting;
    std::ranges::copy_if(all, std::back_inserter(fitting), [&](const Node& each) { return &each.Type() == &type; });
    if (fitting.empty())
        Refuse(address,
               PathOf(all[0]) + " is " + ArticleName(all[0].Type()) + ", and " + ArticleName(type) + " is wanted");
    return OnlyOne(address, fitting);
}

std::string Paths::Of(const Node& object) {
    if (!object.Class()) return PathInFixedTable(object);
    if (object.Is(Kind::Root)) return "/";
    const Node parent = object.Parent();
    if (object.IsCollection()) return Joined(Of(parent), std::string(PropertyOf(parent, object)));

    const Node owner = parent.Parent();
    const bool isOnlyCollection = ChildCollectionsOf(owner.Type()).size() == 1;
    auto& steps = steps_[parent.Id()];
    if (steps.empty()) {
        struct Named {
            std::u16string name, id;
        };
        struct NoCase {
            bool operator()(const std::u16string& left, const std::u16string& right) const {
                return CompareNoCase(left, right) < 0;
            }
        };
        std::map<std::u16string, std::vector<Named>, NoCase> sharing;
        const LONG count = parent.Count();
        for (LONG place = 1; place <= count; ++place) {
            try {
                const Node member = parent.Member(place);
                const std::u16string name = member.Name();
                sharing[name].push_back({name, member.Id()});
            } catch (const Error&) {
                continue;  // as in AddMembers()
            }
        }
        for (const auto& [name, members] : sharing) {
            const bool isHidden = isOnlyCollection && NamesStep(owner.Type(), name);
            for (std::size_t at = 0; at < members.size(); ++at)
                steps[members[at].id] = StepText(members[at].name, isHidden) +
                                        (members.size() > 1 ? '[' + std::to_string(at + 1) + ']' : "");
        }
    }
    return Joined(Of(isOnlyCollection ? owner : parent), steps[object.Id()]);
}

std::string StepText(std::u16string_view name, bool isQuoted) {
    if (!isQuoted && !NeedsQuotes(name)) return ToUtf8(name);
    const bool hasSingle = name.find(u'\'') != name.npos, hasDouble = name.find(u'"') != name.npos;
    const char16_t mark = hasSingle && !hasDouble ? u'"' : u'\'';
    std::u16string text(1, mark);
    for (std::size_t at = 0; at < name.size(); ++at) {
        const char16_t unit = name[at];
        if (IsHidden(unit) || IsLone(name, at)) {
            constexpr char16_t kHexDigits[] = u"0123456789ABCDEF";
            if (unit == u'\n') {
                text += u"\\n";
                continue;
            }
            text += u"\\u";
            for (int shift = 12; shift >= 0; shift -= 4) text += kHexDigits[unit >> shift & 0xF];
            continue;
        }
        if (unit == mark || unit == u'\\') text += u'\\';
        text += unit;
    }
    return ToUtf8(text + mark);
}

}  // namespace lumvex::app
