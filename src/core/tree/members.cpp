#include "core/tree/members.hpp"

#include <algorithm>
#include <cassert>

#include "core/base/failure.hpp"

namespace lumvex::inside {

namespace {

// A list whose marks cannot be read is searched as one that has none.
bool HasReadableMarks(const StoredMembers& stored) {
    try {
        return stored.HasMarks();
    } catch (const Failure&) {
        return false;
    }
}

}  // namespace

std::optional<std::size_t> Members::IndexOf(const GUID& id) const {
    const std::size_t count = Count();
    for (std::size_t index = 0; index < count; ++index)
        if (IsEqualGUID(At(index).id, id)) return index;
    return std::nullopt;
}

void Members::Append(const Reference& reference, std::u16string_view name) {
    Materialise();
    list_.push_back(reference);
    if (marks_.empty() && list_.size() < kMarkedFrom) return;
    if (marks_.empty()) marks_.resize(list_.size() - 1, kUnknownMark);
    marks_.push_back(MarkOf(name));
}

void Members::Erase(std::size_t index) {
    Materialise();
    names.Erase(list_[index].id, index);
    list_.erase(list_.begin() + static_cast<std::ptrdiff_t>(index));
    if (!marks_.empty()) marks_.erase(marks_.begin() + static_cast<std::ptrdiff_t>(index));
}

void Members::Swap(Members& other) noexcept {
    assert(!stored_ && !other.stored_);
    list_.swap(other.list_);
    marks_.swap(other.marks_);
    std::swap(renamed, other.renamed);
    std::swap(lackSome_, other.lackSome_);
    names.Clear();
    other.names.Clear();
}

void Members::MakeRoom() {
    Materialise();
    constexpr std::size_t kFirst = 4;  // most lists are short, and each step to more room is a block of memory
    lumvex::MakeRoom(list_, list_.capacity() == 0 ? kFirst : 1);
    if (!marks_.empty() || list_.size() + 1 >= kMarkedFrom) lumvex::MakeRoom(marks_, list_.size() + 1 - marks_.size());
}

void Members::Load(std::unique_ptr<StoredMembers> stored) {
    list_.clear();
    marks_.clear();
    names.Clear();
    renamed = lackSome_ = false;
    stored_ = std::move(stored);
}

void Members::Materialise() {
    if (!stored_) return;
    References list = stored_->All();
    if (marks_.empty() && HasReadableMarks(*stored_)) {
        marks_.resize(list.size());
        stored_->ReadMarks(0, marks_);
    }
    list_ = std::move(list);
    lackSome_ = stored_->LacksMembers();
    stored_.reset();
}

void Members::SetMark(std::size_t index, NameMark mark) {
    if (marks_.empty()) {
        assert(Count() >= kMarkedFrom);
        std::vector<NameMark> marks(Count(), kUnknownMark);
        if (stored_ && HasReadableMarks(*stored_)) stored_->ReadMarks(0, marks);
        marks_ = std::move(marks);
    }
    marks_[index] = mark;
}

// Behind the last mark, what is compared together with it is filled with unknown ones, at which nobody looks.
std::size_t Members::ReadPart(std::size_t first, Part& part) const {
    const std::size_t count = std::min(Count() - first, kPart);
    const auto marks = std::span(part).first(count);
    if (!marks_.empty())
        std::ranges::copy(std::span(marks_).subspan(first, count), marks.begin());
    else if (stored_ && HasReadableMarks(*stored_))
        stored_->ReadMarks(first, marks);
    else
        std::ranges::fill(marks, kUnknownMark);
    for (std::size_t at = count; at % kTogether != 0; ++at) part[at] = kUnknownMark;
    return count;
}

void Members::ExtendIndex() {
    if (Count() < kMarkedFrom || names.Covered() == Count() || !names.IsWorthIt(Count())) return;
    Part part;
    for (std::size_t first = names.Covered(); first < Count(); first += kPart) {
        const std::size_t inPart = ReadPart(first, part);
        for (std::size_t at = 0; at < inPart; ++at) {
            if (part[at] == kUnknownMark) return;
            names.Add(At(first + at), part[at]);
        }
    }
}

}  // namespace lumvex::inside
