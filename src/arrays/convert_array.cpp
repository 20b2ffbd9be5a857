#include "arrays/convert_array.hpp"

#include <algorithm>
#include <array>
#include <cstring>

#include "automation/element.hpp"
#include "core/base/failure.hpp"
#include "core/objects/document.hpp"
#include "core/objects/object.hpp"
#include "lumvex/interfaces.hpp"

namespace lumvex::inside {

namespace {

// A safe array whose elements are being read or written.
class Access {
public:
    explicit Access(SAFEARRAY* array) : array_(array) { Check(SafeArrayAccessData(array_, &data_)); }
    ~Access() { SafeArrayUnaccessData(array_); }
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;

    template <class T>
    std::span<T> As(std::size_t count) const {
        return {static_cast<T*>(data_), count};
    }

private:
    SAFEARRAY* array_;
    void* data_ = nullptr;
};

struct Destroy {
    void operator()(SAFEARRAY* array) const { SafeArrayDestroy(array); }
};
using OwnedArray = std::unique_ptr<SAFEARRAY, Destroy>;

// Elements that the caller is going to set, all of them, need not be cleared.
enum class Elements { Cleared, ToFill };
OwnedArray MakeArray(VARTYPE type, Shape dimensions, Elements elements = Elements::Cleared) {
    const auto count = static_cast<UINT>(dimensions.size());
    auto* const bounds = const_cast<SAFEARRAYBOUND*>(dimensions.data());  // which are only read
    OwnedArray array(elements == Elements::ToFill ? CreateArrayToFill(type, count, bounds)
                                                  : SafeArrayCreate(type, count, bounds));
    if (!array) throw Failure(E_OUTOFMEMORY);
    return array;
}

// Of an array that nobody else has yet, so that it need not be locked.
template <class T>
std::span<T> ElementsOf(const OwnedArray& array, std::size_t count) {
    return {static_cast<T*>(array->pvData), count};
}

// ---- in -------------------------------------------------------------------------------------------------------------

Dimensions DimensionsOf(SAFEARRAY* array) {
    Dimensions dimensions;
    for (UINT at = 1; at <= SafeArrayGetDim(array); ++at) {
        LONG lower = 0, upper = 0;
        Check(SafeArrayGetLBound(array, at, &lower));
        Check(SafeArrayGetUBound(array, at, &upper));
        dimensions.Add({static_cast<ULONG>(std::int64_t{upper} - lower + 1), lower});
    }
    return dimensions;
}

void CheckShape(Shape dimensions, LONG channels) {
    if (dimensions.empty()) throw Failure(Message::NotAnArray);
    if (dimensions.size() > 2) throw Failure(Message::TooManyDimensions);
    if (dimensions.size() == 2) {
        if (channels >= 0 && dimensions[1].cElements != static_cast<ULONG>(channels))
            throw Failure(Message::ChannelCount);
        return;
    }
    if (dimensions[0].cElements == 1) throw Failure(DISP_E_BADINDEX);  // it has always been refused; clients rely on it
    if (channels >= 0 && channels != 1) throw Failure(Message::ChannelCount);
}

std::size_t ClientsElementSize(VARTYPE type) {
    switch (type) {
        case VT_UI1:
            return sizeof(BYTE);
        case VT_I4:
            return sizeof(LONG);
        case VT_R4:
            return sizeof(float);
        case VT_R8:
            return sizeof(double);
        case VT_VARIANT:
            return sizeof(VARIANT);
        default:
            throw Failure(Message::ElementType);
    }
}

// The variant's type has to be the type of its array. Some hosts make arrays that do not know their type; then the size
// of the elements has to be that of the type.
void CheckType(SAFEARRAY* array, VARTYPE type) {
    const std::size_t size = ClientsElementSize(type);
    VARTYPE own = VT_EMPTY;
    const bool isTyped = SUCCEEDED(SafeArrayGetVartype(array, &own)) && own != VT_EMPTY;
    if (isTyped ? own != type : SafeArrayGetElemsize(array) != size) throw Failure(Message::ElementType);
}

float FloatOf(const VARIANT& element) {
    switch (element.vt) {
        case VT_I4:
            return static_cast<float>(element.lVal);
        case VT_R4:
            return element.fltVal;
        case VT_R8:
            return static_cast<float>(element.dblVal);
        default:
            throw Failure(Message::ElementType);
    }
}

template <class From, class Convert>
void ConvertElements(SAFEARRAY* array, std::span<std::byte> elements, Convert convert) {
    const std::size_t count = elements.size() / sizeof(float);
    const Access access(array);
    std::ranges::transform(access.As<const From>(count), reinterpret_cast<float*>(elements.data()), convert);
}

// The elements in the spool, where that takes them, else in memory.
ArraySlot Kept(VARTYPE type, Shape dimensions, std::span<const std::byte> elements, ByteSpool* spool) {
    std::shared_ptr<const ByteSource> spooled = spool ? spool->Put(elements) : nullptr;
    if (spooled) return StoredArray::Make(type, dimensions, std::move(spooled), 0);
    return StoredArray::Make(type, dimensions, elements);
}

// ---- out ------------------------------------------------------------------------------------------------------------

// The number in a stored variant; 0 where it is none.
float FloatOfRawVariant(const std::byte* raw) {
    VARIANT element{};
    std::memcpy(&element.vt, raw, sizeof element.vt);
    std::memcpy(&element.llVal, raw + 8, sizeof element.llVal);
    switch (element.vt) {
        case VT_I2:
            return element.iVal;
        case VT_BOOL:
            return element.boolVal;
        case VT_UI1:
            return element.bVal;
        case VT_I4:
        case VT_R4:
        case VT_R8:
            return FloatOf(element);
        default:
            return 0.0f;  // a pointer to a text or object of the process that wrote it
    }
}

template <class Stored, class Put>
void EachOf(const std::byte* element, std::size_t count, Put put) {
    for (std::size_t at = 0; at < count; ++at, element += sizeof(Stored)) {
        Stored value;
        std::memcpy(&value, element, sizeof value);
        put(at, double{value});
    }
}

// Calls put(index, value) for the first elements. A 64-bit float holds every number of the stored types exactly.
template <class Put>
void EachNumber(const StoredArray& array, std::size_t count, Put put) {
    const std::size_t size = StoredArray::ElementSize(array.Type());
    std::vector<std::byte> copied;
    if (array.InFile()) {
        copied.resize(count * size);
        array.CopyTo(copied);
    }
    const std::byte* elements = array.InFile() ? copied.data() : array.Elements().data();
    if (array.Type() == VT_R4)
        EachOf<float>(elements, count, put);
    else if (array.Type() == VT_R8)
        EachOf<double>(elements, count, put);
    else
        for (std::size_t at = 0; at < count; ++at) put(at, double{FloatOfRawVariant(elements + at * size)});
}

Variant Copied(const StoredArray& stored) {
    OwnedArray array = MakeArray(stored.Type(), stored.Shape(), Elements::ToFill);
    stored.CopyTo(ElementsOf<std::byte>(array, stored.ByteSize()));
    return Variant::FromArray(stored.Type(), array.release());
}

Variant Texts(const StoredArray& stored) {
    OwnedArray array = MakeArray(VT_BSTR, stored.Shape());
    const auto elements = ElementsOf<BSTR>(array, stored.Count());
    for (std::size_t at = 0; at < elements.size(); ++at)
        if (const auto& text = stored.Texts()[at]) elements[at] = Bstr(*text).Detach();
    return Variant::FromArray(VT_BSTR, array.release());
}

// Converts as many elements as `elements` has room for.
template <class T>
void ConvertElementsOut(const StoredArray& stored, std::span<T> elements) {
    EachNumber(stored, elements.size(), [out = elements.data()](std::size_t at, double value) {
        if constexpr (std::is_same_v<T, VARIANT>) {
            out[at].vt = VT_R4;
            out[at].fltVal = static_cast<float>(value);
        } else if constexpr (std::is_same_v<T, BYTE>) {
            out[at] = value > 0.0 ? static_cast<BYTE>(std::min(value, 255.0)) : BYTE{0};  // NaN is not above 0
        } else {
            out[at] = static_cast<T>(value);
        }
    });
}

Dimensions FromZero(Shape shape) {
    Dimensions made;
    for (const Dimension& each : shape) made.Add({each.cElements, 0});
    return made;
}

template <class T>
Variant Converted(const StoredArray& stored, VARTYPE type, Shape dimensions) {
    OwnedArray array = MakeArray(type, dimensions);
    ConvertElementsOut(stored, ElementsOf<T>(array, stored.Count()));
    return Variant::FromArray(type, array.release());
}

// To LX_R4, LX_R8, LX_VT or LX_UI1; texts stay texts. Not in its caller, so that copying stays short.
[[gnu::noinline]] Variant Converted(const StoredArray& stored, LONG type) {
    if (stored.Type() == VT_BSTR) return Texts(stored);
    switch (type) {
        case LX_R8:
            return Converted<double>(stored, VT_R8, FromZero(stored.Shape()));
        case LX_VT:
            return Converted<VARIANT>(stored, VT_VARIANT, FromZero(stored.Shape()));
        case LX_R4:
            return Converted<float>(stored, VT_R4, stored.Shape());
        default:
            return Converted<BYTE>(stored, VT_UI1, stored.Shape());
    }
}

// The most rows of arrays that have elements, and of those that have rows and no channels.
struct RowCounts {
    std::size_t filled = 0, empty = 0;
};

RowCounts RowsOf(std::span<const ArraySlot> columns) {
    RowCounts counts;
    for (const ArraySlot& column : columns) {
        std::size_t& most = column->Count() != 0 ? counts.filled : counts.empty;
        most = std::max<std::size_t>(most, column->Shape()[0].cElements);
    }
    return counts;
}

// The element type and the number of elements in each dimension.
Variant ShapeAlone(VARTYPE type, Shape shape) {
    OwnedArray array = MakeArray(VT_I4, Dimensions{{static_cast<ULONG>(shape.size() + 1), 0}});
    const auto numbers = ElementsOf<LONG>(array, shape.size() + 1);
    numbers[0] = type;
    std::ranges::transform(shape, numbers.begin() + 1,
                           [](const Dimension& each) { return static_cast<LONG>(each.cElements); });
    return Variant::FromArray(VT_I4, array.release());
}

template <class T>
Variant SideBySide(std::span<const ArraySlot> columns, VARTYPE type) {
    const RowCounts counts = RowsOf(columns);
    std::size_t rows = counts.filled;
    if (counts.empty > rows) {
        if (counts.empty > kMostForEmptyRows / sizeof(T) / columns.size()) throw Failure(E_OUTOFMEMORY);
        rows = counts.empty;
    }
    OwnedArray array =
        MakeArray(type, Dimensions{{static_cast<ULONG>(rows), 0}, {static_cast<ULONG>(columns.size()), 0}});
    const auto elements = ElementsOf<T>(array, rows * columns.size());
    for (std::size_t column = 0; column < columns.size(); ++column) {
        const StoredArray& stored = *columns[column];
        const std::size_t count = std::min<std::size_t>(stored.Shape()[0].cElements, stored.Count());
        const auto into = elements.subspan(column * rows, count);
        if (std::is_same_v<T, float> && stored.Type() == VT_R4)
            stored.CopyTo(std::as_writable_bytes(into));
        else
            ConvertElementsOut(stored, into);
    }
    return Variant::FromArray(type, array.release());
}

}  // namespace

void ConvertArrayIn(const VARIANT& value, ArraySlot& slot, LONG channels, ByteSpool* spool) {
    if (value.vt == VT_EMPTY) {
        slot = nullptr;
        return;
    }
    if ((value.vt & VT_ARRAY) == 0) throw Failure(Message::NotAnArray);
    if ((value.vt & VT_BYREF) != 0) throw Failure(Message::ElementType);
    if (!value.parray) throw Failure(Message::NotAnArray);
    Dimensions dimensions = DimensionsOf(value.parray);
    CheckShape(dimensions, channels);

    const auto type = static_cast<VARTYPE>(value.vt & ~VT_ARRAY);
    CheckType(value.parray, type);
    if (type == VT_R4 || type == VT_UI1) {
        const Access access(value.parray);
        const auto elements = access.As<const std::byte>(StoredArray::SizeOf(type, dimensions));
        slot = Kept(type, dimensions, elements, spool);
        return;
    }
    for (Dimension& dimension : dimensions) dimension.lLbound = 0;
    const Ref<StoredArray> made = StoredArray::Make(VT_R4, dimensions);
    const std::span<std::byte> elements = made->Room();
    switch (type) {
        case VT_R8:
            ConvertElements<double>(value.parray, elements, [](double element) { return static_cast<float>(element); });
            break;
        case VT_I4:
            ConvertElements<LONG>(value.parray, elements, [](LONG element) { return static_cast<float>(element); });
            break;
        default:
            ConvertElements<VARIANT>(value.parray, elements, FloatOf);
            break;
    }
    if (std::shared_ptr<const ByteSource> spooled = spool ? spool->Put(elements) : nullptr)
        slot = StoredArray::Make(VT_R4, dimensions, std::move(spooled), 0);
    else
        slot = made;
}

Variant ConvertArrayOut(const ArraySlot& slot, LONG type) {
    if (!slot) return {};
    const StoredArray& stored = *slot;
    if (type == kShapesAlone) return ShapeAlone(stored.Type(), stored.Shape());
    if (type != LX_R4 && type != LX_R8 && type != LX_VT && type != LX_UI1) return {};
    const VARTYPE own = stored.Type();
    return own == VT_UI1 || (own == VT_R4 && type == LX_R4) ? Copied(stored) : Converted(stored, type);
}

Variant ConvertSideBySide(std::span<const ArraySlot> columns, LXArray type) {
    for (const ArraySlot& column : columns) {
        if (!column) throw Failure(Message::NotAnArray);
        if (column->Type() == VT_UI1 || column->Type() == VT_BSTR) throw Failure(Message::ElementType);
    }
    if (type == kShapesAlone) {
        const RowCounts counts = RowsOf(columns);
        const auto rows = static_cast<ULONG>(std::max(counts.filled, counts.empty));
        return ShapeAlone(VT_R4, Dimensions{{rows, 0}, {static_cast<ULONG>(columns.size()), 0}});
    }
    switch (type) {
        case LX_R4:
            return SideBySide<float>(columns, VT_R4);
        case LX_R8:
            return SideBySide<double>(columns, VT_R8);
        case LX_VT:
            return SideBySide<VARIANT>(columns, VT_VARIANT);
        default:
            throw Failure(E_INVALIDARG);
    }
}

}  // namespace lumvex::inside
