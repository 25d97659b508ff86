#pragma once
// Drawing that MuPDF renders, at a resolution of 300 to 599 dots per inch where the device has as many.

#include <functional>
#include <memory>

#include "engine/bitmap.h"
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
    // resolution: the device's, dots per inch.
    Renderer(fz_context* context, float resolution);

    // What a drawing, in device pixels, leaves on nothing within the area; in bands, without what is transparent.
    void render(const RECTL& area, const Draw& draw, const TakeRendering& take) const;

    // The area as a drawing leaves it on white paper, coarser when it is very large.
    struct Picture {
        Pixmap pixmap;
        int scale;  // device pixels a pixel
    };
    Picture picture(const RECTL& area, const Draw& draw) const;
    // The pixels of the later picture that differ from the earlier one of the same area.
    void difference(const Picture& before, const Picture& after, const TakeRendering& take) const;

private:
    enum class Ground { Nothing, White };
    Pixmap draw_on(Ground ground, const fz_irect& box, int scale, const Draw& draw) const;

    fz_context* context_;
    int scale_;
};

// Ends the clips, groups and masks that are open on a device.
void close_containers(fz_context* context, fz_device* device);

}  // namespace kvprint
