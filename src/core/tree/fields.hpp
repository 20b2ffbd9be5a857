// The kinds of field that classes are made of. The kind says what a get and a put of the property do; the owner's
// Commit then finds the root, marks what has changed and raises the event.
#pragma once

#include <array>
#include <string>

#include "core/objects/document.hpp"
#include "core/tree/record_of.hpp"
#include "core/tree/references.hpp"

namespace lumvex::inside {

// A value that is put without a check. It is stored before the root is looked for: on an orphaned object the put fails,
// and the new value stays.
template <class T>
class Scalar {
public:
    Scalar() = default;
    explicit Scalar(T initial) : value(initial) {}

    template <class Owner>
    T Get(const Owner&) const {
        return value;
    }
    template <class Owner>
    void Put(T given, Owner& owner) {
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { value = given; });
    }

    void CopyFrom(const Scalar& other) { value = other.value; }

    T value{};
};

// A value whose put does nothing, and raises no event, when the new value equals the old one.
template <class T>
class Compared : public Scalar<T> {
public:
    using Scalar<T>::Scalar;

    template <class Owner>
    void Put(T given, Owner& owner) {
        if (given != this->value) Scalar<T>::Put(given, owner);
    }
};

// One value per place: Indexed<Scalar<float>, 6> for six filter stages, Indexed<Compared<LONG>, 16, 6> for six channels
// of each of sixteen banks, the last index varying fastest. Indices count from 1; one outside is refused with
// E_INVALIDARG before anything else. Each value is got and put as a field of its kind.
template <class Kind, std::size_t... kCounts>
class Indexed {
public:
    using Value = decltype(Kind::value);
    static constexpr std::size_t kPlaces = (kCounts * ...);

    Indexed() = default;
    explicit Indexed(const std::array<Value, kPlaces>& initial) {
        for (std::size_t place = 0; place < kPlaces; ++place) places[place].value = initial[place];
    }

    template <class Owner>
    Value Get(SHORT index, const Owner& owner) const {
        return places[Place(index)].Get(owner);
    }
    template <class Owner>
    Value Get(SHORT first, SHORT second, const Owner& owner) const {
        return places[Place(first, second)].Get(owner);
    }
    template <class Owner>
    void Put(SHORT index, Value given, Owner& owner) {
        places[Place(index)].Put(given, owner);
    }
    template <class Owner>
    void Put(SHORT first, SHORT second, Value given, Owner& owner) {
        places[Place(first, second)].Put(given, owner);
    }

    void CopyFrom(const Indexed& other) { places = other.places; }

    std::array<Kind, kPlaces> places{};

private:
    template <class... Indices>
    static std::size_t Place(Indices... indices) {
        static_assert(sizeof...(Indices) == sizeof...(kCounts));
        std::size_t place = 0;
        const auto step = [&place](SHORT index, std::size_t count) {
            if (index < 1 || static_cast<std::size_t>(index) > count) throw Failure(E_INVALIDARG);
            place = place * count + static_cast<std::size_t>(index - 1);
        };
        (step(indices, kCounts), ...);
        return place;
    }
};

// A text that is put without a check.
class Text {
public:
    template <class Owner>
    const std::u16string& Get(const Owner&) const {
        return value;
    }
    template <class Owner>
    void Put(std::u16string_view given, Owner& owner) {
        std::u16string text(given);
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { value.swap(text); });
    }

    void CopyFrom(const Text& other) { value = other.value; }

    std::u16string value;
};

// An optional reference that records once had. It is read past, and not kept.
struct FormerReference {
    void CopyFrom(const FormerReference&) {}
};

// An owned collection of class Collection, made by the first get.
template <class Collection>
class Child : public ChildSlot {
public:
    static const ClassInfo& CollectionClass() { return ClassOf<Collection>(); }

    void CopyFrom(const Child&) {}

    template <class Owner>
    Ref<Object> Get(Owner& owner) {
        return owner.ResolveRoot().GetChild(*this, CollectionClass(), owner);
    }
};

template <class Class, class Field>
constexpr bool IsChildField(Field Class::*) {
    return std::is_base_of_v<ChildSlot, Field>;
}

// Visits the child collections among a class's fields, in record order.
template <class Class>
void VisitChildFields(Class& object, const Object::ChildVisitor& visit) {
    ForEachField(object, [&](auto& field, const auto&) {
        using Field = std::remove_reference_t<decltype(field)>;
        if constexpr (std::is_base_of_v<ChildSlot, Field>) visit(field, Field::CollectionClass());
    });
}

// Visits the references to other items among a class's fields, in record order.
template <class Class>
void VisitReferenceFields(Class& object, const Object::ReferenceVisitor& visit) {
    ForEachField(object, [&](auto& field, const auto&) {
        using Field = std::remove_reference_t<decltype(field)>;
        if constexpr (std::is_base_of_v<ReferenceBase, Field>) visit(field, Field::TargetInfo());
    });
}

// Gives one object of a class the values of another. Child collections stay the receiver's own; references point where
// the other's point.
template <class Class>
void CopyFields(Object& to, const Object& from) {
    std::apply(
        [&](auto... field) {
            ((static_cast<Class&>(to).*PointerOf(field)).CopyFrom(static_cast<const Class&>(from).*PointerOf(field)),
             ...);
        },
        RecordOf<Class>::fields);
}

// Exchanges the values of two objects of a class; their child collections stay with them or change sides, too.
enum class Children { Stay, Too };
template <class Class, Children kChildren>
void SwapFields(Object& one, Object& other) noexcept {
    const auto swap = [](auto& left, auto& right) {
        constexpr bool isChild = std::is_base_of_v<ChildSlot, std::remove_reference_t<decltype(left)>>;
        if constexpr (!isChild || kChildren == Children::Too) std::swap(left, right);
    };
    std::apply(
        [&](auto... field) {
            (swap(static_cast<Class&>(one).*PointerOf(field), static_cast<Class&>(other).*PointerOf(field)), ...);
        },
        RecordOf<Class>::fields);
}

// Lets every field read what it has only in the file.
template <class Class>
void MaterialiseFields(Class& object) {
    ForEachField(object, [](auto& field, const auto&) {
        if constexpr (requires { field.Materialise(); }) field.Materialise();
    });
}

}  // namespace lumvex::inside
