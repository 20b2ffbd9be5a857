// An enumerator of the platform's kind over a list that does not change any more.
#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

#include "core/guard.hpp"
#include "core/object.hpp"

namespace lumvex::inside {

// Interface is the platform's enumerator (IEnumConnections, ...), Value what it hands out, Element what the list holds;
// Put(element, value) fills the caller's value and adds the references it carries.
template <class Interface, class Value, class Element, void (*Put)(const Element&, Value*)>
class SnapshotEnumerator final : public Interface {
public:
    using List = std::shared_ptr<const std::vector<Element>>;

    static Interface* Make(List list, std::size_t next = 0) {
        return Ref<Interface>(new SnapshotEnumerator(std::move(list), next)).Detach();
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        const bool offered = IsEqualGUID(iid, kIidOf<IUnknown>) || IsEqualGUID(iid, kIidOf<Interface>);
        *object = offered ? static_cast<Interface*>(this) : nullptr;
        if (!offered) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE Next(ULONG wanted, Value* values, ULONG* fetched) override {
        if (!values || (!fetched && wanted != 1)) return E_POINTER;
        return Guarded({}, [&] {
            ULONG got = 0;
            for (; got < wanted && next_ < list_->size(); ++got) Put((*list_)[next_++], &values[got]);
            if (fetched) *fetched = got;
            return got == wanted ? S_OK : S_FALSE;
        });
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
        return Guarded({}, [&] {
            const std::size_t left = list_->size() - next_;
            next_ += std::min<std::size_t>(count, left);
            return count <= left ? S_OK : S_FALSE;
        });
    }
    HRESULT STDMETHODCALLTYPE Reset() override {
        return Guarded({}, [&] {
            next_ = 0;
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Clone(Interface** copy) override {
        if (!copy) return E_POINTER;
        *copy = nullptr;
        return Guarded({}, [&] {
            *copy = Make(list_, next_);
            return S_OK;
        });
    }

private:
    SnapshotEnumerator(List list, std::size_t next) : list_(std::move(list)), next_(next) {}
    ~SnapshotEnumerator() = default;

    LiveObject alive_;
    std::atomic<ULONG> count_{0};
    List list_;
    std::size_t next_;
};

}  // namespace lumvex::inside
