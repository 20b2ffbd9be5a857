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
    ~PendingChanges() { DestroyAll(); }
    PendingChanges(const PendingChanges&) = delete;
    PendingChanges& operator=(const PendingChanges&) = delete;

    bool Empty() const { return index_.Empty(); }
    std::size_t Count() const { return index_.Count(); }

    void Reserve(std::size_t more) { index_.Reserve(index_.Count() + more); }  // throws std::bad_alloc
    [[gnu::always_inline]] inline void Expect(const ChangeName& name) const { index_.Expect(name.Hash()); }  // a Find
    Change* Find(const ChangeName& name);
    // The name must not be here yet. The change keeps its address until it is erased.
    Change& Add(const ChangeName& name, EntryId existing);
    void Erase(Change& change) noexcept;  // whoever calls has given back its content

    // In the order in which they came.
    template <class Visit>
    void ForEach(Visit visit) {
        for (std::uint32_t number = 0; number < made_; ++number)
            if (Change& change = At(number); change.kind != Change::Kind::Erased) visit(change);
    }
    // All changes that are here have numbers below this, and so may some that were erased.
    std::uint32_t NumberEnd() const { return made_; }
    Change& At(std::uint32_t number) { return blocks_[number / kChangesPerBlock][number % kChangesPerBlock]; }

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
    void DestroyAll() noexcept;

    static constexpr std::uint32_t kChangesPerBlock = 512;
    GrowingMemory memory_;         // of the blocks, and of small content
    std::vector<Change*> blocks_;  // room for kChangesPerBlock each
    std::uint32_t made_ = 0;       // an erased change stays, as Kind::Erased, until all are erased
    HashIndex index_;              // by name: changes counted through all blocks

    std::vector<std::vector<std::byte*>> returned_;  // by size in mini sectors
    std::unique_ptr<CarriedTree> carried_;
};

}  // namespace lumvex::compound
