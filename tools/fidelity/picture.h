#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fidelity {

// Red, green and blue, a byte each, from the top row.
struct Picture {
    int width = 0, height = 0;
    std::vector<uint8_t> bytes;

    Picture() = default;
    // White.
    Picture(int w, int h) : width(w), height(h), bytes(static_cast<size_t>(w) * static_cast<size_t>(h) * 3, 255) {}
    uint8_t* at(int x, int y) {
        return &bytes[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3];
    }
    const uint8_t* at(int x, int y) const { return const_cast<Picture*>(this)->at(x, y); }
};

// Each pixel the mean of `times` by `times`, white where those at the right and bottom are missing.
Picture reduced(Picture picture, int times);

// On white paper of another size, its corner where it was.
Picture on_paper(const Picture& picture, int width, int height);

}  // namespace fidelity
