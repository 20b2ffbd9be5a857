#include "files/wave_format.hpp"

#include <string>

namespace lumvex::app {

namespace {

// "RIFF", length, "WAVE"; then ID, length and content of "fmt ", of "fact", and of "PAD ".
constexpr std::size_t kFormatSize = 16, kFormat = 20;
constexpr std::uint32_t kShortFormat = 16, kExtendedFormat = 40;
constexpr std::size_t kMask = kFormat + 20;  // in an extended format
constexpr std::size_t kFact = kFormat + kShortFormat, kPad = kFact + 12, kPadSize = kPad + 4, kPadding = kPad + 8;
constexpr std::uint32_t kExtensionSize = 2;

std::uint32_t NumberAt(const std::string& bytes, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
    return number;
}

void PutNumber(std::string& bytes, std::size_t at, std::uint32_t number) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(number >> 8 * i & 0xFF);
}

}  // namespace

bool CompleteWaveFormat(std::iostream& file, std::uint32_t channelMask) {
    std::string head(kPadding, '\0');
    file.clear();
    file.seekg(0);
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    const bool isLonger = file.good();  // than whole numbers without samples
    file.clear();
    if (!isLonger || !head.starts_with("RIFF") || head.compare(8, 8, "WAVEfmt ") != 0) return false;
    const std::uint32_t size = NumberAt(head, kFormatSize);
    if (size == kExtendedFormat) {
        PutNumber(head, kMask, channelMask);
    } else {
        const bool hasPadding = head.compare(kFact, 4, "fact") == 0 && head.compare(kPad, 4, "PAD ") == 0;
        if (size != kShortFormat || !hasPadding || NumberAt(head, kPadSize) < kExtensionSize) return false;
        const std::uint32_t padding = NumberAt(head, kPadSize) - kExtensionSize;
        PutNumber(head, kFormatSize, kShortFormat + kExtensionSize);
        head.insert(kFact, kExtensionSize, '\0');  // no extension follows
        PutNumber(head, kPadSize + kExtensionSize, padding);
    }
    file.seekp(0);
    file.write(head.data(), static_cast<std::streamsize>(head.size()));
    return file.good();
}

}  // namespace lumvex::app
