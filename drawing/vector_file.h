#pragma once
// A PDF or SVG file under way.

#include <exception>
#include <memory>
#include <string>

#include "drawing/cairo_handles.h"
#include "reader/output.h"

namespace kvjob {

class VectorFile {
public:
    enum class Format { Pdf, Svg };

    // Sizes are points. Everything throws std::runtime_error, or what the output throws.
    VectorFile(Format format, std::unique_ptr<Output> out, double width, double height);
    ~VectorFile();
    VectorFile(const VectorFile&) = delete;
    VectorFile& operator=(const VectorFile&) = delete;

    cairo_surface_t* surface() const { return surface_.get(); }
    void end_page();
    void finish();  // of the output, too

private:
    static cairo_status_t write(void* self, const unsigned char* bytes, unsigned size);
    void check() const;

    std::unique_ptr<Output> out_;
    std::exception_ptr thrown_;  // by the output
    Surface surface_;
};

}  // namespace kvjob
