// The array inside an object's record:
//
//     format           u16     0 no array (nothing follows), 2 current, 1 older (read only)
//     dimensions       u32     d, at most 65,535
//     element type     u16     format 2: 4, 5, 8, 12 or 17; 0 reads as 4
//     element size     u32     format 1 instead: 4, 8 or 16
//     bounds           d x (i32 lower, i32 upper)
//     data             elements as they lie in memory; texts (type 8) one by one, first dimension outermost, each a u32
//                      byte length with terminator and UTF-16, 0 for a null text
#pragma once

#include "arrays/stored_array.hpp"
#include "storage/records/record_reader.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

// The writer borrows elements that are in memory: the array has to exist until the record was written. An array that is
// still in the document's file has to be read into memory before.
void WriteArrayRecord(RecordWriter& writer, const ArraySlot& slot);

// Leaves the slot empty when it fails: with 4007 for an unknown format or element type, with the read fault for no or
// more than 65,535 dimensions and for bounds whose elements the rest of the stream cannot hold.
void ReadArrayRecord(RecordReader& reader, ArraySlot& slot);

// Reads past an array without making it. Fails as ReadArrayRecord does.
void PassArrayRecord(RecordReader& reader);

}  // namespace lumvex::inside
