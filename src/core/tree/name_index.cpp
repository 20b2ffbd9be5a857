#include "core/tree/name_index.hpp"

#include <new>

namespace lumvex::inside {

void NameIndex::Add(const Reference& member, NameMark mark) {
    if (!tables_) tables_ = std::make_unique<Tables>();
    const Place place{mark, tables_->nextRank};
    // A broken file may list a member twice: the first counts.
    try {
        if (tables_->places.emplace(member.id, place).second) tables_->byName.emplace(place, member);
    } catch (const std::bad_alloc&) {
        Clear();  // both tables have to agree; the next search fills them again
        throw;
    }
    ++tables_->nextRank;
    ++tables_->covered;
}

void NameIndex::Rename(const GUID& member, NameMark mark) noexcept {
    if (!tables_) return;
    const auto found = tables_->places.find(member);
    if (found == tables_->places.end()) return;
    const Place renamed{mark, found->second.second};
    if (renamed == found->second) return;
    auto node = tables_->byName.extract(found->second);
    node.key() = renamed;
    tables_->byName.insert(std::move(node));
    found->second = renamed;
}

void NameIndex::Erase(const GUID& member, std::size_t index) {
    if (index >= Covered()) return;
    --tables_->covered;
    const auto found = tables_->places.find(member);
    if (found == tables_->places.end()) return;
    tables_->byName.erase(found->second);
    tables_->places.erase(found);
}

void NameIndex::Clear() noexcept {
    tables_.reset();
    compared_ = 0;
}

}  // namespace lumvex::inside
