#include "arrays/stored_array.hpp"

#include <cassert>
#include <cstring>

namespace lumvex::inside {

StoredArray::StoredArray(VARTYPE type, Dimensions dimensions, std::vector<std::byte> elements)
    : type_(type), dimensions_(std::move(dimensions)), elements_(std::move(elements)) {
    assert(type_ != VT_BSTR && elements_.size() == ByteSize());
}

StoredArray::StoredArray(VARTYPE type, Dimensions dimensions, std::shared_ptr<const ByteSource> source,
                         std::uint64_t offset)
    : type_(type), dimensions_(std::move(dimensions)), source_(std::move(source)), offset_(offset) {}

StoredArray::StoredArray(Dimensions dimensions, std::vector<Text> texts)
    : type_(VT_BSTR), dimensions_(std::move(dimensions)), texts_(std::move(texts)) {
    assert(texts_.size() == Count());
}

std::size_t StoredArray::Count() const {
    std::size_t count = dimensions_.empty() ? 0 : 1;
    for (const Dimension& dimension : dimensions_) count *= dimension.count;
    return count;
}

std::size_t StoredArray::ByteSize() const { return Count() * ElementSize(type_); }

void StoredArray::CopyTo(std::span<std::byte> elements) const {
    if (elements.empty()) return;
    if (source_)
        source_->Read(offset_, elements);
    else
        std::memcpy(elements.data(), elements_.data(), elements.size());
}

std::size_t StoredArray::ElementSize(VARTYPE type) {
    switch (type) {
        case VT_UI1:
            return 1;
        case VT_R4:
            return 4;
        case VT_R8:
            return 8;
        case VT_VARIANT:
            return 16;
        default:
            return 0;
    }
}

}  // namespace lumvex::inside
