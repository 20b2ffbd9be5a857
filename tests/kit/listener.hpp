// What the tests of rooms and processor configurations share: late-bound calls, and changes as texts.
#pragma once

#include "kit/published.hpp"
#include "lumvex/events.hpp"

namespace lumvex::tests {

using Strings = std::vector<std::string>;

// One late-bound call; arguments in the member's own order, a put's value last. Answers the member's own status.
inline HRESULT Late(IDispatch* object, DISPID id, WORD kind, std::vector<Variant> arguments, Variant& result) {
    std::vector<VARIANT> reversed(arguments.rbegin(), arguments.rend());
    DISPID value = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
    if (kind == DISPATCH_PROPERTYPUT) {
        parameters.rgdispidNamedArgs = &value;
        parameters.cNamedArgs = 1;
    }
    EXCEPINFO exception{};
    const HRESULT status =
        object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters, result.Out(), &exception, nullptr);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrHelpFile);
    return status == DISP_E_EXCEPTION ? exception.scode : status;
}

inline Variant LateGet(IDispatch* object, DISPID id, std::vector<Variant> arguments = {}) {
    Variant result;
    EXPECT_EQ(Late(object, id, DISPATCH_PROPERTYGET, std::move(arguments), result), S_OK) << id;
    return result;
}

inline HRESULT LatePut(IDispatch* object, DISPID id, std::vector<Variant> arguments) {
    Variant unused;
    return Late(object, id, DISPATCH_PROPERTYPUT, std::move(arguments), unused);
}

inline bool IsSameObject(const Variant& found, const Object& expected) {
    return found.vt == VT_DISPATCH &&
           Ref<IUnknown>(found.pdispVal).As<IUnknown>() == Ref<IUnknown>(expected.Pointer()).As<IUnknown>();
}

// What clients of a document were told since the last time: "item Left 0", "collection MEASUREMENTS 1".
class Listener {
public:
    explicit Listener(const Project& project)
        : subscription_(project, [this](const Change& change) { told_.push_back(TextOf(change)); }) {}

    Strings Taken() { return std::exchange(told_, {}); }

private:
    static std::string TextOf(const Change& change) {
        if (change.kind == Change::Kind::Root) return "root";
        const bool isItem = change.kind == Change::Kind::Item;
        const std::u16string name =
            isItem ? change.object.As<Collectable>().Name() : change.object.As<Collection>().Name();
        return (isItem ? "item " : "collection ") + ToUtf8(name) + " " + std::to_string(change.type);
    }

    Strings told_;
    Subscription subscription_;
};

// The status of a call through the client classes.
template <class Call>
HRESULT StatusOf(Call call) {
    try {
        call();
    } catch (const Error& error) {
        return error.Status();
    }
    return S_OK;
}

inline constexpr HRESULT kOrphaned = Status(0x80040FA9);

}  // namespace lumvex::tests
