#include "arrays/stored_array.hpp"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace lumvex::inside {

static_assert(sizeof(StoredArray) % alignof(double) == 0, "elements of every type may follow");

StoredArray::StoredArray(VARTYPE type, inside::Shape shape)
    : dimensions_(), type_(type), inPlace_(static_cast<std::uint8_t>(std::min<std::size_t>(shape.size(), kElsewhere))) {
    if (IsElsewhere())
        elsewhere_ = std::make_unique<Elsewhere>(shape).release();
    else
        std::copy(shape.begin(), shape.end(), dimensions_.begin());
}

void StoredArray::Destroy() const noexcept {
    const std::size_t behind = InFile() ? 0 : ByteSize();
    this->~StoredArray();
    GiveBlock(const_cast<StoredArray*>(this), sizeof(StoredArray) + behind);
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, inside::Shape shape) {
    return Ref<StoredArray>(new (Behind{SizeOf(type, shape)}) StoredArray(type, shape));
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, inside::Shape shape, std::span<const std::byte> elements) {
    Ref<StoredArray> made = Make(type, shape);
    assert(type != VT_BSTR && elements.size() == made->ByteSize());
    if (!elements.empty()) std::memcpy(made->Room().data(), elements.data(), elements.size());
    return made;
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, inside::Shape shape, std::shared_ptr<const ByteSource> source,
                                   std::uint64_t offset) {
    assert(source);
    auto elsewhere = std::make_unique<Elsewhere>(shape);
    elsewhere->source = std::move(source);
    elsewhere->offset = offset;
    return Ref<StoredArray>(new (Behind{0}) StoredArray(type, std::move(elsewhere)));
}

Ref<StoredArray> StoredArray::Make(inside::Shape shape, std::vector<Text> texts) {
    assert(texts.size() == CountOf(shape));
    auto elsewhere = std::make_unique<Elsewhere>(shape);
    elsewhere->texts = std::move(texts);
    return Ref<StoredArray>(new (Behind{0}) StoredArray(VT_BSTR, std::move(elsewhere)));
}

std::span<const std::byte> StoredArray::Elements() const {
    assert(!InFile());
    return {reinterpret_cast<const std::byte*>(this + 1), ByteSize()};
}

const std::vector<StoredArray::Text>& StoredArray::Texts() const {
    static const std::vector<Text> kNone;
    return IsElsewhere() ? elsewhere_->texts : kNone;
}

void StoredArray::CopyTo(std::span<std::byte> elements) const {
    if (elements.empty()) return;
    if (InFile())
        elsewhere_->source->Read(elsewhere_->offset, elements);
    else
        std::memcpy(elements.data(), Elements().data(), elements.size());
}

void StoredArray::WriteTo(RecordWriter& writer) const {
    assert(IsLasting());
    if (InFile())
        writer.Block(*elsewhere_->source, elsewhere_->offset, ByteSize());
    else
        writer.Block(Elements());
}

}  // namespace lumvex::inside
