#include "tools/fidelity/pages.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "printhost/mupdf.h"

namespace fidelity {

using kvprint::as_callback;
using kvprint::DrawDevice;
using kvprint::Held;
using kvprint::make_held;
using kvprint::Pixmap;
using kvprint::with_errors;

namespace {

using Image = Held<fz_image, fz_drop_image>;
using FillImage = decltype(fz_device::fill_image);
FillImage fill_image_of_mupdf = nullptr;  // the same for all its devices

// How often a row or column of an image is to stand in one that is as large as its place on the page.
int repeats(float a, float b, int count) {
    return static_cast<int>(std::ceil(std::hypot(a, b) / static_cast<float>(count)));
}

// The image with its pixels repeated, which is the same picture.
Image repeated(fz_context* context, fz_image* image, int across, int down) {
    auto small = make_held<Pixmap>(
        context, [&] { return fz_get_pixmap_from_image(context, image, nullptr, nullptr, nullptr, nullptr); });
    if (fz_colorspace_is_indexed(context, small.get()->colorspace)) {  // means of indices say nothing
        small = make_held<Pixmap>(context, [&] { return fz_convert_indexed_pixmap_to_base(context, small.get()); });
    }
    const fz_pixmap& from = *small.get();
    const auto large = make_held<Pixmap>(context, [&] {
        return fz_new_pixmap(context, from.colorspace, from.w * across, from.h * down, nullptr, from.alpha);
    });
    const fz_pixmap& to = *large.get();
    for (int y = 0; y < to.h; ++y) {
        unsigned char* out = to.samples + ptrdiff_t{y} * to.stride;
        for (int x = 0; x < to.w; ++x, out += to.n) {
            std::memcpy(out, from.samples + ptrdiff_t{y / down} * from.stride + ptrdiff_t{x / across} * from.n,
                        static_cast<size_t>(from.n));
        }
    }
    return make_held<Image>(context, [&] { return fz_new_image_from_pixmap(context, large.get(), nullptr); });
}

// MuPDF steps through an image that it enlarges in units of 1/16384 of its pixels, and so puts the pixels of a small
// one in wrong places by up to a hundredth of its size. It reduces images exactly; so one that it would enlarge to more
// than twice its size, and show with its pixels as squares, comes to it with these squares already made.
void fill_image(fz_context* context, fz_device* device, fz_image* image, fz_matrix ctm, float alpha,
                fz_color_params parameters) {
    const int across = repeats(ctm.a, ctm.b, image->w), down = repeats(ctm.c, ctm.d, image->h);
    constexpr int kInterpolated = 2;
    constexpr double kMostPixels = 1 << 26;
    const double pixels = static_cast<double>(image->w) * image->h * across * down;
    if (image->interpolate || std::max(across, down) <= kInterpolated || pixels > kMostPixels) {
        return fill_image_of_mupdf(context, device, image, ctm, alpha, parameters);
    }
    Image large;
    as_callback(context, [&] { large = repeated(context, image, std::max(across, 1), std::max(down, 1)); });
    as_callback(context, [&] {
        with_errors(context, [&] { fill_image_of_mupdf(context, device, large.get(), ctm, alpha, parameters); });
    });
}

}  // namespace

struct Pages::State {
    fz_context* context = nullptr;
    fz_document* document = nullptr;
    int count = 0;

    ~State() {
        if (!context) return;
        fz_drop_document(context, document);
        fz_drop_context(context);
    }

    Picture picture_of(fz_pixmap* pixmap) const {
        Picture picture(fz_pixmap_width(context, pixmap), fz_pixmap_height(context, pixmap));
        const int components = fz_pixmap_components(context, pixmap);
        for (int y = 0; y < picture.height; ++y) {
            const unsigned char* row =
                fz_pixmap_samples(context, pixmap) + static_cast<ptrdiff_t>(y) * fz_pixmap_stride(context, pixmap);
            for (int x = 0; x < picture.width; ++x)
                std::memcpy(picture.at(x, y), row + static_cast<ptrdiff_t>(x) * components, 3);
        }
        return picture;
    }
};

Pages::Pages(const std::string& pdf) : state_(std::make_unique<State>()) {
    State& state = *state_;
    state.context = fz_new_context(nullptr, nullptr, FZ_STORE_DEFAULT);
    if (!state.context) throw std::runtime_error("out of memory");
    fz_set_warning_callback(
        state.context, [](void*, const char*) {}, nullptr);
    fz_set_error_callback(
        state.context, [](void*, const char*) {}, nullptr);
    with_errors(state.context, [&] {
        fz_register_document_handlers(state.context);
        state.document = fz_open_document(state.context, pdf.c_str());
        state.count = fz_count_pages(state.context, state.document);
    });
}

Pages::~Pages() = default;

int Pages::count() const { return state_->count; }

Picture Pages::draw(int page, double dots_per_inch) const {
    constexpr float kPointsPerInch = 72;
    const float scale = static_cast<float>(dots_per_inch) / kPointsPerInch;
    fz_context* context = state_->context;
    using Page = Held<fz_page, fz_drop_page>;
    const auto loaded = make_held<Page>(context, [&] { return fz_load_page(context, state_->document, page - 1); });
    const fz_rect bounds = fz_transform_rect(fz_bound_page(context, loaded.get()), fz_scale(scale, scale));
    const auto pixmap = make_held<Pixmap>(context, [&] {
        return fz_new_pixmap_with_bbox(context, fz_device_rgb(context), fz_round_rect(bounds), nullptr, 0);
    });
    const auto device = make_held<DrawDevice>(context, [&] {
        fz_clear_pixmap_with_value(context, pixmap.get(), 255);
        return fz_new_draw_device(context, fz_identity, pixmap.get());
    });
    fill_image_of_mupdf = std::exchange(device.get()->fill_image, fill_image);
    with_errors(context, [&] {
        fz_run_page(context, loaded.get(), device.get(), fz_scale(scale, scale), nullptr);
        fz_close_device(context, device.get());
    });
    return state_->picture_of(pixmap.get());
}

Picture Pages::load_png(const std::string& path) const {
    fz_context* context = state_->context;
    const auto image = make_held<Image>(context, [&] { return fz_new_image_from_file(context, path.c_str()); });
    const auto pixmap = make_held<Pixmap>(
        context, [&] { return fz_get_pixmap_from_image(context, image.get(), nullptr, nullptr, nullptr, nullptr); });
    if (fz_pixmap_components(context, pixmap.get()) < 3) throw std::runtime_error("not a picture in colour: " + path);
    return state_->picture_of(pixmap.get());
}

void Pages::save_png(const Picture& picture, const std::string& path) const {
    fz_context* context = state_->context;
    auto* samples = const_cast<unsigned char*>(picture.bytes.data());
    const auto pixmap = make_held<Pixmap>(context, [&] {
        return fz_new_pixmap_with_data(context, fz_device_rgb(context), picture.width, picture.height, nullptr, 0,
                                       picture.width * 3, samples);
    });
    with_errors(context, [&] { fz_save_pixmap_as_png(context, pixmap.get(), path.c_str()); });
}

}  // namespace fidelity
