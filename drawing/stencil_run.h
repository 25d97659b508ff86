#pragma once
// Small stencils of one colour that are drawn one after another, as letters of bitmap fonts are. Together they are one
// picture: in a file each of its own would cost hundreds of bytes beside its pixels.

#include <vector>

#include "drawing/picture_layers.h"
#include "reader/geometry.h"

namespace kvjob {

class StencilRun {
public:
    bool empty() const { return stencils_.empty(); }
    bool is_one() const { return stencils_.size() == 1; }
    const PictureLayer& first() const { return stencils_.front().layer; }
    const Rect& area() const { return area_; }

    // Whether it has been joined. The layer is a stencil whose pixels are the target's; its surface must live as long
    // as the run.
    bool add(const PictureLayer& layer, const Rect& target);
    // All of them, as large as the area.
    Surface joined() const;

private:
    struct Stencil {
        PictureLayer layer;
        int left, top;
    };
    bool takes(const PictureLayer& layer, const Rect& target) const;

    std::vector<Stencil> stencils_;
    Rect area_ = {};
    uint64_t bytes_ = 0;  // of the stencils
};

}  // namespace kvjob
