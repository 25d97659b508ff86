#include "printhost/print_job.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <optional>

#include "platform/host/control.h"
#include "printhost/handover.h"
#include "printhost/page_player.h"
#include "printhost/papers.h"
#include "printhost/pdf_input.h"

namespace kvprint {
namespace {

namespace host = kv::host;
const std::u16string kPrinterName = u"Karvo";
const std::u16string kProductKey = u"Software\\Velmora Software\\Karvo12";
const std::u16string kPrinterKey = kProductKey + u"\\KarvoPrinters\\Karvo";

std::u16string widen(const std::string& text) {
    std::u16string wide(text.size() + 1, u'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                                           static_cast<int>(wide.size()));
    wide.resize(static_cast<size_t>(std::max(length, 0)));
    return wide;
}

// The library of texts that is installed with the driver.
void install_resource_library() {
    host::Module library = host::driver_resources();
    library.path = u"C:\\Windows\\System32\\spool\\drivers\\W32X86\\3\\kvres1232.dll";
    host::set_registry_string(HKEY_LOCAL_MACHINE, kProductKey, u"ResourceLibrary0409", library.path);
    host::register_module(std::move(library));
}

// The printer as the machine knows it, with the whole page printable and the user's settings. Without an output only
// the dispatcher gets the job.
HANDLE open_printer(const Request& request, const std::string& output) {
    install_resource_library();
    for (auto margin : {u"MarginLeft", u"MarginTop", u"MarginRight", u"MarginBottom"}) {
        host::set_registry_dword(HKEY_CURRENT_USER, kPrinterKey, margin, 0);
    }
    for (const auto& [name, value] : request.settings) {
        const bool of_product = name == "EmbedFonts" || name == "CaptureFonts";
        host::set_registry_dword(HKEY_CURRENT_USER, of_product ? kProductKey : kPrinterKey, widen(name), value);
    }
    host::Printer printer;
    printer.name = kPrinterName;
    printer.port = output.empty() ? u"KARVO:" : u"FILE:";
    printer.output_path = output;
    return host::open_printer(printer);
}

// Names and values as the PASSTHROUGH escape takes them: the word 2, then UTF-16 texts, the last one empty.
std::vector<BYTE> data_block(const Request& request) {
    std::u16string block = u"\x2";
    for (const auto& [name, value] : request.data) block += widen(name) + u'\0' + widen(value) + u'\0';
    block += u'\0';
    const auto* bytes = reinterpret_cast<const BYTE*>(block.data());
    return {bytes, bytes + block.size() * sizeof(char16_t)};
}

// The job under a name of its own, renamed when it is whole.
class Output {
public:
    explicit Output(std::string path) : path_(std::move(path)), partial_(path_ + ".part") {
        FILE* file = std::fopen(partial_.c_str(), "wb");
        if (!file) throw std::runtime_error("cannot write " + path_ + ": " + std::strerror(errno));
        std::fclose(file);
    }
    ~Output() {
        std::error_code ignored;
        std::filesystem::remove(partial_, ignored);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

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

void show_progress(const Request& request, size_t page, size_t pages) {
    if (!request.quiet && isatty(STDERR_FILENO)) std::fprintf(stderr, "\rpage %zu of %zu", page, pages);
}

std::vector<size_t> pages_of(const Request& request, size_t count) {
    if (request.pages) return request.pages(count);
    std::vector<size_t> all(count);
    std::iota(all.begin(), all.end(), size_t{1});
    return all;
}

class Printing {
public:
    Printing(const Request& request, const std::string& output, fz_context* context)
        : request_(request), context_(context), printer_(open_printer(request, output)) {
        if (!request.text_list.empty()) list_.emplace(request.text_list);
    }

    void print(Pdf& pdf) {
        fonts_.emplace(context_, pdf.get(), installed_);
        const std::vector<size_t> pages = pages_of(request_, static_cast<size_t>(pdf.pages()));
        if (pages.empty()) throw std::runtime_error("no such page");
        for (size_t i = 0; i < pages.size(); ++i) {
            show_progress(request_, i + 1, pages.size());
            print_page(pdf, static_cast<int>(pages[i]));
            pdf.forget_page();
        }
    }
    void finish() {
        if (list_) list_->finish();
        if (!device_->end_document()) throw std::runtime_error("the driver did not end the document");
        fonts_.reset();
        device_.reset();
        const std::string error = host::printer(printer_).write_error;
        host::close_printer(printer_);
        if (!error.empty()) throw std::runtime_error("cannot write " + request_.output + ": " + error);
    }
    const Played& played() const { return played_; }

private:
    void use_mode(const DEVMODEW& mode) {
        if (!device_) {
            const std::string name = std::filesystem::path(request_.input).filename().string();
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
        if (!request_.data.empty() && !device_->escape(kPassThrough, data_block(request_))) {
            throw std::runtime_error("the driver does not take the data");
        }
    }

    void print_page(const Pdf& pdf, int number) {
        PdfPage page(context_, pdf, number);
        const PageFit fit = fit_page(page.width(), page.height());
        use_mode(fit.mode);
        if (fit.scale < 1) ++played_.missing["pages in their size (made smaller to fit the largest paper)"];
        if (!device_->start_page()) throw std::runtime_error("the driver cannot start a page");
        const GDIINFO& info = device_->info();
        const auto resolution = static_cast<float>(info.ulLogPixelsX);
        Canvas canvas(*device_, played_);
        PagePlayer player(context_, canvas, *fonts_, resolution, list_ ? &*list_ : nullptr);
        if (page.blends()) player.keep_page();
        const float scale = fit.scale * resolution / 72;
        const fz_point corner = {-static_cast<float>(info.ptlPhysOffset.x), -static_cast<float>(info.ptlPhysOffset.y)};
        if (list_) list_->page(number, scale, corner.x, corner.y);
        page.run(player.device(), scale, corner);
        player.finish();
        if (canvas.failed() || !device_->send_page()) throw std::runtime_error("the driver cannot record a page");
        ++played_.pages;
    }

    const Request& request_;
    fz_context* context_;
    const HANDLE printer_;
    const InstalledFonts installed_;
    kv::engine::Driver driver_;
    std::optional<kv::engine::Device> device_;
    std::optional<FontStore> fonts_;
    std::optional<TextList> list_;
    DEVMODEW mode_ = {};
    Played played_;
};

}  // namespace

Played print_file(const Request& request) {
    Context context;
    Pdf pdf(context.get(), request.input);
    std::optional<Handover> handover;
    std::optional<Output> output;
    if (request.output.empty()) {
        handover.emplace();
    } else {
        output.emplace(request.output);
    }
    Printing printing(request, output ? output->partial() : "", context.get());
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
