#include "core/published/event_source.hpp"

#include "automation/counted.hpp"
#include "core/published/snapshot_enumerator.hpp"

namespace lumvex::inside {

namespace {

struct Connection {
    DWORD cookie;
    Ref<IDispatch> sink;
};

struct Connections : std::vector<Connection> {
    bool Put(std::size_t at, CONNECTDATA* value) const {
        value->pUnk = Ref<IDispatch>((*this)[at].sink).Detach();
        value->dwCookie = (*this)[at].cookie;
        return true;
    }
};

struct Points : std::vector<Ref<IConnectionPoint>> {
    bool Put(std::size_t at, IConnectionPoint** value) const {
        *value = Ref<IConnectionPoint>((*this)[at]).Detach();
        return true;
    }
};

// A borrowed object as an argument; the variant is not cleared.
VARIANT Borrowed(IUnknown* object) {
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_UNKNOWN;
    value.punkVal = object;
    return value;
}

void CallSink(IDispatch& sink, const PendingEvent& event) {
    VARIANT type;
    VariantInit(&type);
    type.vt = VT_I4;
    type.lVal = event.type;
    // The last argument comes first.
    VARIANT ofChange[3] = {type, Borrowed(event.object->Dispatch()), Borrowed(event.root->Dispatch())};
    VARIANT ofRoot[1] = {Borrowed(event.root->Dispatch())};
    const bool isRoot = event.kind == EventKind::Root;
    DISPPARAMS arguments{isRoot ? ofRoot : ofChange, nullptr, isRoot ? 1u : 3u, 0};
    Variant unused;
    sink.Invoke(static_cast<DISPID>(event.kind), GUID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &arguments,
                unused.Out(), nullptr, nullptr);
}

}  // namespace

EventSource::EventSource(Object& root) : root_(root) {}

void EventSource::Fire(const PendingEvent& event) noexcept {
    if (sinks_.empty()) return;
    Guarded({}, [&] {
        const DWORD last = sinks_.rbegin()->first;  // sinks that connect meanwhile are not told of this event
        for (auto next = sinks_.begin(); next != sinks_.end() && next->first <= last;) {
            const DWORD cookie = next->first;
            const Ref<IDispatch> sink = next->second;
            Guarded({}, [&] {
                CallSink(*sink, event);
                return S_OK;
            });
            next = sinks_.upper_bound(cookie);
        }
        return S_OK;
    });
}

HRESULT EventSource::Point::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    return AnswerInterface(*this, FindInterface<IConnectionPoint>(*this, iid), object);
}

HRESULT EventSource::Point::GetConnectionInterface(IID* iid) {
    if (!iid) return E_POINTER;
    *iid = kIidOf<_ILXDEvents>;
    return S_OK;
}

HRESULT EventSource::Point::GetConnectionPointContainer(IConnectionPointContainer** container) {
    if (!container) return E_POINTER;
    *container = Ref<IConnectionPointContainer>(&owner_.container_).Detach();
    return S_OK;
}

// Script hosts and many other clients answer the event interface; a dispatch object that does not is taken as well.
HRESULT EventSource::Point::Advise(IUnknown* sink, DWORD* cookie) {
    if (!sink || !cookie) return E_POINTER;
    *cookie = 0;
    return Guarded({}, [&] {
        const Ref<IUnknown> given(sink);
        Ref<IDispatch> typed(given.As<_ILXDEvents>());
        if (!typed) typed = given.As<IDispatch>();
        if (!typed) return CONNECT_E_CANNOTCONNECT;
        owner_.sinks_.emplace(owner_.nextCookie_, std::move(typed));
        *cookie = owner_.nextCookie_++;
        return S_OK;
    });
}

HRESULT EventSource::Point::Unadvise(DWORD cookie) {
    return Guarded({}, [&] {
        const auto connected = owner_.sinks_.find(cookie);
        if (connected == owner_.sinks_.end()) return CONNECT_E_NOCONNECTION;
        const Ref<IDispatch> kept = std::move(connected->second);  // releasing it may run code that uses the list
        owner_.sinks_.erase(connected);
        return S_OK;
    });
}

HRESULT EventSource::Point::EnumConnections(IEnumConnections** connections) {
    if (!connections) return E_POINTER;
    *connections = nullptr;
    return Guarded({}, [&] {
        auto list = std::make_shared<Connections>();
        for (const auto& [cookie, sink] : owner_.sinks_) list->push_back({cookie, sink});
        *connections = SnapshotEnumerator<IEnumConnections, CONNECTDATA, Connections>::Make(std::move(list));
        return S_OK;
    });
}

HRESULT EventSource::PointContainer::EnumConnectionPoints(IEnumConnectionPoints** points) {
    if (!points) return E_POINTER;
    *points = nullptr;
    return Guarded({}, [&] {
        auto list = std::make_shared<Points>();
        list->emplace_back(&owner_.point_);
        *points = SnapshotEnumerator<IEnumConnectionPoints, IConnectionPoint*, Points>::Make(std::move(list));
        return S_OK;
    });
}

HRESULT EventSource::PointContainer::FindConnectionPoint(REFIID iid, IConnectionPoint** point) {
    if (!point) return E_POINTER;
    *point = nullptr;
    if (!IsEqualGUID(iid, kIidOf<_ILXDEvents>)) return CONNECT_E_NOCONNECTION;
    *point = Ref<IConnectionPoint>(&owner_.point_).Detach();
    return S_OK;
}

}  // namespace lumvex::inside
