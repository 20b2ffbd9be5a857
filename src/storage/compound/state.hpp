// What an open compound file consists of; the parts of CompoundFile share it.
#pragma once

#include <memory>
#include <optional>

#include "storage/compound/committed.hpp"
#include "storage/compound/compound_file.hpp"
#include "storage/compound/pending.hpp"
#include "storage/compound/space.hpp"

namespace lumvex::compound {

struct CompoundFile::State {
    State(std::unique_ptr<File> file, const Header& header, Access mode)
        : volume(std::move(file), header), access(mode), lastGeneration(header.Generation()) {
        volume.Map();
        committed = std::make_shared<Committed>(volume);
        pending = std::make_shared<PendingChanges>();
    }

    void RequireWritable() const {
        if (access == Access::ReadShared) throw Failure(Status::AccessDenied, "the file is open for reading only");
    }
    Space& FreeSpace();

    void Write(std::u16string_view name, std::span<const Piece> content);
    void Remove(std::u16string_view name);
    void Commit();
    void Revert() noexcept;

    Volume volume;
    Access access;
    std::shared_ptr<Committed> committed;
    std::shared_ptr<PendingChanges> pending;
    std::optional<Space> space;         // from the first write on
    std::optional<FreeMap> freeMini;    // of the committed state, once it was needed
    std::uint32_t lastGeneration;       // that was written, be it in vain

private:
    void DropContent(Change& change);
    bool TryWriteDifferences(Change& change, const Stream::Body& old, std::span<const Piece> content);
    void WriteWhole(Change& change, std::span<const Piece> content);
};

}  // namespace lumvex::compound
