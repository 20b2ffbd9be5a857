// The Python object behind every object of a document: the base of all classes that are made from the interface tables.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "lumvex/events.hpp"
#include "lumvex/lumvex.hpp"
#include "module/published.hpp"
#include "module/python.hpp"

namespace lumvex::python {

// An open document, shared by the handles of all its objects: it stays open as long as one of them is there, or until
// it is closed. Used under the interpreter's lock alone.
struct OpenDocument {
    ~OpenDocument();

    Ref<IDispatch> root;  // null: closed
    std::vector<std::shared_ptr<Subscription>> subscriptions;
    bool hasUnsavedChanges = false;
    std::string path;  // of the file; empty: it has none yet
};

struct Handle {
    PyObject_HEAD Ref<IDispatch> pointer;  // null for a root, which its document holds
    std::shared_ptr<OpenDocument> document;
    const PublishedClass* published;
    Py_hash_t hash;  // -1: not computed yet
};

// The type of Handle; made by AddHandleType().
extern PyTypeObject* handleType;

void AddHandleType(py::module_& module);

// The interface as Python sees it. `id`: as InterfaceID answers it.
const PublishedClass& PublishedOf(const InterfaceDescription& described);
const PublishedClass* FindPublished(std::u16string_view id);

// The Python class of an interface, once it is made.
void SetClass(const PublishedClass& published, PyTypeObject* type);

// None for a null pointer. The class is found by asking the object where `published` is null or a shared base.
py::object Wrapped(Ref<IDispatch> pointer, const PublishedClass* published,
                   const std::shared_ptr<OpenDocument>& document);

// A new handle to a document that nothing else shares yet.
py::object WrappedRoot(Ref<IDispatch> root);

Handle& HandleIn(PyObject* object);  // throws TypeError for anything else
bool IsHandle(PyObject* object);

// Counted, so that it outlives a close() in another thread. Throws lumvex.ClosedError for a root that is closed.
Ref<IDispatch> PointerOf(const Handle& handle);

// Lets the document's file go, without reading or writing anything. Objects that are still used are orphans then.
void Close(OpenDocument& document);

}  // namespace lumvex::python
