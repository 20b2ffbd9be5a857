// What was written and removed since the last commit. Large content is in the file already, in sectors that the
// committed state does not use; small content is kept here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "generic/growing_memory.hpp"
#include "generic/hash_index.hpp"
#include "storage/compound/write/carried.hpp"
#include "storage/compound/write/change.hpp"

namespace lumvex::compound {

class PendingChanges {
public:
    PendingChanges();
    bool Empty() const { return index_.Empty(); }
    std::size_t Count() const { return index_.Count(); }

    Change* Find(const ChangeName& name);
    // The name must not be here yet. The change keeps its address until it is erased.
    Change& Add(const ChangeName& name, EntryId existing);
    void Erase(Change& change) noexcept;  // whoever calls has given back its content

    // In the order in which they came.
    template <class Visit>
    void ForEach(Visit visit) {
        for (auto& block : blocks_)
            for (Change& change : block)
                if (change.kind != Change::Kind::Erased) visit(change);
    }

    // These and the streams inside of carried folders.
    template <class Visit>
    void ForEachContent(Visit visit) {
        ForEach(visit);
        if (carried_ == nullptr) return;
        for (CarriedMember& member : carried_->members)
            if (!member.IsFolder()) visit(member.content);
    }

    void Carry(std::unique_ptr<CarriedTree> tree) noexcept { carried_ = std::move(tree); }
    const CarriedTree* Carried() const { return carried_.get(); }

    std::byte* TakeSmall(std::uint64_t size);  // room for so many bytes, rounded up to whole mini sectors
    void GiveSmall(std::byte* bytes, std::uint64_t size) noexcept;

private:
    Change& At(std::uint32_t number) { return blocks_[number / kChangesPerBlock][number % kChangesPerBlock]; }

    static constexpr std::uint32_t kChangesPerBlock = 256;
    std::vector<std::vector<Change>> blocks_;  // blocks do not grow; an erased change stays, as Kind::Erased
    HashIndex index_;                          // by name: changes counted through all blocks

    GrowingMemory smallContent_;
    std::vector<std::vector<std::byte*>> returned_;  // by size in mini sectors
    std::unique_ptr<CarriedTree> carried_;
};

}  // namespace lumvex::compound
