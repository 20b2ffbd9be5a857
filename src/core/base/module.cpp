#include "core/base/module.hpp"

#include <atomic>
#include <cstdint>

namespace lumvex::inside {

namespace {
std::atomic<std::uint32_t> liveObjects{0}, liveInCalls{0};

// An atomic addition would wait until all that the processor has to write is in its cache.
void AddInCall(std::uint32_t number) noexcept {
    liveInCalls.store(liveInCalls.load(std::memory_order_relaxed) + number, std::memory_order_relaxed);
}
}  // namespace

std::size_t LiveObjects() noexcept {
    return liveObjects.load(std::memory_order_relaxed) + liveInCalls.load(std::memory_order_relaxed);
}

void LockModule() noexcept { liveObjects.fetch_add(1, std::memory_order_relaxed); }

void UnlockModule() noexcept { liveObjects.fetch_sub(1, std::memory_order_relaxed); }

void LockModuleInCall() noexcept { AddInCall(1); }

void UnlockModuleInCall() noexcept { AddInCall(~std::uint32_t{0}); }

}  // namespace lumvex::inside
