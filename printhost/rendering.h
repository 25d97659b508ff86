#pragma once
// Drawing that MuPDF renders, at a resolution of 300 to 599 dots per inch where the device has as many.

#include <functional>
#include <memory>

#include "engine/bitmap.h"
#include "printhost/blends.h"
#include "printhost/mupdf.h"

namespace kvprint {

using Draw = std::function<void(fz_device*)>;

struct Rendering {
    std::unique_ptr<kv::engine::Bitmap> bitmap;  // 24 bits when opaque, else 32 with alpha and colours multiplied by it
    bool opaque;
    RECTL target;  // device pixels
};
using TakeRendering = std::function<void(const Rendering&)>;

class Renderer {
public:
    // resolution: the device's, dots per inch. memory: bytes that pictures may take at a time.
    Renderer(fz_context* context, float resolution, size_t memory);

    struct Effort {
        size_t layers = 1;    // pictures that are open at a time: groups and masks within each other
        bool smooth = false;  // shows no detail, and half of the resolution is enough
        double within = 0;    // what its own groups, masks and drawings cost, in device pixels that are filled
    };
    // What a drawing, in device pixels, leaves on nothing within the area; in bands, without what is transparent, and
    // coarser where the area is very large or rendering the page has cost very much.
    void render(const RECTL& area, const Draw& draw, const TakeRendering& take, Effort effort);

    // An area of the page on white paper.
    struct Picture {
        Pixmap pixmap;
        int scale;  // device pixels a pixel
    };
    // For pictures of a page with such blends, coarser where it is very large or much is to be drawn.
    int picture_scale(const RECTL& page, const Blends& blends);
    // Counts what is drawn otherwise, as device pixels that are filled. How many times coarser it is to be.
    int spend(double cost);
    // Device pixels, across and down, that are one of a rendering.
    int scale() const { return scale_; }
    // Something was drawn coarser, or with less, because of what rendering the page cost.
    void note_coarse() { coarse_ = true; }
    bool is_coarse() const { return coarse_; }
    // The pixels of the later picture that differ from the earlier one of the same area.
    void difference(const Picture& before, const Picture& after, const TakeRendering& take) const;

private:
    Pixmap draw_on_nothing(const fz_irect& box, int scale, const Draw& draw) const;
    int scale_for(const RECTL& area, LONGLONG most_pixels) const;
    int coarser_by(double cost, double most);

    fz_context* context_;
    int scale_;
    size_t memory_;
    double cost_ = 0;  // of what was rendered of the page, in device pixels that are filled
    bool coarse_ = false;
};

// Smooth edges while it lives; clips are whole pixels otherwise.
class Smooth {
public:
    explicit Smooth(fz_context* context);
    ~Smooth() { fz_set_aa_level(context_, level_); }
    Smooth(const Smooth&) = delete;
    Smooth& operator=(const Smooth&) = delete;

private:
    fz_context* context_;
    int level_;
};

// An area in pixels of so many device pixels a side, outwards.
fz_irect reduced(const RECTL& area, int scale);

// Ends the clips, groups and masks that are open on a device, but for the outermost ones.
void close_containers(fz_context* context, fz_device* device, int but_for = 0);

}  // namespace kvprint
