#include "arrays/stored_array.hpp"

#include <cassert>
#include <cstring>

namespace lumvex::inside {

static_assert(sizeof(StoredArray) % alignof(double) == 0, "elements of every type may follow");

Ref<StoredArray> StoredArray::Make(VARTYPE type, const Dimensions& dimensions) {
    return Ref<StoredArray>(new (SizeOf(type, dimensions)) StoredArray(type, dimensions));
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, const Dimensions& dimensions, std::span<const std::byte> elements) {
    Ref<StoredArray> made = Make(type, dimensions);
    assert(type != VT_BSTR && elements.size() == made->ByteSize());
    if (!elements.empty()) std::memcpy(made->Room().data(), elements.data(), elements.size());
    return made;
}

Ref<StoredArray> StoredArray::Make(VARTYPE type, const Dimensions& dimensions, std::shared_ptr<const ByteSource> source,
                                   std::uint64_t offset) {
    Ref<StoredArray> made(new (0) StoredArray(type, dimensions));
    made->elsewhere_ = std::make_unique<const Elsewhere>(Elsewhere{std::move(source), offset, {}});
    return made;
}

Ref<StoredArray> StoredArray::Make(const Dimensions& dimensions, std::vector<Text> texts) {
    assert(texts.size() == CountOf(dimensions));
    Ref<StoredArray> made(new (0) StoredArray(VT_BSTR, dimensions));
    made->elsewhere_ = std::make_unique<const Elsewhere>(Elsewhere{nullptr, 0, std::move(texts)});
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
