#include "model/specifications/Specifications.hpp"

namespace lumvex::inside {

Ref<Object> CSpecifications::Create() {
    const Ref<CSpecifications> library(new CSpecifications);
    library->Construct(u"SPECIFICATIONS");
    return Ref<Object>(library.get());
}

}  // namespace lumvex::inside
