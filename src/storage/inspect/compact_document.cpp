// Compacting: writes a document's file anew, as short as it can be.
#include <span>

#include "lumvex/maintenance.hpp"
#include "storage/compound/engine/compound_file.hpp"
#include "storage/compound/format/names.hpp"
#include "storage/compound/format/stream_lengths.hpp"
#include "storage/document/marks_stamp.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/inspect/client_errors.hpp"

namespace lumvex {

namespace {

using compound::CompoundFile;

// Both formats hold any document; version 3 up to its limits, with room to spare.
int ShortestVersion(const compound::StreamLengths& streams) {
    constexpr std::uint64_t kLargestVersion3 = std::uint64_t{1} << 30;
    const std::uint64_t version3 = streams.FileLength(3);
    return version3 <= streams.FileLength(4) && version3 <= kLargestVersion3 ? 3 : 4;
}

// Writes the shorter file where `create` makes it from the old one, given the version of the format.
template <class Create>
Compaction Compact(const std::filesystem::path& path, const Progress& progress, Create create) {
    const auto from =
        CompoundFile::Open(compound::OpenFile(path, compound::Access::Exclusive), compound::Access::Exclusive);
    if (!from->Contains(inside::kRootStream) && !from->Contains(inside::kOldRootStream))
        throw compound::StorageError(compound::Status::NotFound, "it is a compound file, but no document");
    compound::StreamLengths lengths;
    std::size_t streams = 0;
    from->ForEachStream([&](std::u16string_view, std::uint64_t bytes) {
        lengths.Add(bytes);
        ++streams;
    });
    from->ForEachInFolders([&](std::uint64_t bytes) { lengths.Add(bytes); });

    const auto to = create(*from, ShortestVersion(lengths));
    to->CarryFrom(*from);
    std::size_t done = 0;
    const compound::FoldedName versionInfo(inside::kVersionInfoStream);
    from->ReadAll([&](std::u16string_view name, std::span<const std::byte> bytes) {
        std::vector<std::byte> restamped;
        if (compound::FoldedName(name).Compare(versionInfo) == 0) {
            restamped = inside::Restamped(bytes, from->Number(), to->NextNumber());
            bytes = restamped;
        }
        to->Write(name, std::span(&bytes, 1));
        if (progress) progress(++done, streams);
    });
    const std::uint64_t before =
        from->FileSize();  // asked before: not all file systems tell the size of a file that was replaced
    to->Commit();
    return {before, to->FileSize()};
}

}  // namespace

Compaction CompactDocument(const std::filesystem::path& path, const Progress& progress) {
    const auto successor = [](const CompoundFile& from, int version) {
        return from.CreateSuccessor(version, inside::kFirstNumber);
    };
    return inside::ForClient([&] { return Compact(path, progress, successor); });
}

Compaction TryCompactDocument(const std::filesystem::path& path, const Progress& progress) {
    const auto inMemory = [](const CompoundFile&, int version) {
        return CompoundFile::Create(compound::MemoryFile(), version);
    };
    return inside::ForClient([&] { return Compact(path, progress, inMemory); });
}

}  // namespace lumvex
