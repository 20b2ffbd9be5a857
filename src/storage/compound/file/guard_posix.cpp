// The guard on systems with signals: a read that cannot be served raises SIGBUS at its address. A handler maps zeros
// over that page, so that the read succeeds. Signals of other addresses, and those that somebody sends, are passed
// on to the handler that was there before.
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "storage/compound/file/guard_slots.hpp"

namespace lumvex::compound {

namespace {

enum class Stage { Installed, Installing, None };

// The first member is not zero, which puts this among the data that a program touches when it starts. Elsewhere it
// would cost a page fault of its own, which is a tenth of the time of opening a file.
struct Handling {
    std::atomic<Stage> stage = Stage::None;
    struct sigaction previous {};
};
constinit Handling handling;

void OnBusError(int signal, siginfo_t* information, void* context);

bool IsOurs(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == OnBusError;
}

void PassOn(int signal, siginfo_t* information, void* context) noexcept {
    const struct sigaction& previous = handling.previous;
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
        const auto size = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));  // handlers may call this
        const std::uintptr_t page = address & ~(size - 1);
        void* zeros =
            ::mmap(reinterpret_cast<void*>(page), size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
        if (zeros == MAP_FAILED) slot = nullptr;
    }
    if (slot != nullptr)
        slot->failed.store(true, std::memory_order_release);
    else
        PassOn(signal, information, context);
    errno = error;
}

// Where somebody has replaced our handler since, theirs stays.
struct RemovedAtTheEnd {
    ~RemovedAtTheEnd() {
        struct sigaction current {};
        if (::sigaction(SIGBUS, nullptr, &current) == 0 && IsOurs(current))
            ::sigaction(SIGBUS, &handling.previous, nullptr);
    }
} removedAtTheEnd;

}  // namespace

bool GuardIsInPlace() noexcept {
    Stage stage = Stage::None;
    const bool isFirst = handling.stage.compare_exchange_strong(stage, Stage::Installing);
    while (!isFirst && handling.stage == Stage::Installing) std::this_thread::yield();  // another thread is at it
    struct sigaction current {};
    if (!isFirst) return ::sigaction(SIGBUS, nullptr, &current) == 0 && IsOurs(current);
    // The handler before ours has to be known when ours is called for the first time.
    struct sigaction action {};
    action.sa_sigaction = OnBusError;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    ::sigemptyset(&action.sa_mask);
    const bool done =
        ::sigaction(SIGBUS, nullptr, &handling.previous) == 0 && ::sigaction(SIGBUS, &action, nullptr) == 0;
    handling.stage = Stage::Installed;
    return done;
}

}  // namespace lumvex::compound
