// The root document of the catalogue that projects refer to: manufacturers with their models, and microphones.
#pragma once

#include "model/specifications/Configs.hpp"
#include "model/specifications/Manufacturers.hpp"
#include "model/specifications/Microphones.hpp"
#include "storage/document/root_document.hpp"

namespace lumvex::inside {

class CSpecifications final : public Root<CSpecifications, ISpecifications>, public OwnsConfigs {
public:
    static Ref<Object> Create();

    Child<CManufacturers> Manufacturers;
    Child<CMicrophones> Microphones;

    static constexpr std::u16string_view kErrorSource = u"Lumvex-Dev.Specifications.1";
};

template <>
struct RecordOf<CSpecifications> : RootRecord {
    static constexpr auto fields = std::tuple{&CSpecifications::Manufacturers, &CSpecifications::Microphones};
};

}  // namespace lumvex::inside
