// A structure of the file (the FAT, the mini FAT, the directory, the mini stream) as pages of one sector each. A
// subclass knows where the pages come from: from the committed file, or from a draft of its next state.
#pragma once

#include <cstddef>
#include <cstdint>

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

    // The same for who goes through all pages once, in order: valid until the next call only.
    virtual const std::byte* PageOnce(std::uint32_t index) { return Page(index); }

    // The page if it is the one that was asked for last; else null.
    const std::byte* PageAtHand(std::uint32_t index) const { return index == lastIndex_ ? last_ : nullptr; }

    // To be called when pages have moved in memory: the last one asked for is remembered.
    void ForgetLast() noexcept { last_ = nullptr; }

protected:
    virtual const std::byte* Fetch(std::uint32_t index) = 0;

private:
    unsigned shift_;
    std::uint32_t lastIndex_ = 0;
    const std::byte* last_ = nullptr;
};

}  // namespace lumvex::compound
