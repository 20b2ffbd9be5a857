// A thread's context has to outlast the thread's own objects and, on the main thread, static ones: objects of clients
// may change documents in their destructors. So C++ does not destroy the context; the destructor of a pthread key does,
// which the system calls after the thread's last object is gone, and never for the main thread. The destructor of
// another key may ask for the context even later: then it is made again, and cleared again.
#include <pthread.h>

#include <atomic>
#include <new>

#include "core/objects/thread_context.hpp"

namespace lumvex::inside {

namespace {

// Every call asks for the context. A plain pointer saves the check whether a thread-local object was made already.
constinit thread_local ThreadContext* known = nullptr;
alignas(ThreadContext) constinit thread_local std::byte room[sizeof(ThreadContext)]{};

constinit std::atomic<bool> keyIsMade{false};

// Deleted when the library is unloaded, as its code cannot be called at the end of a thread from then on. Where the
// system has no key left, or no memory for its value, a thread that ends does not free its queue.
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

unsigned CallDepth() noexcept { return known ? known->depth : 0; }

ThreadContext& Enter() { return EnteredBy(CurrentThread()); }

}  // namespace lumvex::inside
