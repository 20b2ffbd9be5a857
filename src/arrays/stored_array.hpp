// One bulk array as an object owns it: element type, one or two dimensions with lower bounds, elements with the first
// dimension varying fastest (in two dimensions the second is the channel). Never changes once made; the elements lie in
// memory, or still in the file until somebody asks for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lumvex/automation.hpp"
#include "storage/byte_source.hpp"

namespace lumvex::inside {

struct Dimension {
    LONG lower = 0;
    ULONG count = 0;
    bool operator==(const Dimension&) const = default;
};

class StoredArray {
public:
    using Text = std::optional<std::u16string>;  // none: a null string

    // Takes the elements; their number is the product of the counts.
    StoredArray(VARTYPE type, std::vector<Dimension> dimensions, std::vector<std::byte> elements);
    // The elements stand in `source` from `offset` on.
    StoredArray(VARTYPE type, std::vector<Dimension> dimensions, std::shared_ptr<const ByteSource> source,
                std::uint64_t offset);
    // An array of texts.
    StoredArray(std::vector<Dimension> dimensions, std::vector<Text> texts);

    VARTYPE Type() const { return type_; }
    const std::vector<Dimension>& Dimensions() const { return dimensions_; }
    std::size_t Count() const;     // elements in all
    std::size_t ByteSize() const;  // of the element block; 0 for texts

    bool InFile() const { return source_ != nullptr; }
    void CopyTo(std::span<std::byte> elements) const;            // from the first on, at most ByteSize() bytes
    std::span<const std::byte> Elements() const { return elements_; }  // of an array in memory
    const std::vector<Text>& Texts() const { return texts_; }

    // Bytes of one element in a record: 4, 8, 16 (a variant, raw) or 1; 0 for texts.
    static std::size_t ElementSize(VARTYPE type);

private:
    VARTYPE type_;
    std::vector<Dimension> dimensions_;
    std::vector<std::byte> elements_;
    std::vector<Text> texts_;
    std::shared_ptr<const ByteSource> source_;
    std::uint64_t offset_ = 0;
};

// What an object holds: an array or nothing.
using ArraySlot = std::shared_ptr<const StoredArray>;

}  // namespace lumvex::inside
