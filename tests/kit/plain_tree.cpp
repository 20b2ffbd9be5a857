#include "kit/plain_tree.hpp"

#include <algorithm>
#include <cstring>

#include "core/objects/object.hpp"

namespace lumvex::tests {

std::string StatusText(HRESULT status) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(status));
    return text;
}

// ---- values ----

namespace {

std::size_t ElementSize(VARTYPE type) {
    return type == VT_UI1 ? 1 : type == VT_R8 ? 8 : type == VT_VARIANT ? sizeof(VARIANT) : 4;
}

}  // namespace

Value ValueOf(const VARIANT& variant) {
    switch (variant.vt) {
        case VT_EMPTY:
            return {};
        case VT_R4:
            return Value::Number(variant.fltVal);
        case VT_R8:
        case VT_DATE:
            return Value::Number(variant.dblVal);
        case VT_I2:
            return Value::Number(variant.iVal);
        case VT_I4:
        case VT_INT:
            return Value::Number(variant.lVal);
        case VT_BSTR:
            return Value::Text(std::u16string(TextOf(variant.bstrVal)));
        default:
            break;
    }
    if ((variant.vt & VT_ARRAY) == 0) throw Wrong("a value of type " + std::to_string(variant.vt));
    const auto type = static_cast<VARTYPE>(variant.vt & ~VT_ARRAY);
    auto content = std::make_shared<ArrayContent>();
    content->type = type == VT_UI1 ? VT_UI1 : VT_R4;
    std::size_t count = 1;
    for (UINT at = 1; at <= SafeArrayGetDim(variant.parray); ++at) {
        LONG lower = 0, upper = 0;
        SafeArrayGetLBound(variant.parray, at, &lower);
        SafeArrayGetUBound(variant.parray, at, &upper);
        content->bounds.push_back({lower, static_cast<ULONG>(upper - lower + 1)});
        count *= content->bounds.back().count;
    }
    void* data = nullptr;
    if (FAILED(SafeArrayAccessData(variant.parray, &data))) throw Wrong("an array without data");
    SafeArrayUnaccessData(variant.parray);
    content->bytes.resize(count * ElementSize(content->type));
    if (type == VT_UI1 || type == VT_R4) {
        if (count != 0) std::memcpy(content->bytes.data(), data, content->bytes.size());
    } else {
        for (std::size_t at = 0; at < count; ++at) {
            float element = 0;
            if (type == VT_R8)
                element = static_cast<float>(static_cast<const double*>(data)[at]);
            else if (type == VT_VARIANT)
                element = static_cast<const VARIANT*>(data)[at].fltVal;
            else
                throw Wrong("an array of type " + std::to_string(type));
            std::memcpy(content->bytes.data() + at * 4, &element, 4);
        }
    }
    return {0, nullptr, std::move(content)};
}

Variant ArrayVariant(const ArrayContent& content, VARTYPE type) {
    std::vector<SAFEARRAYBOUND> bounds;
    std::size_t count = 1;
    for (const auto& bound : content.bounds) {
        bounds.push_back({bound.count, bound.lower});
        count *= bound.count;
    }
    SAFEARRAY* array = SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data());
    if (!array) throw std::bad_alloc();
    Variant made = Variant::FromArray(type, array);
    void* data = nullptr;
    SafeArrayAccessData(array, &data);
    for (std::size_t at = 0; at < count; ++at) {
        float element = 0;
        if (content.type == VT_R4) std::memcpy(&element, content.bytes.data() + at * 4, 4);
        switch (type) {
            case VT_UI1:
                static_cast<BYTE*>(data)[at] = static_cast<BYTE>(content.bytes[at]);
                break;
            case VT_R4:
                static_cast<float*>(data)[at] = element;
                break;
            case VT_R8:
                static_cast<double*>(data)[at] = element;
                break;
            default: {
                VARIANT& each = static_cast<VARIANT*>(data)[at];
                each.vt = at % 2 == 0 ? VT_R4 : VT_R8;
                if (each.vt == VT_R4)
                    each.fltVal = element;
                else
                    each.dblVal = element;
            }
        }
    }
    SafeArrayUnaccessData(array);
    return made;
}

std::string Shown(const Value& value) {
    if (value.text) return "\"" + ToUtf8(value.text->substr(0, 40)) + "\" (" + std::to_string(value.text->size()) + ")";
    if (!value.array) return std::to_string(value.number);
    std::string text = "array " + std::to_string(value.array->type);
    for (const auto& bound : value.array->bounds)
        text += " [" + std::to_string(bound.lower) + " +" + std::to_string(bound.count) + "]";
    return text;
}

// ---- trees ----

namespace {

std::map<const ClassTable*, std::vector<Value>>& Defaults() {
    static std::map<const ClassTable*, std::vector<Value>> defaults;
    return defaults;
}

}  // namespace

void SetDefaults(const ClassTable& table, const Node& sample) { Defaults()[&table] = sample.values; }

std::size_t Node::Place() const {
    return static_cast<std::size_t>(std::ranges::find(owner->below, this) - owner->below.begin());
}

bool LockedBelow(const Node& node) {
    return std::ranges::any_of(node.below, [](const Node* each) { return each->locks != 0 || LockedBelow(*each); });
}

Node* Node::Child(std::string_view wanted) const {
    for (std::size_t at = 0; at < table->children.size(); ++at)
        if (table->children[at].name == wanted) return below[at];
    throw std::logic_error("no child " + std::string(wanted));
}

Tree::Tree(const ClassTable& rootClass) { root = Make(rootClass, nullptr); }

Node* Tree::New(const ClassTable& table, Node* owner) {
    nodes_.push_back(std::make_unique<Node>());
    Node* node = nodes_.back().get();
    node->table = &table;
    node->owner = owner;
    node->references.resize(table.references.size());
    return node;
}

Node* Tree::Make(const ClassTable& table, Node* owner) {
    Node* node = New(table, owner);
    const auto defaults = Defaults().find(&table);
    if (defaults != Defaults().end())
        node->values = defaults->second;
    else
        node->values.resize(table.places);
    for (const ChildTable& child : table.children) node->below.push_back(Make(*child.collection, node));
    return node;
}

Node* Tree::CloneOne(const Node& source, Node* owner, bool withChildren, std::map<const Node*, Node*>& copies) {
    Node* copy = New(*source.table, owner);
    copy->name = source.name;
    copy->timestamp = source.timestamp;
    copy->timestampKnown = source.timestampKnown;
    copy->values = source.values;
    copy->references = source.references;
    copies[&source] = copy;
    if (withChildren)
        for (const Node* below : source.below) copy->below.push_back(CloneOne(*below, copy, true, copies));
    else
        for (const ChildTable& child : source.table->children) copy->below.push_back(Make(*child.collection, copy));
    return copy;
}

std::unique_ptr<Tree> Tree::Saved() const {
    std::unique_ptr<Tree> saved(new Tree);
    std::map<const Node*, Node*> copies;
    saved->root = saved->CloneOne(*root, nullptr, true, copies);
    for (const auto& [from, to] : copies) {
        to->id = from->id;
        to->locks = from->locks;
        for (std::size_t at = 0; at < to->references.size(); ++at) {
            const Node* target = from->references[at].item;
            to->references[at].item = target && target->alive ? copies.at(target) : nullptr;
        }
        for (const Property& property : to->table->properties)
            if (property.transient) to->values[property.firstPlace] = {};
    }
    return saved;
}

void Tree::Bury(Node& node) {
    node.alive = false;
    for (Node* below : node.below) Bury(*below);
}

void Tree::Remove(Node& item) {
    std::erase(item.owner->below, &item);
    Bury(item);
}

// ---- documents ----

std::u16string IdOf(IDispatch* object) {
    const Answer answer = GetLate(object, member::kID);
    if (answer.status != S_OK) throw Wrong("an object without an ID: " + StatusText(answer.status));
    return std::u16string(TextOf(answer.value.bstrVal));
}

std::string PathOf(const Node& node) {
    std::string text;
    for (const Node* at = &node; at; at = at->owner) {
        std::string step = at->table->name;
        if (at->owner && at->IsItem() && at->alive) step += "#" + std::to_string(at->Place() + 1);
        text = step + (text.empty() ? "" : "/" + text);
    }
    return text + " " + ToUtf8(node.id);
}

Value GetPlace(IDispatch* object, const Property& property, LONG place) {
    Answer answer;
    if (property.dimensions == 0)
        answer = GetLate(object, property.id);
    else if (property.dimensions == 1)
        answer = GetLate(object, property.id, {LongArgument(place + 1)});
    else
        answer = GetLate(object, property.id,
                         {LongArgument(place / property.counts[1] + 1), LongArgument(place % property.counts[1] + 1)});
    if (FAILED(answer.status))
        throw Wrong("get of " + std::string(property.name) + " failed with " + StatusText(answer.status));
    return ValueOf(answer.value);
}

namespace {

[[noreturn]] void Differ(const Node& node, std::string_view what, const std::string& is, const std::string& expected) {
    throw Wrong(PathOf(node) + ": " + std::string(what) + " is " + is + ", not " + expected);
}

Value WithoutBounds(const Value& value) {
    if (!value.array) return value;
    auto content = std::make_shared<ArrayContent>(*value.array);
    for (auto& bound : content->bounds) bound.lower = 0;
    return {0, nullptr, std::move(content)};
}

// Whole reading of a base member.
Value Base(const Node& node, IDispatch* object, DISPID id) {
    const Answer answer = GetLate(object, id);
    if (answer.status != S_OK)
        throw Wrong(PathOf(node) + ": base member " + std::to_string(id) + " answers " + StatusText(answer.status));
    return ValueOf(answer.value);
}

void CompareReference(Node& node, std::size_t at, IDispatch* object, const Reading& reading) {
    const ReferenceTable& row = node.table->references[at];
    Target& expected = node.references[at];
    const Answer answer = GetLate(object, row.id);
    if (FAILED(answer.status))
        throw Wrong(PathOf(node) + ": " + std::string(row.name) + " fails with " + StatusText(answer.status));
    const std::u16string found = answer.Object() ? IdOf(answer.Object()) : std::u16string();
    if (row.toLibrary) {
        if (found == expected.libraryId) return;
        if (expected.unknown) {
            if (!found.empty()) expected = {nullptr, found, false};
            return;
        }
        if (found.empty() && !(reading.library && reading.library->contains(expected.libraryId))) return;
        Differ(node, row.name, ToUtf8(found), ToUtf8(expected.libraryId) + " of the library");
    }
    if (!expected.item) {
        if (!found.empty()) Differ(node, row.name, ToUtf8(found), "none");
    } else if (!expected.item->alive) {
        if (!found.empty() && (!reading.live || found != expected.item->id))
            Differ(node, row.name, ToUtf8(found), "none, its target was removed");
    } else if (expected.item->id.empty()) {
        if (found.empty()) Differ(node, row.name, "none", "an object");
    } else if (found != expected.item->id) {
        Differ(node, row.name, ToUtf8(found), ToUtf8(expected.item->id));
    }
}

}  // namespace

void Compare(Node& node, IDispatch* object, const Reading& reading) {
    const std::u16string id = IdOf(object);
    if (node.id.empty()) {
        if (reading.live) node.id = id;
    } else if (node.id != id) {
        Differ(node, "ID", ToUtf8(id), ToUtf8(node.id));
    }
    if (node.IsItem()) {
        const Value name = Base(node, object, member::kName);
        if (name.AsText() != node.name) Differ(node, "Name", Shown(name), Shown(Value::Text(node.name)));
        const Value timestamp = Base(node, object, member::kTimestamp);
        if (!node.timestampKnown) {
            if (reading.live) {
                node.timestamp = timestamp.number;
                node.timestampKnown = true;
            }
        } else if (!(timestamp == Value::Number(node.timestamp))) {
            Differ(node, "Timestamp", Shown(timestamp), std::to_string(node.timestamp));
        }
        const Value locks = Base(node, object, member::kLocks);
        if (locks.number != node.locks) Differ(node, "Locks", Shown(locks), std::to_string(node.locks));
    }
    for (const Property& property : node.table->properties) {
        if (property.transient) continue;
        for (LONG place = 0; place < property.Places(); ++place) {
            const Value& expected = node.values[property.firstPlace + static_cast<std::size_t>(place)];
            Value found;
            try {
                found = GetPlace(object, property, place);
            } catch (const Wrong& wrong) {
                throw Wrong(PathOf(node) + ": " + wrong.what() + ", expected " + Shown(expected));
            }
            if (found == expected) continue;
            if (!reading.bounds && WithoutBounds(found) == WithoutBounds(expected)) continue;
            Differ(node, std::string(property.name) + "(" + std::to_string(place) + ")", Shown(found), Shown(expected));
        }
    }
    for (std::size_t at = 0; at < node.references.size(); ++at) CompareReference(node, at, object, reading);
    if (node.IsCollection()) {
        const Value count = Base(node, object, member::kCount);
        if (count.number != static_cast<double>(node.below.size()))
            Differ(node, "Count", Shown(count), std::to_string(node.below.size()));
    }
    for (std::size_t at = 0; at < node.below.size(); ++at) {
        const Answer answer = node.IsCollection()
                                  ? GetLate(object, member::kItem, {LongArgument(static_cast<LONG>(at + 1))})
                                  : GetLate(object, node.table->children[at].id);
        if (answer.status != S_OK || !answer.Object())
            throw Wrong(PathOf(*node.below[at]) + ": cannot be reached, " + StatusText(answer.status));
        Compare(*node.below[at], answer.Object(), reading);
    }
}

namespace {

void ReadInto(Tree& tree, Node& node, IDispatch* object, std::vector<std::pair<Target*, std::u16string>>& pending) {
    node.id = IdOf(object);
    if (node.IsItem()) {
        node.name = std::u16string(Base(node, object, member::kName).AsText());
        node.timestamp = Base(node, object, member::kTimestamp).number;
        node.locks = static_cast<LONG>(Base(node, object, member::kLocks).number);
    }
    for (const Property& property : node.table->properties)
        for (LONG place = 0; place < property.Places(); ++place)
            node.values[property.firstPlace + static_cast<std::size_t>(place)] = GetPlace(object, property, place);
    for (std::size_t at = 0; at < node.references.size(); ++at) {
        const Answer answer = GetLate(object, node.table->references[at].id);
        if (FAILED(answer.status))
            throw Wrong(PathOf(node) + ": " + std::string(node.table->references[at].name) + " fails with " +
                        StatusText(answer.status));
        node.references[at].unknown = node.table->references[at].toLibrary && !answer.Object();
        if (!answer.Object()) continue;
        std::u16string id = IdOf(answer.Object());
        if (node.table->references[at].toLibrary)
            node.references[at].libraryId = std::move(id);
        else
            pending.emplace_back(&node.references[at], std::move(id));
    }
    if (node.IsCollection()) {
        const auto count = static_cast<LONG>(Base(node, object, member::kCount).number);
        for (LONG position = 1; position <= count; ++position) {
            const Answer answer = GetLate(object, member::kItem, {LongArgument(position)});
            if (answer.status != S_OK || !answer.Object())
                throw Wrong(PathOf(node) + ": member " + std::to_string(position) + " of " + std::to_string(count) +
                            " cannot be reached, " + StatusText(answer.status));
            node.below.push_back(tree.Make(*node.table->member, &node));
            ReadInto(tree, *node.below.back(), answer.Object(), pending);
        }
    } else {
        for (std::size_t at = 0; at < node.below.size(); ++at) {
            const Answer answer = GetLate(object, node.table->children[at].id);
            if (answer.status != S_OK || !answer.Object())
                throw Wrong(PathOf(*node.below[at]) + ": cannot be reached, " + StatusText(answer.status));
            ReadInto(tree, *node.below[at], answer.Object(), pending);
        }
    }
}

}  // namespace

std::unique_ptr<Tree> ReadTree(const ClassTable& rootClass, IDispatch* root) {
    auto tree = std::make_unique<Tree>(rootClass);
    std::vector<std::pair<Target*, std::u16string>> pending;
    ReadInto(*tree, *tree->root, root, pending);
    std::map<std::u16string, Node*> byId;
    ForEach(*tree->root, [&](Node& node) {
        if (!byId.emplace(node.id, &node).second) throw Wrong(PathOf(node) + ": its ID is there twice");
    });
    for (auto& [target, id] : pending) {
        const auto found = byId.find(id);
        if (found != byId.end()) {
            target->item = found->second;
        } else {  // an orphan that the reference still holds
            target->item = tree->Make(ProjectTable(), nullptr);
            target->item->id = id;
            Tree::Bury(*target->item);
        }
    }
    return tree;
}

}  // namespace lumvex::tests
