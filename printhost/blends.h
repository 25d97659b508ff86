#pragma once
// What a page has that blends with what lies under it.

#include <cstddef>
#include <vector>

namespace kvprint {

struct Blends {
    // Whether a group has to be drawn as one, in the order of their beginnings: something in it blends with what lies
    // under it within the group.
    std::vector<bool> whole;
    double fills = 0;   // of the whole page, that cost as much to render as all of it
    size_t layers = 0;  // groups and masks that are open at a time at most
};

}  // namespace kvprint
