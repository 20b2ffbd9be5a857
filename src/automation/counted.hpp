// Reference counting and QueryInterface, for the model's objects and for small ones like enumerators.
#pragma once

#include <atomic>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// How many references to an object there are; 0 to begin with.
class ReferenceCount {
public:
    ULONG Add() noexcept { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
    // How many are left. The caller that gets 0 destroys the object; it sees everything that other threads did to it
    // before.
    ULONG Remove() noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }

private:
    std::atomic<ULONG> count_{0};
};

// Which of the interfaces has the ID, as a pointer to it; null for none. The first one is the object's identity. No
// reference is added.
template <class First, class... More, class Self>
void* FindInterface(Self& self, REFIID iid) noexcept {
    void* found = nullptr;
    if (IsEqualGUID(iid, kIidOf<IUnknown>) || IsEqualGUID(iid, kIidOf<First>)) found = static_cast<First*>(&self);
    ((found = !found && IsEqualGUID(iid, kIidOf<More>) ? static_cast<More*>(&self) : found), ...);
    return found;
}

// What QueryInterface answers when it has found an interface of `self`, or null for none: the caller gets a reference.
template <class Self>
HRESULT AnswerInterface(Self& self, void* found, void** object) {
    *object = found;
    if (!found) return E_NOINTERFACE;
    self.AddRef();
    return S_OK;
}

// An object with these interfaces and no others. It starts without a reference; the last Release() deletes it.
template <class... Interfaces>
class Counted : public Interfaces... {
public:
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        return AnswerInterface(*this, FindInterface<Interfaces...>(*this, iid), object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return references_.Add(); }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = references_.Remove();
        if (left == 0) delete this;
        return left;
    }

protected:
    Counted() = default;
    virtual ~Counted() = default;

private:
    ReferenceCount references_;
};

}  // namespace lumvex::inside
