// Files with folders, as other programs leave them, and what stands in them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "kit/committed_image.hpp"

namespace lumvex::tests {

// Moves streams of the root storage into folders, which are streams of the root storage themselves until then; every
// name occurs once. Siblings become lists, each the right one of the one before, as some programs write them. Folders
// and the root get class IDs, state bits and times, each its own. The file must be as the engine first wrote it.
inline void PutIntoFolders(std::vector<std::byte>& image, const std::map<std::u16string, std::u16string>& folderOf) {
    using namespace compound;
    std::vector<DirectoryEntryWriter> writers;
    std::map<std::u16string, EntryId> ids;
    {
        const CommittedImage sound(image);
        for (EntryId id = 0; id < sound->EntryCount(); ++id) {
            writers.emplace_back(&image[sound.OffsetOf(id)]);
            std::array<char16_t, kMaxNameLength> buffer;
            if (sound->At(id).Type() == EntryType::Stream) ids[std::u16string(sound->At(id).Name(buffer))] = id;
        }
    }
    const auto setFacts = [&](EntryId id) {
        std::array<std::byte, kEntrySize> facts{};
        for (std::size_t i = 80; i < 116; ++i) facts[i] = static_cast<std::byte>(id + i);
        writers[id].SetFactsOf(facts.data());
    };
    setFacts(0);
    std::map<EntryId, std::vector<std::u16string>> members;  // by folder
    for (const auto& [name, id] : ids) {
        const auto folder = folderOf.find(name);
        members[folder == folderOf.end() ? 0 : ids.at(folder->second)].push_back(name);
    }
    for (auto& [folder, names] : members) {
        std::ranges::sort(names, [](const auto& a, const auto& b) { return FoldedName(a).Compare(FoldedName(b)) < 0; });
        if (folder != 0) {
            writers[folder].SetType(EntryType::Storage);
            writers[folder].SetContent(0, 0);
            setFacts(folder);
        }
        writers[folder].SetChild(ids.at(names.front()));
        for (std::size_t i = 0; i < names.size(); ++i) {
            DirectoryEntryWriter entry = writers[ids.at(names[i])];
            entry.SetLeft(kNoEntry);
            entry.SetRight(i + 1 < names.size() ? ids.at(names[i + 1]) : kNoEntry);
            entry.SetColour(Colour::Black);
        }
    }
}

// By path: what each stream holds, and what is said of each folder and of the root, whose path is empty.
inline std::map<std::u16string, std::vector<std::byte>> Everything(const std::vector<std::byte>& image) {
    using namespace compound;
    const CommittedImage sound(image);
    const std::shared_ptr<Committed>& committed = sound.State();
    std::map<std::u16string, std::vector<std::byte>> found;
    std::vector<std::pair<EntryId, std::u16string>> folders{{0, u""}};
    const auto factsOf = [](const DirectoryEntry& entry) {
        return std::vector<std::byte>(entry.bytes() + 80, entry.bytes() + 116);
    };
    while (!folders.empty()) {
        const auto [folder, path] = folders.back();
        folders.pop_back();
        found[path] = factsOf(committed->At(folder));
        WalkTree(committed->Directory(), committed->At(folder).Child(), committed->EntryCount(),
                 [&, path = path](EntryId id, const DirectoryEntry& entry) {
                     std::array<char16_t, kMaxNameLength> buffer;
                     const std::u16string below = path + u"/" + std::u16string(entry.Name(buffer));
                     if (entry.Type() == EntryType::Storage) return folders.emplace_back(id, below), void();
                     StreamBody stream(committed, id);
                     found[below].resize(static_cast<std::size_t>(stream.size));
                     stream.Read(0, found[below]);
                 });
    }
    return found;
}

}  // namespace lumvex::tests
