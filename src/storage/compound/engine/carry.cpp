// Taking over another file's folders into a new file.
#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "storage/compound/engine/state.hpp"

namespace lumvex::compound {

void CompoundFile::State::Carry(const std::shared_ptr<Committed>& from) {
    RequireWritable();
    if (!committed->Empty() || pending->Carried() != nullptr)
        throw StorageError(Status::AccessDenied, "folders are carried into a new file, and once");
    if (from->Empty()) return;
    std::vector<EntryId> ids;
    auto tree = std::make_unique<CarriedTree>(ReadFolders(*from, ids));
    std::array<char16_t, kMaxNameLength> buffer;
    for (std::uint32_t at = 0; at < tree->rootFolders; ++at)
        if (pending->Find(ChangeName(DirectoryEntry(tree->members[at].entry.data()).Name(buffer))) != nullptr)
            throw StorageError(Status::AccessDenied, "a folder has the name of a stream");

    PrepareToWrite();
    std::vector<Change*> added;
    try {
        const Volume& disk = from->GetVolume();
        const std::uint64_t most = std::uint64_t{disk.SectorCount()} << disk.SectorShift();
        // More than the file has where streams share sectors: copying all of them might take very long.
        std::uint64_t total = 0;
        std::vector<std::byte> bytes;
        for (std::size_t at = 0; at < tree->members.size(); ++at) {
            CarriedMember& member = tree->members[at];
            if (member.IsFolder()) continue;
            auto body = from->Reading([&] { return std::make_shared<StreamBody>(from, ids[at]); });
            const std::uint64_t size = body->size;
            total += size;
            if (total > most) throw Corrupt("streams in folders have ", total, " bytes or more where there are ", most);
            bytes.resize(static_cast<std::size_t>(size));
            body->Read(0, bytes);
            const Piece piece(bytes);
            WriteNew(member.content, std::span(&piece, 1));
        }
        for (std::uint32_t at = 0; at < tree->rootFolders; ++at) {
            const std::u16string_view name = DirectoryEntry(tree->members[at].entry.data()).Name(buffer);
            if (name.empty()) throw Corrupt("a folder has no name");
            Change& change = pending->Add(ChangeName(name), kNoEntry);
            change.kind = Change::Kind::Folder;
            change.size = at;
            added.push_back(&change);
        }
        pending->Carry(std::move(tree));
    } catch (...) {
        for (CarriedMember& member : tree->members) DropContent(member.content);
        for (Change* change : added) pending->Erase(*change);
        throw;
    }
}

void CompoundFile::CarryFrom(const CompoundFile& from) { state_->Carry(from.state_->committed); }

void CompoundFile::ForEachInFolders(const std::function<void(std::uint64_t size)>& visit) const {
    if (state_->committed->Empty()) return;
    std::vector<EntryId> ids;
    for (const CarriedMember& member : ReadFolders(*state_->committed, ids).members)
        visit(member.IsFolder() ? 0 : DirectoryEntry(member.entry.data()).Size(Version()));
}

}  // namespace lumvex::compound
