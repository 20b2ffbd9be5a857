// The named arrays of a project: found by name, made from a measurement file and turned back into one.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "files/measurement_file.hpp"
#include "lumvex/lumvex.hpp"

namespace lumvex::app {

// Finds the members of a collection by name, regardless of case; of several with one name it finds the first, as the
// collection itself does. Loads each member at most once, and none after the last one that was asked for. A member that
// cannot be read has no name, and is none of those that are found. Members may be added between two searches, but not
// removed or renamed.
template <class Collection>
class MembersByName {
public:
    using Item = decltype(std::declval<const Collection&>().Item(1));

    explicit MembersByName(Collection collection) : collection_(std::move(collection)) {}

    // Empty: there is none of this name.
    Item Find(std::u16string_view name) {
        const std::u16string wanted(name);
        const auto found = positions_.find(wanted);
        if (found != positions_.end()) return collection_.Item(found->second);
        for (const LONG count = collection_.Count(); known_ < count;) {
            const LONG position = ++known_;
            try {
                Item item = collection_.Item(position);
                const auto added = positions_.emplace(item.Name(), position).first;
                if (Equal()(added->first, wanted)) return item;
            } catch (const Error&) {
                continue;
            }
        }
        return {};
    }

    // Where the member is that Find answered for this name, counted from 1.
    LONG Place(std::u16string_view name) const { return positions_.at(std::u16string(name)); }

private:
    struct Hash {
        std::size_t operator()(const std::u16string& name) const { return HashNoCase(name); }
    };
    struct Equal {
        bool operator()(const std::u16string& left, const std::u16string& right) const {
            return CompareNoCase(left, right) == 0;
        }
    };

    Collection collection_;
    LONG known_ = 0;  // positions up to this one are in the map, unless they cannot be read
    std::unordered_map<std::u16string, LONG, Hash, Equal> positions_;
};

using NamedData = MembersByName<Data>;

// The header of a text file is kept in the datum behind the file's own, "microphone (header)", where it says more than
// the numbers do: the bytes of its UTF-8 text as numbers, which every client of arrays takes.
std::u16string HeaderNameOf(std::u16string_view name);
void StoreHeader(const std::string& header, Datum datum);
std::optional<std::string> HeaderIn(const Datum& datum);  // none: it holds something else

// The header of the datum at this place (from 1); empty where it has none or it cannot be read.
std::string HeaderBehind(const Data& data, LONG place);

// The file's values as the array of an item. One column becomes an array of one dimension; a single value becomes one
// of two dimensions, because items refuse an array of one dimension with one value.
Array ArrayOf(const MeasurementFile& file);

// Column after column, each of `rows` values, always in two dimensions.
Array InTwoDimensions(std::span<const float> values, std::size_t rows);

// The file's values as ArrayOf makes an array of them, but where they are: the file must outlive it.
class LentArray {
public:
    explicit LentArray(const MeasurementFile& file);
    LentArray(const LentArray&) = delete;
    LentArray& operator=(const LentArray&) = delete;
    ~LentArray();

    const VARIANT& AsVariant() const { return value_; }

private:
    Variant value_;
    void* own_;  // what the array had for its elements
};

// Puts the file's array, sample rate and date into a datum, measurement or correction, and frees the file's values, the
// rest of it stays: a file may be as large as half of the memory. When the item refuses the array, it throws and the
// item is as it was.
template <class Item>
void Store(MeasurementFile& file, Item item) {
    item.Data(LentArray(file).AsVariant());
    std::vector<float>().swap(file.values);  // assigning {} would keep the memory
    item.SampleRate(file.sampleRate);
    item.Timestamp(ToDate(file.modified));
}

// The array itself. Throws Error unless it holds 32-bit floats or is empty.
Array NumbersOf(Array array);

std::string ShapeText(std::size_t rows, std::size_t columns);  // "480 x 3"

}  // namespace lumvex::app
