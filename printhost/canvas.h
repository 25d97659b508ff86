#pragma once
// The page as the driver is given it: drawing calls under a stack of clips, all in device pixels.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "engine/device.h"
#include "printhost/cover.h"
#include "printhost/held_path.h"
#include "printhost/held_text.h"
#include "printhost/letters.h"
#include "printhost/region.h"
#include "printhost/warnings.h"

namespace kvprint {

struct Played {
    size_t pages = 0, fills = 0, strokes = 0, texts = 0, images = 0;
    std::map<std::string, size_t> otherwise;  // what was given to the driver as something else than it is, by kind
    LetterCounts letters;
    std::vector<Warning> warnings;  // what could not be printed
    uint64_t bytes = 0;             // of the job; 0 where it is the dispatcher's

    size_t drawings() const { return fills + strokes + texts + images; }
};

// Colours are in the surface's order, blue low.
struct Paint {
    ULONG colour;
    float alpha;  // 0 to 1
};

// A part of a bitmap, and the device pixels that it fills. translation: of a bitmap with indices.
struct Transfer {
    kv::engine::Bitmap& bitmap;
    kv::engine::Translation* translation;
    RECTL source, target;
};

class Canvas {
public:
    Canvas(kv::engine::Device& device, Played& played);

    // Clips. The page is the outermost one and is never popped.
    void push(Region region);
    void push_same() { push(clips_.back().region); }
    void pop();
    void pop_all();
    const Region& clip() const { return clips_.back().region; }
    RECTL page() const { return clips_.front().region.bounds(); }

    // Nothing has been drawn on that part of the clip.
    bool is_blank(const RECTL& rect) const;
    // What is drawn with that paint within the bounds can be drawn with the opaque one returned: either it is opaque,
    // or the paper is white there.
    bool make_opaque(Paint& paint, const RECTL& bounds) const;

    // Paths are held back until something else is drawn, or until finish(). options: FP_*.
    void fill(kv::engine::Path& path, FLONG options, ULONG colour);
    void fill(const RECTL& rect, ULONG colour);
    void fill(const Region& region, ULONG colour);
    // The region may be as fine as kFinestRegion.
    void blend(const Region& region, Paint paint);
    void stroke(kv::engine::Path& path, const LINEATTRS& line, ULONG colour);

    // Level text that no clip cuts is held back until something else is drawn over it, or until finish().
    void draw_text(const TextRun& run, bool level, const std::shared_ptr<kv::engine::Font>& font, ULONG colour);

    void draw(const Transfer& image);
    // mask: one bit a pixel of the whole bitmap, 1 where it is drawn.
    void draw_masked(const Transfer& image, kv::engine::Bitmap& mask);
    // A bitmap of one bit a pixel with the colours black and white: black ones take the colour.
    void draw_stencil(const Transfer& image, ULONG colour);
    // per_pixel: 32-bit pixels with alpha and colours multiplied by it.
    enum class Alpha { Constant, PerPixel };
    void blend(const Transfer& image, Alpha kind, float alpha);

    // After everything of the page.
    void finish() { flush_text(); }

    Played& played() { return played_; }
    // A hook refused a call: the document has failed.
    bool failed() const { return failed_; }

private:
    struct ClipLevel {
        Region region;
        kv::engine::Clip clip;
    };
    void push_rect(const RECTL& rect);
    kv::engine::Clip* current() { return &clips_.back().clip; }
    void note(BOOL result);
    void mark(const RECTL& rect);
    // Before anything that is drawn there; colour: when that is all of one, and opaque.
    void settle_text(const RECTL& rect, std::optional<ULONG> colour = std::nullopt);
    void flush_text();
    void draw_path(kv::engine::Path& path, const RECTL& ink, PathStyle style);
    void draw_now(kv::engine::Path& path, const PathStyle& style);
    void flush_path();
    void draw_block(const TextBlock& block);
    void note_image(BOOL result, const RECTL& target);

    kv::engine::Device& device_;
    Played& played_;
    Cover cover_;
    HeldPath path_;   // under
    HeldText texts_;  // what is held of text
    std::vector<ClipLevel> clips_;
    bool failed_ = false;
};

// Entries that the driver makes of one path at most.
inline constexpr size_t kMostPathBlocks = 65000;
// Rectangles of a region that is worth its outlines: a finer one is smaller as an image.
inline constexpr size_t kFinestRegion = 30000;

}  // namespace kvprint
