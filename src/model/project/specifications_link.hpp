// A project's link to a Specifications library. Stored are the library's ID and the path under which it was last seen;
// it is opened when somebody asks for it, and a link that leads nowhere at the moment is kept as it is.
#pragma once

#include <filesystem>
#include <optional>

#include "model/specifications/Specifications.hpp"

namespace lumvex::inside {

// May opening the path reach another machine or a device? One of the network, of a device or with a scheme; of any system.
bool LeadsElsewhere(std::u16string_view path) noexcept;

class SpecificationsLink {
public:
    // How far asking for the library goes when the project does not have it yet.
    enum class Reach {
        Shown,    // for a display name: not where it was missing before, and never elsewhere
        Near,     // for something in the library: never elsewhere
        Anywhere  // for the library itself
    };

    // The library that was put, or the one that was found, read-only; null without a link, or when no file of the
    // stored path or of its name beside the project is the library. Asked again, it looks again.
    template <class Owner>
    Ref<Object> Get(const Owner& owner, Reach reach = Reach::Anywhere) {
        return Library(owner.Path().parent_path(), reach);
    }
    // Holds the library until another one, or none, is put. E_INVALIDARG for somebody else's object.
    template <class Owner>
    void Put(ISpecifications* library, Owner& owner) {
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { Point(library); });
    }
    // The project's file was closed: a library that the link opened is let go, and no display name opens it again.
    void Close() noexcept;

    friend void SaveField(RecordWriter& writer, const SpecificationsLink& field);
    friend void LoadField(RecordReader& reader, SpecificationsLink& field);

private:
    struct Target {
        GUID id;
        std::u16string path;
    };

    Ref<Object> Library(const std::filesystem::path& projectFolder, Reach reach);
    void Find(const std::filesystem::path& projectFolder, Reach reach);
    void Point(ISpecifications* library);
    std::optional<Target> Current() const;

    mutable std::optional<Target> stored_;  // as loaded or last saved, or as the library was when it was found or put
    Ref<CSpecifications> library_;
    bool isOwn_ = false;  // the link opened the library itself
    std::optional<std::filesystem::path> missingFrom_;  // the project's folder when it was not found
};

// In a record: 16-bit flag; when 1, the library's ID and its path (empty when it never had a file).
void SaveField(RecordWriter& writer, const SpecificationsLink& field);
void LoadField(RecordReader& reader, SpecificationsLink& field);

}  // namespace lumvex::inside
