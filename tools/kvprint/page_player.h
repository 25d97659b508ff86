#pragma once
// Plays a PDF page into a printer device: fills and strokes as paths, clips as regions.

#include <mupdf/fitz.h>

#include <map>
#include <string>
#include <vector>

#include "engine/device.h"
#include "tools/kvprint/region.h"

namespace kvprint {

struct Played {
    size_t fills = 0, strokes = 0, pages = 0;
    // What the driver was not given, or not exactly, by kind.
    std::map<std::string, size_t> missing;
};

class PagePlayer {
public:
    PagePlayer(fz_context* context, kv::engine::Device& device, Played& played);

    // The device that MuPDF draws the page on. Its owner closes and drops it.
    fz_device* make_fz_device();
    // A hook refused a call: the document has failed.
    bool failed() const { return failed_; }

    void fill(const fz_path* path, bool even_odd, fz_matrix ctm, ULONG colour);
    void stroke(const fz_path* path, const fz_stroke_state& state, fz_matrix ctm, ULONG colour);
    void push_path_clip(const fz_path* path, bool even_odd, fz_matrix ctm);
    // Any drawing as a clip: where it leaves ink.
    using Draw = std::function<void(fz_device*)>;
    void push_drawn_clip(fz_rect bounds, const Draw& draw);
    void push_same_clip() { push(clips_.back().region); }
    void pop_clip();
    void count_missing(const char* kind) {
        if (hidden_ == 0) ++played_.missing[kind];
    }
    // Content that defines a soft mask or a tile is not drawn.
    void hide() { ++hidden_; }
    void show() { --hidden_; }
    bool is_drawing() const { return hidden_ == 0 && !clips_.back().region.empty() && !failed_; }

private:
    struct ClipLevel {
        Region region;
        kv::engine::Clip clip;
    };
    void push(Region region);
    void note(BOOL result);

    fz_context* context_;
    kv::engine::Device& device_;
    Played& played_;
    RECTL page_;
    std::vector<ClipLevel> clips_;
    int hidden_ = 0;
    bool failed_ = false;
};

}  // namespace kvprint
