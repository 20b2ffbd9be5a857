// The streams of a document's file that are not objects, as they are written; and writing a stream.
#pragma once

#include "core/objects/object.hpp"
#include "storage/compound/engine/compound_file.hpp"
#include "storage/document/stream_names.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

void WriteStream(compound::CompoundFile& file, std::u16string_view name, const RecordWriter& record);
void WriteStream(compound::CompoundFile& file, compound::ObjectName name, const RecordWriter& record);
void WriteStream(compound::CompoundFile& file, std::u16string_view name, std::span<const std::byte> bytes);

// The root's record, in its two streams. The root has read what it had only in the file.
void WriteRootRecord(compound::CompoundFile& file, const Object& root, const Reference& self);
// The versions of all classes of this program, and the epoch of the marks of names that count; 0: none do. To be called
// when everything else is written.
void WriteVersions(compound::CompoundFile& file, std::uint64_t marksEpoch);

}  // namespace lumvex::inside
