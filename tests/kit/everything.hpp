// One of everything: a project and the library it refers to, with an object of every class, and values for all that the
// objects store which differ from what new ones hold.
#pragma once

#include <map>

#include "kit/plain_tree.hpp"

namespace lumvex::tests {

Ref<IDispatch> NewRoot(const ClassTable& table);

// A value that the property takes, another one for each round and place, none the one that a new object has.
Value ValueFor(const ClassTable& table, const Property& property, LONG place, int round);
Answer PutPlace(IDispatch* object, const Property& property, LONG place, const VARIANT& value);
// The value as a put takes it; it has to outlive what it answers.
class AsArgument {
public:
    AsArgument(const Property& property, const Value& value);
    operator const VARIANT&() const { return argument_; }

private:
    Bstr text_;
    Variant array_;
    VARIANT argument_{};
};

struct Everything {
    Everything();

    Ref<IDispatch> library, project;
    // The object of a class on which the others were built; it has children of all its classes.
    IDispatch* Of(const ClassTable& table) const { return objects.at(&table).get(); }
    IDispatch* RootOf(const ClassTable& table) const { return (table.ofLibrary ? library : project).get(); }
    // Puts every stored value of every one of these objects.
    void Fill(int round) const;
    static void Fill(const ClassTable& table, IDispatch* object, int round);

    std::map<const ClassTable*, Ref<IDispatch>> objects;

private:
    void AddBelow(const ClassTable& table);
};

}  // namespace lumvex::tests
