// The frame of every published method, and how the answer of the plain member behind it reaches the caller.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "core/objects/guard.hpp"
#include "core/objects/object.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

// ---- what the caller's variable holds before the work starts, and what the answer makes of it ----

inline void Clear(VARIANT* out) noexcept { VariantInit(out); }
template <class T>
void Clear(T* out) noexcept {
    if constexpr (std::is_pointer_v<T>) *out = nullptr;  // texts are pointers too; numbers stay untouched
}

inline HRESULT Assign(BSTR* out, std::u16string_view text) {
    *out = Bstr(text).Detach();
    return S_OK;
}

inline HRESULT Assign(VARIANT* out, Variant&& value) {
    value.Detach(out);
    return S_OK;
}

// Object and PlainObject.
template <class T>
concept HasIdentity = requires(T& object) {
    object.Dispatch();
};

// What a search found, or nothing.
template <HasIdentity T>
HRESULT Assign(VARIANT* out, const Ref<T>& found) {
    if (!found) return S_FALSE;
    Variant::FromDispatch(found->Dispatch()).Detach(out);
    return S_OK;
}

inline HRESULT Assign(LONG* out, YesNo answer) {
    *out = static_cast<LONG>(answer);
    return answer == YesNo::Yes ? S_OK : S_FALSE;
}

template <class T, class Value>
requires(std::is_arithmetic_v<T> || std::is_enum_v<T>) && std::is_convertible_v<Value, T> HRESULT
    Assign(T* out, Value value) {
    *out = static_cast<T>(value);
    return S_OK;
}

// An object is mostly asked for by its class's own interface: then the caller gets this reference.
template <class I, HasIdentity T>
HRESULT Assign(I** out, Ref<T> object) {
    if (!object) return S_OK;
    if constexpr (std::is_base_of_v<IDispatch, I> && requires { object->Class(); }) {
        if (IsEqualGUID(object->Class().interfaceId, kIidOf<I>)) {
            *out = static_cast<I*>(object.Detach()->Dispatch());
            return S_OK;
        }
    }
    return object->Dispatch()->QueryInterface(kIidOf<I>, reinterpret_cast<void**>(out));
}

template <class I, class T>
requires std::is_base_of_v<I, T> HRESULT Assign(I** out, Ref<T> object) {
    *out = object.Detach();
    return S_OK;
}

inline HRESULT Assign(IUnknown** out, Ref<IUnknown> object) {
    *out = object.Detach();
    return S_OK;
}

// An answer that may be missing: the method then succeeds with the false status.
template <class Out, class Value>
HRESULT Assign(Out* out, std::optional<Value>&& value) {
    return value ? Assign(out, *std::move(value)) : S_FALSE;
}

// ---- the frame of every published method ----

// A pointer that had to be there: the status says it alone, so no text of an earlier call may stand beside it.
inline HRESULT MissingPointer() noexcept {
    SetErrorInfo(0, nullptr);
    return E_POINTER;
}

template <class Out, class Work>
[[gnu::always_inline]] inline HRESULT Answered(std::u16string_view source, Out* out, Work&& work) noexcept {
    if (!out) return MissingPointer();
    Clear(out);
    return Guarded(source, [&] { return Assign(out, work()); });
}

// What a property get does about a result pointer that is not there: E_POINTER, E_INVALIDARG, or E_POINTER after the
// owners were found (4009 otherwise).
enum class ResultCheck { Pointer, Argument, OwnersFirst };

template <ResultCheck kCheck, class Class, class Out, class Work>
[[gnu::always_inline]] inline HRESULT Got(const Class& self, Out* out, Work&& work) noexcept {
    if constexpr (kCheck == ResultCheck::OwnersFirst) {
        if (out) Clear(out);
        return Guarded(Class::kErrorSource, [&] {
            self.ResolveRoot();
            if (!out) throw Failure(E_POINTER);
            return Assign(out, work());
        });
    } else {
        if (kCheck == ResultCheck::Argument && !out) {
            SetErrorInfo(0, nullptr);
            return E_INVALIDARG;
        }
        return Answered(Class::kErrorSource, out, work);
    }
}

// The answer of a test, which a caller may leave to the status.
template <class Work>
HRESULT Tested(std::u16string_view source, LONG* out, Work&& work) noexcept {
    LONG unused = 0;
    return Answered(source, out ? out : &unused, work);
}

template <class Work>
[[gnu::always_inline]] inline HRESULT Done(std::u16string_view source, Work&& work) noexcept {
    return Guarded(source, [&] {
        work();
        return S_OK;
    });
}

}  // namespace lumvex::inside
