// Saving a document: one commit of the compound file per save, so that a save that fails or is killed leaves the
// document that was in the file.
#pragma once

#include "generic/long_block.hpp"
#include "generic/long_vector.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/document/document_tree.hpp"

namespace lumvex::inside {

class DocumentSaver {
public:
    // progress: told of each object that is written; may throw, which ends the save before it has changed anything.
    explicit DocumentSaver(DocumentTree& tree, const Progress& progress) : tree_(tree), progress_(progress) {}

    // Into the file that is bound, or, when it would grow beyond what its sectors allow, into one with larger sectors
    // that takes its place.
    void Save();
    // Into a new file at the path, to which the document is bound from then on. It takes the place of what is there or,
    // with Taken::IsKept, fails.
    void SaveAs(const std::filesystem::path& path, compound::Access access, Taken taken);

private:
    using Objects = LongVector<Ref<Entry>>;

    Objects ObjectsToWrite();
    std::uint64_t MarksEpochFor(const Objects& objects) const;
    void RequireComplete();
    void ListObjectsThatTheTableLacks();
    int SectorVersionFor(const Objects& objects) const;

    bool IsOutgrown() const;
    void SaveInPlace(const Objects& objects);
    void SaveInto(std::unique_ptr<compound::CompoundFile> created, const Objects& objects);
    void SaveWithLargerSectors(const Objects& objects);

    void WriteRoot(compound::CompoundFile& file) const;
    void WriteObjects(compound::CompoundFile& file, const Objects& objects, std::uint64_t marksEpoch) const;
    Directory::NextTables WriteTables(compound::CompoundFile& file, bool all) const;
    void CopyStreams(compound::CompoundFile& to, const Objects& rewritten) const;

    DocumentTree& tree_;
    const Progress& progress_;
    LongBlocksStay memoryStays_;  // the parts of a save need much memory, one after the other
};

}  // namespace lumvex::inside
