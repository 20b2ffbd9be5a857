// What the tests of the measurement files share: a folder for each test, and the error of a call that has to fail.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "files/measurement_file.hpp"

namespace lumvex::app {

class Folder {
public:
    Folder() : path_(std::filesystem::path(testing::TempDir()) / ("files-" + std::to_string(std::random_device{}()))) {
        std::filesystem::create_directory(path_);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path_); }

    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

    std::filesystem::path Write(const std::string& name, std::string_view bytes) const {
        std::ofstream(path_ / name, std::ios::binary) << bytes;
        return path_ / name;
    }
    std::size_t Count() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(path_), std::filesystem::directory_iterator()));
    }

private:
    std::filesystem::path path_;
};

inline std::string Bytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

template <class Call>
std::optional<FileError> ErrorOf(Call&& call) {
    try {
        call();
    } catch (const FileError& error) {
        return error;
    }
    return std::nullopt;
}

inline std::optional<FileError> ReadError(const std::filesystem::path& path) {
    return ErrorOf([&] { static_cast<void>(ReadMeasurementFile(path)); });
}

inline MeasurementFile Table(MeasurementFile::Kind kind, std::size_t columns, std::vector<float> values) {
    MeasurementFile file;
    file.kind = kind;
    file.sampleRate = kind == MeasurementFile::Kind::Impulse ? 48000 : 0;
    file.columns = columns;
    file.rows = values.size() / columns;
    file.values = std::move(values);
    return file;
}

inline bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](float x, float y) {
        return std::bit_cast<std::uint32_t>(x) == std::bit_cast<std::uint32_t>(y);
    });
}

// Finite floats of every exponent, the extremes first.
inline std::vector<float> Floats(std::size_t count) {
    std::vector<float> floats{0.0f, -0.0f, 1e-45f, -1.17549421e-38f, 3.4028235e38f, 0.1f, 16777216.0f};
    std::mt19937 bits(7);
    while (floats.size() < count) {
        const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(bits()));
        if (std::isfinite(value)) floats.push_back(value);
    }
    floats.resize(count);
    return floats;
}

struct Shape {
    const char* name;
    MeasurementFile::Kind kind;
    std::size_t rows, columns;
    bool isSound = false;
};

// Writes the file under each of these names and expects to read the same again.
inline void ExpectSameBits(const std::vector<Shape>& shapes) {
    const Folder folder;
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(shape.name);
        MeasurementFile file = Table(shape.kind, shape.columns, Floats(shape.rows * shape.columns));
        if (shape.kind == MeasurementFile::Kind::Impulse && !shape.isSound) file.startTime = -0.1 / 3;
        WriteMeasurementFile(folder / shape.name, file);
        // Frequencies of every float do not rise.
        ReadOptions options{.force = true};
        if (shape.kind == MeasurementFile::Kind::Data) options.as = shape.kind;
        const MeasurementFile again = ReadMeasurementFile(folder / shape.name, options);
        EXPECT_EQ(again.startTime, file.startTime);
        EXPECT_EQ(again.kind, file.kind);
        EXPECT_EQ(again.rows, file.rows);
        EXPECT_EQ(again.columns, file.columns);
        EXPECT_EQ(again.sampleRate, file.sampleRate);
        EXPECT_TRUE(SameBits(again.values, file.values));
    }
}

}  // namespace lumvex::app
