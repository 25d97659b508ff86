#include "tools/fidelity/pages.h"

#include <cstring>
#include <stdexcept>

#include "tools/kvprint/mupdf.h"

namespace fidelity {

using kvprint::Held;
using kvprint::make_held;
using kvprint::Pixmap;
using kvprint::with_errors;

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
    const auto pixmap = make_held<Pixmap>(context, [&] {
        return fz_new_pixmap_from_page_number(context, state_->document, page - 1, fz_scale(scale, scale),
                                              fz_device_rgb(context), 0);
    });
    return state_->picture_of(pixmap.get());
}

Picture Pages::load_png(const std::string& path) const {
    fz_context* context = state_->context;
    using Image = Held<fz_image, fz_drop_image>;
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
