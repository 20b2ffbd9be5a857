// The discrete Fourier transform of real samples, and back.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace lumvex::acoustics {

using Complex = std::complex<double>;

// The smallest power of two that is not below `count`, and at least 2.
std::size_t PowerOfTwoFrom(std::size_t count);

// The spectrum of the samples with zeros behind them up to `size`, an even number not below their count: size / 2 + 1
// values from 0 to half the sample rate, sum over n of x[n] exp(-2 pi i k n / size), without a factor.
std::vector<Complex> Spectrum(std::span<const double> samples, std::size_t size);

// The inverse of a transform of any values, with the factor 1 / count.
std::vector<Complex> InverseOf(std::span<const Complex> values);

// The `size` real samples of a spectrum of size / 2 + 1 values: the inverse of Spectrum(). `size` is even.
std::vector<double> SamplesOf(std::span<const Complex> spectrum, std::size_t size);

}  // namespace lumvex::acoustics
