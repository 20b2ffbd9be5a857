// The root storage's streams and folders by name, in memory: the directory is not needed to find one of them and the
// place of its bytes. Streams are mostly asked for in the order in which they are in the file. So they are kept in this
// order, and the one behind the last one is tried first.
#pragma once

#include <array>
#include <vector>

#include "generic/hash_index.hpp"
#include "storage/compound/format/names.hpp"
#include "storage/compound/read/entries.hpp"

namespace lumvex::compound {

// What the directory has of a stream or a folder of the root storage.
struct FoundEntry {
    EntryId id = kNoEntry;
    bool isStream = false;
    SectorId start = kEndOfChain;  // of a stream, and its size
    std::uint64_t size = 0;

    FoundEntry() = default;
    FoundEntry(EntryId number, const DirectoryEntry& entry, int version)
        : id(number), isStream(entry.Type() == EntryType::Stream), start(entry.Start()), size(entry.Size(version)) {}
};

class NameIndex {
public:
    // Of those entries that the tree reaches, in a directory of so many; Corrupt where it reaches more, as a cycle
    // would. Of entries of one name only the topmost can be found. Streams shorter than miniCutoff are in the mini
    // stream.
    NameIndex(Pages& directory, EntryId top, std::uint32_t entries, int version, std::uint32_t miniCutoff);

    FoundEntry Find(const EntryName& name);
    void Expect(EntryId entry);  // its name is probably asked for next

private:
    // 28 bytes, as there are many. A longer stream's size is looked up in the directory.
    static constexpr std::uint32_t kLong = (1u << 28) - 1;
    struct Record {
        explicit Record(EntryId number) : id(number) {}  // of an entry that is neither a stream nor a folder
        Record(EntryId number, const DirectoryEntry& entry, int version);

        NameKey Key() const;

        std::array<std::uint32_t, 4> key{};
        EntryId id;
        SectorId start = kEndOfChain;
        std::uint32_t size : 28 = 0;
        std::uint32_t isMember : 1 = 0, isStream : 1 = 0, isKeyOfId : 1 = 0;
        std::uint32_t isFound : 1 = 0;  // the tree reaches it, and no other entry of its name before
    };

    static_assert(sizeof(Record) == 28);

    bool FindInOrder(const AllLinks& links, EntryId top);
    void FindTopmost(EntryId top);
    bool IsBefore(const Record& left, const Record& right);
    void SortInFileOrder(std::uint32_t miniCutoff);
    void HashAll();
    bool HasName(const Record& record, const EntryName& name);

    Pages& directory_;
    int version_;
    std::vector<Record> records_;  // streams in file order, then folders; at first all entries, by number
    HashIndex byKey_;              // of records_; made when a name is asked for that is not the expected one
    std::size_t expected_ = 0;     // the record behind the one that was found last
};

}  // namespace lumvex::compound
