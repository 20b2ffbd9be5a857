// Strings, safe arrays and variants as automation passes them.
#pragma once

#include "lumvex/export.hpp"
#include "lumvex/native/status.hpp"
#include "lumvex/native/types.hpp"

struct IUnknown;
struct IDispatch;
struct IRecordInfo;

// A BSTR is a pointer to UTF-16 text that may hold zeros; its byte length is in the four bytes before it, a
// terminator follows it. A null BSTR is the empty text. Whoever receives one frees it; allocation failure gives null.
LUMVEX_API BSTR SysAllocString(const OLECHAR* psz) noexcept;                             // null for null
LUMVEX_API BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) noexcept;               // null source: ui zeros
LUMVEX_API BSTR SysAllocStringByteLen(LPCSTR psz, UINT len) noexcept;                    // null source: len zero bytes
LUMVEX_API INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz) noexcept;               // 0: out of memory, unchanged
LUMVEX_API INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len) noexcept;  // psz may lie in *pbstr
LUMVEX_API void SysFreeString(BSTR bstrString) noexcept;
LUMVEX_API UINT SysStringLen(BSTR pbstr) noexcept;     // in characters
LUMVEX_API UINT SysStringByteLen(BSTR bstr) noexcept;  // in bytes

enum VARENUM {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,  // not carried by the native VARIANT
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_VOID = 24,
    VT_HRESULT = 25,
    VT_PTR = 26,
    VT_SAFEARRAY = 27,
    VT_CARRAY = 28,
    VT_USERDEFINED = 29,
    VT_LPSTR = 30,
    VT_LPWSTR = 31,
    VT_RECORD = 36,
    VT_VECTOR = 0x1000,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_RESERVED = 0x8000,
    VT_ILLEGAL = 0xFFFF,
    VT_TYPEMASK = 0x0FFF
};

struct SAFEARRAYBOUND {
    ULONG cElements;
    LONG lLbound;
};

// The last dimension's bound comes first in rgsabound; the first dimension varies fastest in memory.
struct SAFEARRAY {
    USHORT cDims;
    USHORT fFeatures;
    ULONG cbElements;
    ULONG cLocks;
    PVOID pvData;
    SAFEARRAYBOUND rgsabound[1];  // cDims of them
};
using LPSAFEARRAY = SAFEARRAY*;

inline constexpr USHORT FADF_AUTO = 0x0001;
inline constexpr USHORT FADF_STATIC = 0x0002;
inline constexpr USHORT FADF_EMBEDDED = 0x0004;
inline constexpr USHORT FADF_FIXEDSIZE = 0x0010;
inline constexpr USHORT FADF_RECORD = 0x0020;
inline constexpr USHORT FADF_HAVEIID = 0x0040;
inline constexpr USHORT FADF_HAVEVARTYPE = 0x0080;
inline constexpr USHORT FADF_BSTR = 0x0100;
inline constexpr USHORT FADF_UNKNOWN = 0x0200;
inline constexpr USHORT FADF_DISPATCH = 0x0400;
inline constexpr USHORT FADF_VARIANT = 0x0800;
inline constexpr USHORT FADF_CREATEVECTOR = 0x2000;

// Bounds are given first dimension first. Null when the type cannot be an element, there is no dimension, or the
// data would not fit (4 GiB). Elements start as zero.
LUMVEX_API SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound) noexcept;
LUMVEX_API SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements) noexcept;

// Frees the array and what its elements own. DISP_E_ARRAYISLOCKED, and nothing freed, while it is locked.
LUMVEX_API HRESULT SafeArrayDestroy(SAFEARRAY* psa) noexcept;

// A deep copy, unlocked, with the same bounds.
LUMVEX_API HRESULT SafeArrayCopy(SAFEARRAY* psa, SAFEARRAY** ppsaOut) noexcept;

LUMVEX_API UINT SafeArrayGetDim(SAFEARRAY* psa) noexcept;
LUMVEX_API UINT SafeArrayGetElemsize(SAFEARRAY* psa) noexcept;

// Dimensions count from 1; DISP_E_BADINDEX for others. Without elements the upper bound is one below the lower.
LUMVEX_API HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT nDim, LONG* plLbound) noexcept;
LUMVEX_API HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT nDim, LONG* plUbound) noexcept;
LUMVEX_API HRESULT SafeArrayGetVartype(SAFEARRAY* psa, VARTYPE* pvt) noexcept;

// rgIndices holds one index per dimension, the first dimension's first; DISP_E_BADINDEX outside the bounds. Get
// ignores what *pv held and gives the caller a copy; Put takes a copy of *pv (of the BSTR or interface pointer pv
// itself for those element types).
LUMVEX_API HRESULT SafeArrayGetElement(SAFEARRAY* psa, LONG* rgIndices, void* pv) noexcept;
LUMVEX_API HRESULT SafeArrayPutElement(SAFEARRAY* psa, LONG* rgIndices, void* pv) noexcept;
LUMVEX_API HRESULT SafeArrayPtrOfIndex(SAFEARRAY* psa, LONG* rgIndices, void** ppvData) noexcept;

LUMVEX_API HRESULT SafeArrayLock(SAFEARRAY* psa) noexcept;
LUMVEX_API HRESULT SafeArrayUnlock(SAFEARRAY* psa) noexcept;
LUMVEX_API HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** ppvData) noexcept;  // locks
LUMVEX_API HRESULT SafeArrayUnaccessData(SAFEARRAY* psa) noexcept;                // unlocks

struct VARIANT;

struct BRECORD {
    PVOID pvRecord;
    IRecordInfo* pRecInfo;
};

struct VARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        FLOAT fltVal;
        DOUBLE dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        CY cyVal;
        DATE date;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        SAFEARRAY* parray;
        BYTE* pbVal;
        SHORT* piVal;
        LONG* plVal;
        LONGLONG* pllVal;
        FLOAT* pfltVal;
        DOUBLE* pdblVal;
        VARIANT_BOOL* pboolVal;
        SCODE* pscode;
        CY* pcyVal;
        DATE* pdate;
        BSTR* pbstrVal;
        IUnknown** ppunkVal;
        IDispatch** ppdispVal;
        SAFEARRAY** pparray;
        VARIANT* pvarVal;
        PVOID byref;
        CHAR cVal;
        USHORT uiVal;
        ULONG ulVal;
        ULONGLONG ullVal;
        INT intVal;
        UINT uintVal;
        CHAR* pcVal;
        USHORT* puiVal;
        ULONG* pulVal;
        ULONGLONG* pullVal;
        INT* pintVal;
        UINT* puintVal;
        BRECORD brecVal;
    };
};
using VARIANTARG = VARIANT;
static_assert(sizeof(void*) != 8 || sizeof(VARIANT) == 24);

inline constexpr USHORT VARIANT_NOVALUEPROP = 0x01;
inline constexpr USHORT VARIANT_ALPHABOOL = 0x02;
inline constexpr USHORT VARIANT_NOUSEROVERRIDE = 0x04;
inline constexpr USHORT VARIANT_LOCALBOOL = 0x10;

LUMVEX_API void VariantInit(VARIANTARG* pvarg) noexcept;

// Frees what the variant owns (nothing when it is by reference) and makes it empty. DISP_E_BADVARTYPE or
// DISP_E_ARRAYISLOCKED leave it as it is.
LUMVEX_API HRESULT VariantClear(VARIANTARG* pvarg) noexcept;

// Replaces the destination by a deep copy; a failure leaves it as it was. CopyInd follows references first.
LUMVEX_API HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc) noexcept;
LUMVEX_API HRESULT VariantCopyInd(VARIANT* pvarDest, const VARIANTARG* pvargSrc) noexcept;

// Converts to the type vt; source and destination may be the same, and a failure leaves the destination as it was.
// Whatever the locale, numbers are written and read with a decimal point and dates as "2011-05-25 14:03:00".
// DISP_E_OVERFLOW: outside the type's range; DISP_E_TYPEMISMATCH: no conversion; DISP_E_BADVARTYPE: no such type.
LUMVEX_API HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags,
                                     VARTYPE vt) noexcept;
LUMVEX_API HRESULT VariantChangeTypeEx(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, LCID lcid, USHORT wFlags,
                                       VARTYPE vt) noexcept;
