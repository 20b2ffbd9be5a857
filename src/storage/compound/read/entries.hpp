// Going through many entries of the directory: their places in memory are looked up once for each page, and entries can
// be prefetched.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "generic/long_vector.hpp"
#include "generic/prefetch.hpp"
#include "storage/compound/base/error.hpp"
#include "storage/compound/base/sort_by_bits.hpp"
#include "storage/compound/format/format.hpp"
#include "storage/compound/format/pages.hpp"

namespace lumvex::compound {

// Corrupt beyond the directory's end.
[[nodiscard]] inline DirectoryEntry EntryAt(Pages& directory, EntryId id) {
    const PerPage perPage = DirectoryEntriesPerPage(directory.Shift());
    return DirectoryEntry(directory.Part(perPage.PageOf(id), kEntrySize * perPage.IndexOf(id), kEntrySize));
}

// The entries by number.
class Entries {
public:
    explicit Entries(Pages& directory) : directory_(directory), perPage_(DirectoryEntriesPerPage(directory.Shift())) {}

    const std::byte* Bytes(EntryId id) {  // Corrupt beyond the directory's end
        const std::uint32_t page = perPage_.PageOf(id);
        if (page >= pages_.size() || !pages_[page]) FindPage(page);
        return pages_[page] + kEntrySize * perPage_.IndexOf(id);
    }
    DirectoryEntry At(EntryId id) { return DirectoryEntry(Bytes(id)); }
    void PrefetchEntry(EntryId id) { Prefetch(Bytes(id), kEntrySize); }
    void PagesMoved() noexcept { pages_.clear(); }

private:
    void FindPage(std::uint32_t page) {
        const std::byte* bytes = directory_.Page(page);
        pages_.resize(std::max<std::size_t>(pages_.size(), page + std::size_t{1}));
        pages_[page] = bytes;
    }

    Pages& directory_;
    PerPage perPage_;
    std::vector<const std::byte*> pages_;  // where the directory's pages are; null where one was not needed yet
};

// Calls visit(id, entry) for each of the directory's first `count` entries, unallocated ones included, in its order.
template <class Visit>
void ForEachEntry(Pages& directory, std::uint32_t count, Visit&& visit) {
    const std::uint32_t perPage = DirectoryEntriesPerPage(directory.Shift()).Count();
    for (EntryId first = 0; first < count; first += perPage) {
        const std::byte* const page = directory.Page(first / perPage);
        const std::uint32_t inPage = std::min(perPage, count - first);
        for (std::uint32_t i = 0; i < inPage; ++i) visit(first + i, DirectoryEntry(page + kEntrySize * i));
    }
}

// Visits the entries of a sibling tree in its order, without recursion. at(id) answers an entry or what else has its
// links. Corrupt where the tree reaches more than limit entries, as a cycle would.
template <class At, class Visit>
void VisitInOrder(At&& at, EntryId top, std::uint32_t limit, Visit&& visit) {
    using Entry = decltype(at(top));
    struct Step {
        EntryId id;
        Entry entry;
    };
    std::vector<Step> above;
    std::uint32_t reached = 0;
    for (EntryId id = top; id != kNoEntry || !above.empty();) {
        while (id != kNoEntry) {
            if (++reached > limit) throw Corrupt("a directory tree reaches more than ", limit, " entries");
            above.push_back({id, at(id)});
            id = above.back().entry.Left();
        }
        const EntryId last = above.back().id;  // one by one: a copy of both would wait for what was just written
        const Entry entry = above.back().entry;
        above.pop_back();
        id = entry.Right();
        visit(last, entry);
    }
}

constexpr std::size_t kEntriesAhead = 16;  // entries are prefetched so many steps before they are read

// Visits all entries of a tree, folders included, level by level: entries of one level can be prefetched, while a walk
// in the tree's order would wait for each of them. Corrupt where the tree reaches more than limit entries, as a cycle
// would.
template <class Visit>
void VisitLevelByLevel(Entries& entries, EntryId top, std::uint32_t limit, Visit&& visit) {
    std::vector<EntryId> reached;
    const auto reach = [&](EntryId id) {
        if (id == kNoEntry) return;
        if (reached.size() == limit) throw Corrupt("a directory tree reaches more than ", limit, " entries");
        reached.push_back(id);
    };
    reach(top);
    for (std::size_t i = 0; i < reached.size(); ++i) {
        if (i + kEntriesAhead < reached.size()) entries.PrefetchEntry(reached[i + kEntriesAhead]);
        const EntryId id = reached[i];
        const DirectoryEntry entry = entries.At(id);
        reach(entry.Left());
        reach(entry.Right());
        visit(id, entry);
    }
}

// Streams, each as one number, its first sector above its entry: ordered by these numbers they are in file order.
class FileOrder {
public:
    void Reserve(std::size_t count) { all_.reserve(count); }
    void Add(SectorId start, EntryId id) { all_.push_back(std::uint64_t{start} << 32 | id); }
    template <class Test>
    void Keep(const Test& isKept) {
        std::erase_if(all_, [&](std::uint64_t each) { return !isKept(static_cast<EntryId>(each)); });
    }
    void Sort() {
        SortByBits(all_, 32, [](std::uint64_t each) { return each; });
    }
    void Append(const FileOrder& others) { all_.insert(all_.end(), others.all_.begin(), others.all_.end()); }
    std::size_t Count() const { return all_.size(); }
    EntryId operator[](std::size_t place) const { return static_cast<EntryId>(all_[place]); }

private:
    LongVector<std::uint64_t> all_;
};

}  // namespace lumvex::compound
