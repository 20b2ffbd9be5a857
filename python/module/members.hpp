// The members of the classes: properties as data descriptors, methods as functions, both made from the printed table.
#pragma once

#include "module/python.hpp"

namespace lumvex::python {

// Property and Method, and published_classes(), from which lumvex/_classes.py makes the classes.
void AddMemberTypes(py::module_& module);

}  // namespace lumvex::python
