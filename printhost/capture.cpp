#include "printhost/capture.h"

#include <algorithm>

namespace kvprint {

Capture::Capture(fz_context* context, Kind kind) : context_(context), kind_(kind) {
    if (kind == Kind::Patch || kind == Kind::Rest) return;
    list_ = make_held<List>(context, [&] { return fz_new_display_list(context, fz_infinite_rect); });
    device_ = make_held<DrawDevice>(context, [&] { return fz_new_list_device(context, list_.get()); });
}

void Capture::begin(bool is_clip) {
    deepest_ = std::max(deepest_, ++depth_);
    if (!is_clip) ++groups_;
}

void Capture::close() {
    if (device_) with_errors(context_, [&] { fz_close_device(context_, device_.get()); });
}

void Capture::play(fz_device* device, float right, float down) const {
    fz_run_display_list(context_, list_.get(), device, fz_translate(right, down), fz_infinite_rect, nullptr);
}

}  // namespace kvprint
