#pragma once
// Images whose description is wrong. MuPDF gives up the contents in which it meets one.

#include <mupdf/pdf.h>

#include <set>
#include <vector>

#include "printhost/mupdf.h"

namespace kvprint {

class ImageMender {
public:
    ImageMender(fz_context* context, pdf_document* document) : context_(context), document_(document) {}

    // In place of each such image that a page's resources name, and the forms and patterns there, comes one that cannot
    // be decoded when it is drawn, while the mender lives. Each object is looked at once.
    void look_at(pdf_obj* resources);

private:
    void look_at_all(pdf_obj* named);
    void look_at_one(pdf_obj* object);
    void try_image(pdf_obj* image);

    fz_context* context_;
    pdf_document* document_;
    std::vector<int> to_visit_;  // forms and patterns
    std::set<int> visited_;
    std::vector<Held<fz_image, fz_drop_image>> broken_;
};

// Blanks such images that stand in a page's contents itself; how many.
size_t blank_inline_images(fz_context* context, pdf_document* document, pdf_obj* page);

}  // namespace kvprint
