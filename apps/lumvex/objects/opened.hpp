// Documents whose objects a command looks at or changes by their addresses.
#pragma once

#include <filesystem>

#include "documents/document.hpp"
#include "files/file_error.hpp"
#include "objects/address.hpp"
#include "objects/properties.hpp"

namespace lumvex::app {

// Runs `work`, which uses objects of the document: what a property refuses becomes a FileError that names the document,
// an Error of the library a DocumentError. `attempt` says what failed then: "cannot be read".
template <class Work>
decltype(auto) OnObjects(const std::filesystem::path& document, const char* attempt, Work&& work) {
    try {
        return OnDocument(document, attempt, std::forward<Work>(work));
    } catch (const PropertyError& error) {
        throw FileError(document, error.what());
    }
}

inline Node NodeOf(const AnyDocument& document) { return Node(RootOf(document)); }

// A document that is only read. Documents may be larger than memory, and what has been answered is not needed again:
// few items are kept.
class ReadDocument {
public:
    explicit ReadDocument(const std::filesystem::path& path)  // throws DocumentError
        : path_(path), document_(OpenDocument(path, LX_SHARE_READ)), root_(NodeOf(document_)), addresses_(path, root_) {
        OnDocument(path, "cannot be read", [&] { RootOf(document_).SetCacheBounds(kFewestKept, kMostKept); });
    }

    const std::filesystem::path& Path() const { return path_; }
    const AnyDocument& Any() const { return document_; }
    const Node& Root() const { return root_; }
    const Addresses& Objects() const { return addresses_; }

private:
    static constexpr LONG kFewestKept = 16, kMostKept = 64;

    std::filesystem::path path_;
    AnyDocument document_;
    Node root_;
    Addresses addresses_;
};

}  // namespace lumvex::app
