// Calls of published members by late binding.
#pragma once

#include <span>

#include "module/handle.hpp"

namespace lumvex::python {

// `arguments` in the order of the parameters; what is put comes last. `kind` is one of DISPATCH_... Called without the
// interpreter's lock. Throws lumvex::Error.
Variant Invoke(IDispatch* object, const MemberDescription& member, WORD kind, std::span<const VARIANT> arguments);

// The exception that Python sees for a failed call: one of the classes of lumvex/_errors.py.
[[noreturn]] void ThrowError(const Error& error);

// Runs a call without the interpreter's lock, and translates its failure.
template <class Call>
decltype(auto) Called(Call&& call) {
    try {
        return Unlocked(std::forward<Call>(call));
    } catch (const Error& error) {
        ThrowError(error);
    }
}

}  // namespace lumvex::python
