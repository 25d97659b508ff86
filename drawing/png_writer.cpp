#include "drawing/png_writer.h"

#include <png.h>

#include <cmath>
#include <csetjmp>
#include <exception>
#include <stdexcept>

namespace kvjob {

// Every call into the library stands in a function of its own that holds nothing to destroy: an error jumps out of it.
struct PngWriter::State {
    png_structp png = nullptr;
    png_infop info = nullptr;
    Output* out = nullptr;
    std::string message;
    std::exception_ptr thrown;  // by the output

    ~State() { png_destroy_write_struct(&png, &info); }

    static void write(png_structp png, png_bytep bytes, png_size_t size) {
        auto* state = static_cast<State*>(png_get_io_ptr(png));
        try {
            state->out->write({bytes, size});
            return;
        } catch (...) {
            state->thrown = std::current_exception();
        }
        png_error(png, "not written");
    }

    static void take_error(png_structp png, png_const_charp message) {
        static_cast<State*>(png_get_error_ptr(png))->message = message;
        png_longjmp(png, 1);
    }

    bool create() {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, take_error, [](png_structp, png_const_charp) {});
        if (png) info = png_create_info_struct(png);
        if (!info) message = "out of memory";
        return info != nullptr;
    }

    bool start(const PngImage& image, const png_color* colours) {
        if (setjmp(png_jmpbuf(png))) return false;
        constexpr int kTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_PALETTE, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGBA};
        constexpr int kFastEnough = 3;  // half the time of the default for a few percent more bytes
        png_set_write_fn(png, this, write, [](png_structp) {});
        png_set_compression_level(png, kFastEnough);
        png_set_user_limits(png, 0x7FFFFFFF, 0x7FFFFFFF);
        png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height),
                     image.depth, kTypes[static_cast<int>(image.format)], PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        if (!image.palette.empty()) png_set_PLTE(png, info, colours, static_cast<int>(image.palette.size()));
        if (image.dots_per_inch > 0) {
            const auto per_metre = static_cast<png_uint_32>(std::lround(image.dots_per_inch / 0.0254));
            png_set_pHYs(png, info, per_metre, per_metre, PNG_RESOLUTION_METER);
        }
        png_write_info(png, info);
        if (image.format == PngFormat::Rgb) png_set_filler(png, 0, PNG_FILLER_AFTER);
        if (image.format == PngFormat::Rgb || image.format == PngFormat::Rgba) png_set_bgr(png);
        if (image.depth < 8) png_set_packing(png);
        return true;
    }
    bool write_row(const uint8_t* row) {
        if (setjmp(png_jmpbuf(png))) return false;
        png_write_row(png, row);
        return true;
    }
    bool finish() {
        if (setjmp(png_jmpbuf(png))) return false;
        png_write_end(png, info);
        return true;
    }
};

PngWriter::PngWriter(Output& out, const PngImage& image) : state_(std::make_unique<State>()) {
    state_->out = &out;
    std::vector<png_color> colours;
    for (const uint32_t c : image.palette) {
        colours.push_back({static_cast<png_byte>(c >> 16), static_cast<png_byte>(c >> 8), static_cast<png_byte>(c)});
    }
    if (!state_->create() || !state_->start(image, colours.data())) fail();
}

PngWriter::~PngWriter() = default;

void PngWriter::fail() const {
    if (state_->thrown) std::rethrow_exception(state_->thrown);
    throw std::runtime_error("no picture can be made: " + state_->message);
}

void PngWriter::write_row(const uint8_t* row) {
    if (!state_->write_row(row)) fail();
}

void PngWriter::finish() {
    if (!state_->finish()) fail();
    state_->out->finish();
}

}  // namespace kvjob
