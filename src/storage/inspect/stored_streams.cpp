// The bytes of a document's streams, for programs that look at what is stored and not at what it means.
#include "lumvex/diagnostics.hpp"
#include "storage/document/document_file.hpp"
#include "storage/inspect/client_errors.hpp"

namespace lumvex {

void ForEachStoredStream(const std::filesystem::path& path,
                         const std::function<void(const StoredStream&, const ReadStream&)>& visit) {
    using namespace inside;
    std::vector<std::pair<std::u16string, std::uint64_t>> streams;
    const auto file = ForClient([&] {
        auto opened = OpenCompoundFile(path, compound::Access::ReadShared);
        opened->ForEachStream([&](std::u16string_view name, std::uint64_t size) { streams.emplace_back(name, size); });
        return opened;
    });
    for (const auto& stream : streams) {
        const std::u16string& name = stream.first;
        const auto id = IdOfStream(name);
        const ReadStream read = [&](std::uint64_t offset, std::span<std::byte> bytes) {
            ForClient([&] { file->Get(name).Read(offset, bytes); });
        };
        visit({id ? ToUtf8(ToText(*id)) : ToUtf8(name), stream.second, streams.size()}, read);
    }
}

}  // namespace lumvex
