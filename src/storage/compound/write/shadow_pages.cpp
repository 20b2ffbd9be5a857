#include "storage/compound/write/shadow_pages.hpp"

#include <algorithm>
#include <cassert>

#include "storage/compound/base/error.hpp"

namespace lumvex::compound {

std::byte* ShadowPages::FindChanged(std::uint32_t index) const {
    if (index >= kept_) {
        if (index >= Count()) throw Corrupt("page ", index, " of ", Count());
        return appended_[index - kept_];
    }
    const auto edited = edited_.find(index);
    return edited != edited_.end() ? edited->second : nullptr;
}

const std::byte* ShadowPages::Fetch(std::uint32_t index) {
    const std::byte* const changed = FindChanged(index);
    return changed != nullptr ? changed : committed_.Page(index);
}

std::span<const std::byte> ShadowPages::FetchPart(std::uint32_t index, std::size_t at, std::size_t count) {
    const std::byte* const changed = FindChanged(index);
    if (changed != nullptr) return std::span(changed, PageSize()).subspan(at);
    return {committed_.Part(index, at, count), count};
}

std::byte* ShadowPages::Edit(std::uint32_t index) {
    if (std::byte* const changed = FindChanged(index); changed != nullptr) return changed;
    const std::byte* from = committed_.Page(index);
    std::byte* copy = memory_.Take(PageSize());
    std::memcpy(copy, from, PageSize());
    edited_.emplace(index, copy);
    ForgetLast();
    return copy;
}

std::byte* ShadowPages::Append(std::byte fill) {
    std::byte* page = AppendToFill();
    std::fill_n(page, PageSize(), fill);
    return page;
}

std::byte* ShadowPages::AppendToFill() {
    std::byte* page = memory_.Take(PageSize());
    appended_.push_back(page);
    return page;
}

void ShadowPages::CutTo(std::uint32_t count) {
    assert(count <= Count());
    ForgetLast();
    if (count >= kept_) {
        appended_.resize(count - kept_);
        return;
    }
    appended_.clear();
    kept_ = count;
    std::erase_if(edited_, [count](const auto& page) { return page.first >= count; });
}

std::vector<ShadowPages::Dirty> ShadowPages::DirtyPages() const {
    std::vector<Dirty> pages;
    pages.reserve(DirtyCount());
    for (const auto& [index, bytes] : edited_) pages.push_back({index, bytes});
    std::sort(pages.begin(), pages.end(), [](const Dirty& a, const Dirty& b) { return a.index < b.index; });
    for (std::uint32_t i = 0; i < appended_.size(); ++i) pages.push_back({kept_ + i, appended_[i]});
    return pages;
}

}  // namespace lumvex::compound
