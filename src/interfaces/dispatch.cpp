#include "interfaces/dispatch.hpp"

#include <algorithm>
#include <bit>

namespace lumvex::inside {

namespace {

constexpr UINT kMostArguments = 16;

bool IsLeftOut(const VARIANT& value) noexcept { return value.vt == VT_ERROR && value.scode == DISP_E_PARAMNOTFOUND; }

// What a failing member left for its caller. Texts are read only from error information that the member itself set.
void Describe(HRESULT status, EXCEPINFO* exception) {
    if (!exception) return;
    *exception = EXCEPINFO{};
    exception->scode = status;
    Ref<IErrorInfo> info;
    if (GetErrorInfo(0, info.Out()) != S_OK || !info) return;
    info->GetSource(&exception->bstrSource);
    info->GetDescription(&exception->bstrDescription);
    info->GetHelpFile(&exception->bstrHelpFile);
    info->GetHelpContext(&exception->dwHelpContext);
}

}  // namespace

const VARIANT& Dereferenced(const VARIANT& value) noexcept {
    const VARIANT* inner = &value;
    while (inner->vt == (VT_VARIANT | VT_BYREF) && inner->pvarVal) inner = inner->pvarVal;
    return *inner;
}

HRESULT Argument<VARIANT>::Set(const VARIANT& given) {
    value_ = Dereferenced(given);
    if ((value_.vt & VT_BYREF) == 0) return S_OK;
    if ((value_.vt & VT_ARRAY) == 0) {
        const HRESULT status = VariantCopyInd(&copied_, &value_);
        value_ = copied_;
        return status;
    }
    if (!value_.pparray) return DISP_E_TYPEMISMATCH;
    SAFEARRAY* array = *value_.pparray;  // not copied: it may be large, and it outlives the call
    value_.vt = static_cast<VARTYPE>(value_.vt & ~VT_BYREF);
    value_.parray = array;
    return S_OK;
}

DispatchTable::DispatchTable(const DispatchTable* base, std::span<const DispatchRow> own, const Room& room) noexcept
    : room_(room) {
    auto end = room_.rows.begin();
    // A stable order: where a name is declared again, the more derived interface's row is found.
    const auto insert = [&](const DispatchRow& row) {
        const auto order = [](const DispatchRow* each) { return std::pair(each->id, each->kind); };
        const auto place = std::ranges::upper_bound(room_.rows.begin(), end, order(&row), {}, order);
        std::move_backward(place, end, end + 1);
        *place = &row;
        ++end;
    };
    if (base)
        for (const DispatchRow* row : base->room_.rows) insert(*row);
    for (const DispatchRow& row : own) insert(row);
    std::ranges::fill(room_.first, std::int16_t{-1});
    for (std::size_t at = 0; at < room_.rows.size(); ++at) {
        const DispatchRow& row = *room_.rows[at];
        const DispatchRow*& named = PlaceOf(row.name);
        if (!named) named = &row;
        const auto slot = static_cast<std::size_t>(row.id);
        if (row.id < 0 || room_.first[slot] >= 0) continue;
        room_.first[slot] = static_cast<std::int16_t>(at);
        room_.plainGets[slot] = row.get;
    }
}

const DispatchRow*& DispatchTable::PlaceOf(std::u16string_view name) const noexcept {
    const std::size_t last = room_.names.size() - 1;
    std::size_t place = HashNoCase(name) & last;
    while (room_.names[place] && CompareNoCase(room_.names[place]->name, name) != 0) place = (place + 1) & last;
    return room_.names[place];
}

const DispatchRow* DispatchTable::Find(DISPID id, WORD flags) const noexcept {
    std::size_t at = 0;
    if (id >= 0) {
        const auto slot = static_cast<std::size_t>(id);
        if (slot >= room_.first.size() || room_.first[slot] < 0) return nullptr;
        at = static_cast<std::size_t>(room_.first[slot]);
    }
    // Script hosts ask for a property as if it were a method, and put objects by reference.
    WORD accepted = flags;
    if ((flags & DISPATCH_METHOD) != 0) accepted |= DISPATCH_PROPERTYGET;
    if ((flags & DISPATCH_PROPERTYPUTREF) != 0) accepted |= DISPATCH_PROPERTYPUT;
    for (; at < room_.rows.size() && room_.rows[at]->id <= id; ++at) {
        const DispatchRow* row = room_.rows[at];
        if (row->id == id && (row->kind & accepted) != 0) return row;
    }
    return nullptr;
}

bool DispatchTable::HasMember(DISPID id) const noexcept {
    return Find(id, DISPATCH_METHOD | DISPATCH_PROPERTYGET | DISPATCH_PROPERTYPUT) != nullptr;
}

HRESULT DispatchTable::GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const noexcept {
    if (!names || !ids) return E_POINTER;
    if (count == 0) return S_OK;
    std::fill_n(ids, count, DISPID_UNKNOWN);
    const auto view = [](LPOLESTR text) {
        return text ? std::u16string_view(reinterpret_cast<const char16_t*>(text),
                                          std::char_traits<OLECHAR>::length(text))
                    : std::u16string_view();
    };
    const DispatchRow* member = PlaceOf(view(names[0]));
    if (!member) return DISP_E_UNKNOWNNAME;
    ids[0] = member->id;
    HRESULT status = S_OK;
    const auto& parameters = member->parameters;
    for (UINT at = 1; at < count; ++at) {
        const auto found = std::ranges::find_if(parameters, [&](const DispatchParameter& parameter) {
            return CompareNoCase(parameter.name, view(names[at])) == 0;
        });
        if (found == parameters.end())
            status = DISP_E_UNKNOWNNAME;
        else
            ids[at] = static_cast<DISPID>(found - parameters.begin());
    }
    return status;
}

HRESULT DispatchTable::InvokeAny(IDispatch* object, DISPID id, REFIID reserved, WORD flags, DISPPARAMS* parameters,
                                 VARIANT* result, EXCEPINFO* exception, UINT* badArgument) const {
    if (!IsEqualGUID(reserved, GUID_NULL)) return DISP_E_UNKNOWNINTERFACE;
    if (!parameters) return E_POINTER;
    const DispatchRow* row = Find(id, flags);
    if (!row) return DISP_E_MEMBERNOTFOUND;
    DispatchCall call{object, nullptr, nullptr, result, S_OK, 0};
    const HRESULT status = CallWithArguments(*row, *parameters, call, badArgument);
    if (FAILED(status)) return status;
    return SUCCEEDED(call.status) ? call.status : Failed(call.status, exception);
}

HRESULT DispatchTable::Failed(HRESULT status, EXCEPINFO* exception) {
    Describe(status, exception);
    return DISP_E_EXCEPTION;
}

// DISP_E_... where the arguments do not fit the member, which is not called then.
HRESULT DispatchTable::CallWithArguments(const DispatchRow& row, const DISPPARAMS& parameters, DispatchCall& call,
                                         UINT* badArgument) {
    // Positional arguments stand in reverse order behind the named ones; the value of a put is the one that is named.
    const auto expected = static_cast<UINT>(row.parameters.size());
    if (parameters.cArgs > expected || parameters.cNamedArgs > parameters.cArgs) return DISP_E_BADPARAMCOUNT;
    std::array<VARIANT*, kMostArguments> arguments;
    std::array<UINT, kMostArguments> places;  // each argument's place in the caller's array
    std::fill_n(arguments.begin(), expected, nullptr);
    const auto place = [&](UINT position, UINT at) {
        if (position >= expected || arguments[position]) return false;
        arguments[position] = &parameters.rgvarg[at];
        places[position] = at;
        return true;
    };
    for (UINT at = 0; at < parameters.cNamedArgs; ++at) {
        const DISPID named = parameters.rgdispidNamedArgs[at];
        const UINT position = named == DISPID_PROPERTYPUT ? expected - 1 : static_cast<UINT>(named);
        if (place(position, at)) continue;
        if (badArgument) *badArgument = at;
        return DISP_E_PARAMNOTFOUND;
    }
    for (UINT at = parameters.cNamedArgs, position = 0; at < parameters.cArgs; ++at, ++position)
        if (!place(position, parameters.cArgs - 1 - (at - parameters.cNamedArgs))) return DISP_E_BADPARAMCOUNT;
    for (UINT position = 0; position < expected; ++position) {
        if (arguments[position] && IsLeftOut(*arguments[position])) arguments[position] = nullptr;
        if (arguments[position] || row.parameters[position].optional) continue;
        return DISP_E_BADPARAMCOUNT;
    }

    SetErrorInfo(0, nullptr);
    Variant unwanted;
    if (!call.result) call.result = unwanted.Out();
    call.arguments = arguments.data();
    call.parameters = row.parameters.begin();
    const HRESULT status = row.call(call);
    if (FAILED(status) && badArgument) *badArgument = places[call.badArgument];
    return status;
}

// ---- the tables ----

// The rows that an interface declares itself, and how much room the table takes that has its bases' as well.
template <class Interface>
struct DispatchMembers;

template <>
struct DispatchMembers<IDispatch> {
    static constexpr std::size_t kRows = 0, kIds = 0;
};

constexpr std::size_t IdsOf(std::span<const DispatchRow> rows, std::size_t ofBase) {
    for (const DispatchRow& row : rows)
        if (row.id >= 0) ofBase = std::max(ofBase, static_cast<std::size_t>(row.id) + 1);
    return ofBase;
}

template <class Interface>
struct DispatchPlaces {
    static constexpr std::size_t kRows = DispatchMembers<Interface>::kRows, kIds = DispatchMembers<Interface>::kIds;
    std::array<const DispatchRow*, kRows> rows{};
    std::array<std::int16_t, kIds> first{};
    std::array<PlainGet, kIds> plainGets{};
    std::array<const DispatchRow*, std::bit_ceil(2 * kRows)> names{};
};

template <class Interface, class Base>
class DispatchTableOf : DispatchPlaces<Interface>, public DispatchTable {
public:
    DispatchTableOf() noexcept : DispatchTable(TableOfBase(), DispatchMembers<Interface>::kOwn, RoomOf(*this)) {}

private:
    static const DispatchTable* TableOfBase() noexcept {
        if constexpr (std::is_same_v<Base, IDispatch>)
            return nullptr;
        else
            return &DispatchTable::Of<Base>();
    }
    static Room RoomOf(DispatchPlaces<Interface>& places) noexcept {
        return {places.rows, places.first, places.plainGets, places.names};
    }
};

#define LX_WIDE(text) u##text
#define LX_PARAMETER_ROW(type, name, ...) \
    DispatchParameter { LX_WIDE(#name), !std::string_view(#__VA_ARGS__).empty(), LONG{__VA_ARGS__} }

#define LX_INTERFACE(name, base, iid, help) \
    template <>                             \
    struct DispatchMembers<::name> {        \
        using Interface = ::name;           \
        using Base = ::base;                \
        static constexpr DispatchRow kOwn[] = {
#define LX_GET(id, name, type, parameters, help)                       \
    {id, LX_WIDE(#name), DISPATCH_PROPERTYGET, {LX_EACH(LX_PARAMETER_ROW, parameters)}, \
     &Caller<&Interface::get_##name, true, std::string_view(#type) == "DATE">::Call, \
     Caller<&Interface::get_##name, true, std::string_view(#type) == "DATE">::PlainGetOf()},
#define LX_PUT(id, name, type, parameters, help)                       \
    {id, LX_WIDE(#name), DISPATCH_PROPERTYPUT, {LX_EACH_BEFORE(LX_PARAMETER_ROW, parameters) {u"newVal", false, 0}}, \
     &Caller<&Interface::put_##name, false, false>::Call},
#define LX_METHOD(id, name, type, parameters, help)                    \
    {id, LX_WIDE(#name), DISPATCH_METHOD, {LX_EACH(LX_PARAMETER_ROW, parameters)}, \
     &Caller<&Interface::name, true, std::string_view(#type) == "DATE">::Call},
#define LX_PARAMETER_TYPE(type, name, ...) type
#define LX_OVERLOAD(id, name, type, parameters, help)                  \
    {id, LX_WIDE(#name), DISPATCH_METHOD, {LX_EACH(LX_PARAMETER_ROW, parameters)}, \
     &Caller<static_cast<HRESULT (STDMETHODCALLTYPE Interface::*)(LX_EACH_BEFORE(LX_PARAMETER_TYPE, parameters) type*)>( \
                 &Interface::name), true, false>::Call},
#define LX_ACTION(id, name, parameters, help)                          \
    {id, LX_WIDE(#name), DISPATCH_METHOD, {LX_EACH(LX_PARAMETER_ROW, parameters)}, \
     &Caller<&Interface::name, false, false>::Call},
#define LX_TEST(id, name, parameters, help) LX_METHOD(id, name, LONG, parameters, help)
#define LX_INTERFACE_END(name)                                                           \
    };                                                                                   \
    static constexpr std::size_t kRows = std::size(kOwn) + DispatchMembers<Base>::kRows; \
    static constexpr std::size_t kIds = IdsOf(kOwn, DispatchMembers<Base>::kIds);        \
    };                                                                                   \
    template <>                                                                          \
    const DispatchTable& DispatchTable::Of<::name>() noexcept {                          \
        static const DispatchTableOf<::name, DispatchMembers<::name>::Base> table;       \
        static_assert(std::is_trivially_destructible_v<decltype(table)>);                \
        return table;                                                                    \
    }
#include "interfaces/rows/interfaces.def"

}  // namespace lumvex::inside
