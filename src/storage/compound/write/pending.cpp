#include "storage/compound/write/pending.hpp"

#include <memory>
#include <new>

namespace lumvex::compound {

PendingChanges::PendingChanges() : memory_(std::size_t{16} * 1024) {}

void PendingChanges::DestroyAll() noexcept {
    while (made_ != 0) std::destroy_at(&At(--made_));
}

Change* PendingChanges::Find(const ChangeName& name) {
    if (Empty()) return nullptr;
    const std::uint32_t number = index_.Find(name.Hash(), [&](std::uint32_t each) { return At(each).Has(name); });
    return number == HashIndex::kNone ? nullptr : &At(number);
}

Change& PendingChanges::Add(const ChangeName& name, EntryId existing) {
    auto text = name.Text().empty() ? nullptr : std::make_unique<std::u16string>(name.Text());
    index_.Reserve(index_.Count() + 1);
    if (made_ == blocks_.size() * kChangesPerBlock) {
        blocks_.reserve(blocks_.size() + 1);
        blocks_.push_back(reinterpret_cast<Change*>(memory_.Take(kChangesPerBlock * sizeof(Change))));
    }
    const std::uint32_t number = made_++;
    Change& change = *new (&At(number)) Change;
    change.isObject = name.IsObject();
    change.first = name.Object().first;
    change.second = name.Object().second;
    change.text = std::move(text);
    change.existing = existing;
    index_.Add(name.Hash(), number);
    return change;
}

void PendingChanges::Erase(Change& change) noexcept {
    const NameText text = change.Name();
    const std::uint32_t hash = ChangeName(text).Hash();
    index_.Remove(hash, index_.Find(hash, [&](std::uint32_t each) { return &At(each) == &change; }));
    change = Change{};
    change.kind = Change::Kind::Erased;
    if (!Empty()) return;
    DestroyAll();
    index_.Clear();
}

std::byte* PendingChanges::TakeSmall(std::uint64_t size) {
    const std::size_t sectors = static_cast<std::size_t>(MiniSectorsFor(size));
    if (sectors == 0) return nullptr;
    if (sectors < returned_.size() && !returned_[sectors].empty()) {
        std::byte* bytes = returned_[sectors].back();
        returned_[sectors].pop_back();
        return bytes;
    }
    return memory_.Take(sectors * kMiniSectorSize);
}

// Where there is no memory to note it, this room is not used again before all changes are dropped.
void PendingChanges::GiveSmall(std::byte* bytes, std::uint64_t size) noexcept {
    const std::size_t sectors = static_cast<std::size_t>(MiniSectorsFor(size));
    if (sectors == 0) return;
    try {
        if (returned_.size() <= sectors) returned_.resize(sectors + 1);
        returned_[sectors].push_back(bytes);
    } catch (const std::bad_alloc&) {
        return;
    }
}

}  // namespace lumvex::compound
