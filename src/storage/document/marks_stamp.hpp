// Which marks of names in a file count (storage/records/object_record.hpp). Programs that do not know of marks leave
// them behind the lists as they are, whatever they do to the names. They write VERSIONINFO-V000 anew with every save:
// what is behind its entries is gone then. Should one change a document without that, the number of the file's state is
// another.
//
//     VERSIONINFO-V000   ..., kMarksMarker, the epoch of the marks that count (64 bits), the number of the state (32
//     bits)
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
