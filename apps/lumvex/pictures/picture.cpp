#include "pictures/picture.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace lumvex::app {

namespace {

constexpr std::array kColours = {"#0b62a8", "#c8501e", "#2b8a4b", "#8a4fb0",
                                 "#b3871b", "#c23a6b", "#217f8c", "#5b6770"};
constexpr double kSmall = 12, kLarge = 15;  // sizes of texts
constexpr double kLegendLine = 20;

struct Tick {
    double at;
    std::string label;  // empty: a line alone
};

std::string TickText(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value == 0 ? 0 : value);
    return text;
}

std::vector<Tick> EvenTicks(double from, double to, double most, const std::vector<double>& steps) {
    double step = 0;
    for (const double each : steps)
        if (step == 0 && (to - from) / each <= most) step = each;
    if (step == 0) {
        const double raw = (to - from) / most, power = std::pow(10, std::floor(std::log10(raw)));
        for (const double digit : {1.0, 2.0, 5.0, 10.0})
            if (step == 0 && digit * power >= raw * 0.999) step = digit * power;
    }
    std::vector<Tick> ticks;
    for (double k = std::ceil(from / step - 1e-9); k * step <= to + 1e-9 * step; ++k)
        ticks.push_back({k * step, TickText(k * step)});
    return ticks;
}

// Lines at every digit of a decade, labels at 20, 50, 100, ...
std::vector<Tick> FrequencyTicks(double from, double to) {
    std::vector<Tick> ticks;
    for (double power = std::floor(std::log10(from)); power <= std::ceil(std::log10(to)); ++power) {
        for (int digit = 1; digit < 10; ++digit) {
            const double at = digit * std::pow(10, power);
            if (at < from * (1 - 1e-9) || at > to * (1 + 1e-9)) continue;
            const bool isLabelled = digit == 1 || digit == 2 || digit == 5;
            ticks.push_back({at, !isLabelled ? "" : at >= 1000 ? TickText(at / 1000) + "k" : TickText(at)});
        }
    }
    return ticks;
}

}  // namespace

void Draw(const Picture& picture, Canvas& canvas) {
    const double legend = kLegendLine * static_cast<double>(picture.curves.size());
    const Box area{70, 40, picture.width - 100, std::max(100.0, picture.height - 110 - legend)};
    const Box all{0, 0, picture.width, picture.height};
    const double bottom = area.y + area.height, right = area.x + area.width;
    const auto along = [&](double x) {
        const double part = picture.isLogarithmic ? std::log(x / picture.fromX) / std::log(picture.toX / picture.fromX)
                                                  : (x - picture.fromX) / (picture.toX - picture.fromX);
        return area.x + area.width * part;
    };
    const auto down = [&](double y) {
        return area.y + area.height * (picture.toY - y) / (picture.toY - picture.fromY);
    };
    const Pen grid{"#dce2e7"}, frame{"#8a949c"};
    canvas.Text({area.x, 26}, picture.title, kLarge, Anchor::Start);
    for (const Tick& tick : picture.isLogarithmic ? FrequencyTicks(picture.fromX, picture.toX)
                                                  : EvenTicks(picture.fromX, picture.toX, area.width / 75, {})) {
        const double x = along(tick.at);
        canvas.Line(std::array{Place{x, area.y}, Place{x, bottom}}, grid, all);
        if (!tick.label.empty()) canvas.Text({x, bottom + 18}, tick.label, kSmall, Anchor::Middle);
    }
    for (const Tick& tick : EvenTicks(picture.fromY, picture.toY, area.height / 36, picture.ySteps)) {
        const double y = down(tick.at);
        canvas.Line(std::array{Place{area.x, y}, Place{right, y}}, grid, all);
        canvas.Text({area.x - 8, y + 4}, tick.label, kSmall, Anchor::End);
    }
    canvas.Text({area.x + area.width / 2, bottom + 40}, picture.xLabel, kSmall, Anchor::Middle);
    canvas.Text({22, area.y + area.height / 2}, picture.yLabel, kSmall, Anchor::Middle, true);
    canvas.Line(std::array{Place{area.x, area.y}, Place{right, area.y}, Place{right, bottom}, Place{area.x, bottom},
                           Place{area.x, area.y}},
                frame, all);
    for (std::size_t number = 0; number < picture.curves.size(); ++number) {
        const PictureCurve& curve = picture.curves[number];
        const Pen pen{kColours[number % kColours.size()], 1.6, curve.isDashed || number / kColours.size() % 2 == 1};
        std::vector<Place> places;
        const auto end = [&] {
            if (places.size() > 1) canvas.Line(places, pen, area);
            places.clear();
        };
        for (std::size_t k = 0; k < curve.x.size(); ++k) {
            const bool isPoint = std::isfinite(curve.y[k]) && (!picture.isLogarithmic || curve.x[k] > 0);
            isPoint ? places.push_back({along(curve.x[k]), down(curve.y[k])}) : end();
        }
        end();
        const double y = bottom + 58 + kLegendLine * static_cast<double>(number);
        canvas.Line(std::array{Place{area.x, y}, Place{area.x + 30, y}}, pen, all);
        canvas.Text({area.x + 40, y + 4}, curve.label, kSmall, Anchor::Start);
    }
}

}  // namespace lumvex::app
