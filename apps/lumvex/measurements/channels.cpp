#include "measurements/channels.hpp"

#include <algorithm>

#include "measurements/named_data.hpp"

namespace lumvex::app {

namespace {

using FileKind = MeasurementFile::Kind;

// "impulse" of "impulse-left" and "impulse-right".
std::string CommonName(std::span<const InputFile> files) {
    std::string common = files[0].content.name;
    for (const InputFile& file : files) {
        const std::string& name = file.content.name;
        const auto end = std::mismatch(common.begin(), common.end(), name.begin(), name.end()).first;
        common.erase(end, common.end());
    }
    // The names may differ within a character of several bytes: then that character goes too. Separators at the end go.
    const bool cut = common.size() < files[0].content.name.size() &&
                     (static_cast<unsigned char>(files[0].content.name[common.size()]) & 0xC0) == 0x80;
    if (cut) {
        while (!common.empty() && (static_cast<unsigned char>(common.back()) & 0xC0) == 0x80) common.pop_back();
        if (!common.empty()) common.pop_back();
    }
    common.erase(common.find_last_not_of(" -_.,(") + 1);
    return common.empty() ? files[0].content.name : common;
}

void CheckGoesWith(const InputFile& first, const InputFile& other) {
    const MeasurementFile &one = first.content, &two = other.content;
    const auto refuse = [&](const std::string& what) {
        throw FileError(other.path, what + ", and cannot be a channel beside " + Quoted(one.name));
    };
    if (two.columns != 1) refuse("it has " + CountOf(two.columns, "channel"));
    if (one.rows != two.rows) refuse("it has " + CountOf(two.rows, "row") + ", not " + std::to_string(one.rows));
    if (one.sampleRate != two.sampleRate)
        refuse("its sample rate is " + std::to_string(two.sampleRate) + " Hz, not " + std::to_string(one.sampleRate));
    if (one.startTime.value_or(0) != two.startTime.value_or(0)) refuse("it has another start time");
}

}  // namespace

std::string CountOf(std::size_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

void CheckIsMeasurement(const InputFile& file) {
    if (file.content.kind == FileKind::Calibration)
        throw FileError(file.path,
                        "it is the calibration of a microphone, no measurement; a library (.lvs) keeps those (--as "
                        "response says that it is a measurement)");
}

void CheckIsImpulse(const InputFile& file) {
    CheckIsMeasurement(file);
    if (file.content.kind != FileKind::Impulse)
        throw FileError(file.path, "it is a frequency response, and a correction is made of impulse responses");
}

void CheckIsSound(const InputFile& file, const std::string& owner) {
    CheckIsMeasurement(file);
    if (file.content.kind == FileKind::Impulse) return;
    const std::string what =
        file.content.kind == FileKind::Data ? "it holds numbers as they are" : "it is a frequency response";
    throw FileError(file.path, what + ", and a " + owner + " keeps impulse responses; without --" + owner +
                                   " it becomes named data (--as data keeps every column), and --to-impulse RATE "
                                   "makes an impulse response of levels and phases");
}

MeasurementFile Joined(std::span<InputFile> files) {
    for (const InputFile& file : files.subspan(1)) CheckGoesWith(files[0], file);
    const bool isNamed = files[0].content.isNamed;
    const std::string name = isNamed ? files[0].content.name : CommonName(files);
    MeasurementFile joined = std::move(files[0].content);
    joined.name = name;
    joined.values.reserve(joined.values.size() * files.size());
    for (InputFile& file : files.subspan(1)) {
        joined.values.insert(joined.values.end(), file.content.values.begin(), file.content.values.end());
        std::vector<float>().swap(file.content.values);
        joined.columns += file.content.columns;
        joined.modified = std::max(joined.modified, file.content.modified);
    }
    return joined;
}

MeasurementFile WithOutputs(std::span<InputFile> files, std::size_t outputs, const std::string& what) {
    for (const InputFile& file : files.subspan(1)) CheckGoesWith(files[0], file);
    const std::size_t columns = files[0].content.columns + files.size() - 1;
    if (columns == outputs) return Joined(files);
    throw FileError(files[0].path, (files.size() == 1 ? "it has " : "with the others it has ") +
                                       CountOf(columns, "channel") + "; " + what + " has " + std::to_string(outputs) +
                                       (outputs == 1 ? "" : ", in one file or in as many mono files"));
}

}  // namespace lumvex::app
