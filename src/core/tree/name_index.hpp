// Finds members of a long collection by the marks of their names. The index covers the list from its first member up to
// some place; the marks of members beyond it are compared one by one.
#pragma once

#include <map>
#include <memory>
#include <unordered_map>

#include "core/base/guid_order.hpp"
#include "core/objects/entry.hpp"
#include "core/tree/name_mark.hpp"

namespace lumvex::inside {

class NameIndex {
public:
    // Making the index takes as long as comparing so many marks for each member: until searches have compared as many,
    // they cost less without it.
    void Compared(std::size_t marks) { compared_ += marks; }
    bool IsWorthIt(std::size_t members) const { return Covered() != 0 || compared_ / kWorth >= members; }

    std::size_t Covered() const { return tables_ ? tables_->covered : 0; }  // members, from the first on
    // The first that is not covered. Throws std::bad_alloc and covers nothing then.
    void Add(const Reference& member, NameMark mark);
    void Rename(const GUID& member, NameMark mark) noexcept;  // nothing for one that is not covered
    void Erase(const GUID& member, std::size_t index);        // its place in the list, from 0
    void Clear() noexcept;

    // Calls visit(reference) for the members that have the mark, in list order, until it answers true.
    template <class Visit>
    void ForMark(NameMark mark, Visit&& visit) const {
        if (!tables_) return;
        const auto& byName = tables_->byName;
        for (auto at = byName.lower_bound({mark, 0}); at != byName.end() && at->first.first == mark; ++at)
            if (visit(at->second)) return;
    }

private:
    static constexpr std::size_t kWorth = 1024;

    using Place = std::pair<NameMark, std::uint64_t>;  // mark of the name, rank in the list

    struct Tables {
        std::map<Place, Reference> byName;
        std::unordered_map<GUID, Place, GuidHash> places;
        std::size_t covered = 0;
        std::uint64_t nextRank = 0;  // ranks rise along the list and outlive removals
    };

    std::unique_ptr<Tables> tables_;  // null: nothing is covered, as in most lists
    std::size_t compared_ = 0;
};

}  // namespace lumvex::inside
