#include "files/measurement_file.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <fstream>
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

enum class Format { Tabs, Commas, Wav };

constexpr std::size_t kBeginning = 12;  // bytes that tell sound from text

Format FormatOf(const fs::path& path) {
    const std::string extension = LowerExtension(path);
    if (extension == ".frd" || extension == ".txt") return Format::Tabs;
    if (extension == ".csv") return Format::Commas;
    if (extension == ".wav") return Format::Wav;
    throw FileError(path, 0, "the extension .frd, .txt, .csv or .wav",
                    extension.empty() ? std::string("none") : Quoted(extension));
}

std::time_t DateOf(const fs::path& path) {
    std::error_code error;
    const auto written = fs::last_write_time(path, error);
    if (error) throw FileError(path, error);
    const auto date = std::chrono::file_clock::to_sys(written).time_since_epoch();
    return static_cast<std::time_t>(std::chrono::floor<std::chrono::seconds>(date).count());
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

MeasurementFile ReadMeasurementFile(const fs::path& path, const ReadOptions& options) {
    CheckIsFile(path);
    std::fstream in = Open(path, path, std::ios::in);
    const std::string beginning = Beginning(path, in);
    if (beginning.empty()) throw FileError(path, "the file is empty");

    MeasurementFile file = IsSound(beginning, path) ? ReadSound(path, in) : ReadText(path, in, options);
    file.name = Utf8(path.stem());
    file.modified = DateOf(path);
    return file;
}

void WriteMeasurementFile(const fs::path& path, const MeasurementFile& file) {
    const Format format = FormatOf(path);
    CheckTable(path, file);
    format == Format::Wav ? CheckFitsSound(path, file) : CheckFitsText(path, file);

    ReplacedFile replaced(path);
    std::fstream out = Open(path, replaced.Temporary(), std::ios::in | std::ios::out | std::ios::trunc);
    errno = 0;
    if (format == Format::Wav) {
        WriteSound(path, out, file);
    } else {
        WriteText(out, file, format == Format::Commas ? ',' : '\t');
    }
    out.flush();
    if (!out) throw FileError(path, LastSystemError());
    out.close();
    if (!out) throw FileError(path, LastSystemError());
    replaced.Commit();
}

}  // namespace lumvex::app
