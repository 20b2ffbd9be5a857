#include "channels.hpp"

#include <algorithm>

#include "named_data.hpp"

namespace lumvex::app {

namespace {

using Kind = MeasurementFile::Kind;

std::ptrdiff_t Rows(const MeasurementFile& file) { return static_cast<std::ptrdiff_t>(file.rows); }

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
    if (one.kind != two.kind) refuse("it is of another kind");
    if (ChannelCount(two) != 1) refuse("it has " + CountOf(two.columns, "channel"));
    if (one.rows != two.rows) refuse("it has " + CountOf(two.rows, "row") + ", not " + std::to_string(one.rows));
    if (one.sampleRate != two.sampleRate)
        refuse("its sample rate is " + std::to_string(two.sampleRate) + " Hz, not " + std::to_string(one.sampleRate));
    const bool sameFrequencies =
        one.kind == Kind::Impulse || std::equal(one.values.begin(), one.values.begin() + Rows(one), two.values.begin());
    if (!sameFrequencies) refuse("it has other frequencies");
}

}  // namespace

std::string CountOf(std::size_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::size_t ChannelCount(const MeasurementFile& file) { return file.kind == Kind::Impulse ? file.columns : 1; }

MeasurementFile LevelsOf(const MeasurementFile& file) {
    MeasurementFile levels = file;
    levels.values.assign(file.values.begin() + Rows(file), file.values.begin() + 2 * Rows(file));
    levels.columns = 1;
    return levels;
}

void CheckIsMeasurement(const InputFile& file) {
    if (file.content.kind == Kind::Calibration)
        throw FileError(file.path,
                        "it is the calibration of a microphone, no measurement; a library (.lvs) keeps those");
}

void CheckIsImpulse(const InputFile& file) {
    CheckIsMeasurement(file);
    if (file.content.kind == Kind::Response)
        throw FileError(file.path, "it is a frequency response, and a correction is made of impulse responses");
}

MeasurementFile Joined(std::span<const InputFile> files) {
    const auto channelsOf = [](const MeasurementFile& file) {
        return file.kind == Kind::Impulse ? file : LevelsOf(file);
    };
    MeasurementFile joined = channelsOf(files[0].content);
    joined.name = CommonName(files);
    for (const InputFile& file : files.subspan(1)) {
        CheckGoesWith(files[0], file);
        const MeasurementFile channel = channelsOf(file.content);
        joined.values.insert(joined.values.end(), channel.values.begin(), channel.values.end());
        joined.columns += channel.columns;
        joined.modified = std::max(joined.modified, channel.modified);
    }
    return joined;
}

MeasurementFile WithOutputs(std::span<const InputFile> files, std::size_t outputs, const std::string& what) {
    MeasurementFile joined = Joined(files);
    if (joined.columns == outputs) return joined;
    throw FileError(files[0].path, (files.size() == 1 ? "it has " : "with the others it has ") +
                                       CountOf(joined.columns, "channel") + "; " + what + " has " +
                                       std::to_string(outputs) +
                                       (outputs == 1 ? "" : ", in one file or in as many mono files"));
}

}  // namespace lumvex::app
