// A thread's context has to outlast the thread's own objects and, on the main thread, static ones: a client's may change
// documents in their destructors. So it has no destructor that C++ would run; a key's does it, which the system calls
// when the thread has no object any more, and for the main thread never. A context that is asked for even later, by the
// destructor of another key, starts anew and is cleared again.
#include <pthread.h>

#include <atomic>
#include <new>

#include "core/objects/guard.hpp"
#include "core/objects/thread_context.hpp"

namespace lumvex::inside {

namespace {

// Every call asks for the context: through a pointer that needs no check of whether it has to be destroyed.
constinit thread_local ThreadContext* known = nullptr;
alignas(ThreadContext) constinit thread_local std::byte room[sizeof(ThreadContext)]{};

constinit std::atomic<bool> keyIsMade{false};

// Deleted when the library goes, as nothing of it can be called at the end of a thread from then on. Where there is no
// key, or the system has no memory for its value, a thread that ends keeps the memory of its queue.
class Key {
public:
    Key() noexcept { keyIsMade = ::pthread_key_create(&key_, Clear) == 0; }
    ~Key() {
        if (keyIsMade.exchange(false)) ::pthread_key_delete(key_);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    void ClearAtThreadEnd(ThreadContext& context) const noexcept {
        if (keyIsMade) ::pthread_setspecific(key_, &context);
    }

private:
    static void Clear(void* context) {
        known = nullptr;
        static_cast<ThreadContext*>(context)->~ThreadContext();
    }
    pthread_key_t key_{};
};

[[gnu::noinline]] ThreadContext& MakeKnown() noexcept {
    static const Key key;
    known = new (room) ThreadContext;
    key.ClearAtThreadEnd(*known);
    return *known;
}

}  // namespace

ThreadContext& CurrentThread() { return known ? *known : MakeKnown(); }

ThreadContext& Enter() { return EnteredBy(CurrentThread()); }

}  // namespace lumvex::inside
