#include "tools/fidelity/score.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace fidelity {
namespace {

// A channel or the luminance of a picture.
struct Plane {
    int width, height;
    std::vector<float> values;

    Plane(int w, int h) : width(w), height(h), values(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
    float* row(int y) { return values.data() + static_cast<size_t>(y) * static_cast<size_t>(width); }
    const float* row(int y) const { return const_cast<Plane*>(this)->row(y); }
};

constexpr int kReach = 5;  // pixels to each side of a kernel's centre
struct Kernel {
    float weights[2 * kReach + 1];
};

Kernel gaussian(double sigma) {
    Kernel kernel;
    float sum = 0;
    for (int i = -kReach; i <= kReach; ++i) {
        kernel.weights[kReach + i] = static_cast<float>(std::exp(-i * i / (2 * sigma * sigma)));
        sum += kernel.weights[kReach + i];
    }
    for (float& weight : kernel.weights) weight /= sum;
    return kernel;
}

// Blurs along rows and then columns; beyond the edges the outermost pixels go on.
Plane blurred(const Plane& plane, const Kernel& kernel) {
    Plane across(plane.width, plane.height), both(plane.width, plane.height);
    for (int y = 0; y < plane.height; ++y) {
        const float* from = plane.row(y);
        for (int x = 0; x < plane.width; ++x) {
            float sum = 0;
            for (int i = -kReach; i <= kReach; ++i) {
                sum += kernel.weights[kReach + i] * from[std::clamp(x + i, 0, plane.width - 1)];
            }
            across.row(y)[x] = sum;
        }
    }
    for (int y = 0; y < plane.height; ++y) {
        float* to = both.row(y);
        for (int i = -kReach; i <= kReach; ++i) {
            const float* from = across.row(std::clamp(y + i, 0, plane.height - 1));
            const float weight = kernel.weights[kReach + i];
            for (int x = 0; x < plane.width; ++x) to[x] += weight * from[x];
        }
    }
    return both;
}

Plane channel_of(const Picture& picture, int channel) {
    Plane plane(picture.width, picture.height);
    for (size_t i = 0; i < plane.values.size(); ++i)
        plane.values[i] = picture.bytes[i * 3 + static_cast<size_t>(channel)];
    return plane;
}

Plane luminance_of(const std::array<Plane, 3>& channels) {
    Plane plane(channels[0].width, channels[0].height);
    for (size_t i = 0; i < plane.values.size(); ++i) {
        plane.values[i] =
            0.299f * channels[0].values[i] + 0.587f * channels[1].values[i] + 0.114f * channels[2].values[i];
    }
    return plane;
}

std::array<Plane, 3> soft_channels(const Picture& picture) {
    constexpr double kSlightly = 1;
    const Kernel kernel = gaussian(kSlightly);
    return {blurred(channel_of(picture, 0), kernel), blurred(channel_of(picture, 1), kernel),
            blurred(channel_of(picture, 2), kernel)};
}

double mean_difference(const std::array<Plane, 3>& a, const std::array<Plane, 3>& b) {
    double sum = 0;
    for (size_t channel = 0; channel < a.size(); ++channel) {
        for (size_t i = 0; i < a[channel].values.size(); ++i) {
            sum += static_cast<double>(std::abs(a[channel].values[i] - b[channel].values[i]));
        }
    }
    return sum / static_cast<double>(3 * a[0].values.size());
}

Plane product(const Plane& a, const Plane& b) {
    Plane plane(a.width, a.height);
    for (size_t i = 0; i < plane.values.size(); ++i) plane.values[i] = a.values[i] * b.values[i];
    return plane;
}

// The index of Wang, Bovik, Sheikh and Simoncelli (2004) with its Gaussian window of sigma 1.5.
void add_similarity(const Plane& a, const Plane& b, Score& score) {
    constexpr float kC1 = (0.01f * 255) * (0.01f * 255), kC2 = (0.03f * 255) * (0.03f * 255);
    constexpr float kWhite = 254.5f, kStill = 1;  // of mean and variance
    const Kernel window = gaussian(1.5);
    const Plane mean_a = blurred(a, window), mean_b = blurred(b, window);
    const Plane aa = blurred(product(a, a), window), bb = blurred(product(b, b), window),
                ab = blurred(product(a, b), window);
    double sum = 0, ink_sum = 0;
    size_t ink = 0;
    for (size_t i = 0; i < a.values.size(); ++i) {
        const float ma = mean_a.values[i], mb = mean_b.values[i];
        const float va = std::max(0.0f, aa.values[i] - ma * ma), vb = std::max(0.0f, bb.values[i] - mb * mb);
        const float covariance = ab.values[i] - ma * mb;
        const float index =
            (2 * ma * mb + kC1) * (2 * covariance + kC2) / ((ma * ma + mb * mb + kC1) * (va + vb + kC2));
        sum += static_cast<double>(index);
        if (ma > kWhite && mb > kWhite && va < kStill && vb < kStill) continue;
        ink_sum += static_cast<double>(index);
        ++ink;
    }
    score.similarity = sum / static_cast<double>(a.values.size());
    score.ink_similarity = ink ? ink_sum / static_cast<double>(ink) : 1;
}

}  // namespace

Picture reduced(Picture picture, int times) {
    if (times <= 1) return picture;
    const int width = (picture.width + times - 1) / times, height = (picture.height + times - 1) / times;
    picture = on_paper(picture, width * times, height * times);
    Picture small(width, height);
    const int count = times * times;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            int sums[3] = {};
            for (int v = 0; v < times; ++v) {
                const uint8_t* from = picture.at(x * times, y * times + v);
                for (int i = 0; i < 3 * times; ++i) sums[i % 3] += from[i];
            }
            for (int i = 0; i < 3; ++i) small.at(x, y)[i] = static_cast<uint8_t>((sums[i] + count / 2) / count);
        }
    }
    return small;
}

Picture on_paper(const Picture& picture, int width, int height) {
    Picture paper(width, height);
    const auto shared = static_cast<size_t>(std::min(width, picture.width)) * 3;
    for (int y = 0; y < std::min(height, picture.height); ++y) std::memcpy(paper.at(0, y), picture.at(0, y), shared);
    return paper;
}

Score compare(const Picture& first, const Picture& second) {
    Score score;
    if (first.bytes.empty()) return score;
    const auto a = soft_channels(first), b = soft_channels(second);
    score.difference = mean_difference(a, b);
    add_similarity(luminance_of(a), luminance_of(b), score);
    return score;
}

}  // namespace fidelity
