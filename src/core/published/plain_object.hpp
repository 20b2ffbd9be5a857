// The outermost layer of a class whose objects are not part of the tree: counted, guarded and late bound like all others,
// but without ID, parent or record. Such an object outlives its document for as long as a client holds it.
#pragma once

#include "automation/counted.hpp"
#include "core/published/published_object.hpp"

namespace lumvex::inside {

template <class Implementation, class Interface>
class PlainObject : public PublishedObject<Implementation, Interface> {
public:
    PlainObject(const PlainObject&) = delete;
    PlainObject& operator=(const PlainObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        void* const found = this->FindOwnInterface(iid);
        if (!found) return PlatformInterface(*this, kIidOf<Interface>, nullptr, iid, object);
        return AnswerInterface(*this, found, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return references_.Add(); }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = references_.Remove();
        if (left == 0) delete static_cast<Implementation*>(this);
        return left;
    }

    static constexpr std::u16string_view kErrorSource{};

protected:
    PlainObject() = default;
    ~PlainObject() = default;

private:
    LiveObject alive_;
    ReferenceCount references_;
};

}  // namespace lumvex::inside
