// The compound file that a document is bound to. Objects that are read later refer to this binding and not to the file:
// when the document is bound to another file, they are read from there.
#pragma once

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "storage/compound/engine/compound_file.hpp"
#include "storage/document/path.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/records/record_reader.hpp"

namespace lumvex::inside {

// Every function throws Failure with the storage system's status unless it says otherwise.
class DocumentFile : public std::enable_shared_from_this<DocumentFile> {
public:
    // Starts without a file; Replace gives it one.
    DocumentFile() = default;

    bool IsOpen() const { return file_ != nullptr; }
    void Replace(std::unique_ptr<compound::CompoundFile> file);  // null: closes
    compound::CompoundFile& Container() const { return *file_; }

    // The stream, or null when the file does not have it. Each read sees the state committed last.
    std::shared_ptr<const ByteSource> Find(std::u16string_view name);
    // A reader of an object's record; none when the file does not have it. A record that fits into the room is read
    // into it at once, and the reader needs the room as long as it lives.
    using RecordRoom = std::array<std::byte, 4096>;
    std::optional<RecordReader> ReadRecord(const GUID& id, RecordRoom& room);
    // A stream that the file will have after the next commit or Replace: looked for when it is first read.
    std::shared_ptr<const ByteSource> FindOnRead(std::u16string_view name);
    bool Contains(std::u16string_view name) const;

    void Commit();
    void Revert() noexcept;

    // Grows with every change of the file after which streams have to be looked for again.
    std::uint64_t Generation() const { return generation_; }

private:
    std::unique_ptr<compound::CompoundFile> file_;
    std::uint64_t generation_ = 1;
};

std::unique_ptr<compound::CompoundFile> OpenCompoundFile(const std::filesystem::path& path, compound::Access access);
// The file appears at the path with its first commit: in the place of what is there, or (Taken::IsKept) only where
// nothing is, and the commit fails else.
enum class Taken { IsReplaced, IsKept };
std::unique_ptr<compound::CompoundFile> CreateCompoundFile(const std::filesystem::path& path, compound::Access access,
                                                           int version, Taken taken);

}  // namespace lumvex::inside
