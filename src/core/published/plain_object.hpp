// The base of classes whose objects have no place in a tree: counted, guarded and late bound like all others, but without
// ID, parent or record. Such an object outlives its document for as long as a client holds it.
#pragma once

#include <atomic>

#include "core/objects/object.hpp"

namespace lumvex::inside {

class PlainObject {
public:
    PlainObject(const PlainObject&) = delete;
    PlainObject& operator=(const PlainObject&) = delete;

    ULONG AddRef() noexcept { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Release() noexcept {
        const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }

    virtual IDispatch* Dispatch() noexcept = 0;  // the object's identity outside; no reference added

    static constexpr std::u16string_view kErrorSource{};

protected:
    PlainObject() = default;
    virtual ~PlainObject() = default;

private:
    LiveObject alive_;
    std::atomic<ULONG> count_{0};
};

}  // namespace lumvex::inside
