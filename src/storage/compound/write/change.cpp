#include "storage/compound/write/change.hpp"

namespace lumvex::compound {

ChangeName::ChangeName(std::u16string_view text) : object_(ObjectNameOf(text)) {
    if (object_) return;
    text_ = text;
    folded_.emplace(text);
    if (text.size() <= kMaxNameLength) object_ = ObjectNameOf(folded_->Text());
}

FoldedName ChangeName::Folded() const { return folded_ ? *folded_ : FoldedName(NameText(*object_)); }

std::uint32_t ChangeName::Hash() const {
    if (!object_) return static_cast<std::uint32_t>(folded_->Hash());
    const std::uint64_t both = object_->first ^ (object_->second * 0x9E3779B97F4A7C15u);
    return static_cast<std::uint32_t>(both * 0xFF51AFD7ED558CCDu >> 32);
}

}  // namespace lumvex::compound
