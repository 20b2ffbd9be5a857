// LUMVEX_API marks what the shared library exports. LUMVEX_STATIC is defined when linking the static library,
// LUMVEX_BUILDING while the library itself is compiled.
#pragma once

#if defined(LUMVEX_STATIC)
#define LUMVEX_API
#elif defined(_WIN32) && defined(LUMVEX_BUILDING)
#define LUMVEX_API __declspec(dllexport)
#elif defined(_WIN32)
#define LUMVEX_API __declspec(dllimport)
#else
#define LUMVEX_API __attribute__((visibility("default")))
#endif
