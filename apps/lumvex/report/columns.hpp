// Columns of arrays as what they can be drawn as.
#pragma once

#include <string>
#include <vector>

#include "lumvex/lumvex.hpp"
#include "report/traces.hpp"

namespace lumvex::app {

// The column, counted from 0, as finite numbers: what is none becomes 0, and `replaced` counts that.
std::vector<float> ColumnOf(const Array& array, std::size_t column, std::size_t& replaced);

// Two or three columns whose first rises: frequency, level and perhaps phase. The sample rate alone does not tell a
// response from samples: programs need not set it.
bool IsResponse(const Array& array, double rate);

// The rows of a response with frequencies above 0.
ResponseTrace ResponseFrom(const Array& array);

// "output 1" of several columns; the word alone for one.
std::string ColumnLabel(const std::string& word, const Array& array, std::size_t column);

// One trace for each column of samples; adds what was replaced to its method. Nothing for an empty array.
std::vector<Trace> ImpulsesOf(const Array& array, double rate, const std::string& label, Role role);

// A response that is known at every frequency, at those of the common scale.
ResponseTrace ComputedResponse(const std::function<acoustics::Complex(double)>& response);

// One after the other through both.
std::vector<float> Convolved(std::span<const float> left, std::span<const float> right);

// The samples through a filter whose response at a frequency in Hz is known; as many, the filter's later ones are cut.
std::vector<float> Filtered(std::span<const float> samples, double rate,
                            const std::function<acoustics::Complex(double)>& response);

std::string NumberText(double number, int digits = 6);  // "2.5", "65536"

}  // namespace lumvex::app
