// The conversions between a caller's safe array and an object's stored array.
#pragma once

#include "arrays/stored_array.hpp"
#include "lumvex/interfaces.hpp"
#include "lumvex/values.hpp"
#include "storage/records/byte_spool.hpp"

namespace lumvex::inside {

inline constexpr LONG kAnyChannels = -1;

// Checks and converts an array that a client puts, and then replaces the slot's; a failure leaves the slot as it was.
// An empty variant empties the slot. `channels` is how many elements the second dimension must have, where an array of
// one dimension counts as one channel; negative: any number. Fails with 4002 (number of channels), 4003 (more than two
// dimensions), 4004 (no array), 4007 (element type, or a variant that says another type than its array),
// DISP_E_BADINDEX (one dimension of one element). With a spool the elements may wait there.
void ConvertArrayIn(const VARIANT& value, ArraySlot& slot, LONG channels, ByteSpool* spool = nullptr);

// The stored array in the element type that the client wants: with the stored bounds for LX_R4 and LX_UI1, with lower
// bounds 0 for LX_R8 and LX_VT. Empty when nothing is stored or the type is none of these. Numbers are converted to the
// type; to bytes within 0..255, and 0 for what is not a number. Arrays of bytes and of texts are answered as they are
// stored. For kShapesAlone no element is read, here and below.
Variant ConvertArrayOut(const ArraySlot& slot, LONG type);

inline constexpr std::size_t kMostForEmptyRows = std::size_t{1} << 23;

// One array of LX_R4, LX_R8 or LX_VT whose columns are the given arrays, or their first channels, with lower bounds 0.
// It has as many rows as the longest of them; the rest of a shorter column is zero bytes. Fails with 4004 for a column
// that is nothing and 4007 for bytes or texts.
//
// An array may have rows and no channels, and a file can claim any number of such rows in a few bytes. Where these are
// more than the rows of all others, the answer takes at most kMostForEmptyRows bytes, or fails with E_OUTOFMEMORY.
Variant ConvertSideBySide(std::span<const ArraySlot> columns, LXArray type);

}  // namespace lumvex::inside
