#include "files/measurement_file.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "files/replaced_file.hpp"
#include "files/sound_file.hpp"
#include "files/text_encoding.hpp"
#include "files/text_reader.hpp"
#include "files/text_writer.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBeginning = 12;  // bytes that tell sound from text

std::time_t DateOf(const fs::path& path) {
    std::error_code error;
    const auto written = fs::last_write_time(path, error);
    if (error) throw FileError(path, error);
    const auto date = std::chrono::file_clock::to_sys(written).time_since_epoch();
    return static_cast<std::time_t>(std::chrono::floor<std::chrono::seconds>(date).count());
}

// A file system that keeps no such date leaves the file as it is.
void PutDate(const fs::path& path, std::time_t date) {
    std::error_code ignored;
    const std::chrono::sys_seconds written{std::chrono::seconds(date)};
    fs::last_write_time(path, std::chrono::file_clock::from_sys(written), ignored);
}

void CheckIsFile(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error) throw FileError(path, error);
    if (fs::is_directory(status)) throw FileError(path, std::make_error_code(std::errc::is_a_directory));
    if (!fs::is_regular_file(status)) throw FileError(path, 0, "a file", "a device or pipe");
}

std::fstream Open(const fs::path& named, const fs::path& path, std::ios::openmode mode) {
    errno = 0;
    std::fstream stream(path, mode | std::ios::binary);
    if (!stream) throw FileError(named, LastSystemError());
    return stream;
}

std::string Beginning(const fs::path& path, std::istream& in) {
    std::string bytes(kBeginning, '\0');
    errno = 0;
    in.read(bytes.data(), kBeginning);
    if (in.bad()) throw FileError(path, LastSystemError());
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    in.clear();
    in.seekg(0);
    return bytes;
}

// Sound is written in two passes, which a pipe does not take.
std::size_t WriteToDevice(const fs::path& path, FileFormat format, const MeasurementFile& file,
                          const WriteOptions& options) {
    std::stringstream bytes;
    const std::size_t rounded = WriteMeasurement(path, bytes, format, file, options);
    bytes.clear();
    bytes.seekg(0);
    errno = 0;
    std::ofstream device(path, std::ios::binary);
    if (device << bytes.rdbuf()) device.close();
    if (!device) throw FileError(path, LastSystemError());
    return rounded;
}

void CheckTable(const fs::path& path, const MeasurementFile& file) {
    if (file.rows == 0 || file.columns == 0) throw FileError(path, "there are no values to write");
    if (file.values.size() / file.rows != file.columns || file.values.size() % file.rows != 0) {
        throw FileError(path, 0, std::to_string(file.rows) + " x " + std::to_string(file.columns) + " values",
                        std::to_string(file.values.size()));
    }
    const auto bad = std::find_if_not(file.values.begin(), file.values.end(), [](float v) { return std::isfinite(v); });
    if (bad == file.values.end()) return;
    const auto index = static_cast<std::size_t>(bad - file.values.begin());
    throw FileError(path, "the value in row " + std::to_string(index % file.rows + 1) + ", column " +
                              std::to_string(index / file.rows + 1) + " is not a finite number");
}

}  // namespace

FileFormat FormatOf(const fs::path& path) {
    const std::string extension = LowerExtension(path);
    if (extension == ".frd" || extension == ".txt") return FileFormat::Tabs;
    if (extension == ".csv") return FileFormat::Commas;
    if (extension == ".wav") return FileFormat::Wav;
    if (extension == ".flac") return FileFormat::Flac;
    throw FileError(path, 0, "the extension .frd, .txt, .csv, .wav or .flac",
                    extension.empty() ? std::string("none") : Quoted(extension));
}

MeasurementFile ReadMeasurement(const fs::path& path, std::iostream& in, const ReadOptions& options) {
    const std::string beginning = Beginning(path, in);
    if (beginning.empty()) throw FileError(path, "the file is empty");
    return IsSound(beginning, path) ? ReadSound(path, in) : ReadText(path, in, options);
}

MeasurementFile ReadMeasurementFile(const fs::path& path, const ReadOptions& options) {
    CheckIsFile(path);
    std::fstream in = Open(path, path, std::ios::in);
    MeasurementFile file = ReadMeasurement(path, in, options);
    file.name = Utf8(path.stem());
    file.modified = DateOf(path);
    return file;
}

std::size_t WriteMeasurement(const fs::path& path, std::iostream& out, FileFormat format, const MeasurementFile& file,
                             const WriteOptions& options) {
    CheckTable(path, file);
    if (format == FileFormat::Tabs || format == FileFormat::Commas) {
        CheckFitsText(path, file);
        WriteText(out, file, format == FileFormat::Commas ? ',' : '\t');
        return 0;
    }
    const SoundFormat sound = format == FileFormat::Flac ? SoundFormat::Flac : SoundFormat::Wav;
    const SampleBits bits = options.bits.value_or(sound == SoundFormat::Flac ? SampleBits::Whole24 : SampleBits::Float);
    CheckFitsSound(path, file, sound, bits);
    return WriteSound(path, out, file, sound, bits);
}

std::size_t WriteMeasurementFile(const fs::path& path, const MeasurementFile& file, const WriteOptions& options) {
    const FileFormat format = options.format ? *options.format : FormatOf(path);
    ReplacedFile replaced(path);
    if (replaced.IsDevice()) return WriteToDevice(path, format, file, options);
    std::fstream out = Open(path, replaced.Temporary(), std::ios::in | std::ios::out | std::ios::trunc);
    errno = 0;
    const std::size_t rounded = WriteMeasurement(path, out, format, file, options);
    out.flush();
    if (!out) throw FileError(path, LastSystemError());
    out.close();
    if (!out) throw FileError(path, LastSystemError());
    if (file.modified != 0) PutDate(replaced.Temporary(), file.modified);
    replaced.Commit();
    return rounded;
}

}  // namespace lumvex::app
