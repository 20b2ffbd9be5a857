#include <pthread.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "automation/random.hpp"

namespace lumvex::inside {

namespace {

// Asking the system for the bytes of one identifier takes 0.25 us or more, and for those of sixteen little longer.
// (Also std::random_device asks the processor, which took 90 us on a virtual machine.)
struct Pool {
    std::byte bytes[256];  // the most that one call of the system gives
    std::size_t left;      // so many at the end were not given away yet
};
constinit thread_local Pool pool{};

// Both sides of a fork have the same pool. The forked process has one thread, the one that forked.
void ForgetPool() { pool.left = 0; }

bool ForgetsAtFork() {
    static const bool forgets = ::pthread_atfork(nullptr, nullptr, ForgetPool) == 0;
    return forgets;
}

}  // namespace

bool FillRandom(void* bytes, std::size_t count) noexcept {
    if (!ForgetsAtFork()) return ::getentropy(bytes, count) == 0;
    if (count > sizeof pool.bytes) return false;
    if (pool.left < count) {
        if (::getentropy(pool.bytes, sizeof pool.bytes) != 0) return false;
        pool.left = sizeof pool.bytes;
    }
    std::byte* const next = pool.bytes + (sizeof pool.bytes - pool.left);
    std::memcpy(bytes, next, count);
    std::fill_n(next, count, std::byte{0});
    pool.left -= count;
    return true;
}

}  // namespace lumvex::inside
