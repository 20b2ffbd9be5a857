// Adding members to collections of any class: what their Add() takes is read from its description.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "objects/address.hpp"
#include "objects/node.hpp"

namespace lumvex::app {

// One thing that Add() takes: the name of the new member, or an object that goes with it.
struct Ingredient {
    const ParameterDescription* parameter = nullptr;
    const InterfaceDescription* type = nullptr;   // of the object; null for the name
    const MemberDescription* property = nullptr;  // of the member that answers it: Name, Model, Experiment
    bool isOptional = false;
};

// Null for a collection whose members are fixed.
const MemberDescription* AddOf(const InterfaceDescription& collection);

// In the order of its parameters.
std::vector<Ingredient> IngredientsOf(const InterfaceDescription& collection);

// The collection that an address means: itself, or the one of an owner that has one alone. Throws PropertyError.
Node CollectionOf(const Node& object);
// The same for items of a type: of an owner that has several, the one that holds these.
Node CollectionFor(const InterfaceDescription& type, const Node& object);

// Removes an item from its collection. Throws Error.
void RemoveFromCollection(const Node& item);

// Adds a member and answers it; one value for each ingredient, of which the last optional ones may be left out. Throws
// Error.
Node AddMember(const Node& collection, std::span<const Variant> values);

// A root as it is created, or an item as Add() makes it, with everything that it needs around it, in documents of its
// own: what all others are compared with. Made once for each class and kept.
const Node& NewObject(const InterfaceDescription& type);

}  // namespace lumvex::app
