// The array of an object: element type, dimensions with lower bounds, and elements, the first dimension varying
// fastest. In responses and filters the second dimension is the channel, in tables it is the entry. An array never
// changes once it is made. Its elements are in memory, or stay in the file until somebody asks for them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lumvex/automation.hpp"
#include "storage/records/byte_source.hpp"

namespace lumvex::inside {

struct Dimension {
    LONG lower = 0;
    ULONG count = 0;
    bool operator==(const Dimension&) const = default;
};

// The dimensions of an array, in order. Up to two are kept in place; only records made by others have more.
class Dimensions {
public:
    Dimensions() = default;
    Dimensions(std::initializer_list<Dimension> all) {
        for (const Dimension& each : all) Add(each);
    }

    void Add(const Dimension& dimension) {
        if (count_ == kInPlace) more_.assign(inPlace_.begin(), inPlace_.end());
        if (count_ < kInPlace)
            inPlace_[count_] = dimension;
        else
            more_.push_back(dimension);
        ++count_;
    }

    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    Dimension* begin() { return count_ <= kInPlace ? inPlace_.data() : more_.data(); }
    const Dimension* begin() const { return count_ <= kInPlace ? inPlace_.data() : more_.data(); }
    Dimension* end() { return begin() + count_; }
    const Dimension* end() const { return begin() + count_; }
    const Dimension& operator[](std::size_t at) const { return begin()[at]; }
    bool operator==(const Dimensions& other) const { return std::equal(begin(), end(), other.begin(), other.end()); }

private:
    static constexpr std::size_t kInPlace = 2;
    std::array<Dimension, kInPlace> inPlace_{};
    std::vector<Dimension> more_;  // all of them, when they are more than two
    std::size_t count_ = 0;
};

class StoredArray {
public:
    using Text = std::optional<std::u16string>;  // none: a null string

    // Takes the elements; their number is the product of the counts.
    StoredArray(VARTYPE type, Dimensions dimensions, std::vector<std::byte> elements);
    // The elements are in `source` from `offset` on, and are read when they are needed.
    StoredArray(VARTYPE type, Dimensions dimensions, std::shared_ptr<const ByteSource> source, std::uint64_t offset);
    // An array of texts.
    StoredArray(Dimensions dimensions, std::vector<Text> texts);

    VARTYPE Type() const { return type_; }
    const Dimensions& Shape() const { return dimensions_; }
    std::size_t Count() const;     // elements in all
    std::size_t ByteSize() const;  // of the element block; 0 for texts

    bool InFile() const { return source_ != nullptr; }
    void CopyTo(std::span<std::byte> elements) const;                  // from the first on, at most ByteSize() bytes
    std::span<const std::byte> Elements() const { return elements_; }  // of an array in memory
    const std::vector<Text>& Texts() const { return texts_; }

    // Bytes of one element in a record: 4, 8, 16 (a variant, raw) or 1; 0 for texts.
    static std::size_t ElementSize(VARTYPE type);

private:
    VARTYPE type_;
    Dimensions dimensions_;
    std::vector<std::byte> elements_;
    std::vector<Text> texts_;
    std::shared_ptr<const ByteSource> source_;
    std::uint64_t offset_ = 0;
};

// What an object holds: an array or nothing.
using ArraySlot = std::shared_ptr<const StoredArray>;

}  // namespace lumvex::inside
