#include "arrays/stored_array.hpp"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace lumvex::inside {

static_assert(sizeof(StoredArray) % alignof(double) == 0, "elements of every type may follow");

void Dimensions::AddElsewhere(Dimension dimension) {
    if (!more_) more_ = std::make_unique<std::vector<Dimension>>(inPlace_.begin(), inPlace_.end());
    more_->push_back(dimension);
}

void StoredArray::Destroy() const noexcept {
    const std::size_t behind = InFile() ? 0 : ByteSize();
    this->~StoredArray();
    GiveBlock(const_cast<StoredArray*>(this), sizeof(StoredArray) + behind);
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, inside::Shape shape, std::size_t bytes) {
    assert(bytes == SizeOf(type, shape));
    if (shape.size() > kInPlace) return MakeOfMany(type, shape, bytes);
    return Ref<StoredArray>(new (Behind{bytes}) StoredArray(type, shape));
}

Ref<StoredArray> StoredArray::MakeOfMany(VARTYPE type, inside::Shape shape, std::size_t bytes) {
    return Ref<StoredArray>(new (Behind{bytes}) StoredArray(type, std::make_unique<Elsewhere>(shape)));
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, inside::Shape shape, std::span<const std::byte> elements) {
    assert(type != VT_BSTR);
    Ref<StoredArray> made = Make(type, shape, elements.size());
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
