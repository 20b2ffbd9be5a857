// The named arrays of a project: found by name, made from a measurement file and turned back into one.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "files/measurement_file.hpp"
#include "lumvex/lumvex.hpp"

namespace lumvex::app {

// Finds data by name, regardless of case; of several the first, as the collection itself does. Loads each datum at most
// once, and none behind the last one found. Data may be added meanwhile, but not removed or renamed.
class NamedData {
public:
    explicit NamedData(Data collection) : collection_(std::move(collection)) {}

    Datum Find(std::u16string_view name);  // empty: there is none of this name

private:
    struct Hash {
        std::size_t operator()(const std::u16string& name) const { return HashNoCase(name); }
    };
    struct Equal {
        bool operator()(const std::u16string& left, const std::u16string& right) const {
            return CompareNoCase(left, right) == 0;
        }
    };

    Data collection_;
    LONG known_ = 0;  // positions up to this one are in the map
    std::unordered_map<std::u16string, LONG, Hash, Equal> positions_;
};

// One column is an array of one dimension; only where it has but one value, which is refused in that form, of two.
Array ArrayOf(const MeasurementFile& file);

// Column after column, each of `rows` values, always in two dimensions.
Array InTwoDimensions(std::span<const float> values, std::size_t rows);

// Puts the file's array, sample rate and date into the datum, measurement or microphone; nothing of it when the array
// is refused.
template <class Item>
void Store(const MeasurementFile& file, Item item) {
    item.Data(ArrayOf(file));
    item.SampleRate(file.sampleRate);
    item.Timestamp(ToDate(file.modified));
}

// The first difference in words; none where every bit is the same.
std::optional<std::string> DifferenceOf(const MeasurementFile& file, const Datum& datum);

// An array in memory, 32-bit floats or empty. Throws Error for an array of bytes or texts.
Array NumbersOf(Variant data);

std::string ShapeText(std::size_t rows, std::size_t columns);  // "480 x 3"

}  // namespace lumvex::app
