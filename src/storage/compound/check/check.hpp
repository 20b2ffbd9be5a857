// Whole-file consistency check. Bounded in time and memory by the file's length, whatever the file holds.
#pragma once

#include <string>
#include <vector>

#include "storage/compound/file/file.hpp"

namespace lumvex::compound {

struct Problem {
    std::string where, what;
};

// Header, DIFAT, FAT and mini FAT, every chain (lost, shared, cyclic, out of range), the directory's trees (order,
// reachability, names), sizes. Empty: the file is sound. At most 200 problems are returned.
[[nodiscard]] std::vector<Problem> CheckStructure(File& file);

}  // namespace lumvex::compound
