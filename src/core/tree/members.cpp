#include "core/tree/members.hpp"

#include <cassert>

namespace lumvex::inside {

std::optional<std::size_t> Members::IndexOf(const GUID& id) const {
    const std::size_t count = Count();
    for (std::size_t index = 0; index < count; ++index)
        if (IsEqualGUID(At(index).id, id)) return index;
    return std::nullopt;
}

void Members::Append(const Reference& reference) {
    Materialise();
    list_.push_back(reference);
}

void Members::Erase(std::size_t index) {
    Materialise();
    names.Erase(list_[index].id, index);
    list_.erase(list_.begin() + static_cast<std::ptrdiff_t>(index));
}

void Members::Swap(Members& other) noexcept {
    assert(!stored_ && !other.stored_);
    list_.swap(other.list_);
    names.Clear();
    other.names.Clear();
}

void Members::MakeRoom() {
    Materialise();
    lumvex::MakeRoom(list_, 1);
}

void Members::Load(std::unique_ptr<StoredMembers> stored) {
    list_.clear();
    names.Clear();
    stored_ = std::move(stored);
}

void Members::Materialise() {
    if (!stored_) return;
    list_ = stored_->All();
    stored_.reset();
}

}  // namespace lumvex::inside
