#include "named_data.hpp"

#include <bit>
#include <cstring>
#include <new>
#include <sstream>

namespace lumvex::app {

namespace {

std::uint32_t BitsOf(float value) { return std::bit_cast<std::uint32_t>(value); }

}  // namespace

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

Array NumbersOf(Array array) {
    if (!array.Empty() && array.Type() != VT_R4) throw Error(DISP_E_TYPEMISMATCH, "the array holds no numbers");
    return array;
}

std::optional<std::string> DifferenceOf(const MeasurementFile& file, const Datum& datum) {
    std::ostringstream words;
    words.precision(9);  // tells any two floats apart
    const auto differs = [&](const auto& inDocument, const auto& inFile) {
        words << inDocument << " in the document, " << inFile << " in the file";
        return words.str();
    };
    const Array array = NumbersOf(datum.Data());
    if (array.Rows() != file.rows || array.Columns() != file.columns)
        return differs(ShapeText(array.Rows(), array.Columns()), ShapeText(file.rows, file.columns));
    if (datum.SampleRate() != file.sampleRate)
        return differs(std::to_string(datum.SampleRate()) + " Hz", std::to_string(file.sampleRate) + " Hz");
    const std::span<const float> values = array.Values<float>();
    for (std::size_t index = 0; index < values.size(); ++index) {
        if (BitsOf(values[index]) == BitsOf(file.values[index])) continue;
        words << "row " << index % file.rows + 1 << ", column " << index / file.rows + 1 << ": ";
        return differs(values[index], file.values[index]);
    }
    return std::nullopt;
}

std::string ShapeText(std::size_t rows, std::size_t columns) {
    return std::to_string(rows) + " x " + std::to_string(columns);
}

}  // namespace lumvex::app
