#include "module/members.hpp"

#include <algorithm>
#include <vector>

#include "module/calls.hpp"
#include "module/handle.hpp"
#include "module/values.hpp"
#include "objects/node.hpp"
#include "python/classes.hpp"

namespace lumvex::python {

namespace {

struct MemberObject {
    PyObject_HEAD const PublishedMember* member;
};

PyTypeObject *readOnlyType = nullptr, *propertyType = nullptr, *methodType = nullptr;

// What makes the sequence of an indexed property; set by lumvex/_objects.py.
PyObject* indexedFactory = nullptr;

const PublishedMember& MemberOf(PyObject* self) { return *reinterpret_cast<MemberObject*>(self)->member; }

// Runs what may throw and answers a new reference, or null with the exception set.
template <class Work>
PyObject* Guarded(Work&& work) noexcept {
    try {
        return work().release().ptr();
    } catch (py::error_already_set& error) {
        error.restore();
    } catch (const py::builtin_exception& error) {
        error.set_error();
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
    }
    return nullptr;
}

// ---- gets and puts ----

// `indexes`: as the interface counts them, one for each parameter.
py::object Get(PyObject* object, const PublishedMember& member, std::span<const VARIANT> indexes = {}) {
    Handle& handle = HandleIn(object);
    const Ref<IDispatch> pointer = PointerOf(handle);
    Variant value = Called([&] { return Invoke(pointer.get(), member.described, DISPATCH_PROPERTYGET, indexes); });
    return ToPython(std::move(value), member, handle.document);
}

void Put(PyObject* object, const PublishedMember& member, py::handle value, std::vector<VARIANT> indexes = {}) {
    Handle& handle = HandleIn(object);
    const Variant given = ToVariant(value, member.described.type, member.described.enumeration);
    const Ref<IDispatch> pointer = PointerOf(handle);
    indexes.push_back(given);
    Called([&] { return Invoke(pointer.get(), member.described, DISPATCH_PROPERTYPUT, indexes); });
    const bool isOfFile = member.described.name != "AccessMode" && member.described.name != "SafeArrayType";
    if (isOfFile) handle.document->hasUnsavedChanges = true;
}

std::vector<VARIANT> IndexesIn(PyObject* const* arguments, std::size_t count, const PublishedMember& member) {
    if (count != member.described.parameters.size()) throw py::type_error("another number of indexes is wanted");
    std::vector<VARIANT> indexes;
    for (std::size_t at = 0; at < count; ++at) indexes.push_back(ToVariant(arguments[at], "LONG", nullptr));
    return indexes;
}

PyObject* DescriptorGet(PyObject* self, PyObject* object, PyObject*) {
    if (!object || object == Py_None) return Py_NewRef(self);
    const PublishedMember& member = MemberOf(self);
    if (!member.described.parameters.empty())
        return PyObject_CallFunctionObjArgs(indexedFactory, object, self, nullptr);
    return Guarded([&] { return Get(object, member); });
}

int DescriptorSet(PyObject* self, PyObject* object, PyObject* value) {
    const PublishedMember& member = MemberOf(self);
    if (!value || member.described.use != MemberUse::ReadWrite) {
        PyErr_Format(PyExc_AttributeError, "%s.%s cannot be %s", Py_TYPE(object)->tp_name, member.name,
                     value ? "set" : "deleted");
        return -1;
    }
    if (!member.described.parameters.empty()) {
        const auto all =
            py::reinterpret_steal<py::object>(PyObject_CallFunctionObjArgs(indexedFactory, object, self, nullptr));
        const auto whole = py::reinterpret_steal<py::object>(PySlice_New(nullptr, nullptr, nullptr));
        return all && whole ? PyObject_SetItem(all.ptr(), whole.ptr(), value) : -1;
    }
    const auto done = py::reinterpret_steal<py::object>(Guarded([&] {
        Put(object, member, value);
        return py::object(py::none());
    }));
    return done ? 0 : -1;
}

PyObject* GetAt(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
    return Guarded([&] {
        if (count < 1) throw py::type_error("get_at(object, index, ...)");
        const PublishedMember& member = MemberOf(self);
        return Get(arguments[0], member, IndexesIn(arguments + 1, static_cast<std::size_t>(count - 1), member));
    });
}

PyObject* SetAt(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
    return Guarded([&]() -> py::object {
        if (count < 2) throw py::type_error("set_at(object, value, index, ...)");
        const PublishedMember& member = MemberOf(self);
        Put(arguments[0], member, arguments[1], IndexesIn(arguments + 2, static_cast<std::size_t>(count - 2), member));
        return py::none();
    });
}

// ---- methods ----

// Positional and named arguments in the order of the parameters; what is left out has its default.
std::vector<Variant> ArgumentsOf(const PublishedMember& member, const py::args& given, const py::kwargs& named) {
    const auto parameters = member.described.parameters;
    if (given.size() > parameters.size())
        throw py::type_error(std::string(member.name) + "() takes at most " + std::to_string(parameters.size()) +
                             " arguments");
    std::vector<Variant> arguments;
    std::size_t used = 0;
    for (std::size_t at = 0; at < parameters.size(); ++at) {
        const ParameterDescription& each = parameters[at];
        const char* const name = member.parameters[at];
        const bool isNamed = named.contains(name);
        if (isNamed && at < given.size())
            throw py::type_error(std::string(member.name) + "() got two values for '" + name + "'");
        used += isNamed;
        if (at < given.size() || isNamed) {
            const py::object value = at < given.size() ? py::object(given[at]) : py::object(named[name]);
            arguments.push_back(ToVariant(value, each.type, FindEnumerationDescription(each.type)));
        } else if (!each.isOptional) {
            throw py::type_error(std::string(member.name) + "() misses the argument '" + name + "'");
        } else {
            arguments.push_back(each.type.ends_with('*') ? Variant::FromDispatch(nullptr)
                                                         : Variant::FromLong(static_cast<LONG>(each.defaultValue)));
        }
    }
    if (used != named.size())
        for (const auto& each : named) {
            const auto name = each.first.cast<std::string>();
            if (std::ranges::find(member.parameters, name) == std::end(member.parameters))
                throw py::type_error(std::string(member.name) + "() takes no argument '" + name + "'");
        }
    return arguments;
}

// Methods that only look: what they answer tells it, an object that is found or the answer to a question.
bool Changes(const PublishedMember& member) {
    static constexpr std::string_view kLooks[] = {"FindName", "FindID", "Load", "SetCacheBounds"};
    return !member.isTruth && std::ranges::find(kLooks, member.described.name) == std::end(kLooks);
}

void MarkChanged(py::handle object) {
    if (IsHandle(object.ptr())) HandleIn(object.ptr()).document->hasUnsavedChanges = true;
}

py::object Call(py::handle self, const PublishedMember& member, const py::args& given, const py::kwargs& named) {
    Handle& handle = HandleIn(self.ptr());
    const std::vector<Variant> arguments = ArgumentsOf(member, given, named);
    const std::vector<VARIANT> raw(arguments.begin(), arguments.end());
    const Ref<IDispatch> pointer = PointerOf(handle);
    const WORD kind = member.described.use == MemberUse::Method ? DISPATCH_METHOD : DISPATCH_PROPERTYGET;
    Variant value = Called([&] { return Invoke(pointer.get(), member.described, kind, raw); });
    // What was copied belongs to the document of the destination.
    const bool isCopy = member.described.name.starts_with("Copy");
    const py::handle changed = isCopy && !given.empty() ? py::handle(given[0]) : self;
    if (kind == DISPATCH_METHOD && Changes(member)) MarkChanged(changed);
    return ToPython(std::move(value), member,
                    IsHandle(changed.ptr()) ? HandleIn(changed.ptr()).document : handle.document);
}

PyObject* MethodCall(PyObject* self, PyObject* arguments, PyObject* named) {
    return Guarded([&] {
        auto all = py::reinterpret_borrow<py::args>(arguments);
        if (all.empty()) throw py::type_error("the method needs its object");
        const py::kwargs names = named ? py::reinterpret_borrow<py::kwargs>(named) : py::kwargs();
        const auto given = py::reinterpret_steal<py::args>(PyTuple_GetSlice(arguments, 1, PyTuple_GET_SIZE(arguments)));
        return Call(all[0], MemberOf(self), given, names);
    });
}

PyObject* MethodBind(PyObject* self, PyObject* object, PyObject*) {
    return !object || object == Py_None ? Py_NewRef(self) : PyMethod_New(self, object);
}

// ---- what members tell of themselves ----

// "value", "array", "reference", "collection", "owner", "table" or "method".
const char* KindOf(const MemberDescription& member) {
    if (member.use == MemberUse::Method || member.type == "IUnknown*") return "method";
    if (app::LeadsUp(member)) return "owner";
    if (app::IsChildCollection(member)) return "collection";
    if (app::IsFixedTable(member)) return "table";
    if (member.objectInterface || member.name == "LinkDispatch") return "reference";
    return member.type == "VARIANT" && member.name != "Modified" ? "array" : "value";
}

py::object RangesOf(const MemberDescription& member) {
    py::list ranges;
    for (const ParameterDescription& each : member.parameters)
        ranges.append(py::make_tuple(each.range.lowest, each.range.highest == RangeDescription::kNoLimit
                                                            ? py::object(py::none())
                                                            : py::object(py::int_(each.range.highest))));
    return py::tuple(ranges);
}

py::object Fact(const PublishedMember& member, std::string_view name) {
    const auto text = [](std::string_view view) { return py::str(view.data(), view.size()); };
    const MemberDescription& described = member.described;
    if (name == "__name__") return py::str(member.name);
    if (name == "__doc__") return py::str(member.docstring);
    if (name == "published") return text(described.name);
    if (name == "unit") return text(described.unit);
    if (name == "kind") return py::str(KindOf(described));
    if (name == "is_kept") return py::bool_(described.keptSince.has_value());
    if (name == "member_class") return text(described.objectInterface ? described.objectInterface->name : "");
    if (name == "ranges") return RangesOf(described);
    py::list parameters;
    for (const char* each : member.parameters) parameters.append(each);
    return py::tuple(parameters);
}

PyObject* GetFact(PyObject* self, void* name) {
    return Guarded([&] { return Fact(MemberOf(self), static_cast<const char*>(name)); });
}

constexpr const char* kFacts[] = {"__name__", "__doc__", "published",  "unit",        "kind",
                                  "is_kept",  "ranges",  "parameters", "member_class"};

PyGetSetDef* Facts() {
    static std::vector<PyGetSetDef> all;
    if (all.empty()) {
        for (const char* each : kFacts) all.push_back({each, GetFact, nullptr, nullptr, const_cast<char*>(each)});
        all.push_back({});
    }
    return all.data();
}

PyObject* Represent(PyObject* self) { return PyUnicode_FromFormat("<lumvex member '%s'>", MemberOf(self).name); }

PyMethodDef placeMethods[] = {{"get_at", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(GetAt)),
                               METH_FASTCALL, "The value at the published indexes."},
                              {"set_at", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(SetAt)),
                               METH_FASTCALL, "Sets the value at the published indexes."},
                              {}};

// Generic, so that annotations in Python code may say Property[int, int].
PyObject* ClassItem(PyObject* type, PyObject*) { return Py_NewRef(type); }

PyTypeObject* MakeType(py::module_& module, const char* name, std::vector<PyType_Slot> slots) {
    slots.push_back({Py_tp_repr, reinterpret_cast<void*>(Represent)});
    slots.push_back({Py_tp_getset, Facts()});
    slots.push_back({0, nullptr});
    PyType_Spec spec{name, sizeof(MemberObject), 0, Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION,
                     slots.data()};
    const auto type = py::reinterpret_steal<py::object>(PyType_FromSpec(&spec));
    if (!type) throw py::error_already_set();
    module.attr(std::string_view(name).substr(std::string_view(name).rfind('.') + 1).data()) = type;
    return reinterpret_cast<PyTypeObject*>(type.inc_ref().ptr());
}

py::object Made(const PublishedMember& member) {
    PyTypeObject* const type = member.described.use == MemberUse::Method     ? methodType
                               : member.described.use == MemberUse::ReadOnly ? readOnlyType
                                                                             : propertyType;
    PyObject* const made = type->tp_alloc(type, 0);
    if (!made) throw py::error_already_set();
    reinterpret_cast<MemberObject*>(made)->member = &member;
    return py::reinterpret_steal<py::object>(made);
}

// Each class before those that are based on it: name, published name, base's published name, docstring, members.
py::list PublishedClasses() {
    const auto text = [](std::string_view view) { return py::str(view.data(), view.size()); };
    py::list all;
    for (const PublishedClass& each : printed::kPublishedClasses) {
        const InterfaceDescription& described = each.interfaceDescribed;
        py::list members;
        for (const PublishedMember& member : each.members) members.append(Made(member));
        all.append(py::make_tuple(each.name, text(described.name), text(described.base ? described.base->name : ""),
                                  text(described.meaning), std::move(members)));
    }
    return all;
}

py::list PublishedEnumerations() {
    const auto text = [](std::string_view view) { return py::str(view.data(), view.size()); };
    py::list all;
    for (const PublishedEnumeration& each : printed::kPublishedEnumerations) {
        py::list values;
        for (std::size_t at = 0; at < each.values.size(); ++at)
            values.append(
                py::make_tuple(each.values[at].name, each.values[at].value, text(each.described.values[at].word)));
        all.append(py::make_tuple(text(each.described.name), text(each.described.meaning), each.described.isCombined,
                                  std::move(values)));
    }
    return all;
}

void RegisterClass(std::string_view interfaceName, const py::type& type) {
    SetClass(PublishedOf(*FindInterfaceDescription(interfaceName)), reinterpret_cast<PyTypeObject*>(type.ptr()));
}

// A member that Python has a notation for, by its published name.
py::object CallPublished(py::handle object, std::string_view name, const py::args& arguments) {
    const Handle& handle = HandleIn(object.ptr());
    for (const InterfaceDescription* type = &handle.published->interfaceDescribed; type; type = type->base)
        for (const PublishedMember& each : PublishedOf(*type).members)
            if (each.described.name == name) return Call(object, each, arguments, {});
    throw py::attribute_error(std::string(name));
}

}  // namespace

void AddMemberTypes(py::module_& module) {
    static PyMethodDef readMethods[] = {
        placeMethods[0], {"__class_getitem__", ClassItem, METH_O | METH_CLASS, nullptr}, {}};
    static PyMethodDef writeMethods[] = {
        placeMethods[0], placeMethods[1], {"__class_getitem__", ClassItem, METH_O | METH_CLASS, nullptr}, {}};
    const PyType_Slot get{Py_tp_descr_get, reinterpret_cast<void*>(DescriptorGet)};
    const PyType_Slot set{Py_tp_descr_set, reinterpret_cast<void*>(DescriptorSet)};
    readOnlyType = MakeType(module, "lumvex._lumvex.ReadOnly", {get, set, {Py_tp_methods, readMethods}});
    propertyType = MakeType(module, "lumvex._lumvex.Property", {get, set, {Py_tp_methods, writeMethods}});
    methodType = MakeType(
        module, "lumvex._lumvex.Method",
        {{Py_tp_descr_get, reinterpret_cast<void*>(MethodBind)}, {Py_tp_call, reinterpret_cast<void*>(MethodCall)}});

    module.def("published_classes", PublishedClasses);
    module.def("published_enumerations", PublishedEnumerations);
    module.def("register_class", RegisterClass);
    module.def("register_enumeration", [](std::string_view name, const py::dict& members) {
        SetEnumeration(*FindEnumerationDescription(name), members);
    });
    module.def("register_indexed",
               [](const py::object& factory) { indexedFactory = py::object(factory).release().ptr(); });
    module.def("call", CallPublished);
}

}  // namespace lumvex::python
