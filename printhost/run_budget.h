#pragma once
// What running a page may cost: forms, patterns and masks that show each other several times multiply the work with
// each level, so that a few hundred bytes ask for more than a life of it. A run ends where its work has nothing to do
// with the file's size any more.

#include <cstdint>

#include "printhost/file_stream.h"

namespace kvprint {

class RunBudget {
public:
    // From here to its end the device's calls are counted; there is one at a time. When too much was done the cookie,
    // that of the run, tells it to end, and the hold keeps from reading what does not look at the cookie. bytes: the
    // document's.
    RunBudget(fz_device* device, fz_cookie& cookie, Hold& hold, uint64_t bytes);
    ~RunBudget();
    RunBudget(const RunBudget&) = delete;
    RunBudget& operator=(const RunBudget&) = delete;

    bool is_spent() const { return hold_.held; }

private:
    using ClipPath = decltype(fz_device::clip_path);
    using BeginMask = decltype(fz_device::begin_mask);
    static void clip_path(fz_context*, fz_device*, const fz_path*, int even_odd, fz_matrix, fz_rect scissor);
    static void begin_mask(fz_context*, fz_device*, fz_rect area, int luminosity, fz_colorspace*, const float*,
                           fz_color_params);
    void count(uint64_t clips);

    static thread_local RunBudget* current_;
    fz_device* const device_;
    const ClipPath clip_path_;
    const BeginMask begin_mask_;
    fz_cookie& cookie_;
    Hold& hold_;
    const uint64_t most_clips_, most_words_;
    uint64_t clips_ = 0, words_ = 0;
};

}  // namespace kvprint
