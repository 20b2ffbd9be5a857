#include "storage/compound/write/change.hpp"

namespace lumvex::compound {

ChangeName::ChangeName(std::u16string_view text) {
    auto object = ObjectNameOf(text);
    if (!object) {
        text_ = text;
        folded_.emplace(text);
        if (text.size() <= kMaxNameLength) object = ObjectNameOf(folded_->Text());
    }
    isObject_ = object.has_value();
    if (isObject_) first_ = object->first, second_ = object->second;
}

FoldedName ChangeName::Folded() const { return folded_ ? *folded_ : FoldedName(NameText(Object())); }

std::uint32_t ChangeName::Hash() const {
    if (!isObject_) return static_cast<std::uint32_t>(folded_->Hash());
    const std::uint64_t both = first_ ^ (second_ * 0x9E3779B97F4A7C15u);
    return static_cast<std::uint32_t>(both * 0xFF51AFD7ED558CCDu >> 32);
}

}  // namespace lumvex::compound
