// An item's reference into the Specifications library. It consists of the IDs on the way to the target (manufacturer,
// model, configuration), in memory and in the record, so that it is kept while the library is missing. The target is
// looked up in the project's library when somebody asks for it.
#pragma once

#include <array>
#include <span>

#include "core/tree/fields.hpp"
#include "storage/records/record_reader.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

class LibraryReferenceBase {
protected:
    // The object behind a client's pointer: E_INVALIDARG when it is not of the class, 4009 when it is orphaned.
    static Ref<Object> Accepted(IUnknown* given, const ClassInfo& targetClass);
    // The object in the library of the owner's project. Where that has none: the object that was put, as long as its
    // own library exists. Else null. `shown`: for a display name, which looks for a missing library only once.
    Ref<Object> Find(const Object& owner, const ClassInfo& targetClass, std::u16string_view id, bool shown) const;
    void Hold(const Ref<Object>& target, std::span<std::u16string> path);

private:
    Ref<Object> held_;  // the object that a client put; it may belong to another library
};

// A reference to an item of TargetClass, or an empty one. kDepth counts the items from the library's root down to the
// target, the target included.
template <class TargetClass, std::size_t kDepth>
class LibraryReference : public LibraryReferenceBase {
public:
    static constexpr bool kIsIntoLinkedDocument = true;
    static const ClassInfo& TargetInfo() { return ClassOf<TargetClass>(); }

    static Ref<Object> Checked(IUnknown* given) {
        return given ? Accepted(given, ClassOf<TargetClass>()) : Ref<Object>();
    }

    template <class Owner>
    Ref<Object> Get(const Owner& owner) const {
        return Find(owner, ClassOf<TargetClass>(), Id(), false);
    }
    template <class Owner>
    Ref<Object> GetShown(const Owner& owner) const {
        return Find(owner, ClassOf<TargetClass>(), Id(), true);
    }
    template <class Owner>
    void Put(IUnknown* given, Owner& owner) {
        const Ref<Object> target = Checked(given);
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { Point(target); });
    }

    void Point(const Ref<Object>& target) { Hold(target, path); }
    bool IsEmpty() const { return Id().empty(); }
    std::u16string_view Id() const { return path.back(); }  // the target's, as text
    void CopyFrom(const LibraryReference& other) { *this = other; }

    std::array<std::u16string, kDepth> path;  // IDs as text, from the top; all empty without a target
};

// In a record: the IDs one after the other, each a text.
template <class TargetClass, std::size_t kDepth>
void SaveField(RecordWriter& writer, const LibraryReference<TargetClass, kDepth>& field) {
    for (const std::u16string& id : field.path) writer.Text(id);
}
template <class TargetClass, std::size_t kDepth>
void LoadField(RecordReader& reader, LibraryReference<TargetClass, kDepth>& field) {
    field.Point(Ref<Object>());
    for (std::u16string& id : field.path) id = reader.Text();
}

}  // namespace lumvex::inside
