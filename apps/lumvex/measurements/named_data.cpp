#include "measurements/named_data.hpp"

#include <cmath>
#include <cstring>
#include <new>
#include <vector>

namespace lumvex::app {

Array InTwoDimensions(std::span<const float> values, std::size_t rows) {
    SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(rows), 0}, {static_cast<ULONG>(values.size() / rows), 0}};
    SAFEARRAY* array = CreateArrayToFill(VT_R4, 2, bounds);
    if (!array) throw std::bad_alloc();
    Variant made = Variant::FromArray(VT_R4, array);
    std::memcpy(array->pvData, values.data(), values.size_bytes());
    return Array(std::move(made));
}

Array ArrayOf(const MeasurementFile& file) {
    return file.values.size() == 1 ? InTwoDimensions(file.values, 1)
                                   : Array::FromColumns(file.values, file.rows, file.columns);
}

// An array of no elements, whose descriptor is changed for as long as this lives.
LentArray::LentArray(const MeasurementFile& file) {
    const bool isColumn = file.columns == 1 && file.rows != 1;
    SAFEARRAYBOUND bounds[2] = {};
    SAFEARRAY* array = SafeArrayCreate(VT_R4, isColumn ? 1 : 2, bounds);
    if (!array) throw std::bad_alloc();
    value_ = Variant::FromArray(VT_R4, array);
    own_ = array->pvData;
    array->pvData = const_cast<float*>(file.values.data());  // a put only reads
    SAFEARRAYBOUND* bound = array->rgsabound;                // the last dimension first
    if (!isColumn) (bound++)->cElements = static_cast<ULONG>(file.columns);
    bound->cElements = static_cast<ULONG>(file.rows);
}

LentArray::~LentArray() {
    SAFEARRAY* const array = value_.parray;
    for (SAFEARRAYBOUND& bound : std::span(array->rgsabound, array->cDims)) bound.cElements = 0;
    array->pvData = own_;
}

std::u16string HeaderNameOf(std::u16string_view name) { return std::u16string(name) + u" (header)"; }

void StoreHeader(const std::string& header, Datum datum) {
    if (header.empty()) return datum.Data(Array());
    std::vector<float> bytes;
    for (const char each : header) bytes.push_back(static_cast<float>(static_cast<unsigned char>(each)));
    datum.Data(Array::FromColumns(bytes, bytes.size(), 1));
    datum.SampleRate(0);
}

std::optional<std::string> HeaderIn(const Datum& datum) {
    const Array array(datum.Data());
    if (array.Empty()) return std::string();
    if (array.Type() != VT_R4 || array.Columns() != 1) return std::nullopt;
    std::string header;
    for (const float each : array.Values<float>()) {
        if (!(each >= 1 && each <= 255 && each == std::floor(each))) return std::nullopt;
        header += static_cast<char>(static_cast<unsigned char>(each));
    }
    return header;
}

std::string HeaderBehind(const Data& data, LONG place) {
    try {
        if (place >= data.Count()) return {};
        const Datum next = data.Item(place + 1);
        const bool isHeader = CompareNoCase(next.Name(), HeaderNameOf(data.Item(place).Name())) == 0;
        return isHeader ? HeaderIn(next).value_or("") : std::string();
    } catch (const Error&) {
        return {};
    }
}

Array NumbersOf(Array array) {
    if (!array.Empty() && array.Type() != VT_R4) throw Error(DISP_E_TYPEMISMATCH, "the array holds no numbers");
    return array;
}

std::string ShapeText(std::size_t rows, std::size_t columns) {
    return std::to_string(rows) + " x " + std::to_string(columns);
}

}  // namespace lumvex::app
