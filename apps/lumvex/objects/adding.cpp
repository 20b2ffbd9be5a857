#include "objects/adding.hpp"

#include <map>

#include "objects/properties.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

namespace {

const InterfaceDescription* ObjectTypeOf(const ParameterDescription& parameter) {
    if (!parameter.type.ends_with('*')) return nullptr;
    return FindInterfaceDescription(parameter.type.substr(0, parameter.type.size() - 1));
}

// The property of a member that answers what was given to Add().
const MemberDescription* PropertyFor(const InterfaceDescription& member, const InterfaceDescription* type) {
    if (!type) return member.Find("Name");
    for (const MemberDescription* each : PropertiesOf(member))
        if (IsReference(*each) && each->objectInterface == type) return each;
    return nullptr;
}

// Makes new items, and what they need, in one document of each kind.
class Workshop {
public:
    // To be looked at.
    const Node& AsMade(const InterfaceDescription& type) {
        const ClassDescription* known = FindClassDescription(type.name);
        Node& made = asMade_[&type];
        if (made) return made;
        if (known && known->kind == Kind::Root) {
            made = NewRoot(*known);
        } else if (const Node fixed = CollectionFor(type, true); fixed) {
            made = fixed.Member(1);
        } else {
            made = Make(type);
        }
        return made;
    }

private:
    // To make others in.
    const Node& Item(const InterfaceDescription& type) {
        Node& made = items_[&type];
        if (!made) made = Make(type);
        return made;
    }

    const Node& Root(const InterfaceDescription& type) {
        Node& root = items_[&type];
        if (!root) root = NewRoot(*FindClassDescription(type.name));
        return root;
    }

    static Node NewRoot(const ClassDescription& known) {
        void* object = nullptr;
        const std::optional<GUID> id = ParseGuid(FromUtf8('{' + std::string(known.id) + '}'));
        Check(LumvexCreateInstance(*id, kIidOf<IDispatch>, &object));
        return Node(Object(Ref<IDispatch>::Attach(static_cast<IDispatch*>(object))), *known.ownInterface);
    }

    // The collection for items of the type, in an owner that is made for it, or in one that is to be looked at alone.
    Node CollectionFor(const InterfaceDescription& type, bool isLookedAt = false) {
        for (const ClassDescription& owner : kClasses) {
            if (owner.kind == Kind::Collection) continue;
            const InterfaceDescription& ownerType = *owner.ownInterface;
            for (const MemberDescription* each : ChildCollectionsOf(ownerType)) {
                if (&MemberTypeOf(*each->objectInterface) != &type) continue;
                if (isLookedAt && AddOf(*each->objectInterface)) return {};
                const Node& made = isLookedAt                 ? AsMade(ownerType)
                                   : owner.kind == Kind::Root ? Root(ownerType)
                                                              : Item(ownerType);
                return made.Follow(*each);
            }
        }
        return {};
    }

    Node Make(const InterfaceDescription& type) {
        if (!FindClassDescription(type.name)) {  // a configuration: the first of the fixed table
            const Node& root = Root(*kClasses[0].ownInterface);
            for (const MemberDescription* each : PropertiesOf(root.Type()))
                if (IsFixedTable(*each) && &MemberTypeOf(*each->objectInterface) == &type)
                    return root.Follow(*each).Member(1);
            return {};
        }
        const Node collection = CollectionFor(type);
        if (!collection) return {};
        if (!AddOf(collection.Type())) return collection.Member(1);
        std::vector<Variant> values;
        const std::string name = std::to_string(collection.Count());  // some collections want each name once
        for (const Ingredient& each : IngredientsOf(collection.Type())) {
            if (each.isOptional) break;
            values.push_back(each.type ? Variant::FromDispatch(Item(*each.type).Pointer())
                                       : Variant::FromText(FromUtf8(name)));
        }
        return AddMember(collection, values);
    }

    std::map<const InterfaceDescription*, Node> items_, asMade_;
};

}  // namespace

const MemberDescription* AddOf(const InterfaceDescription& collection) { return collection.Find("Add"); }

std::vector<Ingredient> IngredientsOf(const InterfaceDescription& collection) {
    std::vector<Ingredient> ingredients;
    const MemberDescription* add = AddOf(collection);
    if (!add) return ingredients;
    for (const ParameterDescription& each : add->parameters) {
        const InterfaceDescription* type = ObjectTypeOf(each);
        ingredients.push_back({&each, type, PropertyFor(MemberTypeOf(collection), type), each.isOptional});
    }
    return ingredients;
}

Node CollectionOf(const Node& object) {
    if (object.IsCollection()) return object;
    const auto children = ChildCollectionsOf(object.Type());
    if (children.size() == 1) return object.Follow(*children[0]);
    std::string names;
    for (const MemberDescription* each : children) names += (names.empty() ? "" : ", ") + std::string(each->name);
    throw PropertyError(PathOf(object) + " is no collection, and has " +
                        (names.empty() ? "none" : "several; say which: " + names));
}

Node CollectionFor(const InterfaceDescription& type, const Node& object) {
    if (!object.IsCollection()) {
        for (const MemberDescription* each : ChildCollectionsOf(object.Type()))
            if (&MemberTypeOf(*each->objectInterface) == &type) return object.Follow(*each);
    }
    Node collection = CollectionOf(object);
    if (&MemberTypeOf(collection.Type()) != &type)
        throw PropertyError(PathOf(collection) + " holds no objects of the class " + TypeName(type));
    return collection;
}

void RemoveFromCollection(const Node& item) {
    const Node collection = item.Parent();
    const std::u16string id = item.Id();
    const LONG count = collection.Count();
    for (LONG place = 1; place <= count; ++place) {
        const Node member = ReadableMember(collection, place, [](const std::string&) {});
        if (!member || member.Id() != id) continue;
        collection.Call(*collection.Type().Find("Remove"), Variant::FromLong(place));
        return;
    }
}

Node AddMember(const Node& collection, std::span<const Variant> values) {
    const MemberDescription& add = *AddOf(collection.Type());
    const std::vector<VARIANT> arguments(values.begin(), values.end());
    const Variant added = collection.Call(add, arguments);
    return Node(Object(Ref<IDispatch>(added.pdispVal)), *add.objectInterface);
}

const Node& NewObject(const InterfaceDescription& type) {
    static Workshop workshop;
    return workshop.AsMade(type);
}

}  // namespace lumvex::app
