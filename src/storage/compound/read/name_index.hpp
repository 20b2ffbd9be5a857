// The root storage's streams and folders by name, in memory: the directory is not needed to find one of them and the
// place of its bytes. Streams are mostly asked for in the order in which they are in the file. So this order is kept,
// and the one behind the last one is tried first.
#pragma once

#include "generic/hash_index.hpp"
#include "generic/long_vector.hpp"
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

    FoundEntry Find(const EntryName& name) {
        const NameKey* const key = name.KnownKey();
        if (key == nullptr || expected_ >= order_.Count()) return FindAnywhere(name);
        const EntryId id = order_[expected_];
        const Record& record = records_[id];
        if (!record.HasKey(*key) || !record.isKeyOfId || record.size == kLong) return FindAnywhere(name);
        return FoundAt(expected_);
    }
    void Expect(EntryId entry);  // its name is probably asked for next

private:
    // 32 bytes, as there are many. A longer stream's size is looked up in the directory.
    static constexpr std::uint32_t kLong = (1u << 29) - 1;
    struct Record {
        Record(const DirectoryEntry& entry, int version);

        bool HasKey(const NameKey& key) const {
            return first == key.first && second == key.second && isKeyOfId == key.isId;
        }
        NameKey Key() const;

        std::uint64_t first = 0, second = 0;  // of its key
        EntryId left, right;                  // where the tree goes on
        SectorId start = kEndOfChain;
        std::uint32_t size : 29 = 0;
        std::uint32_t isMember : 1, isStream : 1 = 0, isKeyOfId : 1 = 0;  // a member: a stream or a folder
    };

    static_assert(sizeof(Record) == 32);

    // An entry on the way through the tree.
    struct OnTheWay {
        const Record* record;

        EntryId Left() const { return record->left; }
        EntryId Right() const { return record->right; }
    };

    // The entries that can be found, as they come out of the tree.
    struct Members {
        FileOrder small, large, folders;

        void Add(EntryId id, const Record& record, std::uint32_t miniCutoff) {
            (!record.isStream ? folders : record.size < miniCutoff ? small : large).Add(record.start, id);
        }
    };

    bool FindInOrder(EntryId top, std::uint32_t miniCutoff, Members& members) const;
    void FindTopmost(EntryId top, std::uint32_t miniCutoff, Members& members);
    bool IsBefore(const Record& left, const Record& right) const {
        if (!left.isKeyOfId || !right.isKeyOfId) return IsTextBefore(left, right);
        return left.first != right.first ? left.first < right.first : left.second < right.second;
    }
    bool IsTextBefore(const Record& left, const Record& right) const;
    void HashAll();
    bool HasName(EntryId id, const EntryName& name) const;
    FoundEntry FindAnywhere(const EntryName& name);
    FoundEntry FoundAt(std::size_t place) {
        const EntryId id = order_[place];
        const Record& record = records_[id];
        expected_ = place + 1;
        constexpr std::size_t kAhead = 8;
        if (place + kAhead < order_.Count()) Prefetch(&records_[order_[place + kAhead]], sizeof(Record));
        FoundEntry found;
        found.id = id;
        found.isStream = record.isStream;
        found.start = record.start;
        found.size = record.size;
        return found;
    }

    Pages& directory_;
    int version_;
    LongVector<Record> records_;  // of all entries, by number
    FileOrder order_;             // of streams that can be found, then folders
    HashIndex byKey_;             // of places in order_; made when a name is asked for that is not the expected one
    std::size_t expected_ = 0;    // the place behind that of the one that was found last
};

}  // namespace lumvex::compound
