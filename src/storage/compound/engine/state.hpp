// An open compound file: what is committed, what is pending, and which sectors may be written. The functions of
// CompoundFile work on it; its own are in compound_file.cpp, write_stream.cpp, carry.cpp, shorten.cpp and commit.cpp.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "storage/compound/engine/compound_file.hpp"
#include "storage/compound/file/piece_cursor.hpp"
#include "storage/compound/read/committed.hpp"
#include "storage/compound/read/stream_body.hpp"
#include "storage/compound/write/pending.hpp"
#include "storage/compound/write/space.hpp"

namespace lumvex::compound {

struct CompoundFile::State {
    State(std::unique_ptr<File> file, const Header& header, Access mode)
        : volume(std::move(file), header), access(mode), lastGeneration(header.Generation()) {
        volume.Map();
        committed = std::make_shared<Committed>(volume);
        pending = std::make_shared<PendingChanges>();
    }

    const Change* FindPending(const EntryName& name) const;
    std::optional<StreamBody> Locate(const EntryName& name) const;  // a stream that a reader of this file sees
    std::size_t ReadSmall(const FoundEntry& found, std::span<std::byte> buffer);
    static Found TakeOrRead(StreamBody&& body, std::span<std::byte> buffer);

    void RequireFits(std::uint64_t size);  // MediumFull for a longer stream than this version can have
    void RequireWritable() const {
        if (access == Access::ReadShared) throw StorageError(Status::AccessDenied, "the file is open for reading only");
    }
    // NotCurrent where another program has changed a file that is open to write. One that is open to read may be
    // changed, by a writer that keeps to our locks.
    void RequireCurrent() {
        if (access != Access::ReadShared && !committed->Empty()) volume.RequireCurrent(volume.Head());
    }

    // Does work. Where it fails because another program has changed the file, or because a part of the file cannot be
    // read, the error says so instead of what the work made of it.
    template <class Work>
    void InCurrentFile(Work&& work) {
        if (pending->Empty()) RequireCurrent();
        try {
            work();
            committed->RequireReadable();
        } catch (const StorageError&) {
            RequireCurrent();
            committed->RequireReadable();
            throw;
        }
    }

    void Write(const ChangeName& name, std::span<const Piece> content);
    void Remove(std::u16string_view name);
    void Carry(const std::shared_ptr<Committed>& from);
    void PrepareToWrite();
    void CommitAll();
    void Revert() noexcept;

    // The lowest bit marks a header that is on the disk, and other programs leave 0.
    std::uint32_t NextGeneration() const { return std::max<std::uint32_t>(lastGeneration + 2, 2); }

    Volume volume;
    Access access;
    std::shared_ptr<Committed> committed;
    std::shared_ptr<PendingChanges> pending;
    std::shared_ptr<PendingChanges> nextPending;  // empty; takes the place of `pending` after a commit or a Revert
    std::optional<Space> space;                   // from the first write on
    std::optional<FreeMap> freeMini;              // the committed state's mini sectors, once they were needed
    std::uint32_t lastGeneration;                 // that a commit has tried to write, also where it failed

    bool hadTooLong = false;  // since the last commit, a stream was too long for this version

    std::uint32_t endWithoutMoves = 0;  // the file's end when no stream was found that MoveStreamsToFront could move
    std::vector<Change*> moved;         // by the commit that is under way

private:
    struct Commit;  // one commit that is under way

    // The committed stream that a new content replaces, as far as it can be read: `differing` are the sectors to be
    // written where few of them differ.
    struct Comparison {
        std::optional<StreamBody> old;
        std::optional<std::vector<Run>> differing;
        bool isSame = false;
    };

    void MakeHeaderDurable();
    void RequireNothingLost();
    void MoveStreamsToFront();
    void ForgetMoved() noexcept;
    void MoveStream(EntryId id, std::uint32_t middle);
    void CutFreeTail() noexcept;
    void DropContent(Change& change) noexcept;
    void AddNew(const ChangeName& name, std::span<const Piece> content);
    EntryId ExistingStream(const ChangeName& name, const Change* change);
    Comparison Compare(EntryId existing, std::span<const Piece> content, std::uint64_t size);
    void WriteContent(Change& change, Comparison& comparison, std::span<const Piece> content);
    void WriteNew(Change& change, std::span<const Piece> content);
    LargeContent& MakeLarge(Change& change);
    void WriteSmall(Change& change, std::span<const Piece> content);
    void WriteWhole(Change& change, const StreamBody* old, std::span<const Piece> content);
    void WriteDifferences(Change& change, StreamBody& old, std::span<const Piece> content,
                          const std::vector<Run>& differing);
    void WriteRun(const Run& run, PieceCursor& content);
};

}  // namespace lumvex::compound
