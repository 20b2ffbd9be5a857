// A measurement file as one table of numbers: frequency responses and microphone calibrations kept as text, impulse
// responses kept as sound or text. Reading accepts what measurement programs really write; writing is strict and
// replaces the old file only when the new one is complete.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "files/file_error.hpp"

namespace lumvex::app {

struct MeasurementFile {
    enum class Kind {
        Response,     // frequency, level and perhaps phase
        Calibration,  // the same, of a microphone
        Impulse,      // one column per channel
        Data          // numbers as they are, in any number of columns
    };

    std::string name;          // valid UTF-8: the file's name without its extension
    bool isNamed = false;      // the user gave another name
    std::time_t modified = 0;  // the file's own date; not used when writing
    Kind kind = Kind::Response;
    std::int32_t sampleRate = 0;  // samples per second of an impulse response; 0 for text
    std::size_t rows = 0;         // at least 1 in a file
    std::size_t columns = 0;      // 2 or 3 of a response or calibration; the number of channels
    std::vector<float> values;    // rows * columns, column after column, all finite: frequency in Hz, level in dB and
                                  // phase in degrees; or the channels, full scale -1..1
    std::optional<double> startTime;          // of an impulse response: the time of its first sample in seconds, where
                                              // the file states it
    std::vector<std::string> loudspeakers;    // of an impulse response, which each channel is for: "FL"; empty: unknown
    std::optional<std::string> serialNumber;  // of a calibrated microphone
    std::optional<double> sensitivity;        // of a calibrated microphone, in dB: relative to what the file says (full
                                              // scale, a factor); a header in mV/Pa is given in dB re 1 V/Pa
    std::string header;                       // of text: the lines of words above the numbers, as valid UTF-8
    std::vector<std::string> notes;           // what reading left out or changed, in words
    std::size_t rounded = 0;                  // values that the file has more exactly than as 32-bit floats
};

// What to do where a file does not say all about itself.
struct ReadOptions {
    std::optional<MeasurementFile::Kind> as = {};  // what a text file is; none: found out
    std::vector<std::size_t> columns = {};         // of text, from 1, in this order; empty: all
    std::optional<char> decimalMark = {};          // of text, '.' or ','; none: found out
    std::int32_t sampleRate = 0;                   // of an impulse response in text, in Hz; 0: as the file says
    bool force = false;                            // take frequencies that do not rise or are not above 0
};

// Reads a file. Its content decides what it is, and its extension where the content does not tell. Throws FileError for
// missing, unreadable, empty or damaged files and, with the line, for data that cannot be understood.
[[nodiscard]] MeasurementFile ReadMeasurementFile(const std::filesystem::path& path, const ReadOptions& options = {});

// The same from a stream that can seek, such as what came through a pipe. The path is for messages, and its extension
// as that of a file; name and date are left as they are.
[[nodiscard]] MeasurementFile ReadMeasurement(const std::filesystem::path& path, std::iostream& in,
                                              const ReadOptions& options = {});

enum class FileFormat { Tabs, Commas, Wav, Flac };

// How sound is written. Samples from -1 to 1 fit into whole numbers; floats give back the same bits.
enum class SampleBits { Whole16, Whole24, Whole32, Float };

struct WriteOptions {
    std::optional<FileFormat> format = {};  // of a file; none: as its extension says
    std::optional<SampleBits> bits = {};    // none: floats in .wav, 24 bits in .flac
};

// The format of a path's extension: .frd and .txt (tabs) and .csv (commas) for text, .wav and .flac for impulse
// responses. Throws FileError for any other.
[[nodiscard]] FileFormat FormatOf(const std::filesystem::path& path);

// Writes a file, a device or a pipe. A file gets the table's date unless that is 0. Reading text and 32-bit
// floats back gives the same bits. Returns how many samples had to be rounded. Throws FileError, and leaves a file that
// was there as it was, when the table does not fit the format or the file cannot be written.
std::size_t WriteMeasurementFile(const std::filesystem::path& path, const MeasurementFile& file,
                                 const WriteOptions& options = {});

// The same into a stream that can seek. The path is for messages.
std::size_t WriteMeasurement(const std::filesystem::path& path, std::iostream& out, FileFormat format,
                             const MeasurementFile& file, const WriteOptions& options = {});

}  // namespace lumvex::app
