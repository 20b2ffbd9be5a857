// What reading and writing a compound file has cost since it was opened.
#pragma once

#include <cstdint>

namespace lumvex::compound {

struct Statistics {
    std::uint64_t bytesRead = 0;     // of sectors that were touched, each counted once
    std::uint64_t sectorsRead = 0;   // the same in sectors
    std::uint64_t bytesWritten = 0;  // handed to the file, headers included
    std::uint64_t flushes = 0;
    std::uint64_t commits = 0;
};

}  // namespace lumvex::compound
