#include <pthread.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "automation/random.hpp"
#include "generic/key_stream.hpp"

namespace lumvex::inside {

namespace {

// Asking the system for the bytes of one identifier takes 0.25 us or more, and for those of sixteen 0.4 us. So the
// system is asked for a key, and bytes are taken from its stream.
// (Also std::random_device asks the processor, which took 90 us on a virtual machine.)
struct Pool {
    std::array<std::byte, kStreamPart> bytes;  // of the key's stream
    std::size_t left;                          // so many at the end were not given away yet
    StreamKey key;
    std::uint64_t parts;  // of the key's stream that have been in `bytes`; kParts: the next one is another key's
};
constexpr std::uint64_t kParts = 64;
constinit thread_local Pool pool{{}, 0, {}, kParts};

// Both sides of a fork have the same pool. The forked process has one thread, the one that forked.
void ForgetPool() {
    pool.left = 0;
    pool.parts = kParts;
}

bool ForgetsAtFork() {
    static const bool forgets = ::pthread_atfork(nullptr, nullptr, ForgetPool) == 0;
    return forgets;
}

bool Refill() {
    if (pool.parts == kParts) {
        if (::getentropy(pool.key.data(), sizeof pool.key) != 0) return false;
        pool.parts = 0;
    }
    KeyStream(pool.key, pool.parts++, pool.bytes);
    pool.left = pool.bytes.size();
    return true;
}

std::byte* NextInPool() { return pool.bytes.data() + (pool.bytes.size() - pool.left); }

}  // namespace

bool FillRandom(void* bytes, std::size_t count) noexcept {
    if (!ForgetsAtFork()) return ::getentropy(bytes, count) == 0;
    if (count > pool.bytes.size() || (pool.left < count && !Refill())) return false;
    std::byte* const next = NextInPool();
    std::memcpy(bytes, next, count);
    std::fill_n(next, count, std::byte{0});
    pool.left -= count;
    return true;
}

bool PeekRandom(void* bytes, std::size_t count) noexcept {
    if (pool.left < count) return false;
    std::memcpy(bytes, NextInPool(), count);
    return true;
}

}  // namespace lumvex::inside
