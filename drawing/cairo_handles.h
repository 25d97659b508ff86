#pragma once
// Cairo's objects, owned.

#include <cairo.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace kvjob {

struct CairoRelease {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_pattern_t* pattern) const { cairo_pattern_destroy(pattern); }
    void operator()(cairo_font_face_t* face) const { cairo_font_face_destroy(face); }
    void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
};
using Context = std::unique_ptr<cairo_t, CairoRelease>;
using Surface = std::unique_ptr<cairo_surface_t, CairoRelease>;
using Pattern = std::unique_ptr<cairo_pattern_t, CairoRelease>;
using FontFace = std::unique_ptr<cairo_font_face_t, CairoRelease>;
using FontOptions = std::unique_ptr<cairo_font_options_t, CairoRelease>;

// An image surface, all zero.
inline Surface make_image(cairo_format_t format, int width, int height) {
    Surface surface(cairo_image_surface_create(format, width, height));
    const cairo_status_t status = cairo_surface_status(surface.get());
    if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
    return surface;
}

inline size_t image_bytes(cairo_surface_t* image) {
    return static_cast<size_t>(cairo_image_surface_get_stride(image)) *
           static_cast<size_t>(cairo_image_surface_get_height(image));
}

// The rows of an image surface, between a flush and a mark.
class PixelAccess {
public:
    explicit PixelAccess(cairo_surface_t* surface) : surface_(surface) {
        cairo_surface_flush(surface);
        data_ = cairo_image_surface_get_data(surface);
        stride_ = cairo_image_surface_get_stride(surface);
    }
    ~PixelAccess() { cairo_surface_mark_dirty(surface_); }
    PixelAccess(const PixelAccess&) = delete;
    PixelAccess& operator=(const PixelAccess&) = delete;
    uint8_t* bytes(int y) { return data_ + static_cast<ptrdiff_t>(y) * stride_; }
    uint32_t* pixels(int y) { return reinterpret_cast<uint32_t*>(bytes(y)); }

private:
    cairo_surface_t* surface_;
    unsigned char* data_;
    int stride_;
};

}  // namespace kvjob
