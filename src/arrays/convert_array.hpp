// The conversions between a caller's safe array and an object's stored array.
#pragma once

#include "arrays/stored_array.hpp"
#include "lumvex/interfaces.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

inline constexpr LONG kAnyChannels = -1;

// Checks and converts what a caller puts; the slot changes only when all of it was accepted. A channel count of 0 or
// more is required of the second dimension; an array of one dimension is one channel. An empty variant empties the slot.
// Fails with 4002 (channels), 4003 (dimensions), 4004 (no array), 4007 (element type, or one that is not the array's own),
// DISP_E_BADINDEX (one dimension of one element).
void ConvertArrayIn(const VARIANT& value, ArraySlot& slot, LONG channels);

// The stored array as the caller wants it: LX_R4 and LX_UI1 are copies with their bounds, LX_R8 and LX_VT are converted
// and have lower bounds 0. Empty when nothing is stored or the type is none of these. Stored elements that are no 32-bit
// floats are converted by their own type (to bytes: within 0..255, what is no
// number is 0); bytes and texts are answered as what they are.
Variant ConvertArrayOut(const ArraySlot& slot, LONG type);

inline constexpr std::size_t kMostForEmptyRows = std::size_t{1} << 26;

// Arrays of numbers as the columns of one array of LX_R4, LX_R8 or LX_VT, with lower bounds 0 and as many rows as the
// longest has elements in its first dimension. Of an array with channels the first one is taken; what a short one leaves
// of its column is zero bytes. A column without numbers fails with 4004 (nothing) or 4007 (bytes, texts).
//
// The rows of an array without channels count too, though a file can claim any number of them in a few bytes: where no
// other array is that long, the answer takes kMostForEmptyRows bytes at most, or fails with E_OUTOFMEMORY.
Variant ConvertSideBySide(std::span<const ArraySlot> columns, LXArray type);

}  // namespace lumvex::inside
