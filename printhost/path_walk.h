#pragma once
// MuPDF's paths step by step.

#include <mupdf/fitz.h>

namespace kvprint {

// Takes a path to target.move_to(point), line_to(point), curve_to(point, point, end) and close(), all points mapped.
template <class Target>
void walk(fz_context* context, const fz_path* path, fz_matrix matrix, Target& target) {
    struct State {
        Target& target;
        fz_matrix matrix;
        fz_point map(float x, float y) const { return fz_transform_point_xy(x, y, matrix); }
    } state = {target, matrix};
    static const fz_path_walker walker = {
        [](fz_context*, void* to, float x, float y) {
            auto& s = *static_cast<State*>(to);
            s.target.move_to(s.map(x, y));
        },
        [](fz_context*, void* to, float x, float y) {
            auto& s = *static_cast<State*>(to);
            s.target.line_to(s.map(x, y));
        },
        [](fz_context*, void* to, float x1, float y1, float x2, float y2, float x3, float y3) {
            auto& s = *static_cast<State*>(to);
            s.target.curve_to(s.map(x1, y1), s.map(x2, y2), s.map(x3, y3));
        },
        [](fz_context*, void* to) { static_cast<State*>(to)->target.close(); },
        nullptr,
        nullptr,
        nullptr,
        nullptr,
    };
    fz_walk_path(context, path, &walker, &state);
}

}  // namespace kvprint
