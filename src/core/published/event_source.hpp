// The connection point of a root document for its outgoing event interface: the sinks that clients have connected.
#pragma once

#include <map>
#include <vector>

#include "core/objects/events.hpp"

namespace lumvex::inside {

// Part of its root: its references are the root's. Every method runs under the module lock.
class EventSource {
public:
    explicit EventSource(Object& root);

    // Calls every sink, in the order in which they were connected. A sink may connect and disconnect sinks, itself
    // included, and call back into the model; a sink that is disconnected meanwhile is not called any more. What a sink
    // returns or throws is ignored.
    void Fire(const PendingEvent& event) noexcept;

    bool HasSinks() const noexcept { return !sinks_.empty(); }

    // The root's IConnectionPointContainer; no reference added.
    IConnectionPointContainer* Container() noexcept { return &container_; }

private:
    class Point final : public IConnectionPoint {
    public:
        explicit Point(EventSource& owner) : owner_(owner) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
        ULONG STDMETHODCALLTYPE AddRef() override { return owner_.root_.AddRef(); }
        ULONG STDMETHODCALLTYPE Release() override { return owner_.root_.Release(); }
        HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
        HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) override;
        HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
        HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
        HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

    private:
        EventSource& owner_;
    };

    class PointContainer final : public IConnectionPointContainer {
    public:
        explicit PointContainer(EventSource& owner) : owner_(owner) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
            return owner_.root_.Dispatch()->QueryInterface(iid, object);
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return owner_.root_.AddRef(); }
        ULONG STDMETHODCALLTYPE Release() override { return owner_.root_.Release(); }
        HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
        HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

    private:
        EventSource& owner_;
    };

    Object& root_;
    Point point_{*this};
    PointContainer container_{*this};
    std::map<DWORD, Ref<IDispatch>> sinks_;  // by cookie, rising
    DWORD nextCookie_ = 1;
};

}  // namespace lumvex::inside
