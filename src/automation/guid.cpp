// Identifiers as the platform's calls make and convert them, and memory handed across interfaces.
#include <cstdlib>

#include "automation/random.hpp"
#include "lumvex/values.hpp"

namespace {

constexpr int kGuidText = 38;

// Sets the bits by which everybody knows that the others are random.
void MarkAsRandom(GUID& guid) {
    guid.Data3 = static_cast<std::uint16_t>((guid.Data3 & 0x0FFF) | 0x4000);   // version 4
    guid.Data4[0] = static_cast<std::uint8_t>((guid.Data4[0] & 0x3F) | 0x80);  // the usual variant
}

}  // namespace

std::optional<GUID> lumvex::inside::GuessNextGuid() noexcept {
    GUID guid;
    if (!PeekRandom(&guid, sizeof guid)) return std::nullopt;
    MarkAsRandom(guid);
    return guid;
}

HRESULT CoCreateGuid(GUID* pguid) noexcept {
    if (!pguid) return E_POINTER;
    if (!lumvex::inside::FillRandom(pguid, sizeof(GUID))) {
        *pguid = GUID_NULL;
        return E_FAIL;
    }
    MarkAsRandom(*pguid);
    return S_OK;
}

int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax) noexcept {
    if (!lpsz || cchMax < kGuidText + 1) return 0;
    char16_t* out = lpsz;
    const auto hex = [&out](std::uint32_t value, int digits) {
        for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) *out++ = u"0123456789ABCDEF"[(value >> shift) & 15];
    };
    *out++ = u'{';
    hex(rguid.Data1, 8);
    *out++ = u'-';
    hex(rguid.Data2, 4);
    *out++ = u'-';
    hex(rguid.Data3, 4);
    *out++ = u'-';
    for (int i = 0; i < 8; ++i) {
        if (i == 2) *out++ = u'-';
        hex(rguid.Data4[i], 2);
    }
    *out++ = u'}';
    *out = 0;
    return kGuidText + 1;
}

HRESULT StringFromCLSID(REFCLSID rclsid, LPOLESTR* lplpsz) noexcept {
    if (!lplpsz) return E_INVALIDARG;
    *lplpsz = static_cast<LPOLESTR>(CoTaskMemAlloc((kGuidText + 1) * sizeof(OLECHAR)));
    if (!*lplpsz) return E_OUTOFMEMORY;
    StringFromGUID2(rclsid, *lplpsz, kGuidText + 1);
    return S_OK;
}

HRESULT CLSIDFromString(LPCOLESTR lpsz, CLSID* pclsid) noexcept {
    if (!pclsid) return E_INVALIDARG;
    *pclsid = GUID_NULL;
    if (!lpsz) return S_OK;
    const auto parsed = lumvex::ParseGuid(lpsz);
    if (!parsed) return CO_E_CLASSSTRING;
    *pclsid = *parsed;
    return S_OK;
}

LPVOID CoTaskMemAlloc(SIZE_T cb) noexcept { return std::malloc(cb ? cb : 1); }

void CoTaskMemFree(LPVOID pv) noexcept { std::free(pv); }
