// The compiled module of the Python package: lumvex/__init__.py says what it is for.
#include <filesystem>
#include <span>

#include "files/file_error.hpp"
#include "lumvex/create.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/host.hpp"
#include "module/calls.hpp"
#include "module/enumerator.hpp"
#include "module/members.hpp"
#include "module/values.hpp"
#include "objects/address.hpp"

namespace lumvex::python {

namespace {

// ---- documents ----

// "IProject" -> a new, empty project.
py::object Create(std::string_view interfaceName) {
    const ClassDescription* const known = FindClassDescription(interfaceName);
    if (!known || known->kind != ClassDescription::Kind::Root) throw py::type_error("there is no such document");
    const auto id = ParseGuid(FromUtf8('{' + std::string(known->id) + '}'));
    return WrappedRoot(Called([&] { return Ref<IDispatch>(CreateInstance<IDispatch>(*id)); }));
}

OpenDocument& DocumentOf(py::handle object) { return *HandleIn(object.ptr()).document; }

py::dict Statistics(py::handle object) {
    const Ref<IDispatch> root = PointerOf(HandleIn(object.ptr()));
    const LoadStatistics found = Unlocked([&] { return StatisticsOf(root.As<::_Root>().get()); });
    py::dict facts;
    facts["objects_loaded"] = found.objectsLoaded;
    facts["bytes_read"] = found.bytesRead;
    return facts;
}

// ---- iteration ----

py::object Iterate(py::handle collection, std::string_view what) {
    Handle& handle = HandleIn(collection.ptr());
    const Ref<IDispatch> pointer = PointerOf(handle);
    const InterfaceDescription& type = handle.published->interfaceDescribed;
    const Variant made =
        Called([&] { return Invoke(pointer.get(), *type.Find("_NewEnum"), DISPATCH_PROPERTYGET, {}); });
    const Yields yields = what == "names" ? Yields::Names : what == "items" ? Yields::NamesAndObjects : Yields::Objects;
    return Enumerate(Ref<IUnknown>(made.punkVal), &PublishedOf(*type.Find("Item")->objectInterface), handle.document,
                     yields);
}

// Finds the member's place and removes it, with no call of another thread in between, which could move the member.
// False where the collection does not have it.
bool RemoveMember(py::handle collection, py::handle member) {
    const Handle& handle = HandleIn(collection.ptr());
    const Ref<IDispatch> pointer = PointerOf(handle), wanted = PointerOf(HandleIn(member.ptr()));
    const InterfaceDescription& type = handle.published->interfaceDescribed;
    return Called([&] {
        const SeveralCalls together;
        const LONG count = Invoke(pointer.get(), *type.Find("Count"), DISPATCH_PROPERTYGET, {}).lVal;
        for (LONG at = 1; at <= count; ++at) {
            const Variant number = Variant::FromLong(at);
            const std::span<const VARIANT> place(&static_cast<const VARIANT&>(number), 1);
            const Variant found = Invoke(pointer.get(), *type.Find("Item"), DISPATCH_PROPERTYGET, place);
            if (found.pdispVal != wanted.get()) continue;
            Invoke(pointer.get(), *type.Find("Remove"), DISPATCH_METHOD, place);
            return true;
        }
        return false;
    });
}

// ---- addresses ----

app::Node NodeOf(const Handle& handle) {
    return app::Node(Object(PointerOf(handle)), handle.published->interfaceDescribed);
}

app::Node RootOf(const Handle& handle) {
    const Ref<IDispatch> root = handle.document->root;
    return root ? Called([&] { return app::Node(Object(root)); }) : NodeOf(handle);
}

// Runs a search without the interpreter's lock. `label` names the document in errors.
template <class Search>
auto Searched(py::handle object, const std::string& label, Search search) {
    const Handle& handle = HandleIn(object.ptr());
    const app::Node from = NodeOf(handle), root = RootOf(handle);
    try {
        return Called([&] { return search(app::Addresses(label, root), from); });
    } catch (const app::FileError& error) {
        const py::object type = py::module_::import("lumvex._errors").attr("NotFoundError");
        PyErr_SetString(type.ptr(), error.what());
        throw py::error_already_set();
    }
}

py::object Wrapped(const app::Node& node, py::handle like) {
    return Wrapped(Ref<IDispatch>(node.Pointer()), &PublishedOf(node.Type()), HandleIn(like.ptr()).document);
}

py::object Find(py::handle object, const std::string& address, const std::string& label) {
    const app::Node found = Searched(object, label, [&](const app::Addresses& addresses, const app::Node& from) {
        return addresses.Find(from, address);
    });
    return Wrapped(found, object);
}

py::list FindAll(py::handle object, const std::string& address, const std::string& label) {
    const std::vector<app::Node> found = Searched(
        object, label,
        [&](const app::Addresses& addresses, const app::Node& from) { return addresses.FindAll(from, address); });
    py::list all;
    for (const app::Node& each : found) all.append(Wrapped(each, object));
    return all;
}

py::str PathOf(py::handle object) {
    const app::Node node = NodeOf(HandleIn(object.ptr()));
    return py::str(Called([&] { return app::PathOf(node); }));
}

// ---- events ----

// A Python function that threads without the interpreter's lock call and let go.
class Callback {
public:
    explicit Callback(py::function function) : function_(std::move(function)) {}
    Callback(const Callback&) = delete;
    Callback& operator=(const Callback&) = delete;
    ~Callback() {
        const py::gil_scoped_acquire locked;
        function_ = py::function();
    }

    // What it throws cannot reach the one who made the change, and is reported as in a destructor.
    void operator()(const Change& change, const std::shared_ptr<OpenDocument>& document) const {
        const py::gil_scoped_acquire locked;
        try {
            const char* const kind = change.kind == Change::Kind::Collection ? "collection"
                                     : change.kind == Change::Kind::Item     ? "item"
                                                                             : "root";
            function_(kind, python::Wrapped(Ref<IDispatch>(change.object.Pointer()), nullptr, document),
                      static_cast<long>(change.type));
        } catch (py::error_already_set& error) {
            error.restore();
            PyErr_WriteUnraisable(function_.ptr());
        }
    }

private:
    py::function function_;
};

std::shared_ptr<Subscription> Subscribe(py::handle object, py::function function) {
    const std::shared_ptr<OpenDocument> document = HandleIn(object.ptr()).document;
    const Root root(PointerOf(HandleIn(object.ptr())).As<::_Root>());
    const auto callback = std::make_shared<Callback>(std::move(function));
    // The document holds the subscription, and the subscription must not keep it open.
    const std::weak_ptr<OpenDocument> weak = document;
    const auto tell = [callback, weak](const Change& change) {
        if (const std::shared_ptr<OpenDocument> open = weak.lock()) (*callback)(change, open);
    };
    auto made = Called([&] { return std::make_shared<Subscription>(root, tell); });
    document->subscriptions.push_back(made);
    return made;
}

void Unsubscribe(py::handle object, const std::shared_ptr<Subscription>& subscription) {
    std::erase(DocumentOf(object).subscriptions, subscription);
    Unlocked([&] { subscription->End(); });
}

}  // namespace

PYBIND11_MODULE(_lumvex, module) {
    AddHandleType(module);
    AddEnumeratorType(module);
    AddMemberTypes(module);
    using Declared = py::class_<Subscription, std::shared_ptr<Subscription>>;
    Declared(module, "Subscription");  // NOLINT(bugprone-unused-raii): the module keeps the class

    module.def("create", Create);
    module.def("wrapped_root_of", [](py::handle object) {
        const Handle& handle = HandleIn(object.ptr());
        return Wrapped(handle.document->root, nullptr, handle.document);
    });
    module.def("close", [](py::handle document) { Close(DocumentOf(document)); });
    module.def("is_closed", [](py::handle document) { return !DocumentOf(document).root; });
    module.def("has_unsaved_changes", [](py::handle document) { return DocumentOf(document).hasUnsavedChanges; });
    module.def("set_saved", [](py::handle document) { DocumentOf(document).hasUnsavedChanges = false; });
    module.def("path_of_file", [](py::handle document) { return DocumentOf(document).path; });
    module.def("set_path_of_file",
               [](py::handle document, const std::string& path) { DocumentOf(document).path = path; });
    module.def("statistics", Statistics);
    module.def("iterate", Iterate);
    module.def("remove_member", RemoveMember);
    module.def("find", Find);
    module.def("find_all", FindAll);
    module.def("path_of", PathOf);
    module.def("subscribe", Subscribe);
    module.def("unsubscribe", Unsubscribe);
}

}  // namespace lumvex::python
