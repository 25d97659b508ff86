#include "drawing/vector_file.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>

namespace kvjob {

VectorFile::VectorFile(Format format, std::unique_ptr<Output> out, double width, double height) : out_(std::move(out)) {
    surface_.reset(format == Format::Pdf ? cairo_pdf_surface_create_for_stream(write, this, width, height)
                                         : cairo_svg_surface_create_for_stream(write, this, width, height));
    check();
}

// Cairo writes the rest; an output that is not finished throws it away.
VectorFile::~VectorFile() {
    if (surface_) cairo_surface_finish(surface_.get());
}

void VectorFile::end_page() {
    cairo_surface_show_page(surface_.get());
    check();
}

void VectorFile::finish() {
    cairo_surface_finish(surface_.get());
    check();
    surface_.reset();
    out_->finish();
}

cairo_status_t VectorFile::write(void* self, const unsigned char* bytes, unsigned size) {
    auto* file = static_cast<VectorFile*>(self);
    if (file->thrown_) return CAIRO_STATUS_WRITE_ERROR;
    try {
        file->out_->write({bytes, size});
        return CAIRO_STATUS_SUCCESS;
    } catch (...) {
        file->thrown_ = std::current_exception();
        return CAIRO_STATUS_WRITE_ERROR;
    }
}

void VectorFile::check() const {
    if (thrown_) std::rethrow_exception(thrown_);
    const cairo_status_t status = cairo_surface_status(surface_.get());
    if (status == CAIRO_STATUS_SUCCESS) return;
    throw std::runtime_error(std::string("no file can be made: ") + cairo_status_to_string(status));
}

}  // namespace kvjob
