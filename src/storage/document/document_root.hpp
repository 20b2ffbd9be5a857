// The root of a document as opening, saving and the tree below it see it: an object with a record, and what its class
// has in the file beside that.
#pragma once

#include <optional>
#include <string>

#include "core/tree/tree_object.hpp"
#include "storage/records/record_reader.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

class DocumentRoot : public TreeObject {
public:
    // Settings that the file has in a stream of their own, which may be missing.
    virtual void SaveSettings(RecordWriter&) const {}
    virtual void LoadSettings(RecordReader&) {}
    virtual void SwapSettings(DocumentRoot&) noexcept {}  // with a root of the same class

    // Another document that this one is linked to: its ID and the path under which it was last seen.
    struct Link {
        GUID id;
        std::u16string path;
    };
    virtual std::optional<Link> LinkedDocument() const { return std::nullopt; }

    // The document's file was closed.
    virtual void FileClosed() noexcept {}
};

}  // namespace lumvex::inside
