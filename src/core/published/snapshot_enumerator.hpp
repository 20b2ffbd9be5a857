// The platform's enumerators (IEnumVARIANT, IEnumConnections, ...), over a list that does not change any more.
#pragma once

#include <algorithm>
#include <memory>

#include "core/base/module_object.hpp"
#include "core/objects/guard.hpp"

namespace lumvex::inside {

// Value is what the enumerator hands out. List has size() and Put(at, value), which fills the caller's value, with a
// reference for the caller on what the value points at, or answers false where the element does not exist any more. Put
// may throw only where Value is a variant.
template <class Interface, class Value, class List>
class SnapshotEnumerator final : public ModuleObject<Interface> {
public:
    using SharedList = std::shared_ptr<const List>;

    static Interface* Make(SharedList list, std::size_t next = 0) {
        return Ref<Interface>(new SnapshotEnumerator(std::move(list), next)).Detach();
    }

    HRESULT STDMETHODCALLTYPE Next(ULONG wanted, Value* values, ULONG* fetched) override {
        if (!values || (!fetched && wanted != 1)) return E_POINTER;
        ULONG got = 0;
        const HRESULT status = Guarded({}, [&] {
            while (got < wanted && next_ < list_->size())
                if (list_->Put(next_++, &values[got])) ++got;
            return got == wanted ? S_OK : S_FALSE;
        });
        if constexpr (std::is_same_v<Value, VARIANT>) {
            if (FAILED(status))
                while (got > 0) VariantClear(&values[--got]);
        }
        if (fetched) *fetched = got;
        return status;
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
    SnapshotEnumerator(SharedList list, std::size_t next) : list_(std::move(list)), next_(next) {}

    SharedList list_;
    std::size_t next_;
};

}  // namespace lumvex::inside
