#include "channels.hpp"

#include <algorithm>

#include "named_data.hpp"

namespace lumvex::app {

namespace {

using Kind = MeasurementFile::Kind;

// "impulse" of "impulse-left" and "impulse-right".
std::string CommonName(std::span<const InputFile> files) {
    std::string common = files[0].content.name;
    for (const InputFile& file : files) {
        const std::string& name = file.content.name;
        const auto end = std::mismatch(common.begin(), common.end(), name.begin(), name.end()).first;
        common.erase(end, common.end());
    }
    // Not between the bytes of one character, and not behind what only separates.
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
    if (one.rows != two.rows) refuse("it has " + std::to_string(two.rows) + " rows, not " + std::to_string(one.rows));
    if (one.sampleRate != two.sampleRate)
        refuse("its sample rate is " + std::to_string(two.sampleRate) + " Hz, not " + std::to_string(one.sampleRate));
    const bool sameFrequencies =
        one.kind == Kind::Impulse ||
        std::equal(one.values.begin(), one.values.begin() + static_cast<std::ptrdiff_t>(one.rows), two.values.begin());
    if (!sameFrequencies) refuse("it has other frequencies");
}

}  // namespace

std::size_t ChannelCount(const MeasurementFile& file) { return file.kind == Kind::Impulse ? file.columns : 1; }

MeasurementFile AsChannels(MeasurementFile file) {
    if (file.kind == Kind::Impulse) return file;
    const auto levels = file.values.begin() + static_cast<std::ptrdiff_t>(file.rows);
    file.values.erase(levels + static_cast<std::ptrdiff_t>(file.rows), file.values.end());
    file.values.erase(file.values.begin(), file.values.begin() + static_cast<std::ptrdiff_t>(file.rows));
    file.columns = 1;
    return file;
}

MeasurementFile Joined(std::span<const InputFile> files) {
    MeasurementFile joined = AsChannels(files[0].content);
    joined.name = CommonName(files);
    for (const InputFile& file : files.subspan(1)) {
        CheckGoesWith(files[0], file);
        const MeasurementFile channel = AsChannels(file.content);
        joined.values.insert(joined.values.end(), channel.values.begin(), channel.values.end());
        joined.columns += channel.columns;
        joined.modified = std::max(joined.modified, channel.modified);
    }
    return joined;
}

}  // namespace lumvex::app
