// The base of classes whose objects have no place in a tree: counted, guarded and late bound like all others, but
// without ID, parent or record. Such an object outlives its document for as long as a client holds it.
#pragma once

#include <string_view>

#include "automation/counted.hpp"
#include "core/objects/object.hpp"

namespace lumvex::inside {

class PlainObject {
public:
    PlainObject(const PlainObject&) = delete;
    PlainObject& operator=(const PlainObject&) = delete;

    ULONG AddRef() noexcept { return references_.Add(); }
    ULONG Release() noexcept {
        const ULONG left = references_.Remove();
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
    ReferenceCount references_;
};

}  // namespace lumvex::inside
