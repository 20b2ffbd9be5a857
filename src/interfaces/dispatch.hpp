// Late binding from the interface tables: names to DISPIDs, and calls by DISPID with their arguments converted to what
// the member takes. The conversions are chosen at compile time from the member's own type.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "lumvex/interfaces.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

// ---- one member ----

struct DispatchParameter {
    const char16_t* name = nullptr;
    bool optional = false;
    LONG defaultValue = 0;
};

// Of one member, in place.
class DispatchParameters {
public:
    constexpr DispatchParameters(std::initializer_list<DispatchParameter> all) : count_(all.size()) {
        std::ranges::copy(all, all_.begin());
    }
    constexpr std::size_t size() const noexcept { return count_; }
    const DispatchParameter* begin() const noexcept { return all_.data(); }
    const DispatchParameter* end() const noexcept { return all_.data() + count_; }
    const DispatchParameter& operator[](std::size_t at) const noexcept { return all_[at]; }

private:
    static constexpr std::size_t kMost = 4;
    std::array<DispatchParameter, kMost> all_{};
    std::size_t count_;
};

// The arguments of one call in the member's own order; null where the caller left one out.
struct DispatchCall {
    IDispatch* object;
    VARIANT* const* arguments;
    const DispatchParameter* parameters;
    VARIANT* result;   // never null; written when the member succeeds, whatever it held before
    HRESULT status;    // of the member
    UINT badArgument;  // position of the argument that a DISP_E_... answer is about
};

// Gets a property without parameters: its status; the result is written when it succeeds, whatever it held before.
using PlainGet = HRESULT (*)(IDispatch* object, VARIANT* result);

struct DispatchRow {
    DISPID id;
    const char16_t* name;
    WORD kind;                       // DISPATCH_METHOD, DISPATCH_PROPERTYGET, DISPATCH_PROPERTYPUT
    DispatchParameters parameters;   // of a put: the value last
    HRESULT (*call)(DispatchCall&);  // S_OK once the member was called, else DISP_E_...
    PlainGet get = nullptr;          // the same member where it is a get without parameters
};

// ---- conversion of arguments and results ----

// The variant behind by-reference variants. What it holds may itself still be a reference.
const VARIANT& Dereferenced(const VARIANT& value) noexcept;

// One converted argument; owns what the conversion made.
template <class T>
class Argument {
public:
    HRESULT Set(const VARIANT& given) {
        const VARIANT& value = Dereferenced(given);
        if (value.vt == kType) return Take(value);
        const HRESULT status = VariantChangeType(&converted_, const_cast<VARIANT*>(&value), 0, kType);
        return FAILED(status) ? status : Take(converted_);
    }
    void SetDefault(LONG value) { value_ = static_cast<T>(value); }
    T Value() const { return value_; }

private:
    static constexpr VARTYPE kType = std::is_same_v<T, float>    ? VT_R4
                                     : std::is_same_v<T, double> ? VT_R8
                                     : std::is_same_v<T, SHORT>  ? VT_I2
                                                                 : VT_I4;
    HRESULT Take(const VARIANT& value) {
        if constexpr (kType == VT_R4)
            value_ = value.fltVal;
        else if constexpr (kType == VT_R8)
            value_ = value.dblVal;
        else if constexpr (kType == VT_I2)
            value_ = value.iVal;
        else
            value_ = static_cast<T>(value.lVal);
        return S_OK;
    }
    Variant converted_;
    T value_{};
};

template <>
class Argument<BSTR> {
public:
    HRESULT Set(const VARIANT& given) {
        const VARIANT& value = Dereferenced(given);
        if (value.vt == VT_BSTR) {
            value_ = value.bstrVal;
            return S_OK;
        }
        const HRESULT status = VariantChangeType(&converted_, const_cast<VARIANT*>(&value), 0, VT_BSTR);
        if (SUCCEEDED(status)) value_ = converted_.bstrVal;
        return status;
    }
    void SetDefault(LONG) {}
    BSTR Value() const { return value_; }

private:
    Variant converted_;
    BSTR value_ = nullptr;
};

// A variant crosses as it is, but for the references around it: late-bound callers pass those for any variable.
template <>
class Argument<VARIANT> {
public:
    HRESULT Set(const VARIANT& given);
    void SetDefault(LONG) {}
    VARIANT Value() const { return value_; }

private:
    VARIANT value_{};  // borrows what the caller's variant holds
    Variant copied_;
};

template <class I>
class Argument<I*> {
public:
    HRESULT Set(const VARIANT& given) {
        const VARIANT& value = Dereferenced(given);
        IUnknown* object = nullptr;
        switch (value.vt) {
            case VT_EMPTY:
            case VT_NULL:
                return S_OK;
            case VT_DISPATCH:
                object = value.pdispVal;
                break;
            case VT_UNKNOWN:
                object = value.punkVal;
                break;
            case VT_DISPATCH | VT_BYREF:
                object = value.ppdispVal ? *value.ppdispVal : nullptr;
                break;
            case VT_UNKNOWN | VT_BYREF:
                object = value.ppunkVal ? *value.ppunkVal : nullptr;
                break;
            default:
                return DISP_E_TYPEMISMATCH;
        }
        if (!object) return S_OK;
        return FAILED(object->QueryInterface(kIidOf<I>, reinterpret_cast<void**>(value_.Out()))) ? DISP_E_TYPEMISMATCH
                                                                                                 : S_OK;
    }
    void SetDefault(LONG) {}
    I* Value() const { return value_.get(); }

private:
    Ref<I> value_;
};

// Room for a member's result and the variant it becomes.
template <class T>
void Deliver(T value, bool isDate, VARIANT* result) {
    if constexpr (std::is_same_v<T, BSTR>) {
        result->vt = VT_BSTR;
        result->bstrVal = value;
    } else if constexpr (std::is_same_v<T, VARIANT>) {
        *result = value;
    } else if constexpr (std::is_pointer_v<T>) {
        if constexpr (std::is_base_of_v<IDispatch, std::remove_pointer_t<T>>) {
            result->vt = VT_DISPATCH;
            result->pdispVal = value;
        } else {
            result->vt = VT_UNKNOWN;
            result->punkVal = value;
        }
    } else if constexpr (std::is_same_v<T, double>) {
        result->vt = isDate ? VT_DATE : VT_R8;
        result->dblVal = value;
    } else if constexpr (std::is_same_v<T, float>) {
        result->vt = VT_R4;
        result->fltVal = value;
    } else if constexpr (std::is_same_v<T, SHORT>) {
        result->vt = VT_I2;
        result->iVal = value;
    } else {
        result->vt = VT_I4;
        result->lVal = static_cast<LONG>(value);
    }
}

// ---- the call of one member ----

template <class T>
HRESULT Convert(DispatchCall& call, std::size_t position, Argument<T>& into) {
    VARIANT* given = call.arguments[position];
    if (!given) {
        into.SetDefault(call.parameters[position].defaultValue);
        return S_OK;
    }
    const HRESULT status = into.Set(*given);
    if (FAILED(status)) call.badArgument = static_cast<UINT>(position);
    return status;
}

template <auto Member, bool kHasResult, bool kIsDate>
struct Caller;

template <class I, class... Args, HRESULT (STDMETHODCALLTYPE I::*Member)(Args...), bool kHasResult, bool kIsDate>
struct Caller<Member, kHasResult, kIsDate> {
    static HRESULT Call(DispatchCall& call) {
        constexpr std::size_t inputs = sizeof...(Args) - (kHasResult ? 1 : 0);
        return With(call, std::make_index_sequence<inputs>());
    }
    static HRESULT Get(IDispatch* object, VARIANT* result) {
        return Received([object](auto* value) { return (static_cast<I*>(object)->*Member)(value); }, result);
    }
    // Null where the member has parameters.
    static constexpr PlainGet PlainGetOf() {
        if constexpr (kHasResult && sizeof...(Args) == 1) return &Get;
        return nullptr;
    }

private:
    template <std::size_t At>
    using Nth = std::tuple_element_t<At, std::tuple<Args...>>;

    template <std::size_t... At>
    static HRESULT With(DispatchCall& call, std::index_sequence<At...>) {
        [[maybe_unused]] std::tuple<Argument<Nth<At>>...> arguments;
        HRESULT status = S_OK;
        [[maybe_unused]] const bool converted = (... && SUCCEEDED(status = Convert(call, At, std::get<At>(arguments))));
        if (FAILED(status)) return status;
        I* object = static_cast<I*>(call.object);
        if constexpr (kHasResult) {
            call.status = Received(
                [&](auto* value) { return (object->*Member)(std::get<At>(arguments).Value()..., value); }, call.result);
        } else {
            call.status = (object->*Member)(std::get<At>(arguments).Value()...);
            if (SUCCEEDED(call.status)) *call.result = VARIANT{};
        }
        return S_OK;
    }

    template <class Ask>
    static HRESULT Received(Ask&& ask, VARIANT* result) {
        std::remove_pointer_t<Nth<sizeof...(Args) - 1>> value{};
        const HRESULT status = ask(&value);
        if (FAILED(status)) return status;
        *result = VARIANT{};
        Deliver(value, kIsDate, result);
        return status;
    }
};

// ---- one interface ----

// Made in static storage, without memory that could run out and without a destructor: a client's static objects may
// still be calling when the process ends.
class DispatchTable {
public:
    // The table of a published interface, its bases' members included; made on first use.
    template <class I>
    static const DispatchTable& Of() noexcept;

    HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const noexcept;
    HRESULT Invoke(IDispatch* object, DISPID id, REFIID reserved, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                   EXCEPINFO* exception, UINT* badArgument) const {
        // Most calls get a property without parameters: there is nothing to convert, and nothing to fail before the
        // member.
        const auto slot = static_cast<std::size_t>(id);
        const PlainGet get = slot < room_.plainGets.size() ? room_.plainGets[slot] : nullptr;
        if (!get || !(flags & (DISPATCH_PROPERTYGET | DISPATCH_METHOD)) || !parameters || parameters->cArgs != 0 ||
            parameters->cNamedArgs != 0 || !result || !IsNull(reserved))
            return InvokeAny(object, id, reserved, flags, parameters, result, exception, badArgument);
        SetErrorInfo(0, nullptr);
        const HRESULT status = get(object, result);
        return SUCCEEDED(status) ? status : Failed(status, exception);
    }

    bool HasMember(DISPID id) const noexcept;

protected:
    // Where a table keeps its rows and what it finds them by; as large as its interface needs.
    struct Room {
        std::span<const DispatchRow*> rows;   // by DISPID, then kind
        std::span<std::int16_t> first;        // of each DISPID from 0 on: its first row, or -1
        std::span<PlainGet> plainGets;        // of each DISPID: its get without parameters, or null
        std::span<const DispatchRow*> names;  // behind the hash of each name its row; a power of two, most of it empty
    };
    // The rows of the bases come first.
    DispatchTable(const DispatchTable* base, std::span<const DispatchRow> own, const Room& room) noexcept;

private:
    static bool IsNull(REFIID iid) noexcept {
        std::uint64_t halves[2];
        static_assert(sizeof halves == sizeof iid);
        std::memcpy(halves, &iid, sizeof iid);
        return (halves[0] | halves[1]) == 0;
    }
    HRESULT InvokeAny(IDispatch* object, DISPID id, REFIID reserved, WORD flags, DISPPARAMS* parameters,
                      VARIANT* result, EXCEPINFO* exception, UINT* badArgument) const;
    static HRESULT Failed(HRESULT status, EXCEPINFO* exception);
    static HRESULT CallWithArguments(const DispatchRow& row, const DISPPARAMS& parameters, DispatchCall& call,
                                     UINT* badArgument);
    const DispatchRow* Find(DISPID id, WORD flags) const noexcept;

    const DispatchRow*& PlaceOf(std::u16string_view name) const noexcept;  // the name's own, or an empty one

    Room room_;
};

// The places come before the table that is filled into them.
template <std::size_t kMembers, std::size_t kIds>
struct DispatchPlaces {
    std::array<const DispatchRow*, kMembers> rows{};
    std::array<std::int16_t, kIds> first{};
    std::array<PlainGet, kIds> plainGets{};
    std::array<const DispatchRow*, std::bit_ceil(2 * kMembers)> names{};
};

// A table with room for kMembers of the interface and its bases, and for kIds DISPIDs from 0 on.
template <std::size_t kMembers, std::size_t kIds>
class DispatchTableOf : DispatchPlaces<kMembers, kIds>, public DispatchTable {
public:
    DispatchTableOf(const DispatchTable* base, std::span<const DispatchRow> own) noexcept
        : DispatchTable(base, own, Room{this->rows, this->first, this->plainGets, this->names}) {}
};

}  // namespace lumvex::inside
