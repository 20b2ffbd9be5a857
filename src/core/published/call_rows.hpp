// The row macros that define a shared interface's calls. A source file says `using Calls = ...;` for one of the structs
// of shared_calls.hpp, includes the plain base's header and this, and then the interface's .def.
#pragma once

#include "core/published/boundary.hpp"
#include "core/published/shared_calls.hpp"

#define LX_INTERFACE(name, base, iid, help)
#define LX_GET(id, name, type, parameters, help)                                                                    \
    HRESULT Calls::get_##name(Self& self, LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) noexcept { \
        return Answered(self.ErrorSource(), pVal, [&] { return self.name(LX_EACH(LX_INSIDE, parameters)); });      \
    }
#define LX_PUT(id, name, type, parameters, help)                                                                      \
    HRESULT Calls::put_##name(Self& self, LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type newVal) noexcept { \
        return Done(self.ErrorSource(),                                                                             \
                    [&] { self.name(LX_EACH_BEFORE(LX_INSIDE, parameters) Inside(newVal)); });                      \
    }
#define LX_METHOD(id, name, type, parameters, help)                                                           \
    HRESULT Calls::name(Self& self, LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) type* pVal) noexcept { \
        if (!pVal) return MissingPointer();                                                                  \
        Clear(pVal);                                                                                         \
        if (false LX_SPREAD(LX_MISSING, parameters)) return MissingPointer();                                \
        return Answered(self.ErrorSource(), pVal,                                                            \
                        [&] { return self.name(LX_EACH(LX_INSIDE, parameters)); });                          \
    }
#define LX_ACTION(id, name, parameters, help)                                                       \
    HRESULT Calls::name(Self& self LX_EACH_AFTER(LX_PARAMETER_DECLARED, parameters)) noexcept {    \
        if (false LX_SPREAD(LX_MISSING, parameters)) return MissingPointer();                      \
        return Done(self.ErrorSource(), [&] { self.name(LX_EACH(LX_INSIDE, parameters)); });       \
    }
#define LX_TEST(id, name, parameters, help)                                                                   \
    HRESULT Calls::name(Self& self, LX_EACH_BEFORE(LX_PARAMETER_DECLARED, parameters) LONG* pVal) noexcept { \
        if (false LX_SPREAD(LX_MISSING, parameters)) return MissingPointer();                                \
        return Tested(self.ErrorSource(), pVal,                                                              \
                      [&] { return self.name(LX_EACH(LX_INSIDE, parameters)); });                            \
    }
#define LX_INTERFACE_END(name)
