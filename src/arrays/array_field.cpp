#include "arrays/array_field.hpp"

namespace lumvex::inside {

void ArrayBase::Materialise() {
    if (!slot || slot->IsLasting()) return;
    const Ref<StoredArray> read = StoredArray::Make(slot->Type(), slot->Shape());
    slot->CopyTo(read->Room());
    slot = read;
}

}  // namespace lumvex::inside
