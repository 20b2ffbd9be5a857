#include "files/sound_chunks.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace lumvex::app {

namespace {

// A file is a head and then chunks: ID, length, content, padded to a multiple of so many bytes.
struct Container {
    std::string_view magic;
    std::size_t head;  // bytes before the first chunk
    std::size_t id;    // bytes of a chunk's ID, which begins with four characters
    std::size_t size;  // bytes of its length
    bool bigEndian;
    bool countsHeader;        // whether the length counts ID and length too
    std::uint64_t alignment;  // of every chunk
};

constexpr Container kContainers[] = {
    {"RIFF", 12, 4, 4, false, false, 2}, {"RF64", 12, 4, 4, false, false, 2}, {"RIFX", 12, 4, 4, true, false, 2},
    {"FORM", 12, 4, 4, true, false, 2},  {"riff", 40, 16, 8, false, true, 8}, {"caff", 8, 4, 8, true, false, 1},
};

// Reads so many bytes at a position; empty when the file ends before their end.
std::string ReadAt(std::istream& in, std::uint64_t position, std::size_t count) {
    std::string bytes(count, '\0');
    in.clear();
    in.seekg(static_cast<std::streamoff>(position));
    in.read(bytes.data(), static_cast<std::streamsize>(count));
    return in.good() ? bytes : std::string();
}

std::uint64_t Number(std::string_view bytes, bool bigEndian) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        number = number << 8 | static_cast<unsigned char>(bytes[bigEndian ? i : bytes.size() - 1 - i]);
    }
    return number;
}

// A recorder writes a length of all ones while it does not know it yet.
bool IsUnknown(std::string_view size) { return size.find_first_not_of('\xFF') == std::string_view::npos; }

std::optional<std::string> Compare(std::uint64_t stated, std::uint64_t there) {
    if (stated <= there) return std::nullopt;
    return "the samples should take " + std::to_string(stated) + " bytes and only " + std::to_string(there) +
           " are there";
}

std::optional<std::string> MissingInChunks(std::istream& in, std::uint64_t length, const Container& container) {
    std::string wideSize;  // RF64 keeps the lengths that need 64 bits in a chunk of their own
    const std::size_t header = container.id + container.size;
    std::uint64_t at = container.head;
    for (std::string chunk; !(chunk = ReadAt(in, at, header)).empty();) {
        const std::string_view id = std::string_view(chunk).substr(0, 4);
        std::string_view sizeBytes = std::string_view(chunk).substr(container.id);
        const std::uint64_t there = length - at - header;
        if (id == "ds64" && container.magic == "RF64") {
            const std::string sizes = ReadAt(in, at + header, 16);  // the length of the file, then that of the samples
            if (!sizes.empty()) wideSize = sizes.substr(8);
        }
        const bool samples = id == "data" || id == "SSND" || id == "BODY";
        if (samples && IsUnknown(sizeBytes)) {
            if (wideSize.empty()) return std::nullopt;
            sizeBytes = wideSize;
        }
        std::uint64_t size = Number(sizeBytes, container.bigEndian);
        if (container.countsHeader) size = size < header ? 0 : size - header;
        if (samples) return Compare(size, there);
        if (size > there) break;
        at += header + size;
        at += (container.alignment - at % container.alignment) % container.alignment;
    }
    return "the file ends before its samples begin";
}

// Magic, then offset and length of the samples.
std::optional<std::string> MissingInAu(std::istream& in, std::uint64_t length) {
    const std::string head = ReadAt(in, 0, 12);
    if (head.empty() || IsUnknown(head.substr(8))) return std::nullopt;
    const std::uint64_t offset = Number(std::string_view(head).substr(4, 4), true);
    return Compare(Number(std::string_view(head).substr(8), true), offset < length ? length - offset : 0);
}

}  // namespace

std::vector<std::string> OtherChunks(std::istream& in, std::uint64_t length) {
    constexpr std::string_view kOwn[] = {"fmt ", "data", "fact", "PEAK", "PAD ", "JUNK", "junk", "FLLR", "ds64"};
    constexpr std::size_t kMostTold = 8;
    std::vector<std::string> others;
    const std::string magic = ReadAt(in, 0, 4);
    if (magic != "RIFF" && magic != "RIFX" && magic != "RF64") return others;
    std::uint64_t at = 12;
    for (std::string chunk; at < length && !(chunk = ReadAt(in, at, 8)).empty();) {
        const std::string id = chunk.substr(0, 4);
        if (IsUnknown(std::string_view(chunk).substr(4))) break;
        const bool isOwn = std::ranges::find(kOwn, id) != std::end(kOwn);
        if (!isOwn && std::ranges::find(others, id) == others.end() && others.size() < kMostTold) others.push_back(id);
        at += 8 + Number(std::string_view(chunk).substr(4), magic == "RIFX");
        at += at % 2;
    }
    return others;
}

std::optional<std::string> MissingSamples(std::istream& in, std::uint64_t length) {
    const std::string magic = ReadAt(in, 0, 4);
    if (magic == ".snd") return MissingInAu(in, length);
    for (const Container& container : kContainers) {
        if (magic == container.magic) return MissingInChunks(in, length, container);
    }
    return std::nullopt;
}

}  // namespace lumvex::app
