#include "module/values.hpp"

#include <pybind11/numpy.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <vector>

#include "module/calls.hpp"
#include "module/enumerator.hpp"
#include "read_real.hpp"

namespace lumvex::python {

namespace {

constexpr bool IsSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xE000; }

// ---- numbers ----

// The shortest decimal number that is this float: 0.1f is 0.1 in Python, not 0.10000000149011612. Putting it back gives
// the same float.
double Shortest(float value) {
    if (!std::isfinite(value)) return value;
    char text[32];
    const auto written = std::to_chars(std::begin(text), std::end(text), value);
    double shortest = value;
    inside::ReadReal(std::begin(text), written.ptr, shortest);
    return shortest;
}

// A number as the enumeration's member, where it is one of them.
py::object Enumerated(const EnumerationDescription& enumeration, long value);

// ---- dates ----

constexpr double kMicrosecondsOfDay = 86400e6;

// The day of Python's calendar, 1 for 1 January of the year 1, of 30 December 1899.
constexpr long kFirstDay = 693594, kLastDay = 3652059;

// Before that day the time of day counts up while the days count down. The number of days holds microseconds as far as
// its digits go: what is less than ten of them from a whole second is one.
py::object ToDatetime(DATE date) {
    const double days = std::trunc(date);
    double microseconds = std::round(std::abs(date - days) * kMicrosecondsOfDay), day = days + kFirstDay;
    const double second = std::round(microseconds / 1e6) * 1e6;
    if (std::abs(microseconds - second) < 10) microseconds = second;
    if (microseconds >= kMicrosecondsOfDay) {
        microseconds = 0;
        ++day;
    }
    if (!std::isfinite(date) || day < 1 || day > kLastDay) return py::float_(date);
    static const auto* const module = new py::module_(py::module_::import("datetime"));
    const auto midnight = module->attr("datetime").attr("fromordinal")(static_cast<long>(day));
    return midnight + module->attr("timedelta")(0, 0, static_cast<long long>(microseconds));
}

// Local time, as documents have it; a datetime with a time zone is converted.
DATE ToDate(py::handle value) {
    if (PyFloat_Check(value.ptr()) || PyLong_Check(value.ptr())) return value.cast<double>();
    if (!py::hasattr(value, "toordinal")) throw py::type_error("expected a datetime or a number of days");
    py::object local = py::reinterpret_borrow<py::object>(value);
    if (!py::getattr(value, "tzinfo", py::none()).is_none()) local = value.attr("astimezone")();
    const long days = local.attr("toordinal")().cast<long>() - kFirstDay;
    double time = 0;
    if (py::hasattr(local, "hour"))
        time = ((local.attr("hour").cast<int>() * 60 + local.attr("minute").cast<int>()) * 60 +
                local.attr("second").cast<int>()) *
                   1e6 +
               local.attr("microsecond").cast<int>();
    time /= kMicrosecondsOfDay;
    return days < 0 ? static_cast<double>(days) - time : static_cast<double>(days) + time;
}

// ---- arrays ----

std::size_t LengthOf(SAFEARRAY* array, UINT dimension) {
    LONG lower = 0, upper = -1;
    Check(SafeArrayGetLBound(array, dimension, &lower));
    Check(SafeArrayGetUBound(array, dimension, &upper));
    return static_cast<std::size_t>(std::int64_t{upper} - lower + 1);
}

void* ElementsOf(SAFEARRAY* array) {
    void* data = nullptr;
    Check(SafeArrayAccessData(array, &data));
    SafeArrayUnaccessData(array);
    return data;
}

// An element of an array of texts or of anything.
py::object ElementToPython(const VARIANT& element) {
    switch (element.vt) {
        case VT_BSTR:
            return ToPython(TextOf(element.bstrVal));
        case VT_R4:
            return py::float_(Shortest(element.fltVal));
        case VT_R8:
            return py::float_(element.dblVal);
        case VT_I2:
            return py::int_(element.iVal);
        case VT_I4:
            return py::int_(element.lVal);
        case VT_BOOL:
            return py::bool_(element.boolVal != 0);
        default:
            return py::none();
    }
}

// Numbers keep the memory that the library handed out; it is the caller's own and nobody else writes to it.
py::object ToArray(Variant value) {
    SAFEARRAY* const array = value.parray;
    const auto type = static_cast<VARTYPE>(value.vt & ~VT_ARRAY);
    const UINT dimensions = SafeArrayGetDim(array);
    std::vector<std::size_t> shape;
    for (UINT each = 1; each <= dimensions; ++each) shape.push_back(LengthOf(array, each));
    if (shape.size() < 2) shape.resize(2, 1);
    const py::dtype dtype = type == VT_R4    ? py::dtype::of<float>()
                            : type == VT_R8  ? py::dtype::of<double>()
                            : type == VT_UI1 ? py::dtype::of<std::uint8_t>()
                                             : py::dtype("O");
    std::vector<py::ssize_t> strides;
    py::ssize_t stride = dtype.itemsize();
    for (const std::size_t each : shape) {
        strides.push_back(stride);
        stride *= static_cast<py::ssize_t>(std::max<std::size_t>(each, 1));
    }
    if (dtype.kind() != 'O') {
        auto owned = std::make_unique<Variant>(std::move(value));
        const py::capsule owner(owned.get(), [](void* variant) { delete static_cast<Variant*>(variant); });
        static_cast<void>(owned.release());  // the capsule's from here on
        return py::array(dtype, shape, strides, ElementsOf(array), owner);
    }
    std::size_t count = 1;
    for (const std::size_t each : shape) count *= each;
    py::list elements;
    for (std::size_t at = 0; at < count; ++at) {
        if (type == VT_VARIANT) {
            elements.append(ElementToPython(static_cast<const VARIANT*>(ElementsOf(array))[at]));
        } else if (type == VT_BSTR) {
            elements.append(ToPython(TextOf(static_cast<BSTR*>(ElementsOf(array))[at])));
        } else {
            ThrowError(Error(DISP_E_TYPEMISMATCH, "an array of elements that Python has no type for"));
        }
    }
    const py::module_ numpy = py::module_::import("numpy");
    const bool isNumbers = type == VT_VARIANT && std::all_of(elements.begin(), elements.end(), [](py::handle each) {
                               return PyFloat_Check(each.ptr()) != 0;
                           });
    const py::object made = numpy.attr("array")(elements, isNumbers ? py::dtype::of<double>() : dtype);
    py::list lengths;
    for (const std::size_t each : shape) lengths.append(each);
    return made.attr("reshape")(lengths, py::arg("order") = "F");
}

Variant FromBytes(const void* data, std::size_t size) {
    SAFEARRAYBOUND bound{static_cast<ULONG>(size), 0};
    SAFEARRAY* const array = CreateArrayToFill(VT_UI1, 1, &bound);
    if (!array) throw std::bad_alloc();
    Variant made = Variant::FromArray(VT_UI1, array);
    if (size > 0) std::memcpy(ElementsOf(array), data, size);
    return made;
}

// Anything that numpy makes an array of: rows and columns, or one column.
Variant FromArrayLike(py::handle value) {
    if (PyBytes_Check(value.ptr()) || PyByteArray_Check(value.ptr())) {
        const py::buffer_info bytes = py::reinterpret_borrow<py::buffer>(value).request();
        if (bytes.size > std::numeric_limits<LONG>::max()) throw py::value_error("too many bytes for one array");
        return FromBytes(bytes.ptr, static_cast<std::size_t>(bytes.size));
    }
    const py::module_ numpy = py::module_::import("numpy");
    const py::array given = numpy.attr("asarray")(value);
    if (given.ndim() < 1 || given.ndim() > 2)
        throw py::value_error("an array has rows and columns, or is one column; this one has " +
                              std::to_string(given.ndim()) + " dimensions");
    const char kind = given.dtype().kind();
    if (std::string_view("fiub").find(kind) == std::string_view::npos)
        throw py::type_error("an array of numbers is wanted, not of " + std::string(py::str(given.dtype())));
    const bool isBytes = kind == 'u' && given.itemsize() == 1;
    const bool isSingle = kind == 'f' && given.itemsize() <= 4;
    const VARTYPE type = isBytes ? VT_UI1 : isSingle ? VT_R4 : VT_R8;
    const auto rows = given.shape(0), columns = given.ndim() == 2 ? given.shape(1) : 1;
    if (rows > std::numeric_limits<LONG>::max() || columns > std::numeric_limits<LONG>::max())
        throw py::value_error("an array has at most 2147483647 rows and columns");
    // One column is an array of one dimension, but for a single value, which the model takes only in two.
    SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(rows), 0}, {static_cast<ULONG>(columns), 0}};
    SAFEARRAY* const array = CreateArrayToFill(type, columns == 1 && rows != 1 ? 1 : 2, bounds);
    if (!array) throw std::bad_alloc();
    Variant made = Variant::FromArray(type, array);
    if (rows == 0 || columns == 0) return made;
    const py::dtype dtype = isBytes    ? py::dtype::of<std::uint8_t>()
                            : isSingle ? py::dtype::of<float>()
                                       : py::dtype::of<double>();
    const py::ssize_t size = dtype.itemsize();
    std::vector<py::ssize_t> shape{rows}, strides{size};
    if (given.ndim() == 2) {
        shape.push_back(columns);
        strides.push_back(size * rows);
    }
    // A view on the array's memory: numpy copies there from whatever strides, order and type it was given.
    const py::array view(dtype, shape, strides, ElementsOf(array), py::capsule(array, [](void*) {}));
    numpy.attr("copyto")(view, given, py::arg("casting") = "unsafe");
    return made;
}

// ---- numbers and enumerations ----

std::map<const EnumerationDescription*, py::dict*>& Enumerations() {
    static auto* const all = new std::map<const EnumerationDescription*, py::dict*>;
    return *all;
}

py::object Enumerated(const EnumerationDescription& enumeration, long value) {
    const auto found = Enumerations().find(&enumeration);
    if (found == Enumerations().end()) return py::int_(value);
    py::int_ number(value);
    PyObject* const member = PyDict_GetItemWithError(found->second->ptr(), number.ptr());
    if (member) return py::reinterpret_borrow<py::object>(member);
    if (!enumeration.isCombined) return number;
    const py::handle type = reinterpret_cast<PyObject*>(Py_TYPE((*found->second->begin()).second.ptr()));
    return type(number);
}

// Any number from the range of the type.
Variant FromWhole(py::handle value, std::string_view type) {
    const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    if (!number) throw py::error_already_set();
    int overflow = 0;
    const long long whole = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
    const long long lowest = type == "SHORT" ? std::numeric_limits<SHORT>::min() : std::numeric_limits<LONG>::min();
    const long long highest = type == "SHORT" ? std::numeric_limits<SHORT>::max() : std::numeric_limits<LONG>::max();
    if (overflow != 0 || whole < lowest || whole > highest) {
        PyErr_Format(PyExc_OverflowError, "a whole number from %lld to %lld is wanted, not %R", lowest, highest,
                     number.ptr());
        throw py::error_already_set();
    }
    return Variant::FromLong(static_cast<LONG>(whole));
}

Variant FromWord(const EnumerationDescription& enumeration, const std::string& word) {
    if (const ValueDescription* found = enumeration.OfWord(word))
        return Variant::FromLong(static_cast<LONG>(found->value));
    std::string words;
    for (const ValueDescription& each : enumeration.values)
        if (!each.word.empty()) words += (words.empty() ? "" : ", ") + std::string(each.word);
    throw py::value_error("'" + word + "' is none of the words of " + std::string(enumeration.name) + ": " + words);
}

}  // namespace

void SetEnumeration(const EnumerationDescription& described, py::dict members) {
    Enumerations()[&described] = new py::dict(std::move(members));
}

py::str ToPython(std::u16string_view text) {
    PyObject* const made =
        std::ranges::any_of(text, IsSurrogate)
            ? PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(text.data()),
                                    static_cast<Py_ssize_t>(text.size() * sizeof(char16_t)), "surrogatepass", nullptr)
            : PyUnicode_FromKindAndData(PyUnicode_2BYTE_KIND, text.data(), static_cast<Py_ssize_t>(text.size()));
    if (!made) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(made);
}

Bstr ToBstr(PyObject* text) {
    if (!PyUnicode_Check(text)) {
        PyErr_Format(PyExc_TypeError, "a str is wanted, not %s", Py_TYPE(text)->tp_name);
        throw py::error_already_set();
    }
    const auto encode = [&] { return PyUnicode_AsEncodedString(text, "utf-16-le", "surrogatepass"); };
    const auto units = py::reinterpret_steal<py::bytes>(encode());
    if (!units) throw py::error_already_set();
    const std::string_view bytes = units;
    std::u16string copied(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(copied.data(), bytes.data(), copied.size() * sizeof(char16_t));
    return Bstr(copied);
}

py::object ToPython(Variant value, const PublishedMember& member, const std::shared_ptr<OpenDocument>& document) {
    if (value.vt & VT_ARRAY) return ToArray(std::move(value));
    switch (value.vt) {
        case VT_I2:
        case VT_I4: {
            const long number = value.vt == VT_I2 ? value.iVal : value.lVal;
            if (member.isTruth) return py::bool_(number != 0);
            if (member.described.enumeration) return Enumerated(*member.described.enumeration, number);
            return py::int_(number);
        }
        case VT_R4:
            return py::float_(Shortest(value.fltVal));
        case VT_R8:
            return py::float_(value.dblVal);
        case VT_DATE:
            return ToDatetime(value.date);
        case VT_BSTR:
            return ToPython(TextOf(value.bstrVal));
        case VT_BOOL:
            return py::bool_(value.boolVal != 0);
        case VT_DISPATCH: {
            const InterfaceDescription* const type = member.described.objectInterface;
            Ref<IDispatch> object = Ref<IDispatch>::Attach(value.pdispVal);
            value.vt = VT_EMPTY;
            return Wrapped(std::move(object), type ? &PublishedOf(*type) : nullptr, document);
        }
        case VT_UNKNOWN:
            return Enumerate(Ref<IUnknown>(value.punkVal), nullptr, document, Yields::Objects);
        default:
            return py::none();
    }
}

Variant ToVariant(py::handle value, std::string_view type, const EnumerationDescription* enumeration) {
    if (type == "BSTR") {
        Variant made;
        made.bstrVal = ToBstr(value.ptr()).Detach();
        made.vt = VT_BSTR;
        return made;
    }
    if (type == "float") {
        const double number = PyFloat_AsDouble(value.ptr());
        if (number == -1 && PyErr_Occurred()) throw py::error_already_set();
        return Variant::FromDouble(number);
    }
    if (type == "DATE") return Variant::FromDate(ToDate(value));
    if (type.ends_with('*')) {
        if (value.is_none()) return Variant::FromDispatch(nullptr);
        return Variant::FromDispatch(PointerOf(HandleIn(value.ptr())).get());
    }
    if (type == "VARIANT") return value.is_none() ? Variant() : FromArrayLike(value);
    if (enumeration && PyUnicode_Check(value.ptr())) return FromWord(*enumeration, value.cast<std::string>());
    return FromWhole(value, type);
}

}  // namespace lumvex::python
