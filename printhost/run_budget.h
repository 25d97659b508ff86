#pragma once
// What running a page may cost: forms, patterns and masks that show each other several times multiply the work with
// each level, so that a few hundred bytes ask for more than a life of it. A run ends where its work has nothing to do
// with the file's size any more.

#include <cstdint>
#include <vector>

#include "printhost/file_stream.h"

namespace kvprint {

// What a pixel costs to render, in pixels that are filled. A group or mask is a picture that is made, drawn on and
// drawn.
inline constexpr double kFillCost = 1, kImageCost = 4, kShadeCost = 10, kGroupCost = 30;

class RunBudget {
public:
    // From here to its end the device's calls are counted; there is one at a time. When too much was done the cookie,
    // that of the run, tells it to end, and the hold keeps from reading what does not look at the cookie. page: as it
    // lies on the device; pictures: of a page that has groups or masks, whose drawings may have to be rendered. bytes:
    // the document's.
    RunBudget(fz_device* device, fz_cookie& cookie, Hold& hold, fz_rect page, bool pictures, uint64_t bytes);
    ~RunBudget();
    RunBudget(const RunBudget&) = delete;
    RunBudget& operator=(const RunBudget&) = delete;

    bool is_spent() const { return hold_.held; }
    // What rendering all that was drawn so far costs, in fills of the whole page.
    double fills() const { return cost_ / page_area_; }
    // The same in pixels, of the budget that lives; 0 without one.
    static double cost_so_far() { return current_ ? current_->cost_ : 0; }

private:
    struct Hooks;
    void count(uint64_t clips);
    void count_area(const fz_device* device, fz_rect area, double each);
    void count_drawing(const fz_device* device, fz_rect area, double each);
    void check();

    static thread_local RunBudget* current_;
    fz_device* const device_;
    const fz_device functions_;  // the device's own
    fz_cookie& cookie_;
    Hold& hold_;
    const fz_rect page_;
    const double page_area_;
    const uint64_t most_clips_, most_words_;
    uint64_t clips_ = 0, words_ = 0;
    double cost_ = 0;
    std::vector<size_t> knockouts_;  // for each group that is open, how many knock out down to it
};

}  // namespace kvprint
