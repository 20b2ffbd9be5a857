// The guard on Windows, where reading a mapped page that cannot be read raises an in-page error. A single page of a
// mapping cannot be replaced. So the handler replaces the whole mapping by reserved memory, and from then on gives each
// page that is read as zeros. Errors at other addresses are passed on.
#include <windows.h>

#include "storage/compound/file/guard_slots.hpp"

namespace lumvex::compound {

namespace {

constexpr std::uintptr_t kPageSize = 4096;

bool GiveZeros(GuardedRange::Slot& slot, std::uintptr_t address) noexcept {
    void* const begin = reinterpret_cast<void*>(slot.begin.load());
    if (!slot.failed.exchange(true)) {
        const std::size_t size = slot.end.load() - slot.begin.load();
        ::UnmapViewOfFile(begin);
        if (::VirtualAlloc(begin, size, MEM_RESERVE, PAGE_READONLY) != begin) return false;
    }
    void* const page = reinterpret_cast<void*>(address & ~(kPageSize - 1));
    return ::VirtualAlloc(page, kPageSize, MEM_COMMIT, PAGE_READONLY) != nullptr;
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    const bool isInPage = record.ExceptionCode == static_cast<DWORD>(EXCEPTION_IN_PAGE_ERROR);
    if (!isInPage && record.ExceptionCode != static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION))
        return EXCEPTION_CONTINUE_SEARCH;
    if (record.NumberParameters < 2 || record.ExceptionInformation[0] != 0)
        return EXCEPTION_CONTINUE_SEARCH;  // no read
    const auto address = static_cast<std::uintptr_t>(record.ExceptionInformation[1]);
    GuardedRange::Slot* slot = SlotOf(address);
    if (slot == nullptr || (!isInPage && !slot->failed)) return EXCEPTION_CONTINUE_SEARCH;
    return GiveZeros(*slot, address) ? EXCEPTION_CONTINUE_EXECUTION : EXCEPTION_CONTINUE_SEARCH;
}

struct Installed {
    void* handler = ::AddVectoredExceptionHandler(1, OnException);
    ~Installed() {
        if (handler != nullptr) ::RemoveVectoredExceptionHandler(handler);
    }
};

}  // namespace

bool GuardIsInPlace() noexcept {
    static const Installed installed;
    return installed.handler != nullptr;
}

}  // namespace lumvex::compound
