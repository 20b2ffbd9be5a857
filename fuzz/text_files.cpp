// Any bytes as a measurement file of text: read or refused, and what was read is written and read back the same.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "files/text_reader.hpp"
#include "files/text_writer.hpp"

namespace {

using namespace lumvex::app;
using FileKind = MeasurementFile::Kind;

// The first byte chooses the options.
ReadOptions OptionsFrom(unsigned choice) {
    constexpr FileKind kKinds[] = {FileKind::Response, FileKind::Calibration, FileKind::Impulse, FileKind::Data};
    ReadOptions options;
    if (choice % 8 < 4) options.as = kKinds[choice % 4];
    if (choice & 8) options.decimalMark = choice & 16 ? ',' : '.';
    if (choice & 32) options.columns = {2, 1};
    if (choice & 64) options.sampleRate = 48000;
    options.force = (choice & 128) != 0;
    return options;
}

bool SameBits(const std::vector<float>& one, const std::vector<float>& two) {
    return std::ranges::equal(
        one, two, {}, [](float each) { return std::bit_cast<std::uint32_t>(each); },
        [](float each) { return std::bit_cast<std::uint32_t>(each); });
}

void ExpectTheSameAgain(MeasurementFile file, char separator) {
    std::stringstream written;
    CheckFitsText("again.txt", file);
    WriteText(written, file, separator);
    ReadOptions options;
    options.as = file.kind;
    options.force = true;
    options.decimalMark = '.';
    const MeasurementFile again = ReadText("again.txt", written, options);
    const bool isSame = again.rows == file.rows && again.columns == file.columns &&
                        again.sampleRate == file.sampleRate && SameBits(again.values, file.values);
    if (!isSame) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const ReadOptions options = OptionsFrom(data[0]);
    std::istringstream in(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    MeasurementFile file;
    try {
        file = ReadText("file.txt", in, options);
    } catch (const FileError&) {
        return 0;
    }
    file.header.clear();  // it may say something else of the table
    if (file.serialNumber || file.sensitivity) return 0;
    ExpectTheSameAgain(file, '\t');
    ExpectTheSameAgain(file, ',');
    return 0;
}
