// Properties and references put and got.
#include "random/world.hpp"

#include <algorithm>

#include "core/base/failure.hpp"

namespace lumvex::tests {

using inside::Message;
using inside::StatusOf;

namespace {

VARIANT NumberArgument(std::string_view type, double number) {
    VARIANT argument{};
    if (type == "float") {
        argument.vt = VT_R4;
        argument.fltVal = static_cast<float>(number);
    } else if (type == "DATE") {
        argument.vt = VT_DATE;
        argument.date = number;
    } else if (type == "SHORT") {
        argument.vt = VT_I2;
        argument.iVal = static_cast<SHORT>(number);
    } else {
        argument.vt = VT_I4;
        argument.lVal = static_cast<LONG>(number);
    }
    return argument;
}

}  // namespace

void World::PutProperty(Doc& doc) {
    Node* node = random_.OneIn(20) ? doc.tree->root : AnyItem(doc);
    if (!node || node->table->properties.empty()) return;
    const Property& property = node->table->properties[random_.Below(node->table->properties.size())];
    if (!property.put) return;
    const Ref<IDispatch> object = Live(doc, *node);
    LONG place = static_cast<LONG>(random_.Below(static_cast<std::size_t>(property.Places())));
    LONG first = place / property.counts[1] + 1, second = place % property.counts[1] + 1;
    if (property.dimensions == 1) first = place + 1;
    const bool outside = property.dimensions != 0 && random_.OneIn(20);
    if (outside) first = random_.OneIn(2) ? 0 : property.counts[0] + 1;
    const std::string what =
        "put " + PathOf(*node) + "." + std::string(property.name) + "(" + std::to_string(place) + ")";
    const auto put = [&](const VARIANT& value) {
        if (property.dimensions == 2)
            return Do(object.get(), property.id, DISPATCH_PROPERTYPUT,
                      {LongArgument(first), LongArgument(second), value});
        if (property.dimensions == 1)
            return Do(object.get(), property.id, DISPATCH_PROPERTYPUT, {LongArgument(first), value});
        return Do(object.get(), property.id, DISPATCH_PROPERTYPUT, {value});
    };
    Value value;
    Answer answer;
    HRESULT expected = outside ? E_INVALIDARG : S_OK;
    if (property.IsArray()) {
        const LONG channels = ChannelsOf(*node, property);
        if (random_.OneIn(12)) {  // none
            Log(what + " empty");
            answer = put(VARIANT{});
        } else if (random_.OneIn(12)) {
            Log(what + " wrong");
            static constexpr int kWrong = 4;
            const std::size_t wrong = random_.Below(kWrong);
            ArrayContent content{VT_R4, {{0, 1}}, std::vector<std::byte>(4)};
            expected = DISP_E_BADINDEX;
            if (wrong == 1) {
                content = {VT_R4, {{0, 1}, {0, 1}, {0, 1}}, std::vector<std::byte>(4)};
                expected = StatusOf(Message::TooManyDimensions);
            } else if (wrong == 2 && channels >= 0) {
                content = {VT_R4,
                           {{0, 1}, {0, static_cast<ULONG>(channels) + 1}},
                           std::vector<std::byte>(4 * (static_cast<std::size_t>(channels) + 1))};
                expected = StatusOf(Message::ChannelCount);
            }
            if (wrong == 3) {
                answer = put(LongArgument(7));
                expected = StatusOf(Message::NotAnArray);
            } else {
                const Variant array = ArrayVariant(content, VT_R4);
                answer = put(array);
            }
        } else {
            ArrayContent content = AnyArray(channels, property.name == "WorkspaceData");
            static constexpr VARTYPE kTypes[] = {VT_R4, VT_R4, VT_R8, VT_VARIANT};
            const VARTYPE type = content.type == VT_UI1 ? VARTYPE{VT_UI1} : random_.Of(kTypes);
            Log(what + " array of " + std::to_string(content.bytes.size()) + " bytes, type " + std::to_string(type));
            const Variant array = ArrayVariant(content, type);
            if (type == VT_R8 || type == VT_VARIANT)
                for (auto& bound : content.bounds) bound.lower = 0;
            value = {0, nullptr, std::make_shared<const ArrayContent>(std::move(content))};
            answer = put(array);
        }
    } else if (property.IsText()) {
        value = Value::Text(AnyName());
        const Bstr text(value.AsText());
        Log(what + " text");
        answer = put(TextArgument(text.get()));
    } else {
        value = Value::Number(AnyNumber(property));
        if (property.name == "Config" && !outside &&
            (value.number < 0 || value.number >= static_cast<double>(LX_BM_MAX)))
            expected = E_INVALIDARG;
        Log(what + " " + std::to_string(value.number));
        answer = put(NumberArgument(property.type, value.number));
    }
    if (OutOfMemory(answer, doc)) return;
    Expect(expected, answer, "the put");
    if (answer.status != S_OK) return;
    Value& stored = node->values[property.firstPlace + static_cast<std::size_t>(place)];
    if (property.name == "Config" && node->table->interfaceName == "IBoxCfgBank" && !(stored == value)) {
        node->At("DataValid") = Value::Number(0);
        const auto mode = static_cast<int>(value.number);
        const auto& positions = node->Child("Spkrs")->below;
        const auto configure = [&](std::size_t position, int config) {
            if (position < positions.size()) positions[position]->At("ConfigID") = Value::Number(config);
        };
        const int main = mode == LX_BM_TRIAMP ? LX_TRIAMP : mode <= LX_BM_BIAMPMONO ? LX_BIAMP : LX_SINGLEAMP;
        if (mode != LX_BM_TRIAMP) {
            configure(LX_FP_LSUB, LX_SUBWOOFER);
            configure(LX_FP_RSUB, LX_SUBWOOFER);
        }
        configure(LX_FP_L, main);
        configure(LX_FP_R, main);
    }
    stored = value;
    doc.modified = true;
}

void World::PutBase(Doc& doc) {
    Node* node = AnyItem(doc);
    if (!node) return;
    const Ref<IDispatch> object = Live(doc, *node);
    const std::size_t which = random_.Below(4);
    if (which < 2) {
        const std::u16string name = AnyName();
        const Bstr text(name);
        Log("rename " + PathOf(*node) + " to " + ToUtf8(name.substr(0, 20)));
        const Answer answer = Do(object.get(), member::kName, DISPATCH_PROPERTYPUT, {TextArgument(text.get())});
        if (OutOfMemory(answer, doc)) return;
        Expect(S_OK, answer, "put of Name");
        node->name = name;
    } else if (which == 2) {
        const double date = static_cast<double>(random_.Below(400000)) / 8;
        Log("timestamp " + PathOf(*node));
        const Answer answer =
            Do(object.get(), member::kTimestamp, DISPATCH_PROPERTYPUT, {NumberArgument("DATE", date)});
        if (OutOfMemory(answer, doc)) return;
        Expect(S_OK, answer, "put of Timestamp");
        node->timestamp = date;
        node->timestampKnown = true;
    } else {
        const LONG locks = random_.OneIn(3) ? static_cast<LONG>(random_.Below(3)) - 1 : 0;
        Log("locks " + PathOf(*node) + " " + std::to_string(locks));
        const Answer answer = Do(object.get(), member::kLocks, DISPATCH_PROPERTYPUT, {LongArgument(locks)});
        if (OutOfMemory(answer, doc)) return;
        Expect(S_OK, answer, "put of Locks");
        node->locks = locks;
    }
    doc.modified = true;
}

void World::PutReference(Doc& doc) {
    Node* node = random_.OneIn(30) ? doc.tree->root : AnyItem(doc);
    if (!node || node->table->references.empty()) return;
    const std::size_t at = random_.Below(node->table->references.size());
    const ReferenceTable& row = node->table->references[at];
    if (!row.put) return;
    Doc& other = row.toLibrary ? Library() : random_.OneIn(12) ? docs_[&doc == &docs_[0] ? 1 : 0] : doc;
    Node* target = random_.OneIn(8)                 ? nullptr
                   : row.target->kind == Kind::Root ? Library().tree->root
                                                    : AnyOf(other, *row.target);
    const Ref<IDispatch> object = Live(doc, *node);
    const Ref<IDispatch> given = target ? Live(other, *target) : Ref<IDispatch>();
    Log("point " + PathOf(*node) + "." + std::string(row.name) + " at " + (target ? PathOf(*target) : "none"));
    const Answer answer = Do(object.get(), row.id, DISPATCH_PROPERTYPUT, {ObjectArgument(given.get())});
    if (OutOfMemory(answer, doc)) return;
    const bool elsewhere = !row.toLibrary && &other != &doc;
    Expect(!target     ? (row.mayBeEmptied ? S_OK : E_POINTER)
           : elsewhere ? StatusOf(Message::OtherDocument)
                       : S_OK,
           answer, "put of a reference");
    if (answer.status != S_OK) return;
    Target& stored = node->references[at];
    if (row.toLibrary) {
        if (target && target->id.empty()) {
            target->id = IdOf(given.get());
            Library().indexed = false;
        }
        stored.libraryId = target ? target->id : std::u16string();
        if (row.target->kind == Kind::Root) doc.linked = target ? Library().opened : 0;
        if (node->table->Find("ConfigID") && target && target->table->Find("ConfigID"))
            node->At("ConfigID") = target->At("ConfigID");
    } else {
        stored.item = target;
    }
    doc.modified = true;
}

// Every get there is; those whose answer follows from others may say that there is none.
void World::Get(Doc& doc) {
    Node* node = random_.OneIn(20) ? doc.tree->root : random_.OneIn(6) ? AnyCollection(doc) : AnyItem(doc);
    if (!node) return;
    const Ref<IDispatch> object = Live(doc, *node);
    if (!node->table->properties.empty() && random_.OneIn(2)) {
        const Property& property = node->table->properties[random_.Below(node->table->properties.size())];
        if (property.dimensions != 0) return;
        Log("get " + PathOf(*node) + "." + std::string(property.name));
        const Answer answer = Do(object.get(), property.id, DISPATCH_PROPERTYGET, {});
        if (OutOfMemory(answer, doc)) return;
        if (FAILED(answer.status)) throw Wrong("the get answers " + StatusText(answer.status));
        const Value& expected = node->values[property.firstPlace];
        const bool exact = doc.arrays == LX_R4 && !property.transient;
        if (exact && !(ValueOf(answer.value) == expected))
            throw Wrong("the get answers " + Shown(ValueOf(answer.value)) + ", not " + Shown(expected));
        return;
    }
    static constexpr DISPID kOfItems[] = {member::kDisplayName,
                                          member::kFQName,
                                          member::kParentBase,
                                          member::kRootBase,
                                          member::kLinkDispatch,
                                          member::kParent,
                                          member::kRoot,
                                          0x41,
                                          0x43,
                                          0x3b};
    static constexpr DISPID kOfCollections[] = {
        member::kName, member::kDisplayName, member::kCount, member::kRootBase, member::kParent, member::kRoot, 0x43};
    static constexpr DISPID kOfRoots[] = {member::kModified, member::kAccessMode, 0x34, 0x35, 0x61, 0x43};
    const auto& derived = node->table->derived;
    DISPID id = node->IsItem()         ? random_.Of(kOfItems)
                : node->IsCollection() ? random_.Of(kOfCollections)
                                       : random_.Of(kOfRoots);
    std::vector<VARIANT> arguments;
    if (!derived.empty() && random_.OneIn(2)) {
        const tables::Member& row = *derived[random_.Below(derived.size())];
        if (!row.parameters.empty()) return;
        id = static_cast<DISPID>(row.id);
    }
    Log("get " + PathOf(*node) + " member " + std::to_string(id));
    const Answer answer = Do(object.get(), id, DISPATCH_PROPERTYGET, {});
    if (OutOfMemory(answer, doc)) return;
    const bool columns = node->table->interfaceName == "IRoomPosition";  // what is no column answers out of memory
    if (FAILED(answer.status) && !columns) throw Wrong("the get answers " + StatusText(answer.status));
    if (node->IsItem() && id == member::kParentBase && IdOf(answer.Object()) != IdOf(Live(doc, *node->owner).get()))
        throw Wrong("another parent");
    if (id == member::kRootBase && IdOf(answer.Object()) != IdOf(doc.root.get())) throw Wrong("another root");
    if (node->IsCollection() && id == member::kCount && answer.value.lVal != static_cast<LONG>(node->below.size()))
        throw Wrong("the count is " + std::to_string(answer.value.lVal) + ", not " +
                    std::to_string(node->below.size()));
    if (node->table->isLink && id == member::kLinkDispatch) {
        const Node* target = node->references[0].item;
        if (answer.Object() && (!target || IdOf(answer.Object()) != target->id)) throw Wrong("another target");
        if (!answer.Object() && target && target->alive) throw Wrong("no target");
    }
}

}  // namespace lumvex::tests
