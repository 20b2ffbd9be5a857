#include "module/calls.hpp"

#include <array>

#include "objects/node.hpp"

namespace lumvex::python {

Variant Invoke(IDispatch* object, const MemberDescription& member, WORD kind, std::span<const VARIANT> arguments) {
    // The last argument comes first. They stay the caller's.
    std::array<VARIANT, 4> reversed;
    if (arguments.size() > reversed.size()) throw Error(DISP_E_BADPARAMCOUNT, "too many arguments");
    std::reverse_copy(arguments.begin(), arguments.end(), reversed.begin());
    const bool isPut = kind == DISPATCH_PROPERTYPUT;
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), isPut ? &named : nullptr, static_cast<UINT>(arguments.size()),
                          isPut ? 1u : 0u};
    Variant result;
    EXCEPINFO exception{};
    const HRESULT status = object->Invoke(static_cast<DISPID>(member.id), IID_NULL, 0, kind, &parameters,
                                          isPut ? nullptr : result.Out(), &exception, nullptr);
    if (FAILED(status)) app::ThrowFailure(status, exception);
    return result;
}

void ThrowError(const Error& error) {
    const py::object make = py::module_::import("lumvex._errors").attr("error_of");
    const py::object made = make(static_cast<std::uint32_t>(error.Status()), error.Words());
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(made.ptr())), made.ptr());
    throw py::error_already_set();
}

}  // namespace lumvex::python
