#include "core/enumerator.hpp"

#include <atomic>
#include <memory>

#include "core/document.hpp"
#include "core/guard.hpp"

namespace lumvex::inside {

namespace {

class Enumerator final : public IEnumVARIANT {
public:
    using Snapshot = std::shared_ptr<const std::vector<Descendant>>;

    Enumerator(Ref<Object> source, Snapshot objects, std::size_t next)
        : source_(std::move(source)), objects_(std::move(objects)), next_(next) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        const bool offered = IsEqualGUID(iid, kIidOf<IUnknown>) || IsEqualGUID(iid, kIidOf<IEnumVARIANT>);
        *object = offered ? static_cast<IEnumVARIANT*>(this) : nullptr;
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

    HRESULT STDMETHODCALLTYPE Next(ULONG wanted, VARIANT* values, ULONG* fetched) override {
        if (!values || (!fetched && wanted != 1)) return E_POINTER;
        ULONG got = 0;
        const HRESULT status = Guarded({}, [&] {
            Document& document = source_->ResolveRoot();
            while (got < wanted && next_ < objects_->size()) {
                const Descendant& next = (*objects_)[next_++];
                Entry* entry = document.Find(next.id);
                if (!entry) continue;
                const bool isItem = entry->classInfo && entry->classInfo->kind == ClassKind::Item;
                if (isItem && !entry->parent && !IsEqualGUID(next.owner, GUID_NULL))
                    entry->parent = Ref<Entry>(document.Find(next.owner));
                Variant::FromDispatch(document.Get(*entry)->Dispatch()).Detach(&values[got]);
                ++got;
            }
            return got == wanted ? S_OK : S_FALSE;
        });
        if (FAILED(status))
            while (got > 0) VariantClear(&values[--got]);
        if (fetched) *fetched = got;
        return status;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
        return Guarded({}, [&] {
            const std::size_t left = objects_->size() - next_;
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
    HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** copy) override {
        if (!copy) return E_POINTER;
        *copy = nullptr;
        return Guarded({}, [&] {
            *copy = Ref<IEnumVARIANT>(new Enumerator(source_, objects_, next_)).Detach();
            return S_OK;
        });
    }

private:
    ~Enumerator() = default;

    std::atomic<ULONG> count_{0};
    Ref<Object> source_;
    Snapshot objects_;
    std::size_t next_;
};

}  // namespace

Ref<IUnknown> MakeEnumerator(Object& source, std::vector<Descendant> objects) {
    auto snapshot = std::make_shared<const std::vector<Descendant>>(std::move(objects));
    return Ref<IUnknown>(new Enumerator(Ref<Object>(&source), std::move(snapshot), 0));
}

}  // namespace lumvex::inside
