#include <cairo.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "pictures/picture.hpp"

namespace lumvex::app {

namespace {

class CairoCanvas final : public Canvas {
public:
    CairoCanvas(double width, double height, double scale)
        : surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width * scale),
                                              static_cast<int>(height * scale))),
          context_(cairo_create(surface_.get())) {
        cairo_scale(context_.get(), scale, scale);
        cairo_set_source_rgb(context_.get(), 1, 1, 1);
        cairo_paint(context_.get());
    }

    void Line(std::span<const Place> places, const Pen& pen, const Box& within) override {
        cairo_t* const c = context_.get();
        cairo_save(c);
        cairo_rectangle(c, within.x, within.y, within.width, within.height);
        cairo_clip(c);
        const long colour = std::strtol(pen.colour.c_str() + 1, nullptr, 16);
        cairo_set_source_rgb(c, static_cast<double>(colour >> 16 & 255) / 255,
                             static_cast<double>(colour >> 8 & 255) / 255, static_cast<double>(colour & 255) / 255);
        cairo_set_line_width(c, pen.width);
        cairo_set_line_join(c, CAIRO_LINE_JOIN_ROUND);
        constexpr double kDashes[] = {5, 4};
        if (pen.isDashed) cairo_set_dash(c, kDashes, 2, 0);
        for (const Place& place : places) cairo_line_to(c, place.x, place.y);
        cairo_stroke(c);
        cairo_restore(c);
    }

    void Text(Place place, std::string_view text, double size, Anchor anchor, bool isTurned) override {
        cairo_t* const c = context_.get();
        const std::string ended(text);
        cairo_save(c);
        cairo_set_source_rgb(c, 0.11, 0.14, 0.16);
        cairo_select_font_face(c, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(c, size);
        cairo_text_extents_t extents;
        cairo_text_extents(c, ended.c_str(), &extents);
        const double back = anchor == Anchor::Start    ? 0
                            : anchor == Anchor::Middle ? extents.x_advance / 2
                                                       : extents.x_advance;
        cairo_translate(c, place.x, place.y);
        if (isTurned) cairo_rotate(c, -1.5707963267948966);
        cairo_move_to(c, -back, 0);
        cairo_show_text(c, ended.c_str());
        cairo_restore(c);
    }

    std::string Finished() {
        std::string bytes;
        const auto append = [](void* to, const unsigned char* data, unsigned int count) {
            static_cast<std::string*>(to)->append(reinterpret_cast<const char*>(data), count);
            return CAIRO_STATUS_SUCCESS;
        };
        cairo_surface_flush(surface_.get());
        const cairo_status_t status = cairo_surface_write_to_png_stream(surface_.get(), append, &bytes);
        if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
        return bytes;
    }

private:
    struct Release {
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
        void operator()(cairo_t* context) const { cairo_destroy(context); }
    };
    std::unique_ptr<cairo_surface_t, Release> surface_;
    std::unique_ptr<cairo_t, Release> context_;
};

}  // namespace

std::string PngBytes(const Picture& picture, double scale) {
    CairoCanvas canvas(picture.width, picture.height, scale);
    Draw(picture, canvas);
    return canvas.Finished();
}

}  // namespace lumvex::app
