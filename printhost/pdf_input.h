#pragma once
// PDF files as they are read: what is wrong with one becomes a std::runtime_error with a clear text.

#include <mupdf/pdf.h>

#include <string>

#include "printhost/mupdf.h"

namespace kvprint {

class Context {
public:
    Context();
    ~Context() { fz_drop_context(fz_); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    fz_context* get() const { return fz_; }
    // Content has been found missing so far.
    bool found_damage() const { return damage_; }

private:
    static void take_warning(void* context, const char* message);

    fz_context* fz_;
    bool damage_ = false;
};

class Pdf {
public:
    Pdf(fz_context* context, const std::string& path);
    ~Pdf();
    Pdf(const Pdf&) = delete;
    Pdf& operator=(const Pdf&) = delete;

    int pages() const { return pages_; }
    pdf_document* get() const { return document_; }
    // To be called after each page: now and then forgets the objects read, so that memory does not grow with pages.
    void forget_page();

private:
    fz_context* context_;
    pdf_document* document_ = nullptr;
    int pages_ = 0, pages_since_ = 0;
};

class PdfPage {
public:
    // number: from 1.
    PdfPage(fz_context* context, const Pdf& pdf, int number);
    ~PdfPage() { fz_drop_page(context_, &page_->super); }
    PdfPage(const PdfPage&) = delete;
    PdfPage& operator=(const PdfPage&) = delete;

    float width() const { return bounds_.x1 - bounds_.x0; }  // points
    float height() const { return bounds_.y1 - bounds_.y0; }
    // Something on the page is blended with what lies under it by another mode than the normal one.
    bool blends();
    // Runs the page on a device. scale: pixels a point; corner: where its left top corner lies, pixels.
    void run(fz_device* device, float scale, fz_point corner);

private:
    fz_context* context_;
    pdf_page* page_ = nullptr;
    fz_rect bounds_ = {};
};

}  // namespace kvprint
