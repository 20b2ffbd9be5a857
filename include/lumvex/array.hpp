// Arrays of numbers as client classes give and take them.
#pragma once

#include <concepts>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <ranges>
#include <span>
#include <stdexcept>
#include <type_traits>

#include "lumvex/client.hpp"

namespace lumvex {

// What an array that a client makes may hold. std::byte is as good as BYTE.
template <class T>
concept ArrayElement =
    std::same_as<T, float> || std::same_as<T, double> || std::same_as<T, BYTE> || std::same_as<T, std::byte>;

template <ArrayElement T>
inline constexpr VARTYPE kArrayTypeOf = std::is_same_v<T, float>    ? VT_R4
                                        : std::is_same_v<T, double> ? VT_R8
                                                                    : VT_UI1;

// Numbers of one or two dimensions as they cross the boundary, column after column: each row is a sample or a
// frequency, each column a channel. Owns its safe array; a copy copies the elements, a move does not.
class Array {
public:
    Array() = default;
    // Takes over an array variant's content; anything else makes an empty array.
    explicit Array(Variant value) : value_(std::move(value)) {
        if ((value_.vt & VT_ARRAY) == 0) value_ = Variant();
    }

    // One column after the other, each of `rows` values. One column is an array of one dimension, but for a single
    // value, which the model takes only in two. Throws std::invalid_argument unless the values fill the columns.
    template <std::ranges::contiguous_range Values>
    requires ArrayElement<std::ranges::range_value_t<Values>>
    static Array FromColumns(const Values& values, std::size_t rows, std::size_t columns) {
        const std::span elements(std::ranges::data(values), std::ranges::size(values));
        if (elements.size() != rows * columns) throw std::invalid_argument("an array's values must fill its columns");
        using T = std::ranges::range_value_t<Values>;
        const UINT dimensions = columns == 1 && rows != 1 ? 1 : 2;
        return Made<T>(rows, columns, dimensions, [&](T* into) {
            if (!elements.empty()) std::memcpy(into, elements.data(), elements.size_bytes());
        });
    }

    // Columns of equal length, one span each. Throws std::invalid_argument where they differ.
    template <ArrayElement T>
    static Array FromColumns(std::initializer_list<std::span<const T>> columns) {
        const std::size_t rows = columns.size() == 0 ? 0 : columns.begin()->size();
        for (const std::span<const T>& each : columns)
            if (each.size() != rows) throw std::invalid_argument("an array's columns must be of one length");
        const UINT dimensions = columns.size() == 1 && rows != 1 ? 1 : 2;
        return Made<T>(rows, columns.size(), dimensions, [&](T* into) {
            if (rows == 0) return;
            for (const std::span<const T>& each : columns) {
                std::memcpy(into, each.data(), each.size_bytes());
                into += rows;
            }
        });
    }

    bool Empty() const { return value_.vt == VT_EMPTY; }
    VARTYPE Type() const { return static_cast<VARTYPE>(value_.vt & ~VT_ARRAY); }
    std::size_t Rows() const { return Length(1); }
    std::size_t Columns() const { return Empty() ? 0 : !value_.parray || value_.parray->cDims < 2 ? 1 : Length(2); }

    // The elements in memory; T must be of the array's element type (float: VT_R4, double: VT_R8, BYTE or std::byte:
    // VT_UI1), else it throws Error. Valid as long as the array.
    template <ArrayElement T>
    std::span<const T> Values() const {
        if (Empty()) return {};
        if (Type() != kArrayTypeOf<T>) throw Error(DISP_E_TYPEMISMATCH, "the array holds elements of another type");
        return {static_cast<const T*>(Elements()), Rows() * Columns()};
    }

    // The elements of one column, counted from 0; throws std::out_of_range for one that is not there.
    template <ArrayElement T>
    std::span<const T> Column(std::size_t column) const {
        if (column >= Columns()) throw std::out_of_range("the array has no such column");
        return Values<T>().subspan(column * Rows(), Rows());
    }

    // One number of any numeric array, row and column counted from 0. Throws std::out_of_range for a place that is not
    // there, Error for an array of anything but float, double and bytes.
    double operator()(std::size_t row, std::size_t column = 0) const {
        if (row >= Rows() || column >= Columns()) throw std::out_of_range("the array has no such place");
        const std::size_t at = column * Rows() + row;
        switch (Type()) {
            case VT_R4:
                return static_cast<const float*>(Elements())[at];
            case VT_R8:
                return static_cast<const double*>(Elements())[at];
            case VT_UI1:
                return static_cast<const BYTE*>(Elements())[at];
            default:
                throw Error(DISP_E_TYPEMISMATCH, "the array does not hold numbers");
        }
    }

    const VARIANT& AsVariant() const noexcept { return value_; }
    operator const VARIANT&() const noexcept { return value_; }

private:
    template <class T, class Fill>
    static Array Made(std::size_t rows, std::size_t columns, UINT dimensions, Fill fill) {
        if (rows > std::numeric_limits<ULONG>::max() || columns > std::numeric_limits<ULONG>::max())
            throw std::length_error("an array has at most 2^32 - 1 rows");
        SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(rows), 0}, {static_cast<ULONG>(columns), 0}};
        SAFEARRAY* array = CreateArrayToFill(kArrayTypeOf<T>, dimensions, bounds);
        if (!array) throw std::bad_alloc();
        Array made(Variant::FromArray(kArrayTypeOf<T>, array));
        fill(static_cast<T*>(made.Elements()));
        return made;
    }

    void* Elements() const {
        if (!value_.parray) throw Error(E_INVALIDARG, "there is no array");
        return value_.parray->pvData;
    }
    std::size_t Length(UINT dimension) const {
        if (Empty()) return 0;
        if (!value_.parray) throw Error(E_INVALIDARG, "there is no array");
        if (dimension > value_.parray->cDims) throw Error(DISP_E_BADINDEX, "the array has no such dimension");
        return value_.parray->rgsabound[value_.parray->cDims - dimension].cElements;  // the last dimension comes first
    }

    Variant value_;
};

// What a property that is an array is set to: an Array, a variant, or a range of numbers in memory, which becomes one
// column. Made for the call.
class ArrayArgument {
public:
    ArrayArgument(const VARIANT& variant) noexcept : variant_(&variant) {}
    ArrayArgument(const Array& array) noexcept : variant_(&array.AsVariant()) {}
    template <std::ranges::contiguous_range Values>
    requires ArrayElement<std::ranges::range_value_t<Values>> ArrayArgument(const Values& values)
        : made_(Array::FromColumns(values, std::ranges::size(values), 1)), variant_(&made_.AsVariant()) {}
    ArrayArgument(const ArrayArgument&) = delete;
    ArrayArgument& operator=(const ArrayArgument&) = delete;

    const VARIANT& get() const noexcept { return *variant_; }

private:
    Array made_;
    const VARIANT* variant_;
};

}  // namespace lumvex
