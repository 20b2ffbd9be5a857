#include "arrays/stored_array.hpp"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace lumvex::inside {

static_assert(sizeof(StoredArray) % alignof(double) == 0, "elements of every type may follow");

StoredArray::StoredArray(VARTYPE type, inside::Shape shape)
    : type_(type), inPlace_(static_cast<std::uint8_t>(std::min(shape.size(), kInPlace + 1))) {
    if (shape.size() > kInPlace)
        MakeElsewhere().dimensions.assign(shape.begin(), shape.end());
    else
        std::copy(shape.begin(), shape.end(), dimensions_.begin());
}

StoredArray::Elsewhere& StoredArray::MakeElsewhere() {
    if (!elsewhere_) elsewhere_ = std::make_unique<Elsewhere>();
    return *elsewhere_;
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, inside::Shape shape) {
    return Ref<StoredArray>(new (SizeOf(type, shape)) StoredArray(type, shape));
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, inside::Shape shape, std::span<const std::byte> elements) {
    Ref<StoredArray> made = Make(type, shape);
    assert(type != VT_BSTR && elements.size() == made->ByteSize());
    if (!elements.empty()) std::memcpy(made->Room().data(), elements.data(), elements.size());
    return made;
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, inside::Shape shape, std::shared_ptr<const ByteSource> source,
                                   std::uint64_t offset) {
    Ref<StoredArray> made(new (0) StoredArray(type, shape));
    Elsewhere& elsewhere = made->MakeElsewhere();
    elsewhere.source = std::move(source);
    elsewhere.offset = offset;
    return made;
}

Ref<StoredArray> StoredArray::Make(inside::Shape shape, std::vector<Text> texts) {
    assert(texts.size() == CountOf(shape));
    Ref<StoredArray> made(new (0) StoredArray(VT_BSTR, shape));
    made->MakeElsewhere().texts = std::move(texts);
    return made;
}

std::span<const std::byte> StoredArray::Elements() const {
    assert(!InFile());
    return {reinterpret_cast<const std::byte*>(this + 1), ByteSize()};
}

const std::vector<StoredArray::Text>& StoredArray::Texts() const {
    static const std::vector<Text> kNone;
    return elsewhere_ ? elsewhere_->texts : kNone;
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
