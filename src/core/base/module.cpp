#include "core/base/module.hpp"

#include <atomic>
#include <cstdint>

#include "lumvex/host.hpp"

namespace lumvex::inside {

namespace {
std::atomic<std::uint32_t> liveObjects{0};
}

std::size_t LiveObjects() noexcept { return liveObjects.load(std::memory_order_relaxed); }

void LockModule() noexcept { liveObjects.fetch_add(1, std::memory_order_relaxed); }

void UnlockModule() noexcept { liveObjects.fetch_sub(1, std::memory_order_relaxed); }

}  // namespace lumvex::inside

namespace lumvex {

SeveralCalls::SeveralCalls() { inside::ModuleLock().lock(); }
SeveralCalls::~SeveralCalls() { inside::ModuleLock().unlock(); }

}  // namespace lumvex
