// Values as they cross the boundary, and as Python has them.
#pragma once

#include "module/handle.hpp"

namespace lumvex::python {

py::str ToPython(std::u16string_view text);
Bstr ToBstr(PyObject* text);  // throws TypeError for what is no str

// What a member answered. Arrays become numpy arrays of shape (rows, columns) in Fortran order, which own the memory
// that the library handed out.
py::object ToPython(Variant value, const PublishedMember& member, const std::shared_ptr<OpenDocument>& document);

// What a member of this type is given. Throws TypeError or ValueError for what does not fit.
Variant ToVariant(py::handle value, std::string_view type, const EnumerationDescription* enumeration);

// The enumerations of the package, by the names of the published ones: a dict of value to member each.
void SetEnumeration(const EnumerationDescription& described, py::dict members);

}  // namespace lumvex::python
