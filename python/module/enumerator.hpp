// Iteration over what an enumerator of the library answers.
#pragma once

#include "module/handle.hpp"

namespace lumvex::python {

enum class Yields { Objects, NamesAndObjects, Names };

void AddEnumeratorType(py::module_& module);

// A Python iterator. It fetches many objects, and their names, in one call. `published`: the class of the objects; null
// where each has its own.
py::object Enumerate(const Ref<IUnknown>& source, const PublishedClass* published,
                     const std::shared_ptr<OpenDocument>& document, Yields yields);

}  // namespace lumvex::python
