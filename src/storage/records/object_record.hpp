// The record of one object, the frame included that all classes share.
//
//     item          version word, timestamp (DATE), name, the class's own fields
//     collection    version word 0x80010001, member count (32 bits), per member its ID (16 bytes) and tag (32 bits)
#pragma once

#include <memory>

#include "core/objects/object.hpp"
#include "storage/records/byte_source.hpp"
#include "storage/records/record_reader.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

inline constexpr VersionWord kCollectionVersion{1, 1};

// What is still only in the file has to be materialised before.
void WriteObject(const Object& object, RecordWriter& writer);

// Arrays and member lists stay where they are until they are asked for. A record that names a newer minimum reader fails
// with 4014. Answers the version under which the record was written and how many of its bytes were understood.
struct RecordExtent {
    VersionWord version;
    std::uint64_t bytes;
};
RecordExtent ReadObject(Object& object, const std::shared_ptr<const ByteSource>& source);

}  // namespace lumvex::inside
