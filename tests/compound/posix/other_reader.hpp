// Files in the eyes of a reader that is not ours.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support.hpp"

namespace lumvex::tests {

// By libgsf: costs a process.
inline void ExpectReadableElsewhere(const Bytes& image) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("fault-" + std::to_string(::getpid()))).string();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
    EXPECT_EQ(std::system(("gsf list '" + path + "' > /dev/null 2>&1").c_str()), 0);
    std::filesystem::remove(path);
}

}  // namespace lumvex::tests
