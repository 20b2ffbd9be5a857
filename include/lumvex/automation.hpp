// The boundary types of every published interface: the SDK's on Windows, ours elsewhere.
#pragma once

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
// clang-format off
#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#include <ocidl.h>
#include <olectl.h>
// clang-format on
#else
#include "lumvex/native_automation.hpp"
#endif

namespace lumvex {

// The identifier of interface I; each interface declares its own next to itself as a static member `value`.
template <class I>
struct IidOf;

template <class I>
inline constexpr const GUID& kIidOf = IidOf<I>::value;

#define LUMVEX_PLATFORM_IID(I)                          \
    template <>                                         \
    struct IidOf<::I> {                                 \
        static constexpr const GUID& value = ::IID_##I; \
    }
LUMVEX_PLATFORM_IID(IUnknown);
LUMVEX_PLATFORM_IID(IClassFactory);
LUMVEX_PLATFORM_IID(IDispatch);
LUMVEX_PLATFORM_IID(IEnumVARIANT);
LUMVEX_PLATFORM_IID(IErrorInfo);
LUMVEX_PLATFORM_IID(ICreateErrorInfo);
LUMVEX_PLATFORM_IID(ISupportErrorInfo);
LUMVEX_PLATFORM_IID(IConnectionPoint);
LUMVEX_PLATFORM_IID(IConnectionPointContainer);
LUMVEX_PLATFORM_IID(IEnumConnectionPoints);
LUMVEX_PLATFORM_IID(IEnumConnections);
LUMVEX_PLATFORM_IID(IProvideClassInfo);
LUMVEX_PLATFORM_IID(IProvideClassInfo2);
#undef LUMVEX_PLATFORM_IID

}  // namespace lumvex
