// A collection's list of members: references in order. A stored list is read entry by entry where it stands until it is
// changed, so that a collection of any size opens at once.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/base/make_room.hpp"
#include "core/tree/name_index.hpp"

namespace lumvex::inside {

// A list as it stands in the file.
class StoredMembers {
public:
    virtual ~StoredMembers() = default;
    virtual std::size_t Count() const = 0;
    virtual Reference At(std::size_t index) const = 0;  // counted from 0
};

class Members {
public:
    std::size_t Count() const { return stored_ ? stored_->Count() : list_.size(); }
    Reference At(std::size_t index) const { return stored_ ? stored_->At(index) : list_[index]; }
    std::optional<std::size_t> IndexOf(const GUID& id) const;

    // After Materialise() and, for Append, MakeRoom() these cannot fail.
    void Append(const Reference& reference);
    void Erase(std::size_t index);
    void EraseLast() { Erase(Count() - 1); }
    void Swap(Members& other) noexcept;  // both in memory; the names are indexed anew

    void Load(std::unique_ptr<StoredMembers> stored);
    void Materialise();  // reads what is still only in the file
    void MakeRoom();     // for one more

    NameIndex names;  // of members that were searched; removals and loads keep it in step

private:
    std::unique_ptr<StoredMembers> stored_;
    std::vector<Reference> list_;
};

}  // namespace lumvex::inside
