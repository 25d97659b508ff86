#include "printhost/run_budget.h"

#include <algorithm>
#include <utility>

namespace kvprint {
namespace {

// Each form, pattern and mask begins with a clip. A page that shows one mark at each of its points spends more than one
// byte of the file on each.
constexpr uint64_t kClips = 100'000, kClipsAByte = 1;
// A soft mask is drawn in pixels, often those of the whole page.
constexpr uint64_t kClipsAMask = 100;
// Words of contents; deflated, a byte holds a thousand at most, and hardly ever ten.
constexpr uint64_t kWords = 20'000'000, kWordsAByte = 20;
// Of the whole page: over three thousand groups as large as it is.
constexpr double kFills = 100'000;

double area_of(fz_rect rect) {
    return std::max(double{rect.x1} - rect.x0, 0.0) * std::max(double{rect.y1} - rect.y0, 0.0);
}

fz_rect bounds_of(fz_matrix ctm) { return fz_transform_rect(fz_unit_rect, ctm); }

}  // namespace

thread_local RunBudget* RunBudget::current_ = nullptr;

// What is called in place of the device's own functions, which may be missing.
struct RunBudget::Hooks {
    static void fill_path(fz_context* context, fz_device* device, const fz_path* path, int even_odd, fz_matrix ctm,
                          fz_colorspace* space, const float* colour, float alpha, fz_color_params parameters) {
        current_->count_drawing(device, fz_bound_path(context, path, nullptr, ctm), kFillCost);
        if (const auto own = current_->functions_.fill_path) {
            own(context, device, path, even_odd, ctm, space, colour, alpha, parameters);
        }
    }

    static void stroke_path(fz_context* context, fz_device* device, const fz_path* path, const fz_stroke_state* stroke,
                            fz_matrix ctm, fz_colorspace* space, const float* colour, float alpha,
                            fz_color_params parameters) {
        current_->count_drawing(device, fz_empty_rect, kFillCost);
        if (const auto own = current_->functions_.stroke_path) {
            own(context, device, path, stroke, ctm, space, colour, alpha, parameters);
        }
    }

    static void fill_shade(fz_context* context, fz_device* device, fz_shade* shade, fz_matrix ctm, float alpha,
                           fz_color_params parameters) {
        current_->count_drawing(device, fz_bound_shade(context, shade, ctm), kShadeCost);
        if (const auto own = current_->functions_.fill_shade) own(context, device, shade, ctm, alpha, parameters);
    }

    static void fill_image(fz_context* context, fz_device* device, fz_image* image, fz_matrix ctm, float alpha,
                           fz_color_params parameters) {
        current_->count_drawing(device, bounds_of(ctm), kImageCost);
        if (const auto own = current_->functions_.fill_image) own(context, device, image, ctm, alpha, parameters);
    }

    static void clip_image_mask(fz_context* context, fz_device* device, fz_image* image, fz_matrix ctm,
                                fz_rect scissor) {
        current_->count_area(device, bounds_of(ctm), kGroupCost);
        if (const auto own = current_->functions_.clip_image_mask) own(context, device, image, ctm, scissor);
    }

    static void clip_path(fz_context* context, fz_device* device, const fz_path* path, int even_odd, fz_matrix ctm,
                          fz_rect scissor) {
        current_->count(1);
        if (const auto own = current_->functions_.clip_path) own(context, device, path, even_odd, ctm, scissor);
    }

    static void begin_mask(fz_context* context, fz_device* device, fz_rect area, int luminosity, fz_colorspace* space,
                           const float* colour, fz_color_params parameters) {
        current_->count(kClipsAMask);
        current_->count_area(device, area, kGroupCost);
        if (const auto own = current_->functions_.begin_mask) {
            own(context, device, area, luminosity, space, colour, parameters);
        }
    }

    static void begin_group(fz_context* context, fz_device* device, fz_rect area, fz_colorspace* space, int isolated,
                            int knockout, int mode, float alpha) {
        std::vector<size_t>& knockouts = current_->knockouts_;
        knockouts.push_back((knockouts.empty() ? 0 : knockouts.back()) + (knockout ? 1 : 0));
        // One that changes nothing of what is drawn in it costs nothing.
        if (isolated || knockout || mode != FZ_BLEND_NORMAL || alpha != 1) {
            current_->count_area(device, area, kGroupCost);
        }
        if (const auto own = current_->functions_.begin_group) {
            own(context, device, area, space, isolated, knockout, mode, alpha);
        }
    }

    static void end_group(fz_context* context, fz_device* device) {
        if (!current_->knockouts_.empty()) current_->knockouts_.pop_back();
        if (const auto own = current_->functions_.end_group) own(context, device);
    }
};

RunBudget::RunBudget(fz_device* device, fz_cookie& cookie, Hold& hold, fz_rect page, bool pictures, uint64_t bytes)
    : device_(device),
      functions_(*device),
      cookie_(cookie),
      hold_(hold),
      page_(page),
      page_area_(std::max(area_of(page), 1.0)),
      most_clips_(kClips + kClipsAByte * bytes),
      most_words_(kWords + kWordsAByte * bytes) {
    current_ = this;
    device->clip_path = Hooks::clip_path;
    device->begin_mask = Hooks::begin_mask;
    device->begin_group = Hooks::begin_group;
    device->end_group = Hooks::end_group;
    if (!pictures) return;
    device->fill_path = Hooks::fill_path;
    device->stroke_path = Hooks::stroke_path;
    device->fill_shade = Hooks::fill_shade;
    device->fill_image = Hooks::fill_image;
    device->clip_image_mask = Hooks::clip_image_mask;
}

RunBudget::~RunBudget() {
    current_ = nullptr;
    hold_.held = false;
    device_->clip_path = functions_.clip_path;
    device_->begin_mask = functions_.begin_mask;
    device_->begin_group = functions_.begin_group;
    device_->end_group = functions_.end_group;
    device_->fill_path = functions_.fill_path;
    device_->stroke_path = functions_.stroke_path;
    device_->fill_shade = functions_.fill_shade;
    device_->fill_image = functions_.fill_image;
    device_->clip_image_mask = functions_.clip_image_mask;
}

void RunBudget::count_area(const fz_device* device, fz_rect area, double each) {
    fz_rect seen = fz_intersect_rect(area, page_);
    if (device->container_len > 0) {
        seen = fz_intersect_rect(seen, device->container[device->container_len - 1].scissor);
    }
    cost_ += area_of(seen) * each;
    check();
}

// In a group that knocks out, all that is seen of it is copied for each drawing.
void RunBudget::count_drawing(const fz_device* device, fz_rect area, double each) {
    const bool copied = !knockouts_.empty() && knockouts_.back() > 0;
    count_area(device, copied ? fz_infinite_rect : area, copied ? kGroupCost : each);
}

// MuPDF counts the words of the stream that it reads, and begins anew with each stream: behind this clip.
void RunBudget::count(uint64_t clips) {
    words_ += static_cast<uint64_t>(std::exchange(cookie_.progress, 0));
    clips_ += clips;
    check();
}

void RunBudget::check() {
    if (clips_ <= most_clips_ && words_ <= most_words_ && cost_ <= kFills * page_area_) return;
    cookie_.abort = 1;
    hold_.held = true;
}

}  // namespace kvprint
