#include "tools/kvprint/print_job.h"

#include <mupdf/pdf.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>

#include "platform/host/control.h"
#include "tools/kvprint/handover.h"
#include "tools/kvprint/papers.h"

namespace kvprint {
namespace {

namespace host = kv::host;
const std::u16string kPrinterName = u"Karvo";
const std::u16string kPrinterKey = u"Software\\Velmora Software\\Karvo12\\KarvoPrinters\\Karvo";

std::u16string widen(const std::string& text) {
    std::u16string wide(text.size() + 1, u'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                                           static_cast<int>(wide.size()));
    wide.resize(static_cast<size_t>(std::max(length, 0)));
    return wide;
}

// Runs calls that may raise MuPDF's errors; what they hold must survive a jump out of them.
template <class Calls>
void with_errors(fz_context* context, Calls calls) {
    const char* message = nullptr;
    fz_var(message);
    fz_try(context) { calls(); }
    fz_catch(context) { message = fz_caught_message(context); }
    if (message) throw std::runtime_error(message);
}

struct Context {
    fz_context* fz = fz_new_context(nullptr, nullptr, FZ_STORE_DEFAULT);
    Context() {
        if (!fz) throw std::runtime_error("out of memory");
        fz_set_warning_callback(fz, &Context::take_warning, this);
        fz_set_error_callback(
            fz, [](void*, const char*) {}, nullptr);
        fz_set_aa_level(fz, 0);  // clips are whole pixels
        with_errors(fz, [&] { fz_register_document_handlers(fz); });
    }
    ~Context() { fz_drop_context(fz); }
    bool found_damage() const { return damage_; }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

private:
    // Streams that end too early or do not inflate are only warned about, and their rest is missing.
    static void take_warning(void* context, const char* message) {
        for (const char* damage : {"zlib error", "premature end", "truncated"}) {
            if (std::strstr(message, damage)) static_cast<Context*>(context)->damage_ = true;
        }
    }
    bool damage_ = false;
};

class Pdf {
public:
    Pdf(fz_context* context, const std::string& path) : context_(context) {
        if (!std::filesystem::is_regular_file(path)) throw std::runtime_error("no such file");
        try {
            with_errors(context_, [&] { document_ = pdf_open_document(context_, path.c_str()); });
        } catch (const std::runtime_error&) {
            throw std::runtime_error("not a PDF file");
        }
        if (pdf_needs_password(context_, document_)) throw std::runtime_error("encrypted: it needs a password");
        with_errors(context_, [&] { pages_ = pdf_count_pages(context_, document_); });
        if (pages_ < 1) throw std::runtime_error("damaged: it has no pages");
    }
    ~Pdf() { pdf_drop_document(context_, document_); }
    Pdf(const Pdf&) = delete;
    Pdf& operator=(const Pdf&) = delete;

    int pages() const { return pages_; }
    pdf_document* get() const { return document_; }

private:
    fz_context* context_;
    pdf_document* document_ = nullptr;
    int pages_ = 0;
};

class PdfPage {
public:
    PdfPage(fz_context* context, const Pdf& pdf, int number) : context_(context) {
        with_errors(context_, [&] {
            page_ = pdf_load_page(context_, pdf.get(), number - 1);
            bounds_ = pdf_bound_page(context_, page_);
        });
    }
    ~PdfPage() { fz_drop_page(context_, reinterpret_cast<fz_page*>(page_)); }
    PdfPage(const PdfPage&) = delete;
    PdfPage& operator=(const PdfPage&) = delete;

    const fz_rect& bounds() const { return bounds_; }  // points

    void play(PagePlayer& player, float resolution) {
        fz_device* device = nullptr;
        fz_cookie cookie = {};
        const float scale = resolution / 72;
        const fz_matrix ctm = fz_concat(fz_translate(-bounds_.x0, -bounds_.y0), fz_scale(scale, scale));
        fz_var(device);
        with_errors(context_, [&] {
            fz_try(context_) {
                device = player.make_fz_device();
                pdf_run_page(context_, page_, device, ctm, &cookie);
                fz_close_device(context_, device);
            }
            fz_always(context_) { fz_drop_device(context_, device); }
            fz_catch(context_) { fz_rethrow(context_); }
        });
        if (cookie.errors > 0) throw std::runtime_error("damaged: a page cannot be read to its end");
    }

private:
    fz_context* context_;
    pdf_page* page_ = nullptr;
    fz_rect bounds_ = {};
};

// The printer as the machine knows it, with the whole page printable and the user's settings. Without an output only
// the dispatcher gets the job.
HANDLE open_printer(const Options& options, const std::string& output) {
    for (auto margin : {u"MarginLeft", u"MarginTop", u"MarginRight", u"MarginBottom"}) {
        host::set_registry_dword(HKEY_CURRENT_USER, kPrinterKey, margin, 0);
    }
    for (const auto& [name, value] : options.settings) {
        host::set_registry_dword(HKEY_CURRENT_USER, kPrinterKey, widen(name), value);
    }
    host::Printer printer;
    printer.name = kPrinterName;
    printer.port = output.empty() ? u"KARVO:" : u"FILE:";
    printer.output_path = output;
    return host::open_printer(printer);
}

// Names and values as the PASSTHROUGH escape takes them: the word 2, then UTF-16 texts, the last one empty.
std::vector<BYTE> data_block(const Options& options) {
    std::u16string block = u"\x2";
    for (const auto& [name, value] : options.data) block += widen(name) + u'\0' + widen(value) + u'\0';
    block += u'\0';
    const auto* bytes = reinterpret_cast<const BYTE*>(block.data());
    return {bytes, bytes + block.size() * sizeof(char16_t)};
}

// The job under a name of its own, renamed when it is whole.
class Output {
public:
    explicit Output(std::string path) : path_(std::move(path)), partial_(path_ + ".part") {}
    ~Output() {
        std::error_code ignored;
        std::filesystem::remove(partial_, ignored);
    }
    const std::string& partial() const { return partial_; }
    void finish() {
        std::error_code error;
        if (std::filesystem::file_size(partial_, error) == 0 || error) {
            throw std::runtime_error("the driver recorded no job");
        }
        std::filesystem::rename(partial_, path_, error);
        if (error) throw std::runtime_error("cannot write " + path_ + ": " + error.message());
    }

private:
    std::string path_, partial_;
};

void show_progress(const Options& options, int page, int pages) {
    if (!options.quiet && isatty(STDERR_FILENO)) std::fprintf(stderr, "\rpage %d of %d", page, pages);
}

class Printing {
public:
    Printing(const Options& options, const std::string& output, fz_context* context)
        : options_(options), context_(context), printer_(open_printer(options, output)) {}

    void print(const Pdf& pdf) {
        for (int number = 1; number <= pdf.pages(); ++number) {
            if (!options_.wants_page(number)) continue;
            show_progress(options_, number, pdf.pages());
            print_page(pdf, number);
        }
        if (!device_) throw std::runtime_error("no such page");
    }
    void finish() {
        if (!device_->end_document()) throw std::runtime_error("the driver did not end the document");
        device_.reset();
        host::close_printer(printer_);  // writes the output
    }
    const Played& played() const { return played_; }

private:
    void use_mode(const DEVMODEW& mode) {
        if (!device_) {
            const std::string name = std::filesystem::path(options_.input).filename().string();
            device_.emplace(driver_, printer_, &mode, kPrinterName);
            if (!device_->is_open() || !device_->start_document(widen(name), 1)) {
                throw std::runtime_error("the driver cannot start a document");
            }
            attach_data();
        } else if (std::memcmp(&mode, &mode_, sizeof mode) != 0 && !device_->reset(mode)) {
            throw std::runtime_error("the driver does not take another page size");
        }
        mode_ = mode;
    }

    void attach_data() {
        constexpr ULONG kPassThrough = 19;
        if (!options_.data.empty() && !device_->escape(kPassThrough, data_block(options_))) {
            throw std::runtime_error("the driver does not take the data");
        }
    }

    void print_page(const Pdf& pdf, int number) {
        PdfPage page(context_, pdf, number);
        const fz_rect& bounds = page.bounds();
        use_mode(device_mode_for(bounds.x1 - bounds.x0, bounds.y1 - bounds.y0));
        if (!device_->start_page()) throw std::runtime_error("the driver cannot start a page");
        PagePlayer player(context_, *device_, played_);
        page.play(player, static_cast<float>(device_->info().ulLogPixelsX));
        if (player.failed() || !device_->send_page()) throw std::runtime_error("the driver cannot record a page");
        ++played_.pages;
    }

    const Options& options_;
    fz_context* context_;
    HANDLE printer_;
    kv::engine::Driver driver_;
    std::optional<kv::engine::Device> device_;
    DEVMODEW mode_ = {};
    Played played_;
};

}  // namespace

Played print_file(const Options& options) {
    Context context;
    Pdf pdf(context.fz, options.input);
    std::optional<Handover> handover;
    std::optional<Output> output;
    if (options.output.empty()) {
        handover.emplace();
    } else {
        output.emplace(options.output);
    }
    Printing printing(options, output ? output->partial() : "", context.fz);
    printing.print(pdf);
    if (context.found_damage()) throw std::runtime_error("damaged: content is missing");
    printing.finish();
    if (output) {
        output->finish();
    } else {
        handover->finish();
    }
    return printing.played();
}

}  // namespace kvprint
