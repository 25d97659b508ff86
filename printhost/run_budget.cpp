#include "printhost/run_budget.h"

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

}  // namespace

thread_local RunBudget* RunBudget::current_ = nullptr;

RunBudget::RunBudget(fz_device* device, fz_cookie& cookie, Hold& hold, uint64_t bytes)
    : device_(device),
      clip_path_(std::exchange(device->clip_path, clip_path)),
      begin_mask_(std::exchange(device->begin_mask, begin_mask)),
      cookie_(cookie),
      hold_(hold),
      most_clips_(kClips + kClipsAByte * bytes),
      most_words_(kWords + kWordsAByte * bytes) {
    current_ = this;
}

RunBudget::~RunBudget() {
    current_ = nullptr;
    hold_.held = false;
    device_->clip_path = clip_path_;
    device_->begin_mask = begin_mask_;
}

void RunBudget::clip_path(fz_context* context, fz_device* device, const fz_path* path, int even_odd, fz_matrix ctm,
                          fz_rect scissor) {
    current_->count(1);
    if (current_->clip_path_) current_->clip_path_(context, device, path, even_odd, ctm, scissor);
}

void RunBudget::begin_mask(fz_context* context, fz_device* device, fz_rect area, int luminosity, fz_colorspace* space,
                           const float* colour, fz_color_params parameters) {
    current_->count(kClipsAMask);
    if (current_->begin_mask_) current_->begin_mask_(context, device, area, luminosity, space, colour, parameters);
}

// MuPDF counts the words of the stream that it reads, and begins anew with each stream: behind this clip.
void RunBudget::count(uint64_t clips) {
    words_ += static_cast<uint64_t>(std::exchange(cookie_.progress, 0));
    clips_ += clips;
    if (clips_ <= most_clips_ && words_ <= most_words_) return;
    cookie_.abort = 1;
    hold_.held = true;
}

}  // namespace kvprint
