// What every file of the module needs of Python: pybind11, and the interpreter's lock around calls of the library.
#pragma once

#include <pybind11/pybind11.h>

#include <utility>

namespace lumvex::python {

namespace py = pybind11;

// Runs `work`, which touches no Python object, without the interpreter's lock. That is how every call of the library is
// made, however short: it waits for the calls of other threads, which may be in a handler of events that waits for
// this lock.
template <class Work>
decltype(auto) Unlocked(Work&& work) {
    struct Released {
        PyThreadState* state = PyEval_SaveThread();
        Released() = default;
        Released(const Released&) = delete;
        Released& operator=(const Released&) = delete;
        ~Released() { PyEval_RestoreThread(state); }
    } released;
    return std::forward<Work>(work)();
}

}  // namespace lumvex::python
