#include "storage/document/write_streams.hpp"

#include "storage/document/marks_stamp.hpp"

namespace lumvex::inside {

void WriteStream(compound::CompoundFile& file, std::u16string_view name, const RecordWriter& record) {
    file.Write(name, record.Pieces());
}

void WriteStream(compound::CompoundFile& file, compound::ObjectName name, const RecordWriter& record) {
    file.Write(name, record.Pieces());
}

void WriteStream(compound::CompoundFile& file, std::u16string_view name, std::span<const std::byte> bytes) {
    const compound::Piece piece = bytes;
    file.Write(name, std::span(&piece, 1));
}

void WriteRootRecord(compound::CompoundFile& file, const Object& root, const Reference& self) {
    RecordWriter record;
    const auto writeHeadAndFields = [&] {
        record.ObjectReference(self);
        root.Class().save(root, record);
    };
    writeHeadAndFields();
    WriteStream(file, kOldRootStream, record);
    record.Clear();
    record.U32(VersionWord(kRootVersion, kRootVersion).Word());
    writeHeadAndFields();
    WriteStream(file, kRootStream, record);
}

// A save that changes nothing is no commit, and the file keeps its number.
void WriteVersions(compound::CompoundFile& file, std::uint64_t marksEpoch) {
    RecordWriter versions;
    versions.U32(static_cast<std::uint32_t>(AllClasses().size()));
    for (const ClassInfo* each : AllClasses()) {
        versions.Guid(each->classId);
        versions.U32(each->version.Word());
    }
    const auto write = [&](std::uint32_t number) {
        std::vector<std::byte> bytes = versions.Joined();
        if (marksEpoch != 0) AppendMarksStamp(bytes, {marksEpoch, number});
        WriteStream(file, kVersionInfoStream, bytes);
    };
    if (!file.IsChanged()) write(file.Number());
    if (file.IsChanged()) write(file.NextNumber());
}

}  // namespace lumvex::inside
