// Listening to a document's changes with a plain function.
#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include "lumvex/lumvex.hpp"

namespace lumvex {

struct Change {
    enum class Kind { Collection = 1, Item = 2, Root = 3 };
    Kind kind;
    Object root;
    Object object;  // what changed; of a root's own change the root
    LXEventType type = LX_EV_DEFAULT;
};

// Runs on the thread that made the change, before its call returns, and may call the model. What it throws is ignored.
using ChangeHandler = std::function<void(const Change&)>;

namespace events {

class FunctionSink final : public ::_ILXDEvents {
public:
    explicit FunctionSink(ChangeHandler handler) : handler_(std::move(handler)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        const bool offered = IsEqualGUID(iid, kIidOf<IUnknown>) || IsEqualGUID(iid, kIidOf<IDispatch>) ||
                             IsEqualGUID(iid, kIidOf<::_ILXDEvents>);
        *object = offered ? this : nullptr;
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
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (!count) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        if (!arguments || !arguments->rgvarg) return E_POINTER;
        try {
            return Tell(id, *arguments);
        } catch (...) {
            return E_UNEXPECTED;
        }
    }

private:
    ~FunctionSink() = default;
    HRESULT Tell(DISPID id, const DISPPARAMS& arguments) {
        const auto objectAt = [&](UINT position) {
            return Object(Ref<IUnknown>(arguments.rgvarg[arguments.cArgs - 1 - position].punkVal).As<IDispatch>());
        };
        if (id == static_cast<DISPID>(Change::Kind::Root) && arguments.cArgs == 1)
            handler_({Change::Kind::Root, objectAt(0), objectAt(0), LX_EV_DEFAULT});
        else if ((id == 1 || id == 2) && arguments.cArgs == 3)
            handler_({static_cast<Change::Kind>(id), objectAt(0), objectAt(1),
                      static_cast<LXEventType>(arguments.rgvarg[0].lVal)});
        else
            return DISP_E_MEMBERNOTFOUND;
        return S_OK;
    }

    std::atomic<ULONG> count_{0};
    ChangeHandler handler_;
};

}  // namespace events

// A connection of a handler to a document. It ends when it is destroyed or something else is assigned, and keeps the
// document alive until then.
//
// May be ended, moved and destroyed anywhere, in its own handler too, which then goes on until it returns and is not
// called again. Ended on another thread, it waits for a handler that is running: once End() has returned, the handler
// neither runs nor will. So a handler must not wait for a thread that ends subscriptions or calls the model.
class Subscription {
public:
    Subscription() = default;
    Subscription(const Root& root, ChangeHandler handler) {
        const auto container = Ref<IDispatch>(root.Pointer()).As<IConnectionPointContainer>();
        if (!container) throw Error(CONNECT_E_CANNOTCONNECT, "the object has no events");
        Check(container->FindConnectionPoint(kIidOf<::_ILXDEvents>, point_.Out()));
        const Ref<IUnknown> sink(new events::FunctionSink(std::move(handler)));
        Check(point_->Advise(sink.get(), &cookie_));
    }
    Subscription(Subscription&& other) noexcept
        : point_(std::exchange(other.point_, {})), cookie_(std::exchange(other.cookie_, 0)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        Subscription replaced(std::move(other));  // destroyed with what this one was
        std::swap(point_, replaced.point_);
        std::swap(cookie_, replaced.cookie_);
        return *this;
    }
    ~Subscription() { End(); }

    // Ending destroys the handler, which may own the subscription: nothing of it is touched after that.
    void End() noexcept {
        const Ref<IConnectionPoint> point = std::exchange(point_, {});
        const DWORD cookie = std::exchange(cookie_, 0);
        if (point) point->Unadvise(cookie);
    }

private:
    Ref<IConnectionPoint> point_;
    DWORD cookie_ = 0;
};

}  // namespace lumvex
