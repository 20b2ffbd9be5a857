// A collection's list of members: references in order, and marks of their names. Until the list changes, it is read
// from the file where it is needed, so that opening a collection takes the same time whatever its size.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "core/tree/name_index.hpp"
#include "generic/function_ref.hpp"
#include "generic/make_room.hpp"

namespace lumvex::inside {

// What Reach() answers, valid until the next call: a member's reference, and the one that is kMembersAhead places
// further. That is null behind the last one, and where it would have to be read.
struct ReachedMember {
    const Reference& reference;
    const Reference* ahead;
};

// A list that is in the file.
class StoredMembers {
public:
    using IsLoaded = FunctionRef<bool(const GUID& member)>;

    explicit StoredMembers(std::size_t count) : count_(count) {}
    virtual ~StoredMembers() = default;
    StoredMembers(const StoredMembers&) = delete;
    StoredMembers& operator=(const StoredMembers&) = delete;

    std::size_t Count() const { return count_; }
    // Counted from 0. Of a list that lacks members, references to these may have an ID that is all zero.
    virtual Reference At(std::size_t index) const = 0;
    virtual References All() const = 0;
    virtual ReachedMember Reach(std::size_t index) = 0;  // At(), of a member that is going to be loaded
    virtual bool LacksMembers() const = 0;               // some went with a file that was closed
    // Has the file marks of the members' names that count? Where that cannot be read this throws, once; the answer is
    // no from then on.
    virtual bool HasMarks() const = 0;
    // Those of the members from `first` on; unknown ones where they cannot be read.
    virtual void ReadMarks(std::size_t first, std::span<NameMark> marks) const = 0;
    // The file is going to be closed, with so many of the members loaded: from now on the list is read from memory. It
    // may lack the others, which go with the file.
    virtual void LeaveFile(std::size_t loaded, IsLoaded isLoaded) = 0;

private:
    std::size_t count_;
};

class Members {
public:
    // Shorter lists have no marks: reading the names is as fast.
    static constexpr std::size_t kMarkedFrom = 32;

    std::size_t Count() const { return stored_ ? stored_->Count() : list_.size(); }
    Reference At(std::size_t index) const { return stored_ ? stored_->At(index) : list_[index]; }
    std::optional<std::size_t> IndexOf(const GUID& id) const;
    References All() const { return stored_ ? stored_->All() : list_; }
    ReachedMember Reach(std::size_t index) {
        if (stored_) return stored_->Reach(index);
        return {list_[index], list_.size() - index > kMembersAhead ? &list_[index + kMembersAhead] : nullptr};
    }
    // Did members that were not loaded go with the file? References to them may have an ID that is all zero.
    bool LackSome() const { return lackSome_ || (stored_ && stored_->LacksMembers()); }

    // After Materialise() and, for Append, MakeRoom() these cannot fail.
    void Append(const Reference& reference, std::u16string_view name);
    void Erase(std::size_t index);
    void EraseLast() { Erase(Count() - 1); }
    void Swap(Members& other) noexcept;  // both in memory; the names are indexed anew

    void Load(std::unique_ptr<StoredMembers> stored);
    void Materialise();  // reads what is still only in the file
    // To be called before LeaveFile(), once for each member that is loaded.
    void CountLoaded() noexcept {
        if (stored_) ++loaded_;
    }
    void LeaveFile(StoredMembers::IsLoaded isLoaded) {
        if (stored_) stored_->LeaveFile(std::exchange(loaded_, 0), isLoaded);
    }
    void MakeRoom();  // for one more

    // ---- marks of names ----
    // Is there any? Throws as StoredMembers::HasMarks does.
    bool HasMarks() const { return !marks_.empty() || (stored_ && stored_->HasMarks()); }
    // One for each member of a list that is in memory, or none at all.
    std::span<const NameMark> Marks() const { return marks_; }
    void SetMark(std::size_t index, NameMark mark);  // in a list that is not short
    // Calls visit(index, isKnown) for the members from `first` on that have the mark, and for those whose mark is not
    // known, in list order, until it answers true. The visit may set the mark of its member.
    template <class Visit>
    void ForMark(NameMark mark, std::size_t first, Visit&& visit);
    // Indexes the members whose marks are known, up to the first whose is not, once it is worth it.
    void ExtendIndex();

    NameIndex names;       // Erase, Swap and Load keep it up to date
    bool renamed = false;  // some of the members, after their marks were set: their entries say which

private:
    bool lackSome_ = false;     // references in list_ lead nowhere
    std::uint32_t loaded_ = 0;  // members, as counted

    // Marks are read and compared in parts, which are short enough for the processor's cache.
    static constexpr std::size_t kPart = 4096, kTogether = 16;
    using Part = std::array<NameMark, kPart>;
    static_assert(kPart % kTogether == 0);

    std::size_t ReadPart(std::size_t first, Part& part) const;

    std::unique_ptr<StoredMembers> stored_;
    References list_;
    std::vector<NameMark> marks_;  // empty: none is known, or they are read from the file
};

// Parts of a part in which no mark fits are passed over at once: a search is bound by how fast marks are read.
template <class Visit>
void Members::ForMark(NameMark mark, std::size_t first, Visit&& visit) {
    Part part;
    for (const std::size_t count = Count(); first < count; first += kPart) {
        const std::size_t inPart = ReadPart(first, part);
        names.Compared(inPart);
        for (std::size_t at = 0; at < inPart; at += kTogether) {
            unsigned fitting = 0;
            for (std::size_t each = at; each < at + kTogether; ++each)
                fitting |= unsigned{part[each] == mark} | unsigned{part[each] == kUnknownMark};
            if (fitting == 0) continue;
            for (std::size_t each = at; each < std::min(at + kTogether, inPart); ++each) {
                const bool isKnown = part[each] != kUnknownMark;
                if ((part[each] == mark || !isKnown) && visit(first + each, isKnown)) return;
            }
        }
    }
}

}  // namespace lumvex::inside
