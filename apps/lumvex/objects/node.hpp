// Objects of a document, whatever their class: what they are and what they hold is read from the description of the
// published members, and asked for by late binding.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lumvex/lumvex.hpp"
#include "lumvex/members.hpp"

namespace lumvex::app {

// ---- what the descriptions say of the tree ----

using Kind = ClassDescription::Kind;

// The description of an interface, or null when it is none of ours. `id` is in braces.
const InterfaceDescription* FindInterfaceById(std::u16string_view id);

// Has the interface numbered members? The fixed table of speaker configurations has, too, and is no class of the file.
bool IsCollection(const InterfaceDescription& type);

// The interface of a collection's members.
const InterfaceDescription& MemberTypeOf(const InterfaceDescription& collection);

// Every property of the interface and of those it is derived from, the base's first; no methods, no enumerators. A
// member that a derived interface declares again is there once.
std::vector<const MemberDescription*> PropertiesOf(const InterfaceDescription& type);

bool LeadsUp(const MemberDescription& property);            // Parent, Root, ParentBase, RootBase
bool IsChildCollection(const MemberDescription& property);  // of a class that the file keeps
bool IsFixedTable(const MemberDescription& property);       // Configs
bool IsReference(const MemberDescription& property);        // to an object somewhere else: Experiment, Model
bool IsValue(const MemberDescription& property);            // none of all these

// The collections that objects of the interface own, in its order.
std::vector<const MemberDescription*> ChildCollectionsOf(const InterfaceDescription& type);

// "Measurement", for people: the interface's name without the I before it.
std::string TypeName(const InterfaceDescription& type);

// The root class in whose documents objects of the interface are; null for what is in both, as configurations are.
const ClassDescription* RootClassOf(const InterfaceDescription& type);

// The class of this name, with or without the C before it, regardless of case; null: there is none.
const ClassDescription* FindClass(std::string_view name);

// ---- the objects ----

// Throws the Error of a late-bound call that failed with the status, and frees what the call said of it.
[[noreturn]] void ThrowFailure(HRESULT status, EXCEPINFO& exception);

// A counted handle to an object together with its description; empty where there is none. Calls throw Error with the
// status and the text that the object gives.
class Node {
public:
    Node() = default;
    // An object that tells its interface itself: a root, collection or item.
    explicit Node(Object object);
    // An object that is known to offer the interface, as configurations do.
    Node(Object object, const InterfaceDescription& type) : object_(std::move(object)), type_(&type) {}

    explicit operator bool() const { return static_cast<bool>(object_); }
    const InterfaceDescription& Type() const { return *type_; }
    const ClassDescription* Class() const { return FindClassDescription(type_->name); }  // null: a configuration
    bool Is(Kind kind) const { return Class() && Class()->kind == kind; }
    bool IsCollection() const { return app::IsCollection(*type_); }
    IDispatch* Pointer() const { return object_.Pointer(); }

    // As one of the client classes; empty when it is of another class.
    template <class Client>
    Client As() const {
        return object_.As<Client>();
    }

    // `indexes`: one for each parameter of the property, in its order.
    Variant Get(const MemberDescription& property, std::span<const long> indexes = {}) const;
    void Put(const MemberDescription& property, std::span<const long> indexes, const VARIANT& value) const;
    Variant Call(const MemberDescription& method, std::span<const VARIANT> arguments) const;
    Variant Call(const MemberDescription& method, const VARIANT& argument) const {
        return Call(method, {&argument, 1});
    }

    // Of properties that every object of its kind has.
    std::u16string Text(std::string_view property) const;
    std::u16string Name() const { return Text("Name"); }
    std::u16string Id() const { return Text("ID"); }
    bool HasId() const { return Class() != nullptr; }

    // The object that a property answers; empty for none.
    Node Follow(const MemberDescription& property) const;
    Node Follow(std::string_view property) const;

    LONG Count() const;             // of a collection's members
    Node Member(LONG place) const;  // counted from 1

    // The item or root that owns a collection, the collection that holds an item; empty for a root.
    Node Parent() const;
    Node Root() const;

private:
    const MemberDescription& Described(std::string_view name) const;
    Variant Invoke(const MemberDescription& member, WORD kind, std::span<const long> indexes,
                   std::span<const VARIANT> arguments) const;

    Object object_;
    const InterfaceDescription* type_ = nullptr;
};

// The property of the owner in which a collection is: "Measurements". Empty text for a collection without owner.
std::string_view PropertyOf(const Node& owner, const Node& collection);

}  // namespace lumvex::app
