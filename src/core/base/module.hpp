// What there is once in the module that the model is part of: the lock that serialises all calls, and the count of what
// keeps the module from being unloaded.
#pragma once

#include <cstddef>
#include <mutex>

namespace lumvex::inside {

// Every published call holds it. A call may lead to others on the same thread, which do not lock it again: the thread's
// context knows that it is inside.
inline std::mutex& ModuleLock() {
    static std::mutex lock;
    return lock;
}

// Objects alive in the module, and locks that clients have put on it.
std::size_t LiveObjects() noexcept;
void LockModule() noexcept;
void UnlockModule() noexcept;

// The same for whoever holds the lock that serialises all calls, as a count of its own: no other thread changes it.
void LockModuleInCall() noexcept;
void UnlockModuleInCall() noexcept;

// Part of every object that a client can hold: counts it among those alive.
class LiveObject {
public:
    LiveObject() noexcept { LockModule(); }
    ~LiveObject() { UnlockModule(); }
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;
};

}  // namespace lumvex::inside
