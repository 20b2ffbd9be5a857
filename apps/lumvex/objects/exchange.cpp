#include "objects/exchange.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <utility>

#include "command_line/status_text.hpp"
#include "files/file_error.hpp"
#include "objects/adding.hpp"
#include "objects/json.hpp"
#include "objects/object_text.hpp"

namespace lumvex::app {

namespace {

constexpr const char* kFormat = "lumvex objects";
constexpr int kVersion = 1;

// The references that Add() takes and that cannot be put: the model of a speaker.
std::vector<const MemberDescription*> Given(const Node& item) {
    std::vector<const MemberDescription*> given;
    for (const Ingredient& each : IngredientsOf(item.Parent().Type()))
        if (each.type && each.property && each.property->use == MemberUse::ReadOnly) given.push_back(each.property);
    return given;
}

// ---- writing ----

class Writer {
public:
    Writer(std::ostream& out, const Unreadable& unreadable) : out_(out), unreadable_(unreadable) {}

    void Write(const Node& object) {
        out_ << "{\"address\": " << Text(paths_.Of(object)) << ", \"class\": \"" << object.Class()->name << '"';
        if (object.Is(Kind::Item)) {
            out_ << ", \"collection\": " << Text(paths_.Of(object.Parent()));
            for (const MemberDescription* each : Given(object)) WriteProperty(object, *each);
        }
        if (object.IsCollection()) {
            out_ << ", \"members\": ";
            WriteMembers(object);
        } else {
            for (const MemberDescription* each : ContentOf(object.Type())) WriteProperty(object, *each);
            for (const MemberDescription* each : ChildCollectionsOf(object.Type())) {
                const Node collection = object.Follow(*each);
                if (collection.Count() == 0) continue;
                out_ << ",\n\"" << each->name << "\": ";
                WriteMembers(collection);
            }
        }
        out_ << '}';
    }

private:
    static std::string Text(const std::string& text) { return Json(text).dump(); }

    void WriteMembers(const Node& collection) {
        out_ << '[';
        const LONG count = collection.Count();
        const char* separator = "\n";
        for (LONG place = 1; place <= count; ++place) {
            const Node member = ReadableMember(collection, place, unreadable_);
            if (!member) continue;
            out_ << std::exchange(separator, ",\n");
            Write(member);
        }
        out_ << "\n]";
    }

    void WriteProperty(const Node& object, const MemberDescription& member) {
        out_ << ", \"" << member.name << "\": ";
        if (member.parameters.empty()) {
            const Variant value = object.Get(member);
            if (IsArray(value) && (value.vt & VT_TYPEMASK) == VT_R4)
                WriteArray(value);
            else
                out_ << ValueJson({&member, {}}, value, ArrayForm::Whole, paths_, object.Root()).dump();
        } else {
            out_ << PropertyJson(object, member, ArrayForm::Whole, paths_).dump();
        }
    }

    // As ArrayJson() has it, without a JSON value for each number.
    void WriteArray(const VARIANT& value) {
        Json head = ArrayHeadJson(value);
        std::string text = head.dump();
        text.back() = ',';
        out_ << text << "\"values\": ";
        const std::vector<std::size_t> shape = ShapeOf(value);
        const std::size_t rows = shape[0], columns = shape.size() < 2 ? 1 : shape[1];
        void* data = nullptr;
        Check(SafeArrayAccessData(value.parray, &data));
        const float* next = static_cast<const float*>(data);
        std::string column;
        if (shape.size() > 1) out_ << '[';
        for (std::size_t at = 0; at < columns; ++at) {
            column = "[";
            for (std::size_t row = 0; row < rows; ++row, ++next) {
                if (row != 0) column += ',';
                AddNumber(column, *next);
            }
            out_ << column << (at + 1 == columns ? "]" : "],");
        }
        if (shape.size() > 1) out_ << ']';
        SafeArrayUnaccessData(value.parray);
        out_ << '}';
    }

    static void AddNumber(std::string& text, float number) {
        const Json json = NumberJson(number);
        if (json.is_string()) {
            text += json.dump();
            return;
        }
        std::array<char, 32> digits;
        text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), json.get<double>()).ptr);
        if (number == 0 && std::signbit(number) && text.back() == '0') text += ".0";
    }

    std::ostream& out_;
    const Unreadable& unreadable_;
    Paths paths_;
};

// ---- reading ----

[[noreturn]] void Refuse(const Json& object, const std::string& reason) {
    const bool hasAddress = object.is_object() && object.contains("address") && object["address"].is_string();
    throw PropertyError((hasAddress ? object["address"].get<std::string>() + ": " : "") + reason);
}

template <class T>
T Member(const Json& object, const char* key) {
    if (!object.is_object() || !object.contains(key)) Refuse(object, std::string("it has no \"") + key + '"');
    try {
        return object[key].get<T>();
    } catch (const Json::exception&) {
        Refuse(object, std::string("\"") + key + "\" is " + object[key].dump());
    }
}

std::u16string TextFrom(const Json& value) {
    if (value.is_string()) return FromUtf8(value.get<std::string>());
    if (!value.is_object() || !value.contains("utf16")) throw std::invalid_argument("expected a text");
    std::u16string text;
    for (const Json& each : value["utf16"]) text += static_cast<char16_t>(each.get<unsigned>());
    return text;
}

// A value that is no reference.
Variant ValueFrom(const MemberDescription& member, const Json& value) {
    if (IsArrayProperty(member)) return ArrayFrom(value);
    if (member.type == "BSTR") return Variant::FromText(TextFrom(value));
    if (member.type == "DATE") {
        const auto date = value.is_number() ? std::optional(value.get<double>()) : ReadDate(value.get<std::string>());
        if (!date) throw std::invalid_argument("expected a date");
        return Variant::FromDate(*date);
    }
    if (member.type == "float") {
        Variant result;
        result.vt = VT_R4;
        result.fltVal = FloatFrom(value);
        return result;
    }
    if (member.enumeration && value.is_string()) {
        const std::optional<long> word = ReadWord(*member.enumeration, value.get<std::string>());
        if (!word) throw std::invalid_argument("expected " + Expected(member));
        return Variant::FromLong(static_cast<LONG>(*word));
    }
    if (!value.is_number_integer()) throw std::invalid_argument("expected " + Expected(member));
    const auto whole = value.get<long long>();
    if (whole < std::numeric_limits<LONG>::min() || whole > std::numeric_limits<LONG>::max())
        throw std::invalid_argument("expected a number of 32 bits");
    return Variant::FromLong(static_cast<LONG>(whole));
}

// The project whose objects these are cannot be read without its library.
void CheckLibrary(const Json& json, const Node& root) {
    for (const MemberDescription* each : ContentOf(root.Type())) {
        const ClassDescription* known =
            IsReference(*each) ? FindClassDescription(each->objectInterface->name) : nullptr;
        const bool isNamed = json.contains(each->name) && json[each->name].is_string();
        if (known && known->kind == Kind::Root && isNamed && !root.Follow(*each))
            Refuse(json,
                   "the project needs its library " + json[each->name].get<std::string>() + "; --library LIB links it");
    }
}

class Reader {
public:
    Reader(const ObjectText& text, const Addresses& addresses, Node root, bool replace)
        : text_(text), addresses_(addresses), root_(std::move(root)), replace_(replace) {}

    std::vector<std::string> Read(const std::vector<TextObject>& objects) {
        for (const TextObject& each : objects) Take(each);
        AddWaiting();
        PutReferences();
        Paths paths;
        std::vector<std::string> found;
        for (const Node& each : top_) found.push_back(paths.Of(each));
        return found;
    }

private:
    struct Waiting {
        const TextObject* object;
        Node collection;
    };
    struct PendingReference {
        const TextObject* from;
        Node object;
        const MemberDescription* member;
        std::string address;
    };

    void Take(const TextObject& object) {
        Json json = text_.Own(object);
        const ClassDescription* known = FindClass(Member<std::string>(json, "class"));
        if (!known) Refuse(json, "there is no class " + json["class"].dump());
        if (known->kind == Kind::Root) {
            if (known != root_.Class()) Refuse(json, "it is a whole document of another kind");
            CheckLibrary(json, root_);
            top_.push_back(root_);
            Fill(object, std::move(json), root_, false);
            return;
        }
        const bool isCollection = known->kind == Kind::Collection;
        const Node collection = addresses_.FindOwn(Member<std::string>(json, isCollection ? "address" : "collection"));
        const InterfaceDescription* held = collection.IsCollection() ? &MemberTypeOf(collection.Type()) : nullptr;
        if (isCollection ? collection.Class() != known : held != known->ownInterface)
            Refuse(json, "the document has something else at its address");
        if (isCollection) {
            top_.push_back(collection);
            TakeMembers(object, "members", Member<Json>(json, "members"), collection, false);
        } else {
            TakeMember(object, collection, true);
        }
    }

    // Members of an owner that was just made are those that it was made with, in their order; else they are told by
    // name. `own`: the list without its objects.
    void TakeMembers(const TextObject& owner, std::string_view key, const Json& own, const Node& collection,
                     bool isNew) {
        if (!own.is_array() || !own.empty()) Refuse(own, "the members of " + PathOf(collection) + " are no list");
        const TextObject::List* members = owner.Find(key);
        if (!members) return;
        const LONG count = isNew || !AddOf(collection.Type()) ? collection.Count() : 0;
        LONG place = 0;
        for (const TextObject& each : members->objects) {
            if (++place <= count)
                Adopt(each, text_.Own(each), collection.Member(place), isNew);
            else
                TakeMember(each, collection, !isNew);
        }
    }

    void TakeMember(const TextObject& object, const Node& collection, bool mayBeThere) {
        if (mayBeThere && collection.Count() != 0) {
            Json json = text_.Own(object);
            const Node existing = MemberNamed(collection, NameOf(json));
            if (existing && !replace_) Refuse(json, "it is there already; --replace gives it the values");
            if (existing) {
                top_.push_back(existing);
                Adopt(object, std::move(json), existing, false);
                return;
            }
        }
        waiting_.push_back({&object, collection});
    }

    static std::u16string NameOf(const Json& json) {
        try {
            return json.contains("Name") ? TextFrom(json["Name"]) : std::u16string();
        } catch (const std::exception& error) {
            Refuse(json, std::string("Name: ") + error.what());
        }
    }

    static Node MemberNamed(const Node& collection, std::u16string_view name) {
        const LONG count = collection.Count();
        for (LONG place = 1; place <= count; ++place) {
            Node member = ReadableMember(collection, place, [](const std::string&) {});
            if (member && CompareNoCase(member.Name(), name) == 0) return member;
        }
        return {};
    }

    // Members that need objects which are still to be made come after these.
    void AddWaiting() {
        while (!waiting_.empty()) {
            std::vector<Waiting> now;
            now.swap(waiting_);
            std::string reason;
            const TextObject* refused = nullptr;
            std::size_t added = 0;
            for (Waiting& each : now) {
                Json json = text_.Own(*each.object);
                try {
                    const Node made = AddMember(each.collection, ValuesFor(json, each.collection));
                    ++added;
                    if (!IsBelowAnother(each.collection)) top_.push_back(made);
                    Adopt(*each.object, std::move(json), made, true);
                } catch (const FileError& error) {
                    if (!refused) reason = error.what();
                    if (!refused) refused = each.object;
                    waiting_.push_back(std::move(each));
                } catch (const Error& error) {
                    Refuse(json, "it cannot be added: " + Describe(error));
                }
            }
            if (added == 0 && refused) Refuse(text_.Own(*refused), reason);
        }
    }

    bool IsBelowAnother(const Node& collection) const {
        const Node owner = collection.Parent();
        return !owner.Is(Kind::Root) && made_.contains(owner.Id());
    }

    std::vector<Variant> ValuesFor(const Json& json, const Node& collection) {
        std::vector<Variant> values;
        for (const Ingredient& each : IngredientsOf(collection.Type())) {
            if (!each.type) {
                values.push_back(Variant::FromText(NameOf(json)));
                continue;
            }
            const std::string name(each.property ? each.property->name : "");
            const bool isGiven = json.contains(name) && json[name].is_string();
            if (!isGiven && !each.isOptional) Refuse(json, "it has no \"" + name + '"');
            // What can be put later is, when all objects are there.
            if (!isGiven || (each.isOptional && each.property->use == MemberUse::ReadWrite)) break;
            values.push_back(Variant::FromDispatch(Target(*each.type, json[name].get<std::string>()).Pointer()));
        }
        return values;
    }

    Node Target(const InterfaceDescription& type, const std::string& address) const {
        const auto made = byAddress_.find(address);
        return made != byAddress_.end() ? made->second : addresses_.FindTarget(type, address);
    }

    void Adopt(const TextObject& from, Json json, const Node& object, bool isNew) {
        byAddress_[Member<std::string>(json, "address")] = object;
        if (isNew) made_.insert_or_assign(object.Id(), true);
        Fill(from, std::move(json), object, isNew);
    }

    void Fill(const TextObject& from, Json json, const Node& object, bool isNew) {
        Paths paths;
        std::vector<std::pair<const MemberDescription*, Json>> collections;
        for (const auto& [key, value] : json.items()) {
            if (key == "address" || key == "class" || key == "collection") continue;
            const MemberDescription* member = object.Type().Find(key);
            if (!member) Refuse(json, "there is no property \"" + key + '"');
            if (IsChildCollection(*member)) {
                collections.emplace_back(member, std::move(value));
            } else if (IsReference(*member)) {
                if (member->use == MemberUse::ReadWrite)
                    references_.push_back({&from, object, member, value.is_string() ? value.get<std::string>() : ""});
            } else {
                PutPlaces(json, object, *member, {}, value, paths);
            }
        }
        json = {};  // before what is below it is read: one object at a time
        for (const auto& [member, own] : collections)
            TakeMembers(from, member->name, own, object.Follow(*member), isNew);
    }

    void PutPlaces(const Json& json, const Node& object, const MemberDescription& member, std::vector<long> indexes,
                   const Json& value, Paths& paths) {
        const Property property{&member, indexes};
        try {
            if (indexes.size() < member.parameters.size()) {
                const RangeDescription& range = member.parameters[indexes.size()].range;
                if (!value.is_array() || value.size() != static_cast<std::size_t>(range.highest - range.lowest + 1))
                    throw std::invalid_argument("expected a list of all places");
                indexes.push_back(range.lowest);
                for (const Json& each : value) {
                    PutPlaces(json, object, member, indexes, each, paths);
                    ++indexes.back();
                }
                return;
            }
            if (value.is_null() && !IsArrayProperty(member)) return;  // it had none that could be read
            const Variant now = object.Get(member, indexes);
            const bool isSame = !IsArray(now) && ValueJson(property, now, ArrayForm::Whole, paths, root_) == value;
            if (isSame || (now.vt == VT_EMPTY && value.is_null())) return;
            if (member.use != MemberUse::ReadWrite) throw std::invalid_argument("it can be read only");
            object.Put(member, indexes, ValueFrom(member, value));
        } catch (const PropertyError&) {
            throw;
        } catch (const Error& error) {
            Refuse(json, property.Name() + ": " + Describe(error));
        } catch (const std::exception& error) {
            Refuse(json, property.Name() + ": " + error.what());
        }
    }

    void PutReferences() {
        Paths paths;
        for (const PendingReference& each : references_) {
            try {
                const Variant now = each.object.Get(*each.member);
                const bool isLibrary = FindClassDescription(each.member->objectInterface->name)->kind == Kind::Root;
                if (isLibrary && now.vt == VT_DISPATCH && now.pdispVal) continue;  // the one of this document
                const Property property{each.member, {}};
                if (ValueText(property, now, paths, root_) == (each.address.empty() ? "none" : each.address)) continue;
                const Node target = each.address.empty() ? Node() : Target(*each.member->objectInterface, each.address);
                each.object.Put(*each.member, {}, Variant::FromDispatch(target.Pointer()));
            } catch (const Error& error) {
                Refuse(text_.Own(*each.from), std::string(each.member->name) + ": " + Describe(error));
            } catch (const FileError& error) {
                Refuse(text_.Own(*each.from), std::string(each.member->name) + ": " + error.what());
            }
        }
    }

    const ObjectText& text_;
    const Addresses& addresses_;
    Node root_;
    bool replace_;
    std::vector<Waiting> waiting_;
    std::vector<PendingReference> references_;
    std::vector<Node> top_;                  // what was asked for, without what is below it
    std::map<std::string, Node> byAddress_;  // by address in the JSON
    std::map<std::u16string, bool> made_;    // IDs of the objects that were made
};

}  // namespace

void WriteObjects(std::ostream& out, const std::vector<Node>& objects, const Unreadable& unreadable) {
    out << "{\"format\": \"" << kFormat << "\", \"version\": " << kVersion << ", \"root\": \""
        << (objects.empty() ? std::string_view() : objects[0].Root().Class()->name) << "\", \"objects\": [\n";
    Writer writer(out, unreadable);
    bool isFirst = true;
    for (const Node& each : objects) {
        if (!std::exchange(isFirst, false)) out << ",\n";
        writer.Write(each);
    }
    out << "\n]}\n";
}

std::vector<std::string> ReadObjects(std::istream& in, const Addresses& addresses, const Node& root, bool replace) {
    const ObjectText text(in);
    const Json json = text.Own(text.Whole());
    if (!json.contains("format") || json["format"] != kFormat) throw PropertyError("it holds no objects of a document");
    if (Member<int>(json, "version") > kVersion) throw PropertyError("a newer version of the program wrote it");
    const std::string kind = Member<std::string>(json, "root");
    if (FindClass(kind) != root.Class())
        throw PropertyError("its objects are of a " + kind + ", and the document is a " +
                            std::string(root.Class()->name));
    if (!json.contains("objects") || !json["objects"].is_array() || !json["objects"].empty())
        throw PropertyError("it has no list of objects");
    const TextObject::List* objects = text.Whole().Find("objects");
    return Reader(text, addresses, root, replace).Read(objects ? objects->objects : std::vector<TextObject>());
}

}  // namespace lumvex::app
