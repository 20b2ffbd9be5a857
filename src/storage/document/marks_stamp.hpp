// The stamp says which marks of names in a file are up to date (storage/records/object_record.hpp). A program that does
// not know of marks may rename items and leave the old marks behind the lists. But it writes VERSIONINFO-V000 with
// every save, without the stamp, and then no marks count. If it changes streams without writing that one, the number of
// the file's state is no longer the one in the stamp.
//
// The stamp follows the entries of VERSIONINFO-V000:
//     kMarksMarker, the epoch of the marks that count (64 bits), the number of the state (32 bits)
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "storage/records/byte_source.hpp"

namespace lumvex::inside {

struct MarksStamp {
    std::uint64_t epoch;
    std::uint32_t number;  // of the state that the stamp was written with
};

// The epoch whose marks count in a state of the number; 0: none do.
std::uint64_t CountingEpoch(const ByteSource& versionInfo, std::uint32_t number);
void AppendMarksStamp(std::vector<std::byte>& versionInfo, const MarksStamp& stamp);
// The states of files that we make are numbered from here on: a stamp that is copied along with all streams by a
// program that numbers from 0 does not fit.
constexpr std::uint32_t kFirstNumber = 0x40000000;
// A new epoch, which no list has; 0 where the system has no random numbers.
std::uint64_t NewMarksEpoch() noexcept;

// The stream for a file with the same lists in a state of another number. A stamp that does not count stays so.
std::vector<std::byte> Restamped(std::span<const std::byte> versionInfo, std::uint32_t from, std::uint32_t to);

}  // namespace lumvex::inside
