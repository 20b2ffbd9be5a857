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

// Finds data by name, regardless of case; of several with one name it finds the first, as the collection itself does.
// Loads each datum at most once, and none after the last one that was asked for. Data may be added between two
// searches, but not removed or renamed.
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

// The file's values as the array of an item. One column becomes an array of one dimension; a single value becomes one
// of two dimensions, because items refuse an array of one dimension with one value.
Array ArrayOf(const MeasurementFile& file);

// Column after column, each of `rows` values, always in two dimensions.
Array InTwoDimensions(std::span<const float> values, std::size_t rows);

// Puts the file's array, sample rate and date into a datum, measurement or microphone. When the item refuses the array,
// it throws and the item is as it was.
template <class Item>
void Store(const MeasurementFile& file, Item item) {
    item.Data(ArrayOf(file));
    item.SampleRate(file.sampleRate);
    item.Timestamp(ToDate(file.modified));
}

// Says in words where the file and the datum differ first; nothing when every bit is the same.
std::optional<std::string> DifferenceOf(const MeasurementFile& file, const Datum& datum);

// The array itself. Throws Error unless it holds 32-bit floats or is empty.
Array NumbersOf(Array array);

std::string ShapeText(std::size_t rows, std::size_t columns);  // "480 x 3"

}  // namespace lumvex::app
