// A draft of a structure (FAT, mini FAT, directory, mini stream): the committed structure's pages, edited copies of
// some of them, and new pages behind them.
#pragma once

#include <cstring>
#include <memory>
#include <unordered_map>
#include <vector>

#include "generic/growing_memory.hpp"
#include "storage/compound/format/pages.hpp"

namespace lumvex::compound {

class ShadowPages final : public Pages {
public:
    // The memory has to outlive this.
    ShadowPages(Pages& committed, std::uint32_t count, GrowingMemory& memory)
        : Pages(committed.Shift()), committed_(committed), memory_(memory), kept_(count) {}

    std::uint32_t Count() const { return kept_ + static_cast<std::uint32_t>(appended_.size()); }

    std::byte* Edit(std::uint32_t index);
    std::byte* Append(std::byte fill);
    std::byte* AppendToFill();                                       // the caller sets all of its bytes
    void AppendView(std::byte* page) { appended_.push_back(page); }  // without a copy; the memory has to outlive this
    void CutTo(std::uint32_t count);

    // Edited and new pages, in ascending order.
    struct Dirty {
        std::uint32_t index;
        std::byte* bytes;
    };
    std::vector<Dirty> DirtyPages() const;
    std::size_t DirtyCount() const { return edited_.size() + appended_.size(); }

private:
    const std::byte* Fetch(std::uint32_t index) override;
    std::span<const std::byte> FetchPart(std::uint32_t index, std::size_t at, std::size_t count) override;
    std::byte* FindChanged(std::uint32_t index) const;  // edited or new; null where the page is the committed one

    Pages& committed_;
    GrowingMemory& memory_;
    std::uint32_t kept_;  // so many first pages are the committed ones or edited copies of them
    std::unordered_map<std::uint32_t, std::byte*> edited_;
    std::vector<std::byte*> appended_;
};

}  // namespace lumvex::compound
