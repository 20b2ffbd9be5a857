// The compound file under a root document. Objects hold on to this binding, not to the file in it: when the document
// moves to another file, what was not loaded yet is read from there.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "lumvex/values.hpp"
#include "storage/records/byte_source.hpp"
#include "storage/compound/compound_file.hpp"

namespace lumvex::inside {

// Names of the streams that are not objects.
inline constexpr std::u16string_view kVersionInfoStream = u"VERSIONINFO-V000";
inline constexpr std::u16string_view kRootStream = u"ROOT-V200";
inline constexpr std::u16string_view kOldRootStream = u"ROOT";
inline constexpr unsigned kRootVersion = 4096;  // the highest root record this program reads, and the one it writes
inline constexpr std::u16string_view kDirectoryStream = u"ROOTDIR-V100";
inline constexpr std::u16string_view kLocksStream = u"LOCKS-V100";
inline constexpr std::u16string_view kSettingsStream = u"PROJECTSETTINGS-V100";

// The entry name under which an object's stream stands, and back; no ID for any other name.
std::u16string StreamNameOf(const GUID& id);
std::optional<GUID> IdOfStream(std::u16string_view name);

// Failures are the storage system's statuses.
class DocumentFile : public std::enable_shared_from_this<DocumentFile> {
public:
    // Starts without a file; Replace gives it one.
    DocumentFile() = default;

    bool IsOpen() const { return file_ != nullptr; }
    void Replace(std::unique_ptr<compound::CompoundFile> file);  // null: closes
    compound::CompoundFile& File() { return *file_; }

    // The stream, or null when the file does not have it. Read as committed at the time of each read.
    std::shared_ptr<const ByteSource> Find(std::u16string_view name);
    // The same for an object's record, which is read once and from its beginning: a short one is read now.
    std::shared_ptr<const ByteSource> FindRecord(std::u16string_view name);
    // A stream that the next commit or file brings: found when it is first read.
    std::shared_ptr<const ByteSource> Later(std::u16string_view name);
    bool Contains(std::u16string_view name) const;

    void Commit();
    void Revert() noexcept;

    // Rises with everything that makes streams be found anew.
    std::uint64_t Generation() const { return generation_; }

private:
    std::unique_ptr<compound::CompoundFile> file_;
    std::shared_ptr<MemorySource> lastRecord_;  // used again where nobody else has kept it
    std::uint64_t generation_ = 1;
};

// The file that a client's text names. Ill-formed UTF-16 becomes U+FFFD, but for what TextOfPath makes of a path that no
// text can spell; embedded zeros are an invalid name.
std::filesystem::path PathOf(std::u16string_view text);
// A text that leads back to the path, whatever its name.
std::u16string TextOfPath(const std::filesystem::path& path);

std::unique_ptr<compound::CompoundFile> OpenCompoundFile(const std::filesystem::path& path, compound::Access access);
std::unique_ptr<compound::CompoundFile> CreateCompoundFile(const std::filesystem::path& path, compound::Access access,
                                                           int version);

}  // namespace lumvex::inside
