// One chart as a picture.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "pictures/canvas.hpp"

namespace lumvex::app {

struct PictureCurve {
    std::string label;                   // UTF-8
    std::vector<double> x = {}, y = {};  // as many of both; a y that is no number leaves a gap
    bool isDashed = false;
};

struct Picture {
    std::string title, xLabel, yLabel;
    bool isLogarithmic = false;  // the horizontal axis, of frequencies above 0
    std::vector<double> ySteps;  // what may be between two lines of the vertical axis; empty: 1, 2, 5, 10, ...
    double fromX = 0, toX = 1, fromY = 0, toY = 1;
    std::vector<PictureCurve> curves;
    double width = 960, height = 600;  // pixels, the legend included
};

void Draw(const Picture& picture, Canvas& canvas);

// The same picture always makes the same bytes.
std::string SvgText(const Picture& picture);

// The bytes of a PNG file, with `scale` pixels for one. Throws std::runtime_error where this build of the tool cannot.
std::string PngBytes(const Picture& picture, double scale = 2);

}  // namespace lumvex::app
