// How values cross between published methods and the plain members behind them: arguments in, answers out.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "core/guard.hpp"
#include "core/object.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

// ---- in ----

inline std::u16string_view Inside(BSTR text) noexcept { return TextOf(text); }
inline const VARIANT& Inside(const VARIANT& value) noexcept { return value; }
template <class I>
    requires std::is_base_of_v<IUnknown, I>
I* Inside(I* pointer) noexcept { return pointer; }
template <class T>
    requires std::is_arithmetic_v<T> || std::is_enum_v<T>
T Inside(T value) noexcept { return value; }

// A text or object that a method needs.
template <class T>
constexpr bool IsMissing(const T& argument) noexcept {
    if constexpr (std::is_pointer_v<T>) return argument == nullptr;
    return false;
}

// ---- out: what the caller's variable holds before the work starts, and what the answer makes of it ----

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

// What a search found, or nothing.
inline HRESULT Assign(VARIANT* out, Ref<Object> found) {
    if (!found) return S_FALSE;
    Variant::FromDispatch(found->Dispatch()).Detach(out);
    return S_OK;
}

inline HRESULT Assign(LONG* out, YesNo answer) {
    *out = static_cast<LONG>(answer);
    return answer == YesNo::Yes ? S_OK : S_FALSE;
}

template <class T, class Value>
    requires(std::is_arithmetic_v<T> || std::is_enum_v<T>) && std::is_convertible_v<Value, T>
HRESULT Assign(T* out, Value value) {
    *out = static_cast<T>(value);
    return S_OK;
}

template <class I>
HRESULT Assign(I** out, const Ref<Object>& object) {
    if (!object) return S_OK;
    return object->Dispatch()->QueryInterface(kIidOf<I>, reinterpret_cast<void**>(out));
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

template <class Out, class Work>
HRESULT Answered(std::u16string_view source, Out* out, Work&& work) noexcept {
    if (!out) return E_POINTER;
    Clear(out);
    return Guarded(source, [&] { return Assign(out, work()); });
}

// The answer of a test, which a caller may leave to the status.
template <class Work>
HRESULT Tested(std::u16string_view source, LONG* out, Work&& work) noexcept {
    LONG unused = 0;
    return Answered(source, out ? out : &unused, work);
}

template <class Work>
HRESULT Done(std::u16string_view source, Work&& work) noexcept {
    return Guarded(source, [&] {
        work();
        return S_OK;
    });
}

}  // namespace lumvex::inside
