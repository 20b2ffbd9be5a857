#include "named_data.hpp"

#include <cstring>
#include <new>

namespace lumvex::app {

Array InTwoDimensions(std::span<const float> values, std::size_t rows) {
    SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(rows), 0}, {static_cast<ULONG>(values.size() / rows), 0}};
    SAFEARRAY* array = SafeArrayCreate(VT_R4, 2, bounds);
    if (!array) throw std::bad_alloc();
    Variant made = Variant::FromArray(VT_R4, array);
    std::memcpy(array->pvData, values.data(), values.size_bytes());
    return Array(std::move(made));
}

Array ArrayOf(const MeasurementFile& file) {
    return file.values.size() == 1 ? InTwoDimensions(file.values, 1)
                                   : Array::FromColumns(file.values, file.rows, file.columns);
}

Datum NamedData::Find(std::u16string_view name) {
    const std::u16string wanted(name);
    const auto found = positions_.find(wanted);
    if (found != positions_.end()) return collection_.Item(found->second);
    for (const LONG count = collection_.Count(); known_ < count;) {
        Datum datum = collection_.Item(known_ + 1);
        ++known_;
        const auto added = positions_.emplace(datum.Name(), known_).first;
        if (Equal()(added->first, wanted)) return datum;
    }
    return {};
}

Array NumbersOf(Variant data) {
    Array array(std::move(data));
    if (!array.Empty() && array.Type() != VT_R4) throw Error(DISP_E_TYPEMISMATCH, "the array holds no numbers");
    return array;
}

std::string ShapeText(std::size_t rows, std::size_t columns) {
    return std::to_string(rows) + " x " + std::to_string(columns);
}

}  // namespace lumvex::app
