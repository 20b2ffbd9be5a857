// Writing and reading the record of one object: what the records of all classes begin with, and the class's own fields.
//
//     item          version word, timestamp (DATE), name, the class's own fields
//     collection    version word 0x80010001, member count (32 bits), per member its ID (16 bytes) and tag (32 bits)
//
// Behind a long list there are marks of its members' names, which older readers pass over as bytes behind the last
// field: kMarksMarker, an epoch (64 bits), per member its mark (32 bits; core/tree/name_mark.hpp). A program that does
// not know of them leaves them as they are when it gives a member another name. So they count only where the epoch is
// that of the file (storage/document/marks_stamp.hpp).
#pragma once

#include <array>
#include <memory>

#include "core/objects/object.hpp"
#include "storage/records/byte_source.hpp"
#include "storage/records/record_reader.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

inline constexpr VersionWord kCollectionVersion{1, 1};
inline constexpr std::array<char, 8> kMarksMarker{'L', 'V', 'M', 'A', 'R', 'K', 'S', '1'};

// Has the object marks of names to be written?
bool HasMarksToWrite(const Object& object);

// The object must have read what it had only in the file (Materialise). Marks are written under the epoch; 0: none are.
void WriteObject(const Object& object, RecordWriter& writer, std::uint64_t marksEpoch = 0);

// Long arrays and member lists are left in the file until a client asks for them. Throws 4014 for a record that needs a
// newer reader. Answers the version that the record was written with, and how many of its bytes were understood.
struct RecordExtent {
    VersionWord version;
    std::uint64_t bytes;
};
// Marks of names count if they have the epoch; with 0 none do.
RecordExtent ReadObject(Object& object, RecordReader&& reader, std::uint64_t marksEpoch = 0);
// The bytes with the marks behind the list of a collection, whether or not they count.
std::uint64_t BytesWithMarks(const Object& object, const RecordExtent& read, const ByteSource& source);
// Do marks begin behind a list of so many members?
bool AreMarksBehind(const ByteSource& source, std::uint64_t members);

// The name in an item's record, read without an object. The whole record is read: this fails as ReadObject would.
void ReadName(const ClassInfo& itemClass, RecordReader&& reader, std::u16string& name);

}  // namespace lumvex::inside
