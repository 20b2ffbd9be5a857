// What the generated client classes are built on: handles, errors, arrays and enumeration.
#pragma once

#include <cstring>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "lumvex/create.hpp"
#include "lumvex/values.hpp"

namespace lumvex {

// Thrown for every failed call. Status() is the call's status; what() is the text of its error information in UTF-8 or,
// where there is none, the status in hexadecimal.
class Error : public std::runtime_error {
public:
    Error(HRESULT status, const std::string& text) : std::runtime_error(text), status_(status) {}
    HRESULT Status() const noexcept { return status_; }

private:
    HRESULT status_;
};

// The text that the last failed call of this thread left, or the status in hexadecimal.
inline std::string DescriptionOf(HRESULT status) {
    Ref<IErrorInfo> info;
    Bstr text;
    if (GetErrorInfo(0, info.Out()) == S_OK && info) info->GetDescription(text.Out());
    if (!text.view().empty()) return ToUtf8(text.view());
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string hex = "status 0x";
    for (int shift = 28; shift >= 0; shift -= 4) hex += kDigits[(static_cast<unsigned>(status) >> shift) & 0xF];
    return hex;
}

inline void Check(HRESULT status) {
    if (FAILED(status)) throw Error(status, DescriptionOf(status));
}

// A counted handle to any object; empty where there is none.
class Object {
public:
    Object() = default;
    explicit Object(Ref<IDispatch> pointer) : pointer_(std::move(pointer)) {}

    IDispatch* Pointer() const { return pointer_.get(); }
    explicit operator bool() const { return static_cast<bool>(pointer_); }

    // The object as one of the client classes; empty when it is of another class.
    template <class Class>
    Class As() const {
        return Class(pointer_.As<typename Class::Interface>());
    }

private:
    Ref<IDispatch> pointer_;
};

// Numbers of one or two dimensions as they cross the boundary, column after column. Owns its safe array.
class Array {
public:
    Array() = default;
    // Takes over an array variant's content; anything else makes an empty array.
    explicit Array(Variant value) : value_(std::move(value)) {
        if ((value_.vt & VT_ARRAY) == 0) value_ = Variant();
    }
    // One column after the other, each of `rows` values. One column is an array of one dimension, but for a single
    // value, which the model takes only in two.
    static Array FromColumns(std::span<const float> values, std::size_t rows, std::size_t columns);

    bool Empty() const { return value_.vt == VT_EMPTY; }
    VARTYPE Type() const { return static_cast<VARTYPE>(value_.vt & ~VT_ARRAY); }
    std::size_t Rows() const { return Length(1); }
    std::size_t Columns() const { return Empty() ? 0 : SafeArrayGetDim(value_.parray) < 2 ? 1 : Length(2); }

    // The elements in memory; T must be of the array's element type (float: VT_R4, double: VT_R8, BYTE: VT_UI1).
    // Valid as long as the array.
    template <class T>
    std::span<const T> Values() const {
        constexpr VARTYPE type = std::is_same_v<T, float> ? VT_R4 : std::is_same_v<T, double> ? VT_R8 : VT_UI1;
        if (Empty()) return {};
        if (Type() != type) throw Error(DISP_E_TYPEMISMATCH, "the array holds elements of another type");
        void* data = nullptr;
        Check(SafeArrayAccessData(value_.parray, &data));
        SafeArrayUnaccessData(value_.parray);
        return {static_cast<const T*>(data), Rows() * Columns()};
    }

    operator const VARIANT&() const { return value_; }

private:
    std::size_t Length(UINT dimension) const {
        if (Empty()) return 0;
        LONG lower = 0, upper = -1;
        Check(SafeArrayGetLBound(value_.parray, dimension, &lower));
        Check(SafeArrayGetUBound(value_.parray, dimension, &upper));
        return static_cast<std::size_t>(std::int64_t{upper} - lower + 1);
    }

    Variant value_;
};

inline Array Array::FromColumns(std::span<const float> values, std::size_t rows, std::size_t columns) {
    if (values.size() != rows * columns) throw std::invalid_argument("an array's values must fill its columns");
    SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(rows), 0}, {static_cast<ULONG>(columns), 0}};
    const UINT dimensions = columns == 1 && rows != 1 ? 1 : 2;
    SAFEARRAY* array = SafeArrayCreate(VT_R4, dimensions, bounds);
    if (!array) throw std::bad_alloc();
    Array made(Variant::FromArray(VT_R4, array));
    void* data = nullptr;
    Check(SafeArrayAccessData(array, &data));
    if (!values.empty()) std::memcpy(data, values.data(), values.size_bytes());
    SafeArrayUnaccessData(array);
    return made;
}

// The objects below an item, a collection or a root, or the links to an object, as an enumerator answers them. Each
// begin() starts with the first one.
class Descendants {
public:
    class Iterator {
    public:
        using value_type = Object;
        using difference_type = std::ptrdiff_t;
        Iterator() = default;
        explicit Iterator(Ref<IEnumVARIANT> source) : source_(std::move(source)) { ++*this; }
        const Object& operator*() const { return current_; }
        Iterator& operator++() {
            Variant next;
            ULONG fetched = 0;
            const HRESULT status = source_->Next(1, next.Out(), &fetched);
            Check(status);
            current_ = fetched == 1 ? Object(Ref<IDispatch>(next.pdispVal)) : Object();
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(std::default_sentinel_t) const { return !current_; }

    private:
        Ref<IEnumVARIANT> source_;
        Object current_;
    };

    Descendants() = default;
    explicit Descendants(const Ref<IUnknown>& source) : source_(source.As<IEnumVARIANT>()) {}

    Iterator begin() const {
        Check(source_->Reset());
        return Iterator(source_);
    }
    std::default_sentinel_t end() const { return {}; }

private:
    Ref<IEnumVARIANT> source_;
};

// Goes through a collection from its first member to its last.
template <class Collection>
class ItemIterator {
public:
    ItemIterator(const Collection& collection, LONG position) : collection_(&collection), position_(position) {}
    auto operator*() const { return collection_->Item(position_); }
    ItemIterator& operator++() {
        ++position_;
        return *this;
    }
    bool operator==(const ItemIterator& other) const { return position_ == other.position_; }

private:
    const Collection* collection_;
    LONG position_;
};

// Calls a published method that has a result, and answers the result as the client classes show it. Throws Error.
template <class Result, class Raw, class Call>
Result Received(Call call) {
    if constexpr (std::is_same_v<Raw, BSTR>) {
        Bstr text;
        Check(call(text.Out()));
        return std::u16string(text.view());
    } else if constexpr (std::is_same_v<Raw, VARIANT>) {
        Variant value;
        Check(call(value.Out()));
        if constexpr (std::is_same_v<Result, Object>)
            return Object(Ref<IDispatch>(value.vt == VT_DISPATCH ? value.pdispVal : nullptr));
        else
            return value;
    } else if constexpr (std::is_pointer_v<Raw>) {
        Ref<std::remove_pointer_t<Raw>> pointer;
        Check(call(pointer.Out()));
        return Result(std::move(pointer));
    } else {
        Raw value{};
        Check(call(&value));
        return value;
    }
}

template <class Interface>
Ref<Interface> CreateInstance(const GUID& clsid) {
    void* object = nullptr;
    Check(LumvexCreateInstance(clsid, kIidOf<Interface>, &object));
    return Ref<Interface>::Attach(static_cast<Interface*>(object));
}

}  // namespace lumvex
