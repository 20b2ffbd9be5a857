#include "module/enumerator.hpp"

#include <array>
#include <new>

#include "module/calls.hpp"
#include "module/values.hpp"

namespace lumvex::python {

namespace {

// As many objects at a time as to make the cost of giving up the interpreter's lock small beside that of the objects.
// The first call fetches few, for loops that end early.
constexpr ULONG kFirst = 8, kMost = 256;

struct Enumerator {
    PyObject_HEAD Ref<IEnumVARIANT> source;
    const PublishedClass* published;
    std::shared_ptr<OpenDocument> document;
    Yields yields;
    ULONG wanted, fetched, next;
    bool isFetching;
    std::array<Variant, kMost> objects;
    std::array<Variant, kMost> names;
};

PyTypeObject* enumeratorType = nullptr;

void DestroyEnumerator(PyObject* self) {
    PyTypeObject* const type = Py_TYPE(self);
    auto& enumerator = *reinterpret_cast<Enumerator*>(self);
    Unlocked([&] {
        enumerator.source.~Ref<IEnumVARIANT>();
        enumerator.objects.~array();
        enumerator.names.~array();
    });
    enumerator.document.~shared_ptr<OpenDocument>();
    type->tp_free(self);
    Py_DECREF(type);
}

// Items are asked through their own interface, which takes less time than late binding.
Variant NameOf(IDispatch* object) {
    static const MemberDescription& name = *FindInterfaceDescription("_Collectable")->Find("Name");
    const auto item = Ref<IDispatch>(object).As<::_Collectable>();
    if (!item) return Invoke(object, name, DISPATCH_PROPERTYGET, {});
    Bstr text;
    Check(item->get_Name(text.Out()));
    VARIANT value{};
    value.vt = VT_BSTR;
    value.bstrVal = text.Detach();
    return Variant::Attach(value);
}

void Fetch(Enumerator& enumerator) {
    if (enumerator.isFetching) throw py::value_error("another thread uses the iterator");
    struct Fetching {
        bool& flag;
        explicit Fetching(bool& isFetching) : flag(isFetching) { flag = true; }
        Fetching(const Fetching&) = delete;
        Fetching& operator=(const Fetching&) = delete;
        ~Fetching() { flag = false; }
    } const fetching(enumerator.isFetching);
    enumerator.next = enumerator.fetched = 0;
    ULONG fetched = 0;
    Called([&] {
        for (Variant& each : enumerator.objects) VariantClear(&each);  // left by a fetch that failed
        Check(enumerator.source->Next(enumerator.wanted, enumerator.objects.data(), &fetched));
        if (enumerator.yields == Yields::Objects) return;
        for (ULONG at = 0; at < fetched; ++at) enumerator.names[at] = NameOf(enumerator.objects[at].pdispVal);
    });
    enumerator.fetched = fetched;
    enumerator.wanted = std::min(kMost, enumerator.wanted * 4);
}

py::object NameAt(const Enumerator& enumerator, ULONG at) { return ToPython(TextOf(enumerator.names[at].bstrVal)); }

py::object ObjectAt(Enumerator& enumerator, ULONG at) {
    Ref<IDispatch> object = Ref<IDispatch>::Attach(enumerator.objects[at].pdispVal);
    enumerator.objects[at].vt = VT_EMPTY;
    return Wrapped(std::move(object), enumerator.published, enumerator.document);
}

PyObject* Next(PyObject* self) {
    auto& enumerator = *reinterpret_cast<Enumerator*>(self);
    try {
        if (enumerator.next == enumerator.fetched && enumerator.wanted != 0) {
            Fetch(enumerator);
            if (enumerator.fetched == 0) enumerator.wanted = 0;
        }
        if (enumerator.next == enumerator.fetched) return nullptr;
        const ULONG at = enumerator.next++;
        if (enumerator.yields == Yields::Names) return NameAt(enumerator, at).release().ptr();
        py::object object = ObjectAt(enumerator, at);
        if (enumerator.yields == Yields::Objects) return object.release().ptr();
        return PyTuple_Pack(2, NameAt(enumerator, at).ptr(), object.ptr());
    } catch (py::error_already_set& error) {
        error.restore();
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    }
    return nullptr;
}

}  // namespace

void AddEnumeratorType(py::module_& module) {
    static PyType_Slot slots[] = {{Py_tp_dealloc, reinterpret_cast<void*>(DestroyEnumerator)},
                                  {Py_tp_iter, reinterpret_cast<void*>(PyObject_SelfIter)},
                                  {Py_tp_iternext, reinterpret_cast<void*>(Next)},
                                  {0, nullptr}};
    static PyType_Spec spec{"lumvex._lumvex.Enumerator", sizeof(Enumerator), 0,
                            Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION, slots};
    const auto type = py::reinterpret_steal<py::object>(PyType_FromSpec(&spec));
    if (!type) throw py::error_already_set();
    module.attr("Enumerator") = type;
    enumeratorType = reinterpret_cast<PyTypeObject*>(type.inc_ref().ptr());
}

py::object Enumerate(const Ref<IUnknown>& source, const PublishedClass* published,
                     const std::shared_ptr<OpenDocument>& document, Yields yields) {
    auto* const made = reinterpret_cast<Enumerator*>(enumeratorType->tp_alloc(enumeratorType, 0));
    if (!made) throw py::error_already_set();
    new (&made->source) Ref<IEnumVARIANT>(source.As<IEnumVARIANT>());
    new (&made->document) std::shared_ptr<OpenDocument>(document);
    new (&made->objects) std::array<Variant, kMost>();
    new (&made->names) std::array<Variant, kMost>();
    made->published = published;
    made->yields = yields;
    made->wanted = kFirst;
    made->fetched = made->next = 0;
    made->isFetching = false;
    return py::reinterpret_steal<py::object>(reinterpret_cast<PyObject*>(made));
}

}  // namespace lumvex::python
