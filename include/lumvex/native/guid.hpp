// 128-bit identifiers, their registry text form, and the memory that crosses interface boundaries.
#pragma once

#include <bit>
#include <cstdint>

#include "lumvex/export.hpp"
#include "lumvex/native/types.hpp"

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

constexpr bool operator==(REFGUID left, REFGUID right) noexcept {
    struct Halves {
        std::uint64_t first, second;
    };
    const Halves one = std::bit_cast<Halves>(left), other = std::bit_cast<Halves>(right);
    return one.first == other.first && one.second == other.second;
}

constexpr bool IsEqualGUID(REFGUID left, REFGUID right) noexcept { return left == right; }
constexpr bool IsEqualIID(REFIID left, REFIID right) noexcept { return left == right; }
constexpr bool IsEqualCLSID(REFCLSID left, REFCLSID right) noexcept { return left == right; }

inline constexpr GUID GUID_NULL{};
inline constexpr IID IID_NULL{};
inline constexpr CLSID CLSID_NULL{};

// A new random (version 4) identifier. E_POINTER without a place for it, E_FAIL when the system has no randomness.
LUMVEX_API HRESULT CoCreateGuid(GUID* pguid) noexcept;

// Writes "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case with its terminator. Returns the characters written
// (39), or 0 when cchMax is smaller.
LUMVEX_API int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax) noexcept;

// The same text in memory that the caller frees with CoTaskMemFree.
LUMVEX_API HRESULT StringFromCLSID(REFCLSID rclsid, LPOLESTR* lplpsz) noexcept;

// Reads the form with braces, in either case. A null text is the zero identifier; anything else gives
// CO_E_CLASSSTRING and the zero identifier.
LUMVEX_API HRESULT CLSIDFromString(LPCOLESTR lpsz, CLSID* pclsid) noexcept;

LUMVEX_API LPVOID CoTaskMemAlloc(SIZE_T cb) noexcept;
LUMVEX_API void CoTaskMemFree(LPVOID pv) noexcept;
