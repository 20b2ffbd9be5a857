// A project's link to a Specifications library. Stored are the library's ID and the path under which it was last seen;
// it is opened when somebody asks for it, and a link that leads nowhere at the moment is kept as it is.
#pragma once

#include <filesystem>
#include <optional>

#include "model/specifications/Specifications.hpp"

namespace lumvex::inside {

class SpecificationsLink {
public:
    // The library that was put, or the one that was found, read-only; null without a link, or when no file of the
    // stored path or of its name beside the project is the library. Asked again, it looks again.
    template <class Owner>
    Ref<Object> Get(const Owner& owner) {
        return Library(owner.Path().parent_path());
    }
    // Holds the library until another one, or none, is put. E_INVALIDARG for somebody else's object.
    template <class Owner>
    void Put(ISpecifications* library, Owner& owner) {
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { Point(library); });
    }

    friend void SaveField(RecordWriter& writer, const SpecificationsLink& field);
    friend void LoadField(RecordReader& reader, SpecificationsLink& field);

private:
    struct Target {
        GUID id;
        std::u16string path;
    };

    Ref<Object> Library(const std::filesystem::path& projectFolder);
    void Point(ISpecifications* library);
    std::optional<Target> Current() const;

    std::optional<Target> stored_;  // as loaded; none once a library was put
    Ref<CSpecifications> library_;
};

// In a record: 16-bit flag; when 1, the library's ID and its path (empty when it has no file).
void SaveField(RecordWriter& writer, const SpecificationsLink& field);
void LoadField(RecordReader& reader, SpecificationsLink& field);

}  // namespace lumvex::inside
