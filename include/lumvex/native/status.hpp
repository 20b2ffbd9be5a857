// Status codes: bit 31 says failure, bits 16 to 26 name the facility, the low 16 bits are the code.
#pragma once

#include "lumvex/native/types.hpp"

inline constexpr ULONG SEVERITY_SUCCESS = 0;
inline constexpr ULONG SEVERITY_ERROR = 1;
inline constexpr ULONG FACILITY_NULL = 0;
inline constexpr ULONG FACILITY_DISPATCH = 2;
inline constexpr ULONG FACILITY_STORAGE = 3;
inline constexpr ULONG FACILITY_ITF = 4;
inline constexpr ULONG FACILITY_WIN32 = 7;

constexpr bool SUCCEEDED(HRESULT status) noexcept { return status >= 0; }
constexpr bool FAILED(HRESULT status) noexcept { return status < 0; }
constexpr LONG HRESULT_CODE(HRESULT status) noexcept { return status & 0xFFFF; }
constexpr LONG HRESULT_FACILITY(HRESULT status) noexcept { return (status >> 16) & 0x1FFF; }
constexpr HRESULT MAKE_HRESULT(ULONG severity, ULONG facility, ULONG code) noexcept {
    return static_cast<HRESULT>((severity << 31) | (facility << 16) | code);
}

// General
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
inline constexpr HRESULT E_HANDLE = static_cast<HRESULT>(0x80070006u);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);

// Late binding, variants and arrays
inline constexpr HRESULT DISP_E_UNKNOWNINTERFACE = static_cast<HRESULT>(0x80020001u);
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = static_cast<HRESULT>(0x80020003u);
inline constexpr HRESULT DISP_E_PARAMNOTFOUND = static_cast<HRESULT>(0x80020004u);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005u);
inline constexpr HRESULT DISP_E_UNKNOWNNAME = static_cast<HRESULT>(0x80020006u);
inline constexpr HRESULT DISP_E_NONAMEDARGS = static_cast<HRESULT>(0x80020007u);
inline constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008u);
inline constexpr HRESULT DISP_E_EXCEPTION = static_cast<HRESULT>(0x80020009u);
inline constexpr HRESULT DISP_E_OVERFLOW = static_cast<HRESULT>(0x8002000Au);
inline constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000Bu);
inline constexpr HRESULT DISP_E_UNKNOWNLCID = static_cast<HRESULT>(0x8002000Cu);
inline constexpr HRESULT DISP_E_ARRAYISLOCKED = static_cast<HRESULT>(0x8002000Du);
inline constexpr HRESULT DISP_E_BADPARAMCOUNT = static_cast<HRESULT>(0x8002000Eu);
inline constexpr HRESULT DISP_E_PARAMNOTOPTIONAL = static_cast<HRESULT>(0x8002000Fu);
inline constexpr HRESULT DISP_E_BADCALLEE = static_cast<HRESULT>(0x80020010u);
inline constexpr HRESULT DISP_E_NOTACOLLECTION = static_cast<HRESULT>(0x80020011u);
inline constexpr HRESULT DISP_E_DIVBYZERO = static_cast<HRESULT>(0x80020012u);
inline constexpr HRESULT DISP_E_BUFFERTOOSMALL = static_cast<HRESULT>(0x80020013u);
inline constexpr HRESULT TYPE_E_ELEMENTNOTFOUND = static_cast<HRESULT>(0x8002802Bu);

// Class objects
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);
inline constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3u);

// Connection points
inline constexpr HRESULT CONNECT_E_NOCONNECTION = static_cast<HRESULT>(0x80040200u);
inline constexpr HRESULT CONNECT_E_ADVISELIMIT = static_cast<HRESULT>(0x80040201u);
inline constexpr HRESULT CONNECT_E_CANNOTCONNECT = static_cast<HRESULT>(0x80040202u);
inline constexpr HRESULT CONNECT_E_OVERRIDDEN = static_cast<HRESULT>(0x80040203u);

// Storage
inline constexpr HRESULT STG_E_FILENOTFOUND = static_cast<HRESULT>(0x80030002u);
inline constexpr HRESULT STG_E_PATHNOTFOUND = static_cast<HRESULT>(0x80030003u);
inline constexpr HRESULT STG_E_TOOMANYOPENFILES = static_cast<HRESULT>(0x80030004u);
inline constexpr HRESULT STG_E_ACCESSDENIED = static_cast<HRESULT>(0x80030005u);
inline constexpr HRESULT STG_E_INVALIDHANDLE = static_cast<HRESULT>(0x80030006u);
inline constexpr HRESULT STG_E_INSUFFICIENTMEMORY = static_cast<HRESULT>(0x80030008u);
inline constexpr HRESULT STG_E_INVALIDPOINTER = static_cast<HRESULT>(0x80030009u);
inline constexpr HRESULT STG_E_SEEKERROR = static_cast<HRESULT>(0x80030019u);
inline constexpr HRESULT STG_E_WRITEFAULT = static_cast<HRESULT>(0x8003001Du);
inline constexpr HRESULT STG_E_READFAULT = static_cast<HRESULT>(0x8003001Eu);
inline constexpr HRESULT STG_E_SHAREVIOLATION = static_cast<HRESULT>(0x80030020u);
inline constexpr HRESULT STG_E_LOCKVIOLATION = static_cast<HRESULT>(0x80030021u);
inline constexpr HRESULT STG_E_FILEALREADYEXISTS = static_cast<HRESULT>(0x80030050u);
inline constexpr HRESULT STG_E_INVALIDPARAMETER = static_cast<HRESULT>(0x80030057u);
inline constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070u);
inline constexpr HRESULT STG_E_INVALIDHEADER = static_cast<HRESULT>(0x800300FBu);
inline constexpr HRESULT STG_E_INVALIDNAME = static_cast<HRESULT>(0x800300FCu);
inline constexpr HRESULT STG_E_UNKNOWN = static_cast<HRESULT>(0x800300FDu);
inline constexpr HRESULT STG_E_UNIMPLEMENTEDFUNCTION = static_cast<HRESULT>(0x800300FEu);
inline constexpr HRESULT STG_E_INVALIDFLAG = static_cast<HRESULT>(0x800300FFu);
inline constexpr HRESULT STG_E_INUSE = static_cast<HRESULT>(0x80030100u);
inline constexpr HRESULT STG_E_NOTCURRENT = static_cast<HRESULT>(0x80030101u);
inline constexpr HRESULT STG_E_REVERTED = static_cast<HRESULT>(0x80030102u);
inline constexpr HRESULT STG_E_CANTSAVE = static_cast<HRESULT>(0x80030103u);
inline constexpr HRESULT STG_E_OLDFORMAT = static_cast<HRESULT>(0x80030104u);
inline constexpr HRESULT STG_E_DOCFILECORRUPT = static_cast<HRESULT>(0x80030109u);
