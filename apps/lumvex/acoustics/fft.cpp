#include "acoustics/fft.hpp"

#include <algorithm>
#include <bit>
#include <cassert>
#include <kissfft/kissfft.hh>
#include <map>
#include <memory>

namespace lumvex::acoustics {

namespace {

// Transforms of one size share their table of factors; each thread has its own, because a transform writes into it.
const kissfft<double>& Transform(std::size_t size, bool isInverse) {
    thread_local std::map<std::pair<std::size_t, bool>, std::unique_ptr<kissfft<double>>> known;
    auto& found = known[{size, isInverse}];
    if (!found) found = std::make_unique<kissfft<double>>(size, isInverse);
    return *found;
}

}  // namespace

std::size_t PowerOfTwoFrom(std::size_t count) { return std::bit_ceil(count < 2 ? 2 : count); }

std::vector<Complex> Spectrum(std::span<const double> samples, std::size_t size) {
    assert(size % 2 == 0 && size >= 2 && samples.size() <= size);
    std::vector<double> padded(samples.begin(), samples.end());
    padded.resize(size);
    std::vector<Complex> spectrum(size / 2 + 1);
    Transform(size / 2, false).transform_real(padded.data(), spectrum.data());
    // The library keeps the value at half the sample rate in the imaginary part of the first one; both are real.
    spectrum.back() = spectrum.front().imag();
    spectrum.front() = spectrum.front().real();
    return spectrum;
}

std::vector<Complex> InverseOf(std::span<const Complex> values) {
    std::vector<Complex> turned(values.size());
    Transform(values.size(), true).transform(values.data(), turned.data());
    for (Complex& value : turned) value /= static_cast<double>(values.size());
    return turned;
}

std::vector<double> SamplesOf(std::span<const Complex> spectrum, std::size_t size) {
    assert(size % 2 == 0 && spectrum.size() == size / 2 + 1);
    std::vector<Complex> whole(size);
    for (std::size_t k = 0; k <= size / 2; ++k) whole[k] = spectrum[k];
    for (std::size_t k = size / 2 + 1; k < size; ++k) whole[k] = std::conj(spectrum[size - k]);
    const std::vector<Complex> turned = InverseOf(whole);
    std::vector<double> samples(size);
    std::ranges::transform(turned, samples.begin(), [](const Complex& value) { return value.real(); });
    return samples;
}

}  // namespace lumvex::acoustics
