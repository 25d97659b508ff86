#pragma once
// The papers that pages are printed on.

#include "platform/win32.h"

namespace kvprint {

struct PageFit {
    DEVMODEW mode;
    float scale;  // of the page on the paper: 1, or less for a page that is larger than any paper
};

// A standard paper where one is at most a millimetre larger than a page of that size in points, else a custom size in
// tenths of a millimetre that holds the page, from 1 mm to 3.2 m, the most that a device mode can say.
PageFit fit_page(float width, float height);

}  // namespace kvprint
