// The platform's interfaces that Lumvex offers or calls, their identifiers, and error information. Interfaces carry no
// data and no virtual destructor: their slots are the binary contract.
#pragma once

#include "lumvex/export.hpp"
#include "lumvex/native/guid.hpp"
#include "lumvex/native/variant.hpp"

struct ITypeInfo;

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
using LPUNKNOWN = IUnknown*;

struct IClassFactory : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) = 0;
};

inline constexpr DISPID DISPID_VALUE = 0;
inline constexpr DISPID DISPID_UNKNOWN = -1;
inline constexpr DISPID DISPID_PROPERTYPUT = -3;
inline constexpr DISPID DISPID_NEWENUM = -4;

inline constexpr WORD DISPATCH_METHOD = 0x1;
inline constexpr WORD DISPATCH_PROPERTYGET = 0x2;
inline constexpr WORD DISPATCH_PROPERTYPUT = 0x4;
inline constexpr WORD DISPATCH_PROPERTYPUTREF = 0x8;

struct DISPPARAMS {
    VARIANTARG* rgvarg;  // last argument first
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

struct EXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    PVOID pvReserved;
    HRESULT(STDMETHODCALLTYPE* pfnDeferredFillIn)(EXCEPINFO*);
    SCODE scode;
};

struct IDispatch : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT iTInfo, LCID lcid, ITypeInfo** ppTInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID lcid,
                                                    DISPID* rgDispId) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID lcid, WORD wFlags,
                                             DISPPARAMS* pDispParams, VARIANT* pVarResult, EXCEPINFO* pExcepInfo,
                                             UINT* puArgErr) = 0;
};
using LPDISPATCH = IDispatch*;

struct IEnumVARIANT : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG celt, VARIANT* rgVar, ULONG* pCeltFetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG celt) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** ppEnum) = 0;
};

struct IErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetGUID(GUID* pGUID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR* pBstrSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* pBstrDescription) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* pBstrHelpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* pdwHelpContext) = 0;
};

struct ICreateErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID rguid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR szSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR szDescription) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR szHelpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD dwHelpContext) = 0;
};

struct ISupportErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) = 0;
};

struct IConnectionPoint;
struct IConnectionPointContainer;

struct CONNECTDATA {
    IUnknown* pUnk;
    DWORD dwCookie;
};
using LPCONNECTDATA = CONNECTDATA*;
using LPCONNECTIONPOINT = IConnectionPoint*;

struct IEnumConnections : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG cConnections, LPCONNECTDATA rgcd, ULONG* pcFetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG cConnections) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumConnections** ppEnum) = 0;
};

struct IEnumConnectionPoints : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG cConnections, LPCONNECTIONPOINT* ppCP, ULONG* pcFetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG cConnections) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumConnectionPoints** ppEnum) = 0;
};

struct IConnectionPoint : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* pIID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** ppCPC) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(IUnknown* pUnkSink, DWORD* pdwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(DWORD dwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** ppEnum) = 0;
};

struct IConnectionPointContainer : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** ppEnum) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** ppCP) = 0;
};

struct IProvideClassInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** ppTI) = 0;
};

inline constexpr DWORD GUIDKIND_DEFAULT_SOURCE_DISP_IID = 1;

struct IProvideClassInfo2 : IProvideClassInfo {
    virtual HRESULT STDMETHODCALLTYPE GetGUID(DWORD dwGuidKind, GUID* pGUID) = 0;
};

inline constexpr IID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory{0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IDispatch{0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IEnumVARIANT{0x00020404, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IErrorInfo{0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_ICreateErrorInfo{0x22F03340, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_ISupportErrorInfo{
    0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_IProvideClassInfo{
    0xB196B283, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IConnectionPointContainer{
    0xB196B284, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IEnumConnectionPoints{
    0xB196B285, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IConnectionPoint{0xB196B286, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IEnumConnections{0xB196B287, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IProvideClassInfo2{
    0xA6BC3AC0, 0xDBAA, 0x11CE, {0x9D, 0xE3, 0x00, 0xAA, 0x00, 0x4B, 0xB8, 0x51}};

// The calling thread's error information. Set replaces it (null: none) and keeps a reference; Get hands it over, so
// that a second Get gives S_FALSE and null. An object from CreateErrorInfo answers IErrorInfo as well.
LUMVEX_API HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo) noexcept;
LUMVEX_API HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo) noexcept;
LUMVEX_API HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo) noexcept;
