#include <algorithm>
#include <cstdio>

#include "pictures/picture.hpp"

namespace lumvex::app {

namespace {

// A hundredth of a pixel is finer than anybody sees.
std::string SvgNumber(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.2f", std::clamp(value, -1e6, 1e6));
    return text;
}

// Characters that XML cannot hold are left out: those that a text of a document has are made visible before.
std::string XmlText(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                if (static_cast<unsigned char>(c) >= 0x20) escaped += c;
        }
    }
    return escaped;
}

class SvgCanvas final : public Canvas {
public:
    SvgCanvas(double width, double height) {
        const std::string w = SvgNumber(width), h = SvgNumber(height);
        text_ =
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + w + "\" height=\"" + h + "\" viewBox=\"0 0 " + w +
            ' ' + h +
            "\" font-family=\"sans-serif\" fill=\"#1c2328\">\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
    }

    void Line(std::span<const Place> places, const Pen& pen, const Box& within) override {
        std::string path;
        for (const Place& place : places)
            path += (path.empty() ? 'M' : 'L') + SvgNumber(place.x) + ' ' + SvgNumber(place.y);
        const std::string cut = Cut(within);
        text_ += "<path d=\"" + path + "\" fill=\"none\" stroke=\"" + pen.colour + "\" stroke-width=\"" +
                 SvgNumber(pen.width) + '"' + (pen.isDashed ? " stroke-dasharray=\"5 4\"" : "") + cut + "/>\n";
    }

    void Text(Place place, std::string_view text, double size, Anchor anchor, bool isTurned) override {
        const std::string x = SvgNumber(place.x), y = SvgNumber(place.y);
        text_ += "<text x=\"" + x + "\" y=\"" + y + "\" font-size=\"" + SvgNumber(size) + "\" text-anchor=\"" +
                 (anchor == Anchor::Start    ? "start"
                  : anchor == Anchor::Middle ? "middle"
                                             : "end") +
                 '"' + (isTurned ? " transform=\"rotate(-90 " + x + ' ' + y + ")\"" : "") + '>' + XmlText(text) +
                 "</text>\n";
    }

    std::string Finished() { return text_ + "</svg>\n"; }

private:
    // A reference to the box as a clip path; each box is written once.
    std::string Cut(const Box& box) {
        const std::string shape = "<rect x=\"" + SvgNumber(box.x) + "\" y=\"" + SvgNumber(box.y) + "\" width=\"" +
                                  SvgNumber(box.width) + "\" height=\"" + SvgNumber(box.height) + "\"/>";
        if (shape != cut_) {
            cut_ = shape;
            text_ += "<clipPath id=\"cut" + std::to_string(++cuts_) + "\">" + shape + "</clipPath>\n";
        }
        return " clip-path=\"url(#cut" + std::to_string(cuts_) + ")\"";
    }

    std::string text_, cut_;
    int cuts_ = 0;
};

}  // namespace

std::string SvgText(const Picture& picture) {
    SvgCanvas canvas(picture.width, picture.height);
    Draw(picture, canvas);
    return canvas.Finished();
}

}  // namespace lumvex::app
