#pragma once
// Pages drawn by MuPDF, and pictures in files.

#include <memory>
#include <string>

#include "tools/fidelity/picture.h"

namespace fidelity {

class Pages {
public:
    // Throws std::runtime_error, as everything here does.
    explicit Pages(const std::string& pdf);
    ~Pages();
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    int count() const;
    // On white; pages count from 1.
    Picture draw(int page, double dots_per_inch) const;
    Picture load_png(const std::string& path) const;
    void save_png(const Picture& picture, const std::string& path) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace fidelity
