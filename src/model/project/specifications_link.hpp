// A project's link to a Specifications library: the library's ID and the path under which it was last seen. The library
// is opened when somebody asks for it. A link whose library cannot be found is kept as it is.
#pragma once

#include <filesystem>
#include <optional>

#include "model/specifications/Specifications.hpp"
#include "storage/document/linked_path.hpp"

namespace lumvex::inside {

class SpecificationsLink {
public:
    // How hard a get looks for a library that is not open yet. "Elsewhere" is what LeadsElsewhere() says.
    enum class Reach {
        Shown,    // for a display name: once in each folder of the project, never elsewhere
        Near,     // for an object in the library: never elsewhere
        Anywhere  // for the library itself
    };

    // The library that was put, or the one that was found and opened for reading. Null without a link, and when neither
    // the file at the stored path nor the file of that name beside the project is the library; the next call looks
    // again.
    template <class Owner>
    Ref<Object> Get(const Owner& owner, Reach reach = Reach::Anywhere) {
        return Library(owner.Path().parent_path(), reach);
    }
    // Holds the library until another one, or none, is put. E_INVALIDARG for somebody else's object.
    template <class Owner>
    void Put(ISpecifications* library, Owner& owner) {
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { Point(library); });
    }
    // What is saved: none without a link.
    using Target = DocumentRoot::Link;
    std::optional<Target> Current() const;
    // Called when the project's file was closed. Releases a library that the link opened; no display name opens it
    // again.
    void Close() noexcept;

    friend void SaveField(RecordWriter& writer, const SpecificationsLink& field);
    friend void LoadField(RecordReader& reader, SpecificationsLink& field);

private:
    Ref<Object> Library(const std::filesystem::path& projectFolder, Reach reach);
    void Find(const std::filesystem::path& projectFolder, Reach reach);
    void Point(ISpecifications* library);

    mutable std::optional<Target> stored_;  // as it was loaded, saved, found or put last
    Ref<CSpecifications> library_;
    bool isOwn_ = false;                                // the link opened the library itself
    std::optional<std::filesystem::path> missingFrom_;  // the project's folder when the library was not found
};

// In a record: 16-bit flag; when 1, the library's ID and its path (empty when it never had a file).
void SaveField(RecordWriter& writer, const SpecificationsLink& field);
void LoadField(RecordReader& reader, SpecificationsLink& field);

}  // namespace lumvex::inside
