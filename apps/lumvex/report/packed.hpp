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

    // The same without differences: for noise.
    void AddSamples(const std::string& name, std::span<const float> values, double step);

    // 32-bit floats as they are.
    void AddExact(const std::string& name, std::span<const double> values);

    // The block in base64.
    std::string Text() const;

private:
    void Add(const std::string& name, std::size_t count, double step, const char* form);

    nlohmann::ordered_json arrays_ = nlohmann::ordered_json::array();
    std::string bytes_;
};

std::string Base64(std::string_view bytes);

}  // namespace lumvex::app
