#include "objects/node.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <map>

namespace lumvex::app {

namespace {

const ClassDescription* ClassOf(const InterfaceDescription* type) {
    return type ? FindClassDescription(type->name) : nullptr;
}

// Every interface below a class of root, by walking from child collection to members.
void AddBelow(const InterfaceDescription& type, const ClassDescription& root,
              std::map<const InterfaceDescription*, const ClassDescription*>& roots) {
    roots[&type] = &root;
    if (IsCollection(type)) {
        AddBelow(MemberTypeOf(type), root, roots);
    } else {
        for (const MemberDescription* child : ChildCollectionsOf(type)) AddBelow(*child->objectInterface, root, roots);
    }
}

}  // namespace

void ThrowFailure(HRESULT status, EXCEPINFO& exception) {
    // The texts are the caller's to free, whether they are read or not.
    const Bstr description = Bstr::Attach(exception.bstrDescription);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrHelpFile);
    if (status != DISP_E_EXCEPTION) Check(status);
    const HRESULT reason = FAILED(exception.scode) ? exception.scode : status;
    throw Error(reason, description.view().empty() ? lumvex::DescriptionOf(reason) : ToUtf8(description.view()));
}

const InterfaceDescription* FindInterfaceById(std::u16string_view id) {
    const std::string text = ToUtf8(id);
    if (text.size() < 2) return nullptr;
    const std::string_view inner = std::string_view(text).substr(1, text.size() - 2);
    for (const InterfaceDescription& each : kInterfaces)
        if (each.id == inner) return &each;
    return nullptr;
}

bool IsCollection(const InterfaceDescription& type) { return type.Find("Item") && type.Find("Count"); }

const InterfaceDescription& MemberTypeOf(const InterfaceDescription& collection) {
    return *collection.Find("Item")->objectInterface;
}

std::vector<const MemberDescription*> PropertiesOf(const InterfaceDescription& type) {
    std::vector<const MemberDescription*> all;
    if (type.base) all = PropertiesOf(*type.base);
    for (const MemberDescription& each : type.members) {
        if (each.use == MemberUse::Method || each.type == "IUnknown*") continue;
        const auto same = std::ranges::find(all, each.name, &MemberDescription::name);
        same != all.end() ? * same = &each : all.emplace_back(&each);
    }
    return all;
}

bool LeadsUp(const MemberDescription& property) {
    const auto leads = {"Parent", "Root", "ParentBase", "RootBase"};
    return property.objectInterface && std::ranges::find(leads, property.name) != leads.end();
}

bool IsChildCollection(const MemberDescription& property) {
    const ClassDescription* known = ClassOf(property.objectInterface);
    return known && known->kind == Kind::Collection && property.parameters.empty() && !LeadsUp(property);
}

bool IsFixedTable(const MemberDescription& property) {
    return property.objectInterface && IsCollection(*property.objectInterface) && !ClassOf(property.objectInterface);
}

bool IsReference(const MemberDescription& property) {
    const ClassDescription* known = ClassOf(property.objectInterface);
    const bool isItem = property.objectInterface && !IsCollection(*property.objectInterface);
    return isItem && property.parameters.empty() && !LeadsUp(property) && (!known || known->kind != Kind::Collection);
}

bool IsValue(const MemberDescription& property) {
    return property.use != MemberUse::Method && !property.objectInterface;
}

std::vector<const MemberDescription*> ChildCollectionsOf(const InterfaceDescription& type) {
    std::vector<const MemberDescription*> children;
    for (const MemberDescription* each : PropertiesOf(type))
        if (IsChildCollection(*each)) children.push_back(each);
    return children;
}

std::string TypeName(const InterfaceDescription& type) { return std::string(type.name.substr(1)); }

const ClassDescription* RootClassOf(const InterfaceDescription& type) {
    static const auto roots = [] {
        std::map<const InterfaceDescription*, const ClassDescription*> found;
        for (const ClassDescription& each : kClasses)
            if (each.kind == Kind::Root) AddBelow(*each.ownInterface, each, found);
        return found;
    }();
    const auto found = roots.find(&type);
    return found == roots.end() ? nullptr : found->second;
}

const ClassDescription* FindClass(std::string_view name) {
    const std::u16string wanted = FromUtf8(name);
    for (const ClassDescription& each : kClasses) {
        const std::u16string known = FromUtf8(each.name);
        if (CompareNoCase(known, wanted) == 0 || CompareNoCase(std::u16string_view(known).substr(1), wanted) == 0)
            return &each;
    }
    return nullptr;
}

Node::Node(Object object) : object_(std::move(object)) {
    if (!object_) return;
    type_ = FindInterfaceDescription("_Collectable");  // all three bases have InterfaceID under the same DISPID
    type_ = FindInterfaceById(Text("InterfaceID"));
    if (!type_ || !Class()) throw Error(E_NOINTERFACE, "an object of a class that is not known");
}

const MemberDescription& Node::Described(std::string_view name) const {
    const MemberDescription* member = type_->Find(name);
    assert(member);
    return *member;
}

Variant Node::Invoke(const MemberDescription& member, WORD kind, std::span<const long> indexes,
                     std::span<const VARIANT> arguments) const {
    // The last argument comes first, and what is put before all. The arguments stay the caller's.
    std::vector<VARIANT> reversed(arguments.rbegin(), arguments.rend());
    for (auto each = indexes.rbegin(); each != indexes.rend(); ++each) {
        VARIANT index{};
        index.vt = VT_I4;
        index.lVal = static_cast<LONG>(*each);
        reversed.push_back(index);
    }
    const bool isPut = (kind & DISPATCH_PROPERTYPUT) != 0;
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), isPut ? &named : nullptr, static_cast<UINT>(reversed.size()),
                          isPut ? 1u : 0u};
    Variant result;
    EXCEPINFO exception{};
    const HRESULT status = object_.Pointer()->Invoke(static_cast<DISPID>(member.id), IID_NULL, 0, kind, &parameters,
                                                     isPut ? nullptr : result.Out(), &exception, nullptr);
    if (FAILED(status)) ThrowFailure(status, exception);
    return result;
}

Variant Node::Get(const MemberDescription& property, std::span<const long> indexes) const {
    return Invoke(property, DISPATCH_PROPERTYGET, indexes, {});
}

void Node::Put(const MemberDescription& property, std::span<const long> indexes, const VARIANT& value) const {
    Invoke(property, DISPATCH_PROPERTYPUT, indexes, {&value, 1});
}

Variant Node::Call(const MemberDescription& method, std::span<const VARIANT> arguments) const {
    return Invoke(method, DISPATCH_METHOD, {}, arguments);
}

std::u16string Node::Text(std::string_view property) const {
    const Variant value = Get(Described(property));
    return value.vt == VT_BSTR ? std::u16string(TextOf(value.bstrVal)) : std::u16string();
}

Node Node::Follow(const MemberDescription& property) const {
    const Variant value = Get(property);
    if (value.vt != VT_DISPATCH || !value.pdispVal) return {};
    Object found{Ref<IDispatch>(value.pdispVal)};
    const InterfaceDescription* type = property.objectInterface;
    return type && !type->name.starts_with('_') ? Node(std::move(found), *type) : Node(std::move(found));
}

Node Node::Follow(std::string_view property) const { return Follow(Described(property)); }

LONG Node::Count() const { return Get(Described("Count")).lVal; }

Node Node::Member(LONG place) const {
    const MemberDescription& item = Described("Item");
    const std::array<long, 1> index{place};
    const Variant value = Get(item, index);
    if (value.vt != VT_DISPATCH || !value.pdispVal) return {};
    return Node(Object(Ref<IDispatch>(value.pdispVal)), *item.objectInterface);
}

Node Node::Parent() const {
    if (!Class() || Class()->kind == Kind::Root) return {};
    return Follow("Parent");
}

Node Node::Root() const { return !Class() || Class()->kind == Kind::Root ? *this : Follow("Root"); }

std::string_view PropertyOf(const Node& owner, const Node& collection) {
    for (const MemberDescription* each : ChildCollectionsOf(owner.Type()))
        if (each->objectInterface == &collection.Type()) return each->name;
    return {};
}

}  // namespace lumvex::app
