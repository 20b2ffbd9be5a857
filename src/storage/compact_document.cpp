// The file of a document written anew.
#include <string>
#include <vector>

#include "lumvex/maintenance.hpp"
#include "storage/published.hpp"

namespace lumvex {

namespace {

using compound::CompoundFile;

struct Named {
    std::u16string name;
    std::uint64_t size;
};

std::uint64_t RoundedUp(std::uint64_t bytes, std::uint64_t unit) { return (bytes + unit - 1) / unit * unit; }

// Bytes of a file of these streams; what lists the sectors of a FAT beyond the header is left out.
std::uint64_t FileSize(const std::vector<Named>& streams, std::uint64_t sector) {
    constexpr std::uint64_t kCutoff = 4096, kMiniSector = 64, kEntry = 128;
    std::uint64_t miniStream = 0, bytes = RoundedUp((streams.size() + 1) * kEntry, sector);
    for (const Named& stream : streams) {
        if (stream.size < kCutoff)
            miniStream += RoundedUp(stream.size, kMiniSector);
        else
            bytes += RoundedUp(stream.size, sector);
    }
    bytes += RoundedUp(miniStream, sector) + RoundedUp(miniStream / kMiniSector * sizeof(std::uint32_t), sector);
    return sector + bytes + RoundedUp(bytes / sector * sizeof(std::uint32_t), sector);
}

// Both formats hold any document; version 3 up to its limits, with room to spare.
int ShortestVersion(const std::vector<Named>& streams) {
    constexpr std::uint64_t kLargestVersion3 = std::uint64_t{1} << 30;
    const std::uint64_t version3 = FileSize(streams, 512);
    return version3 <= FileSize(streams, 4096) && version3 <= kLargestVersion3 ? 3 : 4;
}

Compaction Compact(const std::filesystem::path& path, const Progress& progress) {
    auto opened = compound::OpenFile(path, compound::Access::Exclusive);
    const compound::File& held = *opened;
    const auto from = CompoundFile::Open(std::move(opened), compound::Access::Exclusive);
    if (from->HasFolders())
        throw compound::Failure(compound::Status::AccessDenied, "it holds folders, which are not a document's");
    std::vector<Named> streams;
    from->ForEachStream(
        [&](std::u16string_view name, std::uint64_t size) { streams.push_back({std::u16string(name), size}); });

    const auto to = CompoundFile::Create(compound::CreateReplacing(path, held), ShortestVersion(streams));
    std::vector<std::byte> buffer;
    for (std::size_t at = 0; at < streams.size(); ++at) {
        const compound::Stream stream = from->Get(streams[at].name);
        const auto size = static_cast<std::size_t>(stream.Size());  // of a file that is mapped
        const std::byte* bytes = stream.Contiguous(0, size);
        if (!bytes) {
            buffer.resize(size);
            stream.Read(0, buffer);
            bytes = buffer.data();
        }
        const compound::Piece piece(bytes, size);
        to->Write(streams[at].name, std::span(&piece, 1));
        if (progress) progress(at + 1, streams.size());
    }
    to->Commit();
    return {from->FileSize(), to->FileSize()};
}

}  // namespace

Compaction CompactDocument(const std::filesystem::path& path, const Progress& progress) {
    return inside::Published([&] { return Compact(path, progress); });
}

}  // namespace lumvex
