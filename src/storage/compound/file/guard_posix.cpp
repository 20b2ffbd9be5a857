// The guard on systems with signals: a read that cannot be served raises SIGBUS at its address. A handler maps zeros over
// that page, so that the read comes through. Signals of other addresses, and those that somebody sends, are passed on to
// the handler that was there before.
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "storage/compound/file/guard_slots.hpp"

namespace lumvex::compound {

namespace {

struct sigaction previous;
std::uintptr_t pageMask = 0;

void OnBusError(int signal, siginfo_t* information, void* context);

bool IsOurs(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == OnBusError;
}

void PassOn(int signal, siginfo_t* information, void* context) noexcept {
    if ((previous.sa_flags & SA_SIGINFO) != 0) return previous.sa_sigaction(signal, information, context);
    const bool isSent = information->si_code <= 0;
    if (previous.sa_handler == SIG_IGN && isSent) return;
    if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) return previous.sa_handler(signal);
    // What the system does: at the same instruction once more, or as soon as this handler has returned.
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ::sigaction(signal, &standard, nullptr);
    if (isSent) ::raise(signal);
}

void OnBusError(int signal, siginfo_t* information, void* context) {
    const int error = errno;
    const auto address = reinterpret_cast<std::uintptr_t>(information->si_addr);
    GuardedRange::Slot* slot = information->si_code > 0 ? SlotOf(address) : nullptr;
    if (slot != nullptr) {
        const std::uintptr_t page = address & pageMask;
        void* zeros = ::mmap(reinterpret_cast<void*>(page), ~pageMask + 1, PROT_READ,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
        if (zeros == MAP_FAILED) slot = nullptr;
    }
    if (slot != nullptr)
        slot->failed.store(true, std::memory_order_release);
    else
        PassOn(signal, information, context);
    errno = error;
}

// As long as the library is there; a handler that somebody has put in its place since stays.
struct Installed {
    Installed() noexcept {
        pageMask = ~(static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE)) - 1);
        struct sigaction action {};
        action.sa_sigaction = OnBusError;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(SIGBUS, nullptr, &previous);
        ::sigaction(SIGBUS, &action, nullptr);
    }
    ~Installed() {
        struct sigaction current {};
        if (::sigaction(SIGBUS, nullptr, &current) == 0 && IsOurs(current)) ::sigaction(SIGBUS, &previous, nullptr);
    }
};

}  // namespace

bool GuardIsInPlace() noexcept {
    static const Installed installed;
    struct sigaction current {};
    return ::sigaction(SIGBUS, nullptr, &current) == 0 && IsOurs(current);
}

}  // namespace lumvex::compound
