#include "printhost/page_picture.h"

#include <algorithm>

#include "printhost/geometry.h"

namespace kvprint {

PagePicture::PagePicture(fz_context* context, const RECTL& page, int scale) : context_(context), scale_(scale) {
    const Smooth smooth(context_);
    pixmap_ = make_held<Pixmap>(context_, [&] {
        return fz_new_pixmap_with_bbox(context_, fz_device_rgb(context_), reduced(page, scale), nullptr, 1);
    });
    device_ = make_held<DrawDevice>(context_, [&] {
        fz_clear_pixmap(context_, pixmap_.get());
        const float smaller = 1 / static_cast<float>(scale);
        return fz_new_draw_device(context_, fz_scale(smaller, smaller), pixmap_.get());
    });
}

void PagePicture::run(const Draw& call) {
    const Smooth smooth(context_);
    try {
        with_errors(context_, [&] { call(device_.get()); });
    } catch (const std::runtime_error&) {  // told where the page is drawn
    }
}

void PagePicture::draw(const Draw& call) {
    if (open_all()) run(call);
}

void PagePicture::begin(const Draw& call, Container kind) {
    if (page_group_ == PageGroup::NotYet) {  // which is the picture itself
        page_group_ = PageGroup::Open;
        return;
    }
    if (std::ranges::count(containers_, Container::Knockout) > 0 && kind == Container::Plain) kind = Container::Other;
    containers_.push_back(kind);
    if (kind == Container::Plain) return;
    List list = make_held<List>(context_, [&] { return fz_new_display_list(context_, fz_infinite_rect); });
    const auto recorder = make_held<DrawDevice>(context_, [&] { return fz_new_list_device(context_, list.get()); });
    with_errors(context_, [&] {
        call(recorder.get());
        fz_close_device(context_, recorder.get());
    });
    open_.push_back(std::move(list));
}

// False where nothing is drawn in a container that is empty.
bool PagePicture::open_all() {
    while (begun_ < open_.size()) {
        const int before = device_.get()->container_len;
        run([&](fz_device* device) {
            fz_run_display_list(context_, open_[begun_].get(), device, fz_identity, fz_infinite_rect, nullptr);
        });
        if (device_.get()->container_len == before) return false;
        ++begun_;
    }
    return true;
}

void PagePicture::close_down_to(size_t count) {
    if (begun_ <= count) return;
    run([&](fz_device* device) { close_containers(context_, device, static_cast<int>(count)); });
    begun_ = count;
}

void PagePicture::end() {
    if (!containers_.empty()) {
        const Container kind = containers_.back();
        containers_.pop_back();
        if (kind == Container::Plain) return;
        close_down_to(open_.size() - 1);
        open_.pop_back();
    } else if (page_group_ == PageGroup::Open) {
        put_on_white();
        page_group_ = PageGroup::Over;
    }
}

void PagePicture::put_on_white() {
    fz_pixmap& pixmap = *pixmap_.get();
    for (int y = 0; y < pixmap.h; ++y) {
        unsigned char* pixel = pixmap.samples + ptrdiff_t{y} * pixmap.stride;
        for (int x = 0; x < pixmap.w; ++x, pixel += 4) {
            const int white = 255 - pixel[3];
            for (int i = 0; i < 4; ++i) pixel[i] = static_cast<unsigned char>(pixel[i] + white);
        }
    }
}

Renderer::Picture PagePicture::shown(const RECTL& area) {
    close_down_to(0);
    const fz_pixmap& from = *pixmap_.get();
    const fz_irect box = fz_intersect_irect(reduced(area, scale_), fz_pixmap_bbox(context_, &from));
    Pixmap picture = make_held<Pixmap>(
        context_, [&] { return fz_new_pixmap_with_bbox(context_, fz_device_rgb(context_), box, nullptr, 0); });
    for (int y = box.y0; y < box.y1; ++y) {
        const unsigned char* pixel =
            from.samples + ptrdiff_t{y - from.y} * from.stride + ptrdiff_t{box.x0 - from.x} * 4;
        unsigned char* out = picture.get()->samples + ptrdiff_t{y - box.y0} * picture.get()->stride;
        for (int x = box.x0; x < box.x1; ++x, pixel += 4, out += 3) {
            const int white = 255 - pixel[3];  // colours are multiplied by alpha
            for (int i = 0; i < 3; ++i) out[i] = static_cast<unsigned char>(pixel[i] + white);
        }
    }
    return {std::move(picture), scale_};
}

}  // namespace kvprint
