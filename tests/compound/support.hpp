// What the engine's tests share: streams as a map, content that tells where it came from.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "kit/committed_image.hpp"
#include "kit/faulty_disk.hpp"
#include "kit/pattern.hpp"
#include "storage/compound/check/check.hpp"
#include "storage/compound/engine/compound_file.hpp"

namespace lumvex::tests {

using namespace lumvex::compound;

using Bytes = std::vector<std::byte>;
using Content = std::map<std::u16string, Bytes>;

inline std::u16string Name(unsigned number) {
    const std::string digits = std::to_string(number);
    return u"Stream" + std::u16string(digits.begin(), digits.end());
}

inline void Put(CompoundFile& file, std::u16string_view name, const Bytes& bytes) {
    const Piece piece(bytes);
    file.Write(name, std::span(&piece, 1));
}

inline void PutAll(CompoundFile& file, const Content& content) {
    for (const auto& [name, bytes] : content) Put(file, name, bytes);
}

inline Bytes Get(const CompoundFile& file, std::u16string_view name) {
    const Stream stream = file.Get(name);
    Bytes bytes(stream.Size());
    stream.Read(0, bytes);
    if (const std::byte* at = stream.Contiguous(0, bytes.size())) {
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), at));
    }
    return bytes;
}

// Pending streams too.
inline Content GetUncommitted(const CompoundFile& file) {
    Content content;
    file.ForEachStream([&](std::u16string_view name, std::uint64_t size) {
        Bytes bytes = Get(file, name);
        EXPECT_EQ(bytes.size(), size);
        EXPECT_TRUE(content.emplace(name, std::move(bytes)).second);
    });
    return content;
}

// Of a file with nothing pending.
inline Content GetAll(const CompoundFile& file) {
    Content content = GetUncommitted(file), together;
    file.ReadAll([&](std::u16string_view name, std::span<const std::byte> bytes) {
        EXPECT_TRUE(together.emplace(name, Bytes(bytes.begin(), bytes.end())).second);
    });
    EXPECT_TRUE(together == content) << "what is read in one go is what is read one by one";
    return content;
}

inline std::unique_ptr<CompoundFile> OpenBytes(Bytes image, Access access = Access::Exclusive) {
    return CompoundFile::Open(MemoryFile(std::move(image)), access);
}

inline Content ContentOf(const Bytes& image) { return GetAll(*OpenBytes(image)); }

inline std::string Problems(const Bytes& image) {
    std::string text;
    for (const Problem& problem : CheckStructure(*MemoryFile(image)))
        text += problem.where + ": " + problem.what + "\n";
    return text;
}

inline Bytes ImageOf(const Content& content, int version) {
    FaultyDisk disk;
    const auto file = CompoundFile::Create(disk.Open(), version);
    PutAll(*file, content);
    file->Commit();
    return disk.Content();
}

// The status of the StorageError that the work ends with; 0 where it ends without.
template <class Work>
Status StatusOf(Work&& work) {
    try {
        static_cast<void>(work());
    } catch (const StorageError& error) {
        return error.status();
    }
    return Status{};
}

// The sibling tree of the root: in order, no red below a red, equally many blacks on every way, so at most twice as
// deep as it has to be. The depth of its deepest entry.
inline std::size_t RequireRedBlackTree(const Bytes& image) {
    const CommittedImage committed(image);
    struct Place {
        EntryId id;
        bool parentIsRed;
        std::size_t blacks, depth;
    };
    std::vector<Place> open{{committed->TreeTop(), true, 0, 0}};
    std::size_t blacks = 0, deepest = 0;
    while (!open.empty()) {
        const Place at = open.back();
        open.pop_back();
        if (at.id == kNoEntry) {
            EXPECT_TRUE(blacks == 0 || blacks == at.blacks + 1)
                << at.blacks << " blacks above an end, not " << blacks - 1;
            blacks = at.blacks + 1;
            deepest = std::max(deepest, at.depth);
            continue;
        }
        const DirectoryEntry entry = committed->At(at.id);
        const bool red = entry.ColourOf() == Colour::Red;
        EXPECT_FALSE(red && at.parentIsRed) << "entry " << at.id;
        for (const EntryId child : {entry.Left(), entry.Right()})
            open.push_back({child, red, at.blacks + (red ? 0 : 1), at.depth + 1});
    }
    return deepest;
}

}  // namespace lumvex::tests
