// A structure of the file (the FAT, the mini FAT, the directory, the mini stream) as pages of one sector each. A
// subclass knows where the pages come from: from the committed file, or from a draft of its next state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace lumvex::compound {

class Pages {
public:
    explicit Pages(unsigned shift) : shift_(shift) {}
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;
    virtual ~Pages() = default;

    unsigned Shift() const { return shift_; }
    std::size_t PageSize() const { return std::size_t{1} << shift_; }

    // PageSize() bytes. They stay valid as long as what the pages come from, and until this page is edited. Corrupt
    // beyond the last page.
    const std::byte* Page(std::uint32_t index) {
        if (index != lastIndex_ || last_ == nullptr) {
            last_ = Fetch(index);
            lastIndex_ = index;
        }
        return last_;
    }

    // So many bytes of a page, from `at` on. A page that has to be read from the file is not read whole for that. The
    // bytes stay valid as long as those of Page() do.
    const std::byte* Part(std::uint32_t index, std::size_t at, std::size_t count) {
        if (last_ != nullptr && index == lastIndex_) return last_ + at;
        if (index != part_.index || at < part_.at || at + count > part_.at + part_.bytes.size())
            part_ = {index, at, FetchPart(index, at, count)};
        return part_.bytes.data() + (at - part_.at);
    }

    // Part() and Page() for callers that need each page once and mostly in order: what they answer is valid until the
    // next call of either.
    const std::byte* PartOnce(std::uint32_t index, std::size_t at, std::size_t count) {
        return last_ != nullptr && index == lastIndex_ ? last_ + at : FetchPartOnce(index, at, count);
    }
    virtual const std::byte* PageOnce(std::uint32_t index) { return Page(index); }

    // The page if it is the one that was asked for last; else null.
    const std::byte* PageAtHand(std::uint32_t index) const { return index == lastIndex_ ? last_ : nullptr; }

    // To be called when pages have moved in memory: the last one asked for is remembered.
    void ForgetLast() noexcept { last_ = nullptr, part_ = {}; }

protected:
    virtual const std::byte* Fetch(std::uint32_t index) = 0;
    virtual const std::byte* FetchPartOnce(std::uint32_t index, std::size_t at, std::size_t count) {
        return Part(index, at, count);
    }
    // What is at hand of a page from `at` on, at least count bytes.
    virtual std::span<const std::byte> FetchPart(std::uint32_t index, std::size_t at, std::size_t /*count*/) {
        return std::span(Page(index), PageSize()).subspan(at);
    }

private:
    unsigned shift_;
    std::uint32_t lastIndex_ = 0;
    const std::byte* last_ = nullptr;
    struct {
        std::uint32_t index = 0;
        std::size_t at = 0;
        std::span<const std::byte> bytes;  // from there on
    } part_;                               // what Part() fetched last
};

}  // namespace lumvex::compound
