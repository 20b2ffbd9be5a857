#include "arrays/array_field.hpp"

namespace lumvex::inside {

void Array::Materialise() {
    if (!slot || !slot->InFile()) return;
    std::vector<std::byte> elements(slot->ByteSize());
    slot->CopyTo(elements);
    slot = std::make_shared<StoredArray>(slot->Type(), slot->Shape(), std::move(elements));
}

}  // namespace lumvex::inside
