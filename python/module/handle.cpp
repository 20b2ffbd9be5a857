#include "module/handle.hpp"

#include <map>
#include <new>

#include "module/calls.hpp"
#include "module/values.hpp"
#include "python/classes.hpp"

namespace lumvex::python {

PyTypeObject* handleType = nullptr;

namespace {

// By the place of the interface in the table. Classes live as long as the interpreter.
PyTypeObject* classes[std::size(printed::kPublishedClasses)];

std::size_t PlaceOf(const PublishedClass& published) {
    return static_cast<std::size_t>(&published - printed::kPublishedClasses);
}

bool IsSharedBase(const PublishedClass& published) { return published.interfaceDescribed.name.starts_with('_'); }

bool IsRoot(const PublishedClass& published) {
    const ClassDescription* known = FindClassDescription(published.interfaceDescribed.name);
    return known && known->kind == ClassDescription::Kind::Root;
}

std::u16string TextOfMember(IDispatch* object, std::string_view name) {
    // The three shared bases have these members under the same numbers.
    const MemberDescription& member = *FindInterfaceDescription("_Collectable")->Find(name);
    const Variant value = Invoke(object, member, DISPATCH_PROPERTYGET, {});
    return value.vt == VT_BSTR ? std::u16string(TextOf(value.bstrVal)) : std::u16string();
}

// Objects of a document tell their interface; configurations, which are in none, are asked for each that there is
// outside of documents. Null: none of ours.
const PublishedClass* ToldBy(IDispatch* object) {
    try {
        return FindPublished(TextOfMember(object, "InterfaceID"));
    } catch (const Error& error) {
        if (error.Status() != DISP_E_MEMBERNOTFOUND) throw;
    }
    for (const PublishedClass& each : printed::kPublishedClasses) {
        const InterfaceDescription& described = each.interfaceDescribed;
        if (IsSharedBase(each) || FindClassDescription(described.name)) continue;
        const auto id = ParseGuid(FromUtf8('{' + std::string(described.id) + '}'));
        void* found = nullptr;
        if (id && SUCCEEDED(object->QueryInterface(*id, &found))) {
            static_cast<IUnknown*>(found)->Release();
            return &each;
        }
    }
    return nullptr;
}

PyObject* Made(PyTypeObject* type, Ref<IDispatch> pointer, const PublishedClass& published,
               std::shared_ptr<OpenDocument> document) {
    auto* const made = reinterpret_cast<Handle*>(type->tp_alloc(type, 0));
    if (!made) throw py::error_already_set();
    new (&made->pointer) Ref<IDispatch>(std::move(pointer));
    new (&made->document) std::shared_ptr<OpenDocument>(std::move(document));
    made->published = &published;
    made->hash = -1;
    return reinterpret_cast<PyObject*>(made);
}

// The last reference may be one that the library waits for, so that it has to be released without the lock.
void DestroyHandle(PyObject* self) {
    auto& handle = *reinterpret_cast<Handle*>(self);
    PyTypeObject* const type = Py_TYPE(self);
    if (handle.pointer) {
        Ref<IDispatch> last = std::move(handle.pointer);
        Unlocked([&] { last = nullptr; });
    }
    handle.pointer.~Ref<IDispatch>();
    handle.document.~shared_ptr<OpenDocument>();
    type->tp_free(self);
    Py_DECREF(type);
}

bool IsSame(const Handle& left, const Handle& right) {
    if (left.pointer || right.pointer) return left.pointer == right.pointer;
    return left.document == right.document || (left.document->root && left.document->root == right.document->root);
}

PyObject* Compare(PyObject* left, PyObject* right, int how) {
    if ((how != Py_EQ && how != Py_NE) || !IsHandle(right)) Py_RETURN_NOTIMPLEMENTED;
    const bool same = IsSame(*reinterpret_cast<Handle*>(left), *reinterpret_cast<Handle*>(right));
    return PyBool_FromLong(same == (how == Py_EQ));
}

// By the ID, which never changes; configurations have none, and there is one of each.
Py_hash_t Hash(PyObject* self) {
    try {
        Handle& handle = *reinterpret_cast<Handle*>(self);
        if (handle.hash == -1) {
            const Ref<IDispatch> pointer = PointerOf(handle);
            if (handle.published->interfaceDescribed.Find("ID")) {
                const std::u16string id = Called([&] { return TextOfMember(pointer.get(), "ID"); });
                handle.hash = PyObject_Hash(ToPython(id).ptr());
            } else {
                handle.hash = Py_hash_t(reinterpret_cast<std::uintptr_t>(pointer.get()) >> 4);
            }
        }
        return handle.hash;
    } catch (py::error_already_set& error) {
        error.restore();
    }
    return -1;
}

PyObject* RefuseNew(PyTypeObject* type, PyObject*, PyObject*) {
    PyErr_Format(PyExc_TypeError, "%s objects belong to documents: use lumvex.Project(), lumvex.open() and add()",
                 type->tp_name);
    return nullptr;
}

PyObject* RefusePickling(PyObject* self, PyObject*) {
    PyErr_Format(PyExc_TypeError,
                 "a lumvex %s cannot be pickled: it is a part of an open document; pass the document's path and the "
                 "object's `path`, or its to_dict()",
                 Py_TYPE(self)->tp_name);
    return nullptr;
}

PyMethodDef handleMethods[] = {{"__reduce_ex__", RefusePickling, METH_O, "Refuses: objects belong to open documents."},
                               {}};

}  // namespace

OpenDocument::~OpenDocument() { Close(*this); }

void Close(OpenDocument& document) {
    Ref<IDispatch> root = std::move(document.root);
    const auto subscriptions = std::move(document.subscriptions);
    document.root = nullptr;
    document.subscriptions.clear();
    document.hasUnsavedChanges = false;
    if (!root) return;
    Unlocked([&] {
        for (const auto& each : subscriptions) each->End();
        root = nullptr;
    });
}

void AddHandleType(py::module_& module) {
    static PyType_Slot slots[] = {{Py_tp_dealloc, reinterpret_cast<void*>(DestroyHandle)},
                                  {Py_tp_richcompare, reinterpret_cast<void*>(Compare)},
                                  {Py_tp_hash, reinterpret_cast<void*>(Hash)},
                                  {Py_tp_new, reinterpret_cast<void*>(RefuseNew)},
                                  {Py_tp_methods, handleMethods},
                                  {Py_tp_doc, const_cast<char*>("An object of a document. Keeps its document open.")},
                                  {0, nullptr}};
    static PyType_Spec spec{"lumvex._lumvex.Handle", sizeof(Handle), 0, Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE,
                            slots};
    const auto type = py::reinterpret_steal<py::object>(PyType_FromSpec(&spec));
    if (!type) throw py::error_already_set();
    module.attr("Handle") = type;
    handleType = reinterpret_cast<PyTypeObject*>(type.inc_ref().ptr());
}

const PublishedClass& PublishedOf(const InterfaceDescription& described) {
    return printed::kPublishedClasses[&described - kInterfaces];
}

const PublishedClass* FindPublished(std::u16string_view id) {
    static const auto ids = [] {
        std::map<std::u16string, const PublishedClass*> all;
        for (const PublishedClass& each : printed::kPublishedClasses)
            all[FromUtf8('{' + std::string(each.interfaceDescribed.id) + '}')] = &each;
        return all;
    }();
    const auto found = ids.find(std::u16string(id));
    return found == ids.end() ? nullptr : found->second;
}

void SetClass(const PublishedClass& published, PyTypeObject* type) {
    Py_INCREF(type);
    classes[PlaceOf(published)] = type;
}

py::object Wrapped(Ref<IDispatch> pointer, const PublishedClass* published,
                   const std::shared_ptr<OpenDocument>& document) {
    if (!pointer) return py::none();
    if (!published || IsSharedBase(*published)) {
        published = Called([&] { return ToldBy(pointer.get()); });
        if (!published) ThrowError(Error(E_NOINTERFACE, "an object of a class that is not known"));
    }
    if (IsRoot(*published)) {
        if (pointer != document->root) return WrappedRoot(std::move(pointer));
        pointer = nullptr;
    }
    return py::reinterpret_steal<py::object>(
        Made(classes[PlaceOf(*published)], std::move(pointer), *published, document));
}

py::object WrappedRoot(Ref<IDispatch> root) {
    const PublishedClass* const published =
        FindPublished(Called([&] { return TextOfMember(root.get(), "InterfaceID"); }));
    auto document = std::make_shared<OpenDocument>();
    document->root = std::move(root);
    return py::reinterpret_steal<py::object>(
        Made(classes[PlaceOf(*published)], nullptr, *published, std::move(document)));
}

bool IsHandle(PyObject* object) { return PyObject_TypeCheck(object, handleType) != 0; }

Handle& HandleIn(PyObject* object) {
    if (!IsHandle(object)) {
        PyErr_Format(PyExc_TypeError, "expected an object of a document, not %s", Py_TYPE(object)->tp_name);
        throw py::error_already_set();
    }
    return *reinterpret_cast<Handle*>(object);
}

Ref<IDispatch> PointerOf(const Handle& handle) {
    if (handle.pointer) return handle.pointer;
    if (handle.document->root) return handle.document->root;
    const py::object made = py::module_::import("lumvex._errors").attr("ClosedError")();
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(made.ptr())), made.ptr());
    throw py::error_already_set();
}

}  // namespace lumvex::python
