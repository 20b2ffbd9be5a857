// The engine on a file of any bytes: everything a caller can do ends in a result or a StorageError.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "storage/compound/check/check.hpp"
#include "storage/compound/engine/compound_file.hpp"

namespace {

using namespace lumvex::compound;
using Bytes = std::vector<std::byte>;

void Require(bool holds, int line = __builtin_LINE()) {
    if (holds) return;
    std::fprintf(stderr, "engine.cpp:%d does not hold\n", line);
    std::abort();
}

template <class Work>
bool Succeeds(Work&& work) {
    try {
        work();
        return true;
    } catch (const StorageError&) {
        return false;
    }
}

void Put(CompoundFile& file, std::u16string_view name, const Bytes& bytes) {
    const Piece piece(bytes);
    file.Write(name, std::span(&piece, 1));
}

std::vector<std::u16string> Names(const CompoundFile& file, std::size_t most) {
    std::vector<std::u16string> names;
    Succeeds([&] { file.ForEachStream([&](std::u16string_view name, std::uint64_t) { names.emplace_back(name); }); });
    Require(names.size() <= most);
    return names;
}

Bytes Read(const CompoundFile& file, std::u16string_view name, std::size_t most) {
    const Stream stream = file.Get(name);
    Require(stream.Size() <= most);
    Bytes bytes(stream.Size());
    stream.Read(0, bytes);
    const std::byte* at = stream.Contiguous(0, bytes.size());
    Require(at == nullptr || std::equal(bytes.begin(), bytes.end(), at));
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    const Bytes image(bytes, bytes + size);
    const bool sound = CheckStructure(*MemoryFile(image)).empty();
    Succeeds([&] {
        const auto file = CompoundFile::Open(MemoryFile(image), Access::Exclusive);
        const std::size_t most = size + 4096;  // a cut-short last sector counts
        const std::vector<std::u16string> names = Names(*file, most / 128 + 1);
        std::u16string unreadable;
        for (const std::u16string& name : names) {
            const bool read = Succeeds([&] { Read(*file, name, most); });
            Require(read || !sound);
            if (!read) unreadable = name;
        }
        const Bytes small(100, std::byte{1}), large(9000, std::byte{2});
        // A file that takes streams takes them in place of damaged ones too.
        const auto has = [&file](std::u16string_view name) {
            bool found = false;
            return Succeeds([&] { found = file->Contains(name); }) && found;
        };
        const bool takes = Succeeds([&] { Put(*file, u"small", small); });
        const bool takesLarge = Succeeds([&] { Put(*file, u"large", large); });
        Require(takesLarge || !takes || !has(u"large"));
        if (takes && has(unreadable)) {
            try {
                Put(*file, unreadable, small);
            } catch (const StorageError& error) {
                Require(error.status() == Status::InvalidName);  // that other programs give
            }
        }
        if (!names.empty()) {
            Succeeds([&] { Put(*file, names.front(), large); });
            Succeeds([&] { file->Remove(names[names.size() / 2]); });
        }
        const bool committed = Succeeds([&] { file->Commit(); });
        Require(committed || !sound);
        if (!committed) {
            file->Revert();
            return;
        }
        Succeeds([&] {
            if (takesLarge && file->Contains(u"large")) Require(Read(*file, u"large", large.size()) == large || !sound);
        });
        Names(*file, most / 128 + 64);
    });
    return 0;
}
