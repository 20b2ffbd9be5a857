#include <utility>

#include "core/objects/guard.hpp"
#include "lumvex/client.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/document/root_document.hpp"
#include "storage/inspect/client_errors.hpp"

namespace lumvex {

namespace {

// What the getter answers; a failure becomes an Error with its status and text.
Variant Got(IDispatch* object, long property) {
    DISPPARAMS none{};
    Variant value;
    EXCEPINFO exception{};
    const HRESULT status = object->Invoke(static_cast<DISPID>(property), IID_NULL, 0, DISPATCH_PROPERTYGET, &none,
                                          value.Out(), &exception, nullptr);
    const Bstr source = Bstr::Attach(exception.bstrSource), text = Bstr::Attach(exception.bstrDescription),
               help = Bstr::Attach(exception.bstrHelpFile);
    if (status == DISP_E_EXCEPTION) throw Error(exception.scode, ToUtf8(text.view()));
    Check(status);
    return value;
}

}  // namespace

std::optional<ArrayShape> ShapeOf(IDispatch* object, long property) {
    const inside::Call call;
    const Variant value = inside::ForClient([&] {
        const Ref<inside::Object> known = inside::InsideOf(object);
        if (!known) throw inside::Failure(E_INVALIDARG);
        auto* root = dynamic_cast<inside::RootDocument*>(&known->ResolveRoot().RootObject());
        if (!root) throw inside::Failure(E_INVALIDARG);
        return root->WithShapesAlone([&] { return Got(object, property); });
    });
    if (value.vt != (VT_ARRAY | VT_I4)) return std::nullopt;
    void* data = nullptr;
    Check(SafeArrayAccessData(value.parray, &data));
    const auto* numbers = static_cast<const LONG*>(data);
    LONG last = 0;
    SafeArrayGetUBound(value.parray, 1, &last);
    ArrayShape shape;
    shape.type = static_cast<VARTYPE>(numbers[0]);
    for (LONG at = 1; at <= last; ++at) shape.counts.push_back(static_cast<ULONG>(numbers[at]));
    SafeArrayUnaccessData(value.parray);
    return shape;
}

}  // namespace lumvex
