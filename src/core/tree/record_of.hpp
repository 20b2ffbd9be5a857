// How a class states its record: as one table of its persistent fields, in the order of the file. Saving, loading, copying
// and visiting child collections all use it.
//
//     template <> struct RecordOf<CDatum> : Record<Version{2}> {
//         static constexpr auto fields = std::tuple{&CDatum::Data, Since<2>(&CDatum::SampleRate)};
//     };
#pragma once

#include <tuple>
#include <type_traits>

#include "core/objects/class_info.hpp"

namespace lumvex::inside {

template <class Class>
struct RecordOf;

// What this program writes, and the oldest reader that can make sense of it.
struct Version {
    unsigned writer;
    unsigned minimumReader = 1;
};

template <Version kVersion>
struct Record {
    static constexpr VersionWord version{kVersion.writer, kVersion.minimumReader};
};

// A field that records have from a version on. A field need not be at the end of the record because it is new: readers of
// older records leave it out, wherever it is.
template <unsigned kFirst, class Pointer>
struct SinceField {
    Pointer pointer;
};

template <unsigned kFirst, class Pointer>
constexpr SinceField<kFirst, Pointer> Since(Pointer pointer) {
    return {pointer};
}

template <class Pointer>
constexpr Pointer PointerOf(Pointer pointer) {
    return pointer;
}
template <unsigned kFirst, class Pointer>
constexpr Pointer PointerOf(SinceField<kFirst, Pointer> field) {
    return field.pointer;
}

template <class Pointer>
constexpr unsigned FirstVersionOf(Pointer) {
    return 0;
}
template <unsigned kFirst, class Pointer>
constexpr unsigned FirstVersionOf(SinceField<kFirst, Pointer>) {
    return kFirst;
}

// Calls visit(field, firstVersion) for every field of the record, in order.
template <class Class, class Visit>
void ForEachField(Class& object, Visit&& visit) {
    std::apply([&](auto... field) { (visit(object.*PointerOf(field), FirstVersionOf(field)), ...); },
               RecordOf<std::remove_const_t<Class>>::fields);
}

}  // namespace lumvex::inside
