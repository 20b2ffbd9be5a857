#include "lumvex/create.hpp"

namespace {

// A thread that has not said which apartment it wants gets the one of all such threads, for as long as the program
// runs: the model is free of apartments, and handles that outlive their thread stay good.
void ProvideApartment() {
    static const HRESULT provided = [] {
        CO_MTA_USAGE_COOKIE kept = nullptr;
        return CoIncrementMTAUsage(&kept);
    }();
    static_cast<void>(provided);  // if this failed, the caller's second attempt fails with the reason
}

}  // namespace

HRESULT LumvexCreateInstance(REFCLSID clsid, REFIID iid, void** object) {
    const auto create = [&] { return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, object); };
    const HRESULT status = create();
    if (status != CO_E_NOTINITIALIZED) return status;
    ProvideApartment();
    return create();
}
