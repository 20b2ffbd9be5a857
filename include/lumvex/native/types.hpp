// The plain types and calling-convention macros of the automation interfaces, with the platform's names and widths.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using CHAR = char;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using WORD = std::uint16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using FLOAT = float;
using DOUBLE = double;
using BOOL = int;
using SIZE_T = std::size_t;
using PVOID = void*;
using LPVOID = void*;
using LPCSTR = const char*;

using HRESULT = LONG;
using SCODE = LONG;
using LCID = DWORD;
using DISPID = LONG;
using MEMBERID = DISPID;
using VARTYPE = unsigned short;
using VARIANT_BOOL = short;
using DATE = double;  // days since 30 December 1899, the fraction being the time of day

// Text at the interfaces is UTF-16.
using WCHAR = char16_t;
using OLECHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using BSTR = OLECHAR*;  // from SysAllocString and its relatives only

// An amount of money in ten-thousandths.
struct CY {
    LONGLONG int64;
};

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

inline constexpr LCID LOCALE_INVARIANT = 0x007F;
inline constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
inline constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;

#define OLESTR(text) u##text
#define STDMETHODCALLTYPE
#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE
