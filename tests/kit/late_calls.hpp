// Late-bound calls: a member by its number, and the status that a client of the interface would see.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "lumvex/interfaces.hpp"
#include "lumvex/values.hpp"

namespace lumvex::tests {

struct Answer {
    HRESULT status = S_OK;
    Variant value;

    IDispatch* Object() const { return value.vt == VT_DISPATCH ? value.pdispVal : nullptr; }
};

// `arguments` in the order in which they are declared; of a put the value comes last.
inline Answer CallLate(IDispatch* object, DISPID member, WORD kind, std::span<const VARIANT> arguments) {
    VARIANT reversed[8];
    for (std::size_t at = 0; at < arguments.size(); ++at) reversed[arguments.size() - 1 - at] = arguments[at];
    DISPID value = DISPID_PROPERTYPUT;
    const bool put = (kind & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    DISPPARAMS parameters{reversed, put ? &value : nullptr, static_cast<UINT>(arguments.size()), put ? 1u : 0u};
    EXCEPINFO exception{};
    Answer answer;
    answer.status =
        object->Invoke(member, IID_NULL, 0, kind, &parameters, put ? nullptr : &answer.value, &exception, nullptr);
    if (answer.status == DISP_E_EXCEPTION) {
        answer.status = exception.scode;
        SysFreeString(exception.bstrSource);
        SysFreeString(exception.bstrDescription);
        SysFreeString(exception.bstrHelpFile);
    }
    return answer;
}

// By name, as a script makes it.
inline Answer CallByName(IDispatch* object, std::u16string name, WORD kind,
                         const std::vector<Variant>& arguments = {}) {
    LPOLESTR text = reinterpret_cast<LPOLESTR>(name.data());
    DISPID id = DISPID_UNKNOWN;
    const HRESULT status = object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(status)) return {status, {}};
    return CallLate(object, id, kind, std::vector<VARIANT>(arguments.begin(), arguments.end()));
}

inline VARIANT LongArgument(LONG value) {
    VARIANT argument{};
    argument.vt = VT_I4;
    argument.lVal = value;
    return argument;
}
inline VARIANT TextArgument(BSTR text) {
    VARIANT argument{};
    argument.vt = VT_BSTR;
    argument.bstrVal = text;
    return argument;
}
inline VARIANT ObjectArgument(IDispatch* object) {
    VARIANT argument{};
    argument.vt = VT_DISPATCH;
    argument.pdispVal = object;
    return argument;
}

inline Answer GetLate(IDispatch* object, DISPID member, std::initializer_list<VARIANT> arguments = {}) {
    return CallLate(object, member, DISPATCH_PROPERTYGET, {arguments.begin(), arguments.size()});
}
inline Answer DoLate(IDispatch* object, DISPID member, std::initializer_list<VARIANT> arguments = {}) {
    return CallLate(object, member, DISPATCH_METHOD, {arguments.begin(), arguments.size()});
}
inline Answer PutLate(IDispatch* object, DISPID member, std::initializer_list<VARIANT> arguments) {
    return CallLate(object, member, DISPATCH_PROPERTYPUT, {arguments.begin(), arguments.size()});
}

}  // namespace lumvex::tests
