// What the tests of the measurement files share: a folder of their own, and the error of a call that has to fail.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
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

}  // namespace lumvex::app
