// A document whose streams are changed at will, in a sound compound file: opened, walked, read, checked, changed and
// saved. The input is a list of edits of the document in base.lvp: stream (1 byte), what to do (1), place (2), length
// (1), then as many bytes.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "lumvex/diagnostics.hpp"
#include "lumvex/lumvex.hpp"
#include "storage/compound/compound_file.hpp"
#include "storage/document_file.hpp"

namespace {

namespace compound = lumvex::compound;
using Bytes = std::vector<std::byte>;
using Streams = std::map<std::u16string, Bytes>;

const Streams& Base() {
    static const Streams streams = [] {
        const auto file = compound::CompoundFile::Open(compound::OpenFile(LUMVEX_BASE, compound::Access::ReadShared),
                                                       compound::Access::ReadShared);
        Streams read{{std::u16string(lumvex::inside::kOldRootStream), {}},
                     {std::u16string(lumvex::inside::kLocksStream), {}}};
        file->ForEachStream([&](std::u16string_view name, std::uint64_t size) {
            Bytes bytes(size);
            file->Get(name).Read(0, bytes);
            read[std::u16string(name)] = std::move(bytes);
        });
        return read;
    }();
    return streams;
}

Streams Edited(const std::byte* data, std::size_t size) {
    Streams streams = Base();
    std::vector<std::u16string> names;
    for (const auto& [name, bytes] : streams) names.push_back(name);
    constexpr std::size_t kHead = 5;
    while (size >= kHead) {
        const std::u16string& name = names[std::to_integer<std::size_t>(data[0]) % names.size()];
        const auto edit = std::to_integer<unsigned>(data[1]) % 5;
        std::uint16_t place = 0;
        std::memcpy(&place, data + 2, sizeof place);
        const std::size_t length = std::min(std::to_integer<std::size_t>(data[4]), size - kHead);
        const Bytes content(data + kHead, data + kHead + length);
        data += kHead + length;
        size -= kHead + length;
        Bytes& stream = streams[name];
        const std::size_t at = std::min<std::size_t>(place, stream.size());
        const auto where = stream.begin() + static_cast<std::ptrdiff_t>(at);
        switch (edit) {
            case 0:  // overwrite
                stream.resize(std::max(stream.size(), at + length));
                std::copy(content.begin(), content.end(), stream.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            case 1:
                stream.insert(where, content.begin(), content.end());
                break;
            case 2:  // cut out
                stream.erase(where, where + static_cast<std::ptrdiff_t>(std::min(length, stream.size() - at)));
                break;
            case 3:
                stream.resize(at);
                break;
            default:
                streams.erase(name);
        }
    }
    return streams;
}

// A file in memory that has a path.
class PlaceForIt {
public:
    PlaceForIt() : fd_(::memfd_create("document", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_)) {}
    ~PlaceForIt() { ::close(fd_); }
    const std::filesystem::path& Path() const { return path_; }

    void Write(const Streams& streams) const {
        auto memory = compound::MemoryFile();
        compound::File& file = *memory;
        const auto made = compound::CompoundFile::Create(std::move(memory), 3);
        for (const auto& [name, bytes] : streams) {
            const compound::Piece piece = bytes;
            made->Write(name, std::span(&piece, 1));
        }
        made->Commit();
        Bytes image(file.Size());
        file.Read(0, image);
        if (::pwrite(fd_, image.data(), image.size(), 0) != static_cast<ssize_t>(image.size())) std::abort();
    }

private:
    int fd_;
    std::filesystem::path path_;
};

void Visit(const lumvex::Project& project) {
    using namespace lumvex;
    for (const Object& object : project.NewDescendantsEnum()) {
        try {
            if (const Collectable item = object.As<Collectable>()) {
                static_cast<void>(item.DisplayName());
                static_cast<void>(item.FQName());
            }
            if (const Datum datum = object.As<Datum>()) static_cast<void>(datum.Data());
            if (const Measurement measurement = object.As<Measurement>()) static_cast<void>(measurement.Data());
        } catch (const Error&) {
        }
    }
}

template <class Work>
bool Succeeds(Work&& work) {
    try {
        work();
        return true;
    } catch (const lumvex::Error&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lumvex;
    const PlaceForIt place;
    place.Write(Edited(reinterpret_cast<const std::byte*>(data), size));
    const bool sound = CheckDocument(place.Path()).empty();
    const std::u16string path = place.Path().u16string();
    Project project = Project::Create();
    if (!Succeeds([&] { project.OpenFile(path); })) return 0;
    Succeeds([&] { Visit(project); });
    Succeeds([&] { project.Data().Add(u"one more"); });
    const bool saved = Succeeds([&] { project.SaveFile(); });
    const bool closed = Succeeds([&] { project.CloseFile(); });
    if (sound && !(saved && closed && CheckDocument(place.Path()).empty())) std::abort();
    return 0;
}
