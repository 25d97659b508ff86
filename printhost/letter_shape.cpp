#include "printhost/letter_shape.h"

#include <algorithm>
#include <cmath>

namespace kvprint {

std::optional<LetterShape> shape_of(const fz_matrix& matrix) {
    constexpr float kUneven = 0.01f, kMostSlant = 4;
    constexpr float kSteps = 64, kAngleSteps = 1 << 16;  // what differs by less is the same font
    const float across = std::hypot(matrix.a, matrix.b);
    const float area = matrix.b * matrix.c - matrix.a * matrix.d;
    if (!(area > 0)) return std::nullopt;
    const float up = area / across, slant = (matrix.a * matrix.c + matrix.b * matrix.d) / (across * across);
    if (!(std::abs(slant) <= kMostSlant)) return std::nullopt;
    const bool even = std::abs(across - up) <= kUneven * up;
    auto stepped = [](float value, float steps) { return std::round(value * steps) / steps; };
    return LetterShape{stepped(even ? up : across, kSteps), stepped(up, kSteps),
                       stepped(std::atan2(matrix.b, matrix.a), kAngleSteps),
                       static_cast<int>(std::lround(slant * kSlantSteps))};
}

}  // namespace kvprint
