#include "report/columns.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace lumvex::app {

namespace {

constexpr double kLowest = 10, kHighest = 40000;  // Hz, of computed responses

bool HoldsNumbers(const Array& array) {
    return array.Type() == VT_R4 || array.Type() == VT_R8 || array.Type() == VT_UI1;
}

}  // namespace

std::vector<float> ColumnOf(const Array& array, std::size_t column, std::size_t& replaced) {
    std::vector<float> values(array.Rows());
    if (array.Type() == VT_R4) {
        const std::span<const float> from = array.Column<float>(column);
        std::ranges::copy(from, values.begin());
    } else {
        for (std::size_t row = 0; row < values.size(); ++row) values[row] = static_cast<float>(array(row, column));
    }
    for (float& value : values) {
        if (std::isfinite(value)) continue;
        value = 0;
        ++replaced;
    }
    return values;
}

bool IsResponse(const Array& array, double rate) {
    const std::size_t rows = array.Rows(), columns = array.Columns();
    if (!HoldsNumbers(array) || (columns != 2 && columns != 3) || rows < 2) return false;
    for (std::size_t row = 1; row < rows; ++row)
        if (!(array(row) > array(row - 1))) return false;
    return array(0) >= 0 && (rate <= 0 || array(rows - 1) > 1);  // samples within full scale may rise as well
}

ResponseTrace ResponseFrom(const Array& array) {
    ResponseTrace trace;
    for (std::size_t row = 0; row < array.Rows(); ++row) {
        if (!(array(row) > 0) || !std::isfinite(array(row, 1))) continue;
        trace.frequencies.push_back(array(row));
        trace.levels.push_back(array(row, 1));
        if (array.Columns() == 3) trace.phases.push_back(std::isfinite(array(row, 2)) ? array(row, 2) : 0);
    }
    return trace;
}

std::string ColumnLabel(const std::string& word, const Array& array, std::size_t column) {
    if (array.Columns() == 1) return word;
    return (word.empty() ? "output " : word + ", output ") + std::to_string(column + 1);
}

std::vector<Trace> ImpulsesOf(const Array& array, double rate, const std::string& label, Role role) {
    std::vector<Trace> traces;
    if (array.Empty() || !HoldsNumbers(array) || array.Rows() == 0) return traces;
    for (std::size_t column = 0; column < array.Columns(); ++column) {
        std::size_t replaced = 0;
        ImpulseTrace data{.samples = ColumnOf(array, column, replaced)};
        data.options.rate = rate > 0 ? rate : 48000;
        Trace trace{.label = ColumnLabel(label, array, column), .role = role, .data = std::move(data)};
        if (rate <= 0) trace.method.push_back("No sample rate is stored: 48000 Hz is assumed.");
        if (replaced > 0)
            trace.method.push_back(std::to_string(replaced) + " samples that are no finite numbers are drawn as 0.");
        traces.push_back(std::move(trace));
    }
    return traces;
}

ResponseTrace ComputedResponse(const std::function<acoustics::Complex(double)>& response) {
    ResponseTrace trace;
    trace.frequencies = acoustics::FrequencyScale(kLowest, kHighest);
    trace.levels = acoustics::LevelOf(response, trace.frequencies).y;
    trace.phases = acoustics::PhaseOf(response, trace.frequencies);
    for (const double f : trace.frequencies) {
        const double step = f * 1e-4;
        const double turn = std::arg(response(f + step) * std::conj(response(f - step)));
        trace.delays.push_back(-turn / (2 * step) / (2 * std::numbers::pi) * 1000);
    }
    return trace;
}

std::vector<float> Convolved(std::span<const float> left, std::span<const float> right) {
    const std::size_t count = left.size() + right.size() - 1, size = acoustics::PowerOfTwoFrom(count);
    const auto spectrum = [&](std::span<const float> samples) {
        return acoustics::Spectrum(std::vector<double>(samples.begin(), samples.end()), size);
    };
    std::vector<acoustics::Complex> product = spectrum(left);
    const std::vector<acoustics::Complex> other = spectrum(right);
    for (std::size_t k = 0; k < product.size(); ++k) product[k] *= other[k];
    const std::vector<double> samples = acoustics::SamplesOf(product, size);
    std::vector<float> result(count);
    for (std::size_t n = 0; n < count; ++n) result[n] = static_cast<float>(samples[n]);
    return result;
}

std::vector<float> Filtered(std::span<const float> samples, double rate,
                            const std::function<acoustics::Complex(double)>& response) {
    // Twice as long, so that nothing comes back at the beginning that belongs behind the end.
    const std::size_t size = 2 * acoustics::PowerOfTwoFrom(samples.size());
    std::vector<acoustics::Complex> spectrum =
        acoustics::Spectrum(std::vector<double>(samples.begin(), samples.end()), size);
    for (std::size_t k = 0; k < spectrum.size(); ++k)
        spectrum[k] *= response(static_cast<double>(k) * rate / static_cast<double>(size));
    const std::vector<double> filtered = acoustics::SamplesOf(spectrum, size);
    return {filtered.begin(), filtered.begin() + static_cast<std::ptrdiff_t>(samples.size())};
}

std::string NumberText(double number, int digits) {
    char text[40];
    std::snprintf(text, sizeof text, "%.*g", digits, number);
    return text;
}

}  // namespace lumvex::app
