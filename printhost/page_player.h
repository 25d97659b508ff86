#pragma once
// Plays a PDF page onto a canvas: fills and strokes as paths, clips as regions, images as bitmaps; what the printer
// interface has no words for is rendered and drawn as images.

#include <functional>
#include <optional>

#include "printhost/canvas.h"
#include "printhost/capture.h"
#include "printhost/font_store.h"
#include "printhost/image_source.h"
#include "printhost/mupdf.h"
#include "printhost/page_picture.h"
#include "printhost/pen.h"
#include "printhost/rendering.h"
#include "printhost/scan.h"
#include "printhost/text_list.h"
#include "printhost/text_runs.h"

namespace kvprint {

class PagePlayer {
public:
    // resolution: dots per inch. memory: bytes that a picture of pixels may take. list: of what goes as text; may be
    // null.
    PagePlayer(fz_context* context, Canvas& canvas, FontStore& fonts, float resolution, size_t memory, TextList* list);

    // The device that MuPDF draws the page on, while the player lives.
    fz_device* device() const { return device_.get(); }
    // To be called first for a page that blends with what lies under it: such drawing is shown by pictures of the page.
    void keep_page(Blends blends);
    // After the page. cut: it is told that not all of it was run.
    void finish(bool cut);

    // What follows is for the device's functions.

    // Hands a call to what keeps calls. True when that is all to be done with it.
    template <class Call>
    bool pass_on_drawing(Call call) {
        const bool captured = pass_on(call);
        if (captured) capture_->count_drawing();
        return captured;
    }
    // A text among the calls that were passed on.
    void note_captured(const fz_text& text) { capture_->count_text(text); }
    void note_captured_stroke(const fz_stroke_state& state, fz_matrix ctm);
    template <class Call>
    bool pass_on(Call call) {
        if (keeps_pictures()) picture_->draw(call);
        if (!capture_) return false;
        if (capture_->device()) call(capture_->device());
        return true;
    }
    // The same for a call that begins a container.
    template <class Call>
    bool pass_on_begin(bool is_clip, PagePicture::Container kind, Call call) {
        if (keeps_pictures()) picture_->begin(call, kind);
        if (!capture_) return false;
        if (capture_->device()) call(capture_->device());
        capture_->begin(is_clip);
        return true;
    }
    // And for one that ends it: when that is true, end_captured() is due.
    template <class Call>
    bool pass_on_end(Call call) {
        if (keeps_pictures()) picture_->end();
        if (!capture_) return false;
        if (capture_->device() && capture_->holds_end()) call(capture_->device());
        return true;
    }
    void end_captured();
    // What takes the call that began the capture; null when that is not kept.
    fz_device* capturing() const { return capture_ && capture_->holds_begin() ? capture_->device() : nullptr; }

    // An image's mask comes as a clip before the image. It is held until the next call shows what it is for: true when
    // that is another call, and the mask begins a capture, which then wants the clip's call.
    void hold_mask(fz_image* mask, fz_matrix ctm);
    bool holds_mask() const { return held_mask_.has_value(); }
    void drop_mask() { held_mask_.reset(); }
    bool is_mask_of(fz_image* image) const { return held_mask_ && image->mask == held_mask_->image.get(); }
    bool settle_mask();
    // The call that was held.
    void clip_to_held_mask(fz_device* device) const;

    bool is_drawing() const { return !canvas_.clip().empty() && !canvas_.failed(); }
    float alpha() const { return alpha_; }

    void fill(const fz_path* path, FillRule rule, fz_matrix ctm, Paint paint);
    void stroke(const fz_path* path, const fz_stroke_state& state, fz_matrix ctm, Paint paint);
    void fill_text(const fz_text* text, fz_matrix ctm, Paint paint);
    void stroke_text(const fz_text* text, const fz_stroke_state& state, fz_matrix ctm, Paint paint);
    void image(fz_image* image, fz_matrix ctm, float alpha, fz_color_params parameters);
    void stencil(fz_image* image, fz_matrix ctm, Paint paint);
    void shade(fz_shade* shade, fz_matrix ctm, float alpha, fz_color_params parameters);

    // Clips; false when a capture begins in place of one that is too fine.
    bool clip_to_path(const fz_path* path, FillRule rule, fz_matrix ctm);
    bool clip_to_text(const fz_text* text, fz_matrix ctm);
    // Any drawing as a clip: where it leaves ink.
    bool clip_to_drawing(fz_rect bounds, const Draw& draw);
    void clip_to_nothing() { canvas_.push(Region()); }
    void pop_clip() { canvas_.pop(); }

    // keep_page() was called.
    bool shows_page() const { return picture_.has_value(); }
    // Before anything else of a group.
    void count_group() { groups_ += keeps_pictures(); }
    // True when a capture begins.
    bool begin_group(fz_rect area, bool knockout, int blend_mode, float alpha);
    PagePicture::Container kind_of_group(bool knockout, int blend_mode, float alpha) const;
    void begin_mask(fz_rect area);
    struct Tiling {
        fz_rect area, view;
        float across, down;
        fz_matrix ctm;
    };
    void begin_tile(const Tiling& tiling);
    // Leaves cells out where there are so many, or so large ones over each other, that nobody would wait for them.
    bool thin_out(Tiling& tiling);
    // The colour of glyphs that have none of their own, while they are drawn.
    const std::optional<Paint>& glyph_paint() const { return glyph_paint_; }

private:
    void begin_capture(Capture::Kind kind, const RECTL& area);
    Renderer::Effort effort_of(const Capture& capture, size_t layers) const;
    void finish_capture(Capture& capture);
    void note_in_images(const Capture& capture);
    void finish_tile(const Capture& capture);
    void play_tile(const Capture& capture, const fz_irect& cells);
    fz_rect seen_of_cell(const Capture& capture) const;
    void play_single(const Capture& capture);
    void finish_patch();
    bool is_whole_group() const;
    bool keeps_pictures() const { return picture_.has_value() && replaying_ == 0; }
    // Runs calls on the own device that no list of the page is to hold a second time.
    template <class Calls>
    void replay(Calls calls) {
        struct Count {
            int& count;
            explicit Count(int& counted) : count(counted) { ++count; }
            ~Count() { --count; }
        } const counting(replaying_);
        with_errors(context_, calls);
    }

    bool push(Region region);
    // The pixels of the area that a drawing covers for the most part.
    Region region_of(const RECTL& area, const Draw& draw);
    void fill_opaque(const fz_path* path, FillRule rule, fz_matrix ctm, ULONG colour);
    // draw: the same once more, for a region that is too fine.
    void blend(const Region& region, Paint paint, const Draw& draw);
    void stroke_opaque(const fz_path* path, const fz_stroke_state& state, fz_matrix ctm, ULONG colour);
    void stroke_figures(const std::vector<Figure>& figures, const Pen& pen, ULONG colour);
    bool fill_as_text(const fz_text_span& span, fz_matrix ctm, Paint paint);
    void draw_apart(const fz_text_span& span, int item, fz_matrix ctm, Paint paint);
    template <class Visit>
    void for_each_outline(const fz_text_span& span, fz_matrix ctm, Visit visit);
    void fill_outlines(const fz_text_span& span, fz_matrix ctm, ULONG colour);
    std::vector<Figure> outlines_of(const fz_text_span& span, fz_matrix ctm);
    void draw_type3(const fz_text_span& span, fz_matrix ctm, Paint paint);
    void render(fz_rect bounds, const Draw& draw, Renderer::Effort effort = {});
    void draw_rendering(const Rendering& rendering);
    void draw_image(fz_device* device, fz_image* image, fz_image* mask, fz_matrix ctm, float alpha,
                    fz_color_params parameters);
    ImageSource::Room room_of(const RECTL& target) const;
    ImageSource::Room room_of(const fz_image& image, const RECTL& target);
    void tell_coarse(const char* thing) const;
    LetterCount& letters_in(const fz_font& font) { return canvas_.played().letters[kind_of(font)]; }
    void count_otherwise(const char* what) { ++canvas_.played().otherwise[what]; }

    fz_context* context_;
    Canvas& canvas_;
    FontStore& fonts_;
    TextList* list_;
    size_t memory_;
    Renderer renderer_;
    DrawDevice device_;
    std::optional<Capture> capture_;
    std::optional<PagePicture> picture_;
    std::vector<bool> whole_groups_;
    size_t groups_ = 0;
    struct HeldMask {
        Held<fz_image, fz_drop_image> image;
        fz_matrix ctm;
    };
    std::optional<HeldMask> held_mask_, settled_mask_;
    RECTL capture_area_ = {};
    double cells_ = 0;        // of the page's patterns so far
    double cost_before_ = 0;  // of the page's run, where the capture began
    Tiling tiling_ = {};
    float group_alpha_ = 1, alpha_ = 1;
    bool unwrapping_ = false;  // the next group is played as its content
    int replaying_ = 0;
    LONGLONG patched_ = 0;  // device pixels of the patches so far
    std::optional<Renderer::Picture> before_;
    std::optional<Paint> glyph_paint_;
};

}  // namespace kvprint
