// Safe arrays. The type of the elements is in a prefix before the descriptor that clients see.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <span>

#include "automation/element.hpp"
#include "lumvex/values.hpp"

using lumvex::inside::SizeOfElement;

namespace {

struct alignas(16) Prefix {
    VARTYPE type;
};

// A counter in a structure that clients see as a plain number. std::atomic_ref would do, but not every standard library
// has it; the functions of the compilers are on all systems whose safe arrays are ours.
class SharedCount {
public:
    explicit SharedCount(ULONG& count) noexcept : count_(count) {}

    ULONG Add() const noexcept { return __atomic_add_fetch(&count_, 1u, __ATOMIC_SEQ_CST); }
    // False, and nothing taken, where the count is 0.
    bool Take() const noexcept {
        ULONG count = __atomic_load_n(&count_, __ATOMIC_SEQ_CST);
        while (count != 0)
            if (__atomic_compare_exchange_n(&count_, &count, count - 1, true, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST))
                return true;
        return false;
    }

private:
    ULONG& count_;
};

Prefix& PrefixOf(SAFEARRAY* array) noexcept { return reinterpret_cast<Prefix*>(array)[-1]; }
VARTYPE TypeOf(SAFEARRAY* array) noexcept { return PrefixOf(array).type; }

USHORT FeaturesOf(VARTYPE type) noexcept {
    switch (type) {
        case VT_BSTR:
            return FADF_BSTR;
        case VT_UNKNOWN:
            return FADF_UNKNOWN;
        case VT_DISPATCH:
            return FADF_DISPATCH;
        case VT_VARIANT:
            return FADF_VARIANT;
        default:
            return FADF_HAVEVARTYPE;
    }
}

bool OwnsElements(SAFEARRAY* array) noexcept {
    return (array->fFeatures & (FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT)) != 0;
}

std::size_t CountOf(SAFEARRAY* array) noexcept {
    std::size_t count = 1;
    for (UINT i = 0; i < array->cDims; ++i) count *= array->rgsabound[i].cElements;
    return count;
}

const SAFEARRAYBOUND& BoundOf(SAFEARRAY* array, UINT dimension) noexcept {
    return array->rgsabound[array->cDims - dimension];
}

// The elements follow the descriptor in one block of memory. Those of a long array begin at a page: reading a file into
// memory that begins a few bytes behind a page's beginning takes longer, on some processors twice as long.
constexpr std::size_t kLong = std::size_t{64} * 1024, kPage = 4096;

constexpr std::size_t RoundedUp(std::size_t size, std::size_t to) { return (size + to - 1) / to * to; }

enum class Elements { Cleared, NotSet };

// Memory for the descriptor and so many bytes of elements behind it, and where these begin. Long elements may come
// cleared from the system.
struct Block {
    char* memory;
    char* data;
};
[[gnu::noinline]] Block TakeLong(std::size_t descriptor, std::size_t size, Elements elements) noexcept {
    const std::size_t whole = descriptor + size + kPage;
    char* const memory = static_cast<char*>(elements == Elements::Cleared ? std::calloc(1, whole) : std::malloc(whole));
    if (!memory) return {};
    char* const data = memory + descriptor;
    return {memory, data + (kPage - reinterpret_cast<std::uintptr_t>(data) % kPage)};
}
// Short ones are cleared here, apart from the descriptor: malloc() has blocks at hand, which calloc() of the usual
// library leaves alone, and compilers would make one calloc() of a malloc() whose whole block is cleared.
Block TakeShort(std::size_t descriptor, std::size_t size, Elements elements) noexcept {
    char* const memory = static_cast<char*>(std::malloc(descriptor + size));
    if (!memory) return {};
    if (elements == Elements::Cleared) std::memset(memory + descriptor, 0, size);
    return {memory, memory + descriptor};
}

// An array with these bounds, in any order; the caller copies them to the descriptor. Null when it cannot be made.
template <Elements kElements = Elements::Cleared>
SAFEARRAY* Allocate(VARTYPE type, std::span<const SAFEARRAYBOUND> bounds) noexcept {
    constexpr std::uint64_t kMaxBytes = std::numeric_limits<ULONG>::max();
    const ULONG elementSize = SizeOfElement(type);
    if (elementSize == 0) return nullptr;
    std::uint64_t bytes = elementSize;
    bool none = false;
    for (const SAFEARRAYBOUND& bound : bounds) {
        const std::int64_t last = std::int64_t{bound.lLbound} + bound.cElements - 1;
        if (last < std::numeric_limits<LONG>::min() || last > std::numeric_limits<LONG>::max()) return nullptr;
        if (bound.cElements == 0)
            none = true;
        else if ((bytes *= bound.cElements) > kMaxBytes)
            return nullptr;
    }
    if (none) bytes = 1;  // no elements, but an address all the same

    const auto size = static_cast<std::size_t>(bytes);
    const std::size_t descriptor = RoundedUp(sizeof(Prefix) + sizeof(SAFEARRAY) + bounds.size_bytes(), alignof(Prefix));
    const Block block = size < kLong ? TakeShort(descriptor, size, kElements) : TakeLong(descriptor, size, kElements);
    if (!block.memory) return nullptr;
    new (block.memory) Prefix{type};
    return new (block.memory + sizeof(Prefix))
        SAFEARRAY{static_cast<USHORT>(bounds.size()), FeaturesOf(type), elementSize, 0, block.data, {}};
}

// Makes *to, which holds nothing that is owned, a copy of the element.
HRESULT CopyElement(SAFEARRAY* array, void* to, void* from) noexcept {
    if (array->fFeatures & FADF_BSTR) {
        BSTR const text = *static_cast<BSTR*>(from);
        BSTR const copy =
            text ? SysAllocStringByteLen(reinterpret_cast<LPCSTR>(text), SysStringByteLen(text)) : nullptr;
        if (text && !copy) return E_OUTOFMEMORY;
        *static_cast<BSTR*>(to) = copy;
    } else if (array->fFeatures & FADF_VARIANT) {
        // A reference would outlive what it refers to.
        VariantInit(static_cast<VARIANT*>(to));
        return VariantCopyInd(static_cast<VARIANT*>(to), static_cast<VARIANT*>(from));
    } else {
        std::memcpy(to, from, array->cbElements);
        if (array->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH))
            if (IUnknown* const object = *static_cast<IUnknown**>(to)) object->AddRef();
    }
    return S_OK;
}

void ClearElement(SAFEARRAY* array, void* element) noexcept {
    if (array->fFeatures & FADF_BSTR) {
        SysFreeString(*static_cast<BSTR*>(element));
    } else if (array->fFeatures & FADF_VARIANT) {
        VariantClear(static_cast<VARIANT*>(element));
    } else if (array->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
        if (IUnknown* const object = *static_cast<IUnknown**>(element)) object->Release();
    }
}

[[gnu::noinline]] void ClearElements(SAFEARRAY* array) noexcept {
    char* const data = static_cast<char*>(array->pvData);
    const std::size_t count = CountOf(array);
    for (std::size_t i = 0; i < count; ++i) ClearElement(array, data + i * array->cbElements);
}

void Free(SAFEARRAY* array) noexcept {
    if (OwnsElements(array)) ClearElements(array);
    std::free(&PrefixOf(array));
}

template <Elements kElements>
SAFEARRAY* Create(VARTYPE type, UINT dimensions, const SAFEARRAYBOUND* bounds) noexcept {
    if (!bounds || dimensions == 0 || dimensions > std::numeric_limits<USHORT>::max()) return nullptr;
    SAFEARRAY* const array = Allocate<kElements>(type, {bounds, dimensions});
    if (array) std::reverse_copy(bounds, bounds + dimensions, array->rgsabound);
    return array;
}

}  // namespace

SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound) noexcept {
    return Create<Elements::Cleared>(vt, cDims, rgsabound);
}

SAFEARRAY* lumvex::CreateArrayToFill(VARTYPE type, UINT dimensions, SAFEARRAYBOUND* bounds) noexcept {
    return Create<Elements::NotSet>(type, dimensions, bounds);
}

SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements) noexcept {
    const SAFEARRAYBOUND bound{cElements, lLbound};
    SAFEARRAY* const array = Create<Elements::Cleared>(vt, 1, &bound);
    if (array) array->fFeatures |= FADF_CREATEVECTOR;
    return array;
}

HRESULT SafeArrayDestroy(SAFEARRAY* psa) noexcept {
    if (!psa) return S_OK;
    if (psa->cLocks != 0) return DISP_E_ARRAYISLOCKED;
    Free(psa);
    return S_OK;
}

HRESULT SafeArrayCopy(SAFEARRAY* psa, SAFEARRAY** ppsaOut) noexcept {
    if (!ppsaOut) return E_INVALIDARG;
    *ppsaOut = nullptr;
    if (!psa) return S_OK;
    SAFEARRAY* const copy = Allocate(TypeOf(psa), {psa->rgsabound, psa->cDims});
    if (!copy) return E_OUTOFMEMORY;
    std::copy_n(psa->rgsabound, psa->cDims, copy->rgsabound);
    copy->fFeatures = psa->fFeatures;
    const std::size_t count = CountOf(psa);
    char* const from = static_cast<char*>(psa->pvData);
    char* const to = static_cast<char*>(copy->pvData);
    if (!OwnsElements(psa)) {
        std::memcpy(to, from, count * psa->cbElements);
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t offset = i * psa->cbElements;
            if (const HRESULT status = CopyElement(psa, to + offset, from + offset); FAILED(status)) {
                Free(copy);
                return status;
            }
        }
    }
    *ppsaOut = copy;
    return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY* psa) noexcept { return psa ? psa->cDims : 0; }

UINT SafeArrayGetElemsize(SAFEARRAY* psa) noexcept { return psa ? psa->cbElements : 0; }

HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT nDim, LONG* plLbound) noexcept {
    if (!psa || !plLbound) return E_INVALIDARG;
    if (nDim == 0 || nDim > psa->cDims) return DISP_E_BADINDEX;
    *plLbound = BoundOf(psa, nDim).lLbound;
    return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT nDim, LONG* plUbound) noexcept {
    if (!psa || !plUbound) return E_INVALIDARG;
    if (nDim == 0 || nDim > psa->cDims) return DISP_E_BADINDEX;
    const SAFEARRAYBOUND& bound = BoundOf(psa, nDim);
    *plUbound = static_cast<LONG>(std::int64_t{bound.lLbound} + bound.cElements - 1);
    return S_OK;
}

HRESULT SafeArrayGetVartype(SAFEARRAY* psa, VARTYPE* pvt) noexcept {
    if (!psa || !pvt) return E_INVALIDARG;
    *pvt = TypeOf(psa);
    return S_OK;
}

HRESULT SafeArrayPtrOfIndex(SAFEARRAY* psa, LONG* rgIndices, void** ppvData) noexcept {
    if (!psa || !rgIndices || !ppvData) return E_INVALIDARG;
    std::size_t cell = 0;
    for (UINT dimension = psa->cDims; dimension > 0; --dimension) {  // Horner's rule, the slowest dimension first
        const SAFEARRAYBOUND& bound = BoundOf(psa, dimension);
        const std::int64_t offset = std::int64_t{rgIndices[dimension - 1]} - bound.lLbound;
        if (offset < 0 || offset >= bound.cElements) return DISP_E_BADINDEX;
        cell = cell * bound.cElements + static_cast<std::size_t>(offset);
    }
    *ppvData = static_cast<char*>(psa->pvData) + cell * psa->cbElements;
    return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY* psa, LONG* rgIndices, void* pv) noexcept {
    if (!pv) return E_INVALIDARG;
    void* element = nullptr;
    const HRESULT status = SafeArrayPtrOfIndex(psa, rgIndices, &element);
    return FAILED(status) ? status : CopyElement(psa, pv, element);
}

HRESULT SafeArrayPutElement(SAFEARRAY* psa, LONG* rgIndices, void* pv) noexcept {
    void* element = nullptr;
    if (const HRESULT status = SafeArrayPtrOfIndex(psa, rgIndices, &element); FAILED(status)) return status;
    const bool byPointer = (psa->fFeatures & (FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH)) != 0;
    if (!pv && !byPointer) return E_INVALIDARG;

    // The copy is made before the old element goes: the caller may pass an array its own element.
    alignas(VARIANT) unsigned char copy[sizeof(VARIANT)];
    if (const HRESULT status = CopyElement(psa, copy, byPointer ? static_cast<void*>(&pv) : pv); FAILED(status))
        return status;
    alignas(VARIANT) unsigned char old[sizeof(VARIANT)];
    std::memcpy(old, element, psa->cbElements);
    std::memcpy(element, copy, psa->cbElements);
    ClearElement(psa, old);
    return S_OK;
}

HRESULT SafeArrayLock(SAFEARRAY* psa) noexcept {
    if (!psa) return E_INVALIDARG;
    const SharedCount locks(psa->cLocks);
    if (locks.Add() > std::numeric_limits<USHORT>::max()) {
        locks.Take();
        return E_UNEXPECTED;
    }
    return S_OK;
}

HRESULT SafeArrayUnlock(SAFEARRAY* psa) noexcept {
    if (!psa) return E_INVALIDARG;
    return SharedCount(psa->cLocks).Take() ? S_OK : E_UNEXPECTED;
}

HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** ppvData) noexcept {
    if (!psa || !ppvData) return E_INVALIDARG;
    *ppvData = nullptr;
    const HRESULT status = SafeArrayLock(psa);
    if (SUCCEEDED(status)) *ppvData = psa->pvData;
    return status;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY* psa) noexcept { return SafeArrayUnlock(psa); }
