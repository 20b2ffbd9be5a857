#include "core/objects/entry.hpp"

#include <memory>
#include <unordered_map>
#include <utility>

#include "core/objects/object.hpp"

namespace lumvex::inside {

namespace {

// The second IDs that are not all zero, of all documents; few entries have one. Made with the first and deleted with
// the last: entries may outlive the static objects of this library. Guarded by the module lock.
std::unordered_map<const Entry*, GUID>* seconds = nullptr;

void Forget(const Entry* entry) noexcept {
    seconds->erase(entry);
    if (seconds->empty()) delete std::exchange(seconds, nullptr);
}

}  // namespace

Entry::Entry(const GUID& objectId, const ClassInfo* objectClass) : id(objectId), classInfo(objectClass) {}

Entry::~Entry() {
    if (hasSecond_ != 0) Forget(this);
}

void Entry::Release() noexcept {
    ExpectNeighbours();  // documents let go of all their entries together
    if (--count_ == 0) delete this;
}

GUID Entry::Second() const { return hasSecond_ != 0 ? seconds->at(this) : GUID_NULL; }

void Entry::CarrySecond(const GUID& second) {
    if (!IsEqualGUID(second, GUID_NULL)) {
        auto made = seconds ? nullptr : std::make_unique<std::unordered_map<const Entry*, GUID>>();
        (made ? *made : *seconds)[this] = second;
        if (made) seconds = made.release();
        hasSecond_ = 1;
    } else if (hasSecond_ != 0) {
        Forget(this);
        hasSecond_ = 0;
    }
}

}  // namespace lumvex::inside
