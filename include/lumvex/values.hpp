// Owners for what crosses the interfaces (references, strings, variants) and the text, identifier and date helpers
// around them. For clients and for the library alike.
#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "lumvex/automation.hpp"
#include "lumvex/export.hpp"

namespace lumvex {

// A counted interface pointer.
template <class T>
class Ref {
public:
    Ref() noexcept = default;
    Ref(std::nullptr_t) noexcept {}
    Ref(T* pointer) noexcept : pointer_(pointer) {
        if (pointer_) pointer_->AddRef();
    }
    Ref(const Ref& other) noexcept : Ref(other.pointer_) {}
    Ref(Ref&& other) noexcept : pointer_(other.Detach()) {}
    template <class U>
    requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>) Ref(const Ref<U>& other)
    noexcept : Ref(static_cast<T*>(other.get())) {}
    template <class U>
    requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>) Ref(Ref<U>&& other)
    noexcept : pointer_(other.Detach()) {}
    ~Ref() {
        if (pointer_) pointer_->Release();
    }
    Ref& operator=(Ref other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }

    // Takes over the reference that the caller holds.
    [[nodiscard]] static Ref Attach(T* pointer) noexcept {
        Ref result;
        result.pointer_ = pointer;
        return result;
    }
    // Gives the reference to the caller.
    [[nodiscard]] T* Detach() noexcept { return std::exchange(pointer_, nullptr); }

    T* get() const noexcept { return pointer_; }
    T* operator->() const noexcept { return pointer_; }
    T& operator*() const noexcept { return *pointer_; }
    explicit operator bool() const noexcept { return pointer_ != nullptr; }

    // Where a call that answers an interface puts it; what was held is released first.
    [[nodiscard]] T** Out() noexcept {
        *this = nullptr;
        return &pointer_;
    }

    // The same object by another interface; null when it does not offer that or nothing is held.
    template <class I>
    [[nodiscard]] Ref<I> As() const {
        void* found = nullptr;
        if (!pointer_ || FAILED(pointer_->QueryInterface(kIidOf<I>, &found))) return nullptr;
        return Ref<I>::Attach(static_cast<I*>(found));
    }

    friend bool operator==(const Ref& left, const Ref& right) noexcept { return left.pointer_ == right.pointer_; }
    friend bool operator==(const Ref& left, const T* right) noexcept { return left.pointer_ == right; }
    friend bool operator==(const Ref& left, std::nullptr_t) noexcept { return left.pointer_ == nullptr; }

private:
    T* pointer_ = nullptr;
};

// The text of a BSTR, empty for null; valid as long as the BSTR.
LUMVEX_API std::u16string_view TextOf(BSTR text) noexcept;

// Owns a BSTR. Making or copying one throws std::bad_alloc.
class LUMVEX_API Bstr {
public:
    Bstr() noexcept = default;
    explicit Bstr(std::u16string_view text);
    Bstr(const Bstr& other) : Bstr(other.view()) {}
    Bstr(Bstr&& other) noexcept : text_(other.Detach()) {}
    ~Bstr() { SysFreeString(text_); }
    Bstr& operator=(Bstr other) noexcept {
        std::swap(text_, other.text_);
        return *this;
    }

    [[nodiscard]] static Bstr Attach(BSTR text) noexcept {
        Bstr result;
        result.text_ = text;
        return result;
    }
    [[nodiscard]] BSTR Detach() noexcept { return std::exchange(text_, nullptr); }

    BSTR get() const noexcept { return text_; }
    std::u16string_view view() const noexcept { return TextOf(text_); }
    [[nodiscard]] BSTR* Out() noexcept {  // frees what was held
        *this = Bstr();
        return &text_;
    }

private:
    BSTR text_ = nullptr;
};

// A variant that cleans up after itself. Copying throws std::bad_alloc, or std::invalid_argument for a variant whose
// type word is not one.
class LUMVEX_API Variant : public VARIANT {
public:
    Variant() noexcept : VARIANT() {}
    explicit Variant(const VARIANT& other);
    Variant(const Variant& other) : Variant(static_cast<const VARIANT&>(other)) {}
    Variant(Variant&& other) noexcept : VARIANT(other) { other.vt = VT_EMPTY; }
    ~Variant() {
        if (vt != VT_EMPTY) VariantClear(this);
    }
    Variant& operator=(const Variant& other) { return *this = Variant(other); }
    Variant& operator=(Variant&& other) noexcept {
        if (this == &other) return *this;
        const Variant held(std::move(*this));  // goes last: that may run code which looks at this one
        VARIANT::operator=(other);
        other.vt = VT_EMPTY;
        return *this;
    }

    [[nodiscard]] static Variant FromText(std::u16string_view text);
    [[nodiscard]] static Variant FromLong(LONG value) noexcept;
    [[nodiscard]] static Variant FromDouble(double value) noexcept;
    [[nodiscard]] static Variant FromBool(bool value) noexcept;
    [[nodiscard]] static Variant FromDate(DATE value) noexcept;
    [[nodiscard]] static Variant FromDispatch(IDispatch* object) noexcept;               // adds a reference
    [[nodiscard]] static Variant FromArray(VARTYPE element, SAFEARRAY* array) noexcept;  // takes over the array
    [[nodiscard]] static Variant Attach(VARIANT& other) noexcept;  // takes over the content, leaves it empty

    void Detach(VARIANT* out) noexcept;  // *out is overwritten without being cleared
    [[nodiscard]] VARIANT* Out() noexcept {
        if (vt != VT_EMPTY) VariantClear(this);
        return this;
    }
};

// A safe array as SafeArrayCreate makes it, for elements that are numbers; where the system's library allows it, they
// are not set yet. The caller sets them all: clearing a large array before takes as long as that. Null where there is
// no memory.
LUMVEX_API SAFEARRAY* CreateArrayToFill(VARTYPE type, UINT dimensions, SAFEARRAYBOUND* bounds) noexcept;

// Ill-formed parts become U+FFFD.
LUMVEX_API std::string ToUtf8(std::u16string_view text);
LUMVEX_API std::u16string FromUtf8(std::string_view text);

// Identifiers in registry form: "{09A5CDEB-2933-4F88-9196-E13F80993ABB}"; read in either case, nothing else accepted.
LUMVEX_API std::u16string ToText(const GUID& guid);
LUMVEX_API std::optional<GUID> ParseGuid(std::u16string_view text) noexcept;

// Order and equality of names regardless of case: each UTF-16 unit by its upper-case form, whatever the locale.
// Negative, zero or positive.
LUMVEX_API char16_t ToUpper(char16_t unit) noexcept;
LUMVEX_API int CompareNoCase(std::u16string_view left, std::u16string_view right) noexcept;
LUMVEX_API std::size_t HashNoCase(std::u16string_view text) noexcept;

// Automation dates are local time. Before 30 December 1899 the day counts down while the time of day still counts up:
// -1.25 is 6:00 on 29 December. ToDate and LocalTimeNow have whole seconds.
struct DateParts {
    int year = 1899, month = 12, day = 30;  // year 100 to 9999
    int hour = 0, minute = 0, second = 0;
};
LUMVEX_API DATE LocalTimeNow();
LUMVEX_API DATE ToDate(std::time_t time);                                // 0 for a time out of the calendar's range
LUMVEX_API std::optional<DATE> ToDate(const DateParts& parts) noexcept;  // none when there is no such day or time
LUMVEX_API std::optional<DateParts> SplitDate(DATE date) noexcept;       // rounded to seconds; none out of range

}  // namespace lumvex
