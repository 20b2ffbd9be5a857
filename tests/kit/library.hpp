// What the tests of the catalogue share: late-bound calls, and what a listener is told.
#pragma once

#include "kit/published.hpp"
#include "lumvex/events.hpp"

namespace lumvex::tests {

struct LateAnswer {
    HRESULT status = E_FAIL;
    SCODE code = S_OK;  // what the member failed with
    Variant result;
};

// One call by name, as a script makes it; arguments in the member's own order, a put's value last.
inline LateAnswer Late(IDispatch* object, std::u16string name, WORD flags, const std::vector<Variant>& arguments = {}) {
    LateAnswer answer;
    LPOLESTR text = reinterpret_cast<LPOLESTR>(name.data());
    DISPID id = DISPID_UNKNOWN;
    answer.status = object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(answer.status)) return answer;
    std::vector<VARIANT> reversed(arguments.rbegin(), arguments.rend());
    const bool isPut = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    DISPID putValue = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), isPut ? &putValue : nullptr, static_cast<UINT>(reversed.size()),
                          isPut ? 1u : 0u};
    EXCEPINFO exception{};
    answer.status =
        object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, answer.result.Out(), &exception, nullptr);
    answer.code = exception.scode;
    for (const BSTR each : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile})
        SysFreeString(each);
    return answer;
}

inline bool IsModified(const Root& root) { return root.Modified().boolVal == VARIANT_TRUE; }

// "item Woofer 1", "collection MODELS 1", "root".
inline std::string Told(const Change& change) {
    if (change.kind == Change::Kind::Root) return "root";
    const bool isItem = change.kind == Change::Kind::Item;
    const std::u16string name = isItem ? change.object.As<Collectable>().Name() : change.object.As<Collection>().Name();
    return (isItem ? "item " : "collection ") + ToUtf8(name) + " " + std::to_string(change.type);
}

using Strings = std::vector<std::string>;

}  // namespace lumvex::tests
