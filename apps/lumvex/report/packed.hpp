// Arrays of numbers as a page carries them: rounded, compressed, as text.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumvex::app {

// Makes one block of named arrays with facts beside them. The page (page/blocks.js) reads it back:
// zlib( length of the JSON text as 4 bytes, lowest first; the JSON text; the arrays' bytes one after the other ).
class Packed {
public:
    nlohmann::ordered_json facts = nlohmann::ordered_json::object();  // goes into the block as it is

    // Whole multiples of `step` that are nearest to the values, each as its difference from the one before: for curves.
    void AddCurve(const std::string& name, std::span<const double> values, double step);

    // The same without differences, for noise; what rounding takes from a value is added to the next, so that running
    // sums are off by half a step at most.
    void AddSamples(const std::string& name, std::span<const float> values, double step);

    // Values at equal distances: the first of them and the distance.
    void AddEven(const std::string& name, std::span<const double> values);

    // Whole multiples of `step`, row after row, each as its difference from what its neighbours to the left and above
    // let expect.
    void AddMap(const std::string& name, std::span<const double> values, std::size_t columns, double step);

    // 32-bit floats as they are.
    void AddExact(const std::string& name, std::span<const double> values);

    // The block, Printable().
    std::string Text() const;

private:
    void Add(const std::string& name, std::size_t count, double step, const char* form);

    nlohmann::ordered_json arrays_ = nlohmann::ordered_json::array();
    std::string bytes_;
};

// Bytes as characters that scripts in pages may hold, less of them than of base64: the number of bytes, a blank, and
// for every 13 bits, the lowest first, two of the 91 printable characters but &, < and >, the lower digit first.
std::string Printable(std::string_view bytes);

std::string Base64(std::string_view bytes);

}  // namespace lumvex::app
