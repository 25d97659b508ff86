#pragma once
// Documents as they are read, PDF files above all: what is wrong with a whole one becomes a std::runtime_error with a
// clear text, what is wrong with a part of it a warning.

#include <mupdf/pdf.h>
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "printhost/blends.h"
#include "printhost/bounded_memory.h"
#include "printhost/file_stream.h"
#include "printhost/request.h"
#include "printhost/warnings.h"

namespace kvprint {

class Context {
public:
    // memory: bytes that all that MuPDF reads and draws may take at a time.
    Context(Warnings& warnings, size_t memory);
    ~Context() { fz_drop_context(fz_); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    fz_context* get() const { return fz_; }

private:
    BoundedMemory memory_;
    fz_context* fz_;
};

// A file that can be read from anywhere; what comes through a pipe is kept in a temporary one without a name.
class InputFile {
public:
    // Throws std::runtime_error. path: kStandardStream for standard input.
    explicit InputFile(const std::string& path);

    FILE* get() const { return file_.get(); }
    // Of what the user named.
    const struct stat& status() const { return status_; }
    // At most that many bytes from the start, or up to the end.
    std::string head(size_t size) const;
    std::string tail(size_t size) const;
    uint64_t size() const;

private:
    struct Close {
        void operator()(FILE* file) const { std::fclose(file); }
    };
    void keep_all_of(int descriptor);

    std::unique_ptr<FILE, Close> file_;
    struct stat status_ = {};
};

class Document {
public:
    Document(fz_context* context, const InputFile& file, const Request& request);
    ~Document();
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    int pages() const { return pages_; }
    uint64_t bytes() const { return bytes_; }  // of the file
    // Keeps the file from being read.
    Hold& hold() const { return hold_; }
    fz_document* get() const { return document_; }
    // Null for documents of other kinds.
    pdf_document* pdf() const { return pdf_; }
    // To be called after each page: now and then forgets the objects read, so that memory does not grow with pages.
    void forget_page();

private:
    void unlock(const std::string& password);
    void find_pdf_pages();

    fz_context* context_;
    fz_document* document_ = nullptr;
    pdf_document* pdf_ = nullptr;
    int pages_ = 0, pages_since_ = 0;
    const uint64_t bytes_;
    mutable Hold hold_;
};

class Page {
public:
    // number: from 1.
    Page(fz_context* context, const Document& document, int number, const Request& request);
    ~Page() { fz_drop_page(context_, page_); }
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    float width() const { return bounds_.x1 - bounds_.x0; }  // points
    float height() const { return bounds_.y1 - bounds_.y0; }
    // Null for what is no page of a PDF file.
    pdf_obj* resources() const;
    // Nothing where all groups are drawn over what lies under them in the normal mode.
    std::optional<Blends> find_blends();
    // Runs the page on a device, as it is to be printed. scale: pixels a point; corner: where its left top corner lies,
    // pixels. What cannot be read is a warning, and the containers that it left open are ended. What rendering it
    // costs, where it has groups or masks, in fills of the page.
    double run(fz_device* device, float scale, fz_point corner);
    // How the last run ended before the page did: its contents could not be read on, or cost too much.
    enum class End { Whole, Unread, Spent };
    End end() const { return end_; }
    // Gives up images in its contents that keep the rest from being read; how many.
    size_t blank_broken_images();

private:
    using RunPart = void (*)(fz_context*, pdf_page*, fz_device*, fz_matrix, const char*, fz_cookie*);
    void take_pdf_page(const std::string& box);
    void choose_box(const std::string& box);

    fz_context* context_;
    fz_page* page_ = nullptr;
    pdf_page* pdf_page_ = nullptr;
    const bool annotations_;
    const Document& document_;
    fz_rect bounds_ = {};
    End end_ = End::Whole;
};

}  // namespace kvprint
