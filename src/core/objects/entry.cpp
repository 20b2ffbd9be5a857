#include "core/objects/entry.hpp"

#include "core/objects/object.hpp"

namespace lumvex::inside {

Entry::Entry(const GUID& objectId, const ClassInfo* objectClass) : id(objectId), classInfo(objectClass) {}

Entry::~Entry() = default;

void Entry::Release() noexcept {
    if (--count_ == 0) delete this;
}

}  // namespace lumvex::inside
