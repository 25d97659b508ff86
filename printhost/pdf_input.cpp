#include "printhost/pdf_input.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace kvprint {
namespace {

// Decoded fonts and images that MuPDF keeps at most, bytes.
constexpr size_t kStoreSize = 64 << 20;

void check_file(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) throw std::runtime_error("no such file");
    if (!std::filesystem::is_regular_file(status)) throw std::runtime_error("not a file");
    if (!std::ifstream(path, std::ios::binary)) throw std::runtime_error("cannot be read");
}

// A whole file ends with this mark, but for some bytes that transports add.
bool has_end_mark(const std::string& path) {
    constexpr std::streamoff kTail = 1024;
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = in.tellg();
    in.seekg(std::max<std::streamoff>(size - kTail, 0));
    std::string tail(kTail, '\0');
    in.read(tail.data(), kTail);
    tail.resize(static_cast<size_t>(in.gcount()));
    return tail.find("%%EOF") != std::string::npos;
}

}  // namespace

Context::Context() : fz_(fz_new_context(nullptr, nullptr, kStoreSize)) {
    if (!fz_) throw std::runtime_error("out of memory");
    fz_set_warning_callback(fz_, &Context::take_warning, this);
    fz_set_error_callback(
        fz_, [](void*, const char*) {}, nullptr);
    fz_set_aa_level(fz_, 0);  // clips are whole pixels
    with_errors(fz_, [&] { fz_register_document_handlers(fz_); });
}

// Streams that end too early or do not inflate are only warned about, and their rest is missing.
void Context::take_warning(void* context, const char* message) {
    for (const char* damage : {"zlib error", "read error", "premature end", "broken object", "corrupt"}) {
        if (std::strstr(message, damage)) static_cast<Context*>(context)->damage_ = true;
    }
}

Pdf::Pdf(fz_context* context, const std::string& path) : context_(context) {
    check_file(path);
    try {
        with_errors(context_, [&] { document_ = pdf_open_document(context_, path.c_str()); });
    } catch (const std::runtime_error&) {
        throw std::runtime_error("not a PDF file");
    }
    try {
        if (pdf_needs_password(context_, document_)) throw std::runtime_error("encrypted: it needs a password");
        if (pdf_was_repaired(context_, document_) && !has_end_mark(path)) {
            throw std::runtime_error("damaged: its end is missing");
        }
        with_errors(context_, [&] { pages_ = pdf_count_pages(context_, document_); });
        if (pages_ < 1) throw std::runtime_error("damaged: it has no pages");
        with_errors(context_, [&] { pdf_load_page_tree(context_, document_); });  // a page is found at once
    } catch (...) {
        pdf_drop_document(context_, document_);
        throw;
    }
}

Pdf::~Pdf() {
    pdf_drop_page_tree(context_, document_);
    pdf_drop_document(context_, document_);
}

void Pdf::forget_page() {
    // Each time every object is looked at: so many times a document, whatever its length.
    constexpr int kTimesADocument = 64, kFewestPages = 16;
    if (++pages_since_ < std::max(pages_ / kTimesADocument, kFewestPages)) return;
    pages_since_ = 0;
    with_errors(context_, [&] { pdf_clear_xref(context_, document_); });
}

PdfPage::PdfPage(fz_context* context, const Pdf& pdf, int number) : context_(context) {
    with_errors(context_, [&] {
        page_ = pdf_load_page(context_, pdf.get(), number - 1);
        // With the page tree loaded, MuPDF 1.21 holds the page's object once more than it drops it: beside the page
        // only the table of objects has it.
        constexpr int kHolders = 2;
        if (!pdf_is_indirect(context_, page_->obj) && pdf_obj_refs(context_, page_->obj) > kHolders) {
            pdf_drop_obj(context_, page_->obj);
        }
        bounds_ = pdf_bound_page(context_, page_);
    });
}

bool PdfPage::blends() {
    if (!page_->transparency) return false;
    struct Probe {
        fz_device base;
        bool found;
    };
    const auto device = make_held<DrawDevice>(
        context_, [&] { return static_cast<fz_device*>(fz_new_device_of_size(context_, sizeof(Probe))); });
    auto* probe = reinterpret_cast<Probe*>(device.get());
    probe->base.begin_group = [](fz_context*, fz_device* self, fz_rect, fz_colorspace*, int, int, int mode, float) {
        if (mode != FZ_BLEND_NORMAL) reinterpret_cast<Probe*>(self)->found = true;
    };
    run(device.get(), 1, {0, 0});
    return probe->found;
}

void PdfPage::run(fz_device* device, float scale, fz_point corner) {
    fz_cookie cookie = {};
    const fz_matrix ctm = {scale, 0, 0, scale, corner.x - bounds_.x0 * scale, corner.y - bounds_.y0 * scale};
    with_errors(context_, [&] {
        pdf_run_page(context_, page_, device, ctm, &cookie);
        fz_close_device(context_, device);
    });
    if (cookie.errors > 0) throw std::runtime_error("damaged: a page cannot be read to its end");
}

}  // namespace kvprint
