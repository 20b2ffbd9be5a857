// Error information: the object that carries it and the slot that each thread has for it.
#include <new>

#include "automation/counted.hpp"
#include "lumvex/values.hpp"

namespace {

class ErrorInfo final : public lumvex::inside::Counted<ICreateErrorInfo, IErrorInfo> {
public:
    HRESULT STDMETHODCALLTYPE SetGUID(REFGUID rguid) override {
        guid_ = rguid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR szSource) override { return Keep(source_, szSource); }
    HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR szDescription) override {
        return Keep(description_, szDescription);
    }
    HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR szHelpFile) override { return Keep(helpFile_, szHelpFile); }
    HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD dwHelpContext) override {
        helpContext_ = dwHelpContext;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* pGUID) override {
        if (!pGUID) return E_INVALIDARG;
        *pGUID = guid_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* pBstrSource) override { return Give(source_, pBstrSource); }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* pBstrDescription) override {
        return Give(description_, pBstrDescription);
    }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* pBstrHelpFile) override { return Give(helpFile_, pBstrHelpFile); }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* pdwHelpContext) override {
        if (!pdwHelpContext) return E_INVALIDARG;
        *pdwHelpContext = helpContext_;
        return S_OK;
    }

private:
    ~ErrorInfo() override {
        SysFreeString(source_);
        SysFreeString(description_);
        SysFreeString(helpFile_);
    }

    static HRESULT Keep(BSTR& kept, LPOLESTR text) noexcept {
        BSTR copy = SysAllocString(text);
        if (text && !copy) return E_OUTOFMEMORY;
        SysFreeString(kept);
        kept = copy;
        return S_OK;
    }

    static HRESULT Give(BSTR kept, BSTR* out) noexcept {
        if (!out) return E_INVALIDARG;
        *out = nullptr;
        if (kept && !(*out = SysAllocStringLen(kept, SysStringLen(kept)))) return E_OUTOFMEMORY;
        return S_OK;
    }

    GUID guid_{};
    BSTR source_ = nullptr;
    BSTR description_ = nullptr;
    BSTR helpFile_ = nullptr;
    DWORD helpContext_ = 0;
};

// The slot itself needs no destructor, so that a client's static objects may still report errors after the main
// thread's locals are gone; what they report then is dropped.
thread_local IErrorInfo* current = nullptr;
thread_local bool ended = false;

struct ReleaseAtThreadEnd {
    ~ReleaseAtThreadEnd() {
        ended = true;
        SetErrorInfo(0, nullptr);
    }
};

}  // namespace

HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo) noexcept {
    if (!pperrinfo) return E_INVALIDARG;
    *pperrinfo = lumvex::Ref<ICreateErrorInfo>(new (std::nothrow) ErrorInfo).Detach();
    return *pperrinfo ? S_OK : E_OUTOFMEMORY;
}

namespace {

void Replace(IErrorInfo* perrinfo) noexcept {
    if (ended) perrinfo = nullptr;
    if (perrinfo) {
        thread_local ReleaseAtThreadEnd release;
        static_cast<void>(release);
        perrinfo->AddRef();
    }
    // The old one goes last: its Release may be a client's code and report something itself.
    IErrorInfo* const old = current;
    current = perrinfo;
    if (old) old->Release();
}

}  // namespace

HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo) noexcept {
    if (dwReserved != 0) return E_INVALIDARG;
    if (perrinfo || current) Replace(perrinfo);  // mostly there is none before and none after
    return S_OK;
}

HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo) noexcept {
    if (dwReserved != 0 || !pperrinfo) return E_INVALIDARG;
    *pperrinfo = current;
    current = nullptr;
    return *pperrinfo ? S_OK : S_FALSE;
}
