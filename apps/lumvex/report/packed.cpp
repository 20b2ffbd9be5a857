#include "report/packed.hpp"

#include <zlib.h>

#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace lumvex::app {

namespace {

// Seven bits a byte, the lowest first; small numbers of either sign take one byte.
void AppendNumber(std::string& bytes, std::int64_t number) {
    auto rest = (static_cast<std::uint64_t>(number) << 1) ^ static_cast<std::uint64_t>(number >> 63);
    for (; rest >= 0x80; rest >>= 7) bytes += static_cast<char>(rest | 0x80);
    bytes += static_cast<char>(rest);
}

// Numbers that the page can hold exactly; what is not finite is 0.
std::int64_t Rounded(double steps) {
    constexpr double kMost = 1e15;
    if (!(std::abs(steps) < kMost)) steps = std::isfinite(steps) ? std::copysign(kMost, steps) : 0;
    return static_cast<std::int64_t>(steps + std::copysign(0.5, steps));
}

std::int64_t InSteps(double value, double step) { return Rounded(value / step); }

void AppendWord(std::string& bytes, std::uint32_t word) {
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(word >> shift & 0xFF);
}

// Of the numbers, runs and single bytes alone are looked for: they repeat hardly anything longer, and looking takes ten
// times as long for the same size. A low memory level makes their code change more often, as loud samples pass into
// quiet ones.
std::string Compressed(std::string& words, std::string& numbers) {
    constexpr int kCompression = 6, kMemoryLevel = 6;
    z_stream stream{};
    if (deflateInit2(&stream, kCompression, Z_DEFLATED, MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::bad_alloc();
    std::string packed(deflateBound(&stream, static_cast<uLong>(words.size() + numbers.size())) + 64, '\0');
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const auto take = [&](std::string& bytes) {
        stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
        stream.avail_in = static_cast<uInt>(bytes.size());
    };
    take(words);
    int result = deflate(&stream, Z_NO_FLUSH);
    if (result == Z_OK) result = deflateParams(&stream, kCompression, Z_RLE);
    take(numbers);
    if (result == Z_OK) result = deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) throw std::runtime_error("numbers could not be compressed");
    return packed;
}

// Without the digits that only rounding has made.
double Short(double value) { return std::round(value * 1e9) / 1e9; }

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

void Packed::AddEven(const std::string& name, std::span<const double> values) {
    const double step = values.size() > 1 ? values[1] - values[0] : 0;
    arrays_.push_back({name, values.size(), Short(step), "even", Short(values.empty() ? 0 : values[0])});
}

void Packed::AddMap(const std::string& name, std::span<const double> values, std::size_t columns, double step) {
    Add(name, values.size(), step, "map");
    arrays_.back().push_back(columns);
    const auto at = [&](std::size_t place) { return InSteps(values[place], step); };
    for (std::size_t place = 0; place < values.size(); ++place) {
        const bool hasLeft = place % columns > 0, hasAbove = place >= columns;
        std::int64_t expected = 0;
        if (hasLeft) expected += at(place - 1);
        if (hasAbove) expected += at(place - columns);
        if (hasLeft && hasAbove) expected -= at(place - columns - 1);
        AppendNumber(bytes_, at(place) - expected);
    }
}

void Packed::AddSamples(const std::string& name, std::span<const float> values, double step) {
    Add(name, values.size(), step, "samples");
    const double inverse = 1 / step;
    double carried = 0;  // steps: the running sum of what rounding has taken away
    for (const float value : values) {
        const double wanted = value * inverse + carried;
        const std::int64_t now = Rounded(wanted);
        carried = wanted - static_cast<double>(now);
        if (!(std::abs(carried) <= 1)) carried = 0;  // the value is beyond what the page can hold
        AppendNumber(bytes_, now);
    }
}

void Packed::AddExact(const std::string& name, std::span<const double> values) {
    Add(name, values.size(), 1, "exact");
    for (const double value : values) AppendWord(bytes_, std::bit_cast<std::uint32_t>(static_cast<float>(value)));
}

std::string Packed::Text() const {
    nlohmann::ordered_json head = facts;
    head["arrays"] = arrays_;
    const std::string text = head.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::string words, numbers = bytes_;
    AppendWord(words, static_cast<std::uint32_t>(text.size()));
    words += text;
    return Printable(Compressed(words, numbers));
}

std::string Printable(std::string_view bytes) {
    constexpr std::uint32_t kCharacters = 91;
    const auto character = [](std::uint32_t digit) {
        char c = static_cast<char>('!' + digit);
        for (const char leftOut : {'&', '<', '>'}) c = static_cast<char>(c + (c >= leftOut ? 1 : 0));
        return c;
    };
    std::string text = std::to_string(bytes.size()) + ' ';
    text.reserve(text.size() + bytes.size() / 13 * 16 + 4);
    std::uint32_t bits = 0;
    int count = 0;
    const auto append = [&] {
        const std::uint32_t group = bits & 0x1FFF;
        text += character(group % kCharacters);
        text += character(group / kCharacters);
        bits >>= 13;
        count -= 13;
    };
    for (const char byte : bytes) {
        bits |= static_cast<std::uint32_t>(static_cast<unsigned char>(byte)) << count;
        count += 8;
        if (count >= 13) append();
    }
    if (count > 0) append();
    return text;
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
