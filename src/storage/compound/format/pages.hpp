// A structure of the file as pages of one sector each: the FAT, the mini FAT, the directory, the mini stream. Where the
// pages stand is the source's affair: in the committed file, or in a draft of the next one.
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

    // PageSize() bytes, valid while the source is and this page is not edited. Corrupt beyond the last page.
    const std::byte* Page(std::uint32_t index) {
        if (index != lastIndex_ || last_ == nullptr) {
            last_ = Fetch(index);
            lastIndex_ = index;
        }
        return last_;
    }

    // Where pages stand has changed.
    void ForgetLast() noexcept { last_ = nullptr; }

protected:
    virtual const std::byte* Fetch(std::uint32_t index) = 0;

private:
    unsigned shift_;
    std::uint32_t lastIndex_ = 0;
    const std::byte* last_ = nullptr;
};

}  // namespace lumvex::compound
