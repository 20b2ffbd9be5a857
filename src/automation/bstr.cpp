// A BSTR's allocation: eight bytes (so that the text is aligned), the last four of them the byte length, then the text
// and a two-byte terminator.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "lumvex/native_automation.hpp"

namespace {

constexpr std::size_t kPrefix = 8;
constexpr UINT kMaxBytes = std::numeric_limits<UINT>::max() - 16;

BSTR Allocate(const void* source, std::size_t sourceBytes, std::size_t bytes) noexcept {
    if (bytes > kMaxBytes) return nullptr;
    // An odd length is rounded up, so that the character it ends in is followed by a whole terminator.
    const std::size_t total = kPrefix + ((bytes + 1) & ~std::size_t{1}) + sizeof(OLECHAR);
    char* const block = static_cast<char*>(std::malloc(total));
    if (!block) return nullptr;
    const UINT length = static_cast<UINT>(bytes);
    std::memset(block, 0, kPrefix);
    std::memcpy(block + kPrefix - sizeof(length), &length, sizeof(length));
    if (sourceBytes) std::memcpy(block + kPrefix, source, sourceBytes);
    std::memset(block + kPrefix + sourceBytes, 0, total - kPrefix - sourceBytes);
    return reinterpret_cast<BSTR>(block + kPrefix);
}

BSTR Allocate(const void* source, std::size_t bytes) noexcept { return Allocate(source, source ? bytes : 0, bytes); }

}  // namespace

BSTR SysAllocString(const OLECHAR* psz) noexcept {
    if (!psz) return nullptr;
    return Allocate(psz, std::char_traits<OLECHAR>::length(psz) * sizeof(OLECHAR));
}

BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) noexcept {
    return Allocate(strIn, std::size_t{ui} * sizeof(OLECHAR));
}

BSTR SysAllocStringByteLen(LPCSTR psz, UINT len) noexcept { return Allocate(psz, len); }

INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz) noexcept {
    if (!pbstr) return 0;
    BSTR fresh = SysAllocString(psz);
    if (!fresh && psz) return 0;
    SysFreeString(*pbstr);
    *pbstr = fresh;
    return 1;
}

INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len) noexcept {
    if (!pbstr) return 0;
    const std::size_t bytes = std::size_t{len} * sizeof(OLECHAR);
    // Without a source the old text stays as far as it fits.
    BSTR fresh =
        psz ? Allocate(psz, bytes) : Allocate(*pbstr, std::min<std::size_t>(SysStringByteLen(*pbstr), bytes), bytes);
    if (!fresh) return 0;
    SysFreeString(*pbstr);
    *pbstr = fresh;
    return 1;
}

void SysFreeString(BSTR bstrString) noexcept {
    if (bstrString) std::free(reinterpret_cast<char*>(bstrString) - kPrefix);
}

UINT SysStringLen(BSTR pbstr) noexcept { return SysStringByteLen(pbstr) / UINT{sizeof(OLECHAR)}; }

UINT SysStringByteLen(BSTR bstr) noexcept {
    if (!bstr) return 0;
    UINT length;
    std::memcpy(&length, reinterpret_cast<const char*>(bstr) - sizeof(length), sizeof(length));
    return length;
}
