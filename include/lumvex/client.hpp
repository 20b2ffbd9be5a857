// What the generated client classes are built on: handles, errors, texts and ranges.
#pragma once

#include <compare>
#include <concepts>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "lumvex/create.hpp"
#include "lumvex/error_code.hpp"
#include "lumvex/values.hpp"

namespace lumvex {

// "status 0x80030002"
inline std::string StatusText(HRESULT status) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string hex = "status 0x";
    for (int shift = 28; shift >= 0; shift -= 4) hex += kDigits[(static_cast<unsigned>(status) >> shift) & 0xF];
    return hex;
}

// Thrown for every failed call. Status() is the call's status, Code() the same as std::error_code. Words() says why:
// the text of the call's error information in UTF-8 or, where there is none, of its status. what() has the call before
// the words and the status behind them: OpenFile("none.lvp"): there is no such file (status 0x80030002)
class LUMVEX_API Error : public std::runtime_error {
public:
    // `call`: "Item(7)"; empty where it was none.
    Error(HRESULT status, const std::string& words, const std::string& call = {})
        : std::runtime_error(Together(status, words, call)),
          status_(status),
          begin_(call.empty() ? 0 : call.size() + 2),
          length_(words.size()) {}
    HRESULT Status() const noexcept { return status_; }
    std::error_code Code() const noexcept { return CodeOf(status_); }
    std::string Words() const { return std::string(what() + begin_, length_); }

private:
    static std::string Together(HRESULT status, const std::string& words, const std::string& call) {
        const std::string shown = StatusText(status);
        return (call.empty() ? "" : call + ": ") + words + (words == shown ? "" : " (" + shown + ")");
    }

    HRESULT status_;
    std::size_t begin_, length_;  // of the words in what(), so that copying an error needs no memory
};

// The text that the last failed call of this thread left, or words for the status, or the status in hexadecimal.
inline std::string DescriptionOf(HRESULT status) {
    Ref<IErrorInfo> info;
    Bstr text;
    if (GetErrorInfo(0, info.Out()) == S_OK && info) info->GetDescription(text.Out());
    return text.view().empty() ? CodeOf(status).message() : ToUtf8(text.view());
}

inline void Check(HRESULT status) {
    if (FAILED(status)) throw Error(status, DescriptionOf(status));
}

// A text that a client gives: UTF-16, or UTF-8, whose ill-formed parts become U+FFFD; a literal, a string, a view or a
// path. Made for the call.
class TextArgument {
public:
    template <class Text>
    requires std::convertible_to<const Text&, std::u16string_view> TextArgument(const Text& text)
        : text_(static_cast<std::u16string_view>(text)) {}
    template <class Text>
    requires std::convertible_to<const Text&, std::string_view> TextArgument(const Text& text)
        : text_(FromUtf8(static_cast<std::string_view>(text))) {}
    template <class Path>
    requires requires(const Path& path) {
        { path.u16string() } -> std::same_as<std::u16string>;
    }
    TextArgument(const Path& path) : text_(path.u16string()) {}
    TextArgument(const TextArgument&) = delete;
    TextArgument& operator=(const TextArgument&) = delete;

    BSTR get() const noexcept { return text_.get(); }
    std::u16string_view view() const noexcept { return text_.view(); }

private:
    Bstr text_;
};

// An argument of a call as errors show it; objects and values of any type are left out.
inline std::string ArgumentText(const TextArgument& text) { return '"' + ToUtf8(text.view()) + '"'; }
template <class Argument>
std::string ArgumentText(const Argument& argument) {
    if constexpr (std::is_enum_v<Argument>)
        return std::to_string(static_cast<long long>(argument));
    else if constexpr (std::is_arithmetic_v<Argument>)
        return std::to_string(argument);
    else
        return "...";
}

template <class... Arguments>
[[noreturn]] void ThrowFailedCall(HRESULT status, const char* name, const Arguments&... arguments) {
    std::string call;
    ((call += (call.empty() ? "" : ", ") + ArgumentText(arguments)), ...);
    throw Error(status, DescriptionOf(status), std::string(name) + '(' + call + ')');
}

// Checks the status of a published call, given its name and its arguments. Short, as every call of a client has it.
template <class... Arguments>
void CheckCall(HRESULT status, const char* name, const Arguments&... arguments) {
    if (FAILED(status)) ThrowFailedCall(status, name, arguments...);
}

// A counted handle to any object; empty where there is none. Handles of one object are equal.
//
// A handle keeps its object alive, but not its document: keep the root as long as anything below it is used. An object
// whose root or owner is gone lives on as an orphan, with its ID, name and values; calls that need the document fail
// with 4009, a put after the new value is stored. Calls on an empty handle are not allowed.
//
// Several threads may use documents, and the objects of one document: a call waits until those of other threads have
// ended, whichever document they concern. What is not safe is one handle that several threads use while one of them
// assigns to it: give each thread a copy. The destructors of static and thread-local objects may still make calls.
class Object {
public:
    Object() = default;
    explicit Object(Ref<IDispatch> pointer) : pointer_(std::move(pointer)) {}

    IDispatch* Pointer() const { return pointer_.get(); }
    explicit operator bool() const { return static_cast<bool>(pointer_); }
    friend bool operator==(const Object& left, const Object& right) { return left.pointer_ == right.pointer_; }

    // The object as one of the client classes; empty when it is of another class.
    template <class Class>
    Class As() const {
        return Class(pointer_.As<typename Class::Interface>());
    }

private:
    Ref<IDispatch> pointer_;
};

// The objects below an item, a collection or a root, or the links to an object, as an enumerator answers them. Each
// begin() starts with the first one.
class Descendants {
public:
    class Iterator {
    public:
        using value_type = Object;
        using difference_type = std::ptrdiff_t;
        Iterator() = default;
        explicit Iterator(Ref<IEnumVARIANT> source) : source_(std::move(source)) { ++*this; }
        const Object& operator*() const { return current_; }
        Iterator& operator++() {
            Variant next;
            ULONG fetched = 0;
            const HRESULT status = source_->Next(1, next.Out(), &fetched);
            Check(status);
            current_ = fetched == 1 ? Object(Ref<IDispatch>(next.pdispVal)) : Object();
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(std::default_sentinel_t) const { return !current_; }

    private:
        Ref<IEnumVARIANT> source_;
        Object current_;
    };

    Descendants() = default;
    explicit Descendants(const Ref<IUnknown>& source) : source_(source.As<IEnumVARIANT>()) {}

    Iterator begin() const {
        Check(source_->Reset());
        return Iterator(source_);
    }
    std::default_sentinel_t end() const { return {}; }

private:
    Ref<IEnumVARIANT> source_;
};

// The members of a collection by random access, so that collections are ranges: for, std::views::reverse and the
// algorithms go through them. Each access gets the member anew and throws Error where there is none any more. Valid as
// long as the handle that made it.
template <class Collection>
class ItemIterator {
public:
    using iterator_concept = std::random_access_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = typename Collection::ItemType;
    using difference_type = std::ptrdiff_t;
    using reference = value_type;

    ItemIterator() = default;
    ItemIterator(const Collection& collection, difference_type index) : collection_(&collection), index_(index) {}

    reference operator*() const { return (*this)[0]; }
    reference operator[](difference_type offset) const {
        return collection_->Item(static_cast<LONG>(index_ + offset + 1));
    }
    ItemIterator& operator+=(difference_type offset) {
        index_ += offset;
        return *this;
    }
    ItemIterator& operator-=(difference_type offset) { return *this += -offset; }
    ItemIterator& operator++() { return *this += 1; }
    ItemIterator& operator--() { return *this -= 1; }
    ItemIterator operator++(int) {
        ItemIterator before = *this;
        ++*this;
        return before;
    }
    ItemIterator operator--(int) {
        ItemIterator before = *this;
        --*this;
        return before;
    }
    friend ItemIterator operator+(ItemIterator from, difference_type offset) { return from += offset; }
    friend ItemIterator operator+(difference_type offset, ItemIterator from) { return from += offset; }
    friend ItemIterator operator-(ItemIterator from, difference_type offset) { return from -= offset; }
    friend difference_type operator-(const ItemIterator& left, const ItemIterator& right) {
        return left.index_ - right.index_;
    }
    friend bool operator==(const ItemIterator& left, const ItemIterator& right) { return left.index_ == right.index_; }
    friend auto operator<=>(const ItemIterator& left, const ItemIterator& right) {
        return left.index_ <=> right.index_;
    }

private:
    const Collection* collection_ = nullptr;
    difference_type index_ = 0;
};

// What makes a collection a range of its members, each as its class. Base is the collection's own base class.
template <class Collection, class Base, class Member>
class TypedCollection : public Base {
public:
    using ItemType = Member;
    using Base::Base;

    auto begin() const { return ItemIterator<Collection>(Self(), 0); }
    auto end() const { return ItemIterator<Collection>(Self(), Self().Count()); }
    std::size_t size() const { return static_cast<std::size_t>(Self().Count()); }
    bool empty() const { return Self().Count() == 0; }

    // The member that FindName answers; nothing where there is none. `more` is what FindName takes beside a name.
    template <class... More>
    std::optional<Member> Find(const TextArgument& name, const More&... more) const {
        return Typed(Self().FindName(name, more...));
    }
    // The member of an ID; nothing where the collection has none.
    std::optional<Member> FindMember(const TextArgument& id) const { return Typed(Self().FindID(id, false)); }

private:
    const Collection& Self() const { return static_cast<const Collection&>(*this); }
    static std::optional<Member> Typed(const Object& found) {
        Member member = found.template As<Member>();
        return member ? std::optional<Member>(std::move(member)) : std::nullopt;
    }
};

// Calls a published method that has a result, and answers the result as the client classes show it. Throws Error, which
// names the method and its arguments.
template <class Result, class Raw, class Call, class... Arguments>
Result Received(Call call, const char* name, const Arguments&... arguments) {
    if constexpr (std::is_same_v<Raw, BSTR>) {
        Bstr text;
        CheckCall(call(text.Out()), name, arguments...);
        return std::u16string(text.view());
    } else if constexpr (std::is_same_v<Raw, VARIANT>) {
        Variant value;
        CheckCall(call(value.Out()), name, arguments...);
        if constexpr (std::is_same_v<Result, Object>)
            return Object(Ref<IDispatch>(value.vt == VT_DISPATCH ? value.pdispVal : nullptr));
        else if constexpr (std::is_same_v<Result, bool>)
            return value.vt == VT_BOOL && value.boolVal != 0;
        else
            return Result(std::move(value));
    } else if constexpr (std::is_pointer_v<Raw>) {
        Ref<std::remove_pointer_t<Raw>> pointer;
        CheckCall(call(pointer.Out()), name, arguments...);
        return Result(std::move(pointer));
    } else {
        Raw value{};
        CheckCall(call(&value), name, arguments...);
        return value;
    }
}

// Where there is no member at a place, the error says how many there are.
template <class Collection, class Place>
[[noreturn]] void ThrowNoItem(const Collection& collection, HRESULT status, Place place) {
    LONG count = 0;
    if (status == E_INVALIDARG && SUCCEEDED(collection.Get()->get_Count(&count)))
        throw Error(status,
                    "it is out of range, as there " + std::string(count == 1 ? "is " : "are ") +
                        (count == 0 ? "no members" : std::to_string(count) + (count == 1 ? " member" : " members")),
                    "Item(" + ArgumentText(place) + ')');
    ThrowFailedCall(status, "Item", place);
}

// The member of a collection at a place.
template <class Member, class Collection, class Place>
Member ReceivedItem(const Collection& collection, Place place) {
    Ref<typename Member::Interface> member;
    const HRESULT status = collection.Get()->get_Item(place, member.Out());
    if (FAILED(status)) ThrowNoItem(collection, status, place);
    return Member(std::move(member));
}

template <class Interface>
Ref<Interface> CreateInstance(const GUID& clsid) {
    void* object = nullptr;
    Check(LumvexCreateInstance(clsid, kIidOf<Interface>, &object));
    return Ref<Interface>::Attach(static_cast<Interface*>(object));
}

}  // namespace lumvex
