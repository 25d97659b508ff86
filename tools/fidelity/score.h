#pragma once
// How alike two pages look.

#include "tools/fidelity/picture.h"

namespace fidelity {

struct Score {
    double difference = 0;      // mean absolute difference of the channels, of 255
    double similarity = 1;      // structural similarity, the mean over all places
    double ink_similarity = 1;  // the mean over places where one of the pages is not plain white
};

// Of two pictures of one size. Both are blurred a little first, so that antialiasing counts for nothing.
Score compare(const Picture& first, const Picture& second);

}  // namespace fidelity
