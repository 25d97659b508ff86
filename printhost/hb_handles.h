#pragma once
// Ownership of HarfBuzz's objects.

#include <hb-subset.h>
#include <hb.h>

#include <memory>

#include "printhost/big_endian.h"

namespace kvprint {

struct HbDestroy {
    void operator()(hb_face_t* face) const { hb_face_destroy(face); }
    void operator()(hb_font_t* font) const { hb_font_destroy(font); }
    void operator()(hb_set_t* set) const { hb_set_destroy(set); }
    void operator()(hb_blob_t* blob) const { hb_blob_destroy(blob); }
    void operator()(hb_subset_input_t* input) const { hb_subset_input_destroy(input); }
    void operator()(hb_subset_plan_t* plan) const { hb_subset_plan_destroy(plan); }
};
using HbFace = std::unique_ptr<hb_face_t, HbDestroy>;
using HbBlob = std::unique_ptr<hb_blob_t, HbDestroy>;

inline FontBytes bytes_of(hb_blob_t* blob) {
    unsigned length = 0;
    const char* data = hb_blob_get_data(blob, &length);
    return {data, data + length};
}

}  // namespace kvprint
