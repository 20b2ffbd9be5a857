#include "report/packed.hpp"

#include <zlib.h>

#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace lumvex::app {

namespace {

constexpr int kCompression = 6;

// Seven bits a byte, the lowest first; small numbers of either sign take one byte.
void AppendNumber(std::string& bytes, std::int64_t number) {
    auto rest = (static_cast<std::uint64_t>(number) << 1) ^ static_cast<std::uint64_t>(number >> 63);
    for (; rest >= 0x80; rest >>= 7) bytes += static_cast<char>(rest | 0x80);
    bytes += static_cast<char>(rest);
}

// Numbers that the page can hold exactly; what is not finite is 0.
std::int64_t InSteps(double value, double step) {
    constexpr double kMost = 1e15;
    const double steps = value / step;
    return std::isfinite(steps) ? std::llround(std::clamp(steps, -kMost, kMost)) : 0;
}

void AppendWord(std::string& bytes, std::uint32_t word) {
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(word >> shift & 0xFF);
}

// Runs and single bytes alone are looked for: the numbers repeat hardly anything longer, and looking takes ten times as
// long for the same size.
std::string Compressed(const std::string& bytes) {
    z_stream stream{};
    if (deflateInit2(&stream, kCompression, Z_DEFLATED, MAX_WBITS, MAX_MEM_LEVEL, Z_RLE) != Z_OK)
        throw std::bad_alloc();
    std::string packed(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const int result = deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) throw std::runtime_error("numbers could not be compressed");
    return packed;
}

}  // namespace

void Packed::Add(const std::string& name, std::size_t count, double step, const char* form) {
    arrays_.push_back({name, count, step, form});
}

void Packed::AddCurve(const std::string& name, std::span<const double> values, double step) {
    Add(name, values.size(), step, "curve");
    std::int64_t before = 0;
    for (const double value : values) {
        const std::int64_t now = InSteps(value, step);
        AppendNumber(bytes_, now - std::exchange(before, now));
    }
}

void Packed::AddSamples(const std::string& name, std::span<const float> values, double step) {
    Add(name, values.size(), step, "samples");
    for (const float value : values) AppendNumber(bytes_, InSteps(value, step));
}

void Packed::AddExact(const std::string& name, std::span<const double> values) {
    Add(name, values.size(), 1, "exact");
    for (const double value : values) AppendWord(bytes_, std::bit_cast<std::uint32_t>(static_cast<float>(value)));
}

std::string Packed::Text() const {
    nlohmann::ordered_json head = facts;
    head["arrays"] = arrays_;
    const std::string text = head.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::string bytes;
    AppendWord(bytes, static_cast<std::uint32_t>(text.size()));
    return Base64(Compressed(bytes + text + bytes_));
}

std::string Base64(std::string_view bytes) {
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        std::uint32_t word = 0;
        for (std::size_t each = 0; each < 3; ++each)
            word = word << 8 | (at + each < bytes.size() ? static_cast<unsigned char>(bytes[at + each]) : 0);
        for (std::size_t digit = 0; digit < 4; ++digit)
            text += digit > bytes.size() - at ? '=' : kDigits[word >> (18 - 6 * digit) & 63];
    }
    return text;
}

}  // namespace lumvex::app
