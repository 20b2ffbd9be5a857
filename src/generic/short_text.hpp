// A text of which there are very many, most of them short: up to fourteen UTF-16 units are in the object itself, and
// take no memory of their own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

namespace lumvex {

class ShortText {
public:
    ShortText() noexcept = default;
    explicit ShortText(std::u16string_view text) { *this = text; }
    ShortText(const ShortText&) = delete;
    ShortText& operator=(const ShortText& other) { return *this = std::u16string_view(other); }
    ~ShortText() { Free(); }

    // The text may be a part of this one. Throws std::bad_alloc and has then done nothing.
    ShortText& operator=(std::u16string_view text) {
        ShortText made;
        if (!text.empty()) std::memcpy(made.Make(text.size()), text.data(), text.size() * sizeof(char16_t));
        Swap(made);
        return *this;
    }

    // A text of so many units, which the caller sets. Throws std::bad_alloc and has then done nothing.
    char16_t* Make(std::size_t units) {
        if (units > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
        char16_t* const made = units <= kInPlace ? nullptr : new char16_t[units];
        Free();
        size_ = static_cast<std::uint32_t>(units);
        if (made) std::memcpy(room_.data(), &made, sizeof made);
        return made ? made : room_.data();
    }

    void Swap(ShortText& other) noexcept {
        const Room room = room_;  // as a whole: std::swap() would go through it unit by unit
        room_ = other.room_;
        other.room_ = room;
        std::swap(size_, other.size_);
    }

    operator std::u16string_view() const noexcept { return {size_ <= kInPlace ? room_.data() : Elsewhere(), size_}; }

private:
    static constexpr std::size_t kInPlace = 14;

    char16_t* Elsewhere() const noexcept {
        char16_t* units = nullptr;
        std::memcpy(&units, room_.data(), sizeof units);
        return units;
    }
    void Free() noexcept {
        if (size_ > kInPlace) delete[] Elsewhere();
    }

    using Room = std::array<char16_t, kInPlace>;
    Room room_{};  // the units or, of a longer text, a pointer to them
    std::uint32_t size_ = 0;
};

}  // namespace lumvex
