// Writing and reading the record of one object: what the records of all classes begin with, and the class's own fields.
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

// The object must have read what it had only in the file (Materialise).
void WriteObject(const Object& object, RecordWriter& writer);

// Long arrays and member lists are left in the file until a client asks for them. Throws 4014 for a record that needs a
// newer reader. Answers the version that the record was written with, and how many of its bytes were understood.
struct RecordExtent {
    VersionWord version;
    std::uint64_t bytes;
};
RecordExtent ReadObject(Object& object, const std::shared_ptr<const ByteSource>& source);

// The name in an item's record, read without an object. The whole record is read: this fails as ReadObject would.
void ReadName(const ClassInfo& itemClass, const std::shared_ptr<const ByteSource>& source, std::u16string& name);

}  // namespace lumvex::inside
