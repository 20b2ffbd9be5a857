// The numbers and choices of items that options and columns of tables set by their published names. Which there are,
// and what they take, is read from the description of the published members.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "objects/properties.hpp"

namespace lumvex::app {

class Settings {
public:
    // Of an interface: its own properties of numbers and choices that a document keeps and that can be put, but for
    // those that the command gives in another way.
    explicit Settings(const InterfaceDescription& type, std::vector<std::string_view> givenOtherwise = {});

    // The properties that a name means, as FindProperties() says. Throws PropertyError.
    std::vector<Property> Find(std::string_view name) const;

    // What is wrong with "NAME=VALUE"; empty: nothing.
    std::string ProblemOf(std::string_view assignment) const;

    // Puts what is without problem.
    void Assign(const Node& item, const std::vector<std::string>& assignments) const;

    // A paragraph for a help text that names every setting with its words or unit.
    std::string Help() const;

private:
    const InterfaceDescription& type_;
    std::vector<const MemberDescription*> members_;
};

// The interface of a client's class.
template <class Item>
const InterfaceDescription& TypeOf() {
    return *FindInterfaceById(ToText(kIidOf<typename Item::Interface>));
}

}  // namespace lumvex::app
