// A collection's list of members: references in order. Until the list changes, it is read from the file one reference
// at a time, so that opening a collection takes the same time whatever its size.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/tree/name_index.hpp"
#include "generic/make_room.hpp"

namespace lumvex::inside {

// A list that is in the file.
class StoredMembers {
public:
    virtual ~StoredMembers() = default;
    virtual std::size_t Count() const = 0;
    virtual Reference At(std::size_t index) const = 0;  // counted from 0
    virtual std::vector<Reference> All() const = 0;
};

class Members {
public:
    std::size_t Count() const { return stored_ ? stored_->Count() : list_.size(); }
    Reference At(std::size_t index) const { return stored_ ? stored_->At(index) : list_[index]; }
    std::optional<std::size_t> IndexOf(const GUID& id) const;
    std::vector<Reference> All() const { return stored_ ? stored_->All() : list_; }

    // After Materialise() and, for Append, MakeRoom() these cannot fail.
    void Append(const Reference& reference);
    void Erase(std::size_t index);
    void EraseLast() { Erase(Count() - 1); }
    void Swap(Members& other) noexcept;  // both in memory; the names are indexed anew

    void Load(std::unique_ptr<StoredMembers> stored);
    void Materialise();  // reads what is still only in the file
    void MakeRoom();     // for one more

    NameIndex names;  // of members that a search has passed; Erase, Swap and Load keep it up to date

private:
    std::unique_ptr<StoredMembers> stored_;
    std::vector<Reference> list_;
};

}  // namespace lumvex::inside
