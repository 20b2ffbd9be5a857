// What an open compound file consists of; the parts of CompoundFile share it.
#pragma once

#include <memory>
#include <optional>

#include "storage/compound/read/committed.hpp"
#include "storage/compound/compound_file.hpp"
#include "storage/compound/write/pending.hpp"
#include "storage/compound/file/piece_cursor.hpp"
#include "storage/compound/write/space.hpp"
#include "storage/compound/read/stream.hpp"

namespace lumvex::compound {

struct CompoundFile::State {
    State(std::unique_ptr<File> file, const Header& header, Access mode)
        : volume(std::move(file), header), access(mode), lastGeneration(header.Generation()) {
        volume.Map();
        committed = std::make_shared<Committed>(volume);
        pending = std::make_shared<PendingChanges>();
    }

    void RequireFits(std::uint64_t size);  // MediumFull for a longer stream than this version can have
    void RequireWritable() const {
        if (access == Access::ReadShared) throw Failure(Status::AccessDenied, "the file is open for reading only");
    }
    Space& FreeSpace();
    // NotCurrent where another program has changed the file of a writer. Beside a reader one of ours may.
    void RequireCurrent() {
        if (access != Access::ReadShared && !committed->Empty()) volume.RequireCurrent(volume.Head());
    }

    // Work that fails because of what another program has written says so.
    template <class Work>
    void InCurrentFile(Work&& work) {
        if (pending->Empty()) RequireCurrent();
        try {
            work();
            committed->RequireReadable();
        } catch (const Error&) {
            RequireCurrent();
            committed->RequireReadable();
            throw;
        }
    }

    void Write(std::u16string_view name, std::span<const Piece> content);
    void Remove(std::u16string_view name);
    void Carry(const std::shared_ptr<Committed>& from);
    void CommitAll();
    void Revert() noexcept;

    Volume volume;
    Access access;
    std::shared_ptr<Committed> committed;
    std::shared_ptr<PendingChanges> pending;
    std::shared_ptr<PendingChanges> nextPending;  // empty, made before something becomes pending: takes its place later
    std::optional<Space> space;       // from the first write on
    std::optional<FreeMap> freeMini;  // of the committed state, once it was needed
    std::uint32_t lastGeneration;     // that was written, be it in vain

    bool hadTooLong = false;  // a stream for this version, since the last commit

    std::uint32_t gatheredEnd = 0;  // the file's end when last no stream was found to be moved to the front
    std::vector<Change*> moved;     // to the front by the commit under way

private:
    struct Commit;  // one commit under way

    void MakeHeaderDurable();
    void RequireNothingLost();
    void MoveStreamsToFront();
    void ForgetMoved() noexcept;
    void MoveStream(EntryId id, std::uint32_t middle);
    void CutFreeTail() noexcept;
    void DropContent(Change& change) noexcept;
    void WriteNew(Change& change, std::span<const Piece> content);
    LargeContent& MakeLarge(Change& change);
    void WriteSmall(Change& change, std::span<const Piece> content);
    void WriteWhole(Change& change, const StreamBody* old, std::span<const Piece> content);
    void WriteDifferences(Change& change, StreamBody& old, std::span<const Piece> content,
                          const std::vector<Run>& differing);
    void WriteRun(const Run& run, PieceCursor& content);
};

}  // namespace lumvex::compound
