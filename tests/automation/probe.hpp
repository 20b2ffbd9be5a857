// An object for the tests: counts its references, and its default property answers a given variant.
#pragma once

#include <functional>

#include "lumvex/values.hpp"

class Probe final : public IDispatch {
public:
    ULONG references = 1;
    lumvex::Variant value;
    IDispatch* answer = nullptr;  // the default property instead of value, not owned
    bool hasDispatch = true;
    std::function<void()> released = [] {};  // called by each Release()

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
        *out = nullptr;
        if (riid != IID_IUnknown && !(hasDispatch && riid == IID_IDispatch)) return E_NOINTERFACE;
        *out = static_cast<IDispatch*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override {  // lives on the test's stack
        released();
        return --references;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                                     UINT*) override {
        if (member != DISPID_VALUE || flags != DISPATCH_PROPERTYGET) return DISP_E_MEMBERNOTFOUND;
        if (answer) {
            lumvex::Variant::FromDispatch(answer).Detach(result);
            return S_OK;
        }
        return VariantCopy(result, &value);
    }
};
