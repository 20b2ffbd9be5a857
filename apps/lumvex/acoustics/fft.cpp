#include "acoustics/fft.hpp"

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

std::vector<double> SamplesOf(std::span<const Complex> spectrum, std::size_t size) {
    assert(size % 2 == 0 && spectrum.size() == size / 2 + 1);
    std::vector<Complex> whole(size), turned(size);
    for (std::size_t k = 0; k <= size / 2; ++k) whole[k] = spectrum[k];
    for (std::size_t k = size / 2 + 1; k < size; ++k) whole[k] = std::conj(spectrum[size - k]);
    Transform(size, true).transform(whole.data(), turned.data());
    std::vector<double> samples(size);
    for (std::size_t n = 0; n < size; ++n) samples[n] = turned[n].real() / static_cast<double>(size);
    return samples;
}

}  // namespace lumvex::acoustics
