// The part of an impulse response that is analysed.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace lumvex::acoustics {

// Samples from `first` to before `last`. The response fades in over the first `fadeIn` samples of them, out over the
// last `fadeOut`, each with half a Hann window; a whole response does not fade.
struct Window {
    std::size_t first = 0, last = 0;
    std::size_t fadeIn = 0, fadeOut = 0;
    bool isWhole = true;

    std::size_t Count() const { return last - first; }
};

// The place of the greatest magnitude; the first of several. 0 without samples.
std::size_t PeakOf(std::span<const float> samples);

// The window that times in ms from the first sample mean. One that is empty or outside of the response means all of it.
// The fade-in is a fifth of what is before the peak, so that it leaves the peak as it is; the fade-out a fifth of what
// is behind it.
Window WindowFrom(double startMs, double endMs, double rate, std::span<const float> samples);

// The samples of the window, faded.
std::vector<double> Windowed(std::span<const float> samples, const Window& window);

}  // namespace lumvex::acoustics
