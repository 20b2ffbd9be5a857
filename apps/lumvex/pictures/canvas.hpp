// What pictures are drawn on.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace lumvex::app {

struct Place {
    double x = 0, y = 0;  // pixels from the top left corner
};

struct Box {
    double x = 0, y = 0, width = 0, height = 0;
};

struct Pen {
    std::string colour;  // "#0b62a8"
    double width = 1;
    bool isDashed = false;
};

enum class Anchor { Start, Middle, End };

class Canvas {
public:
    virtual ~Canvas() = default;
    // A line through all places, cut at the box.
    virtual void Line(std::span<const Place> places, const Pen& pen, const Box& within) = 0;
    // UTF-8, standing on the place; turned by a quarter to the left if `isTurned`.
    virtual void Text(Place place, std::string_view text, double size, Anchor anchor, bool isTurned = false) = 0;
};

}  // namespace lumvex::app
