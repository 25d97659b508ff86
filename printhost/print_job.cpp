#include "printhost/print_job.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <numeric>
#include <optional>

#include "platform/host/control.h"
#include "printhost/document.h"
#include "printhost/handover.h"
#include "printhost/image_mender.h"
#include "printhost/output.h"
#include "printhost/page_player.h"
#include "printhost/papers.h"
#include "printhost/progress.h"
#include "printhost/trace_listener.h"

namespace kvprint {
namespace {

namespace fs = std::filesystem;
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
HANDLE open_printer(const Request& request, const Output* output) {
    install_resource_library();
    const std::string trace = TraceListener::kLevels + request.trace;
    host::set_registry_string(HKEY_LOCAL_MACHINE, kProductKey, u"Trace", widen(trace));
    for (auto margin : {u"MarginLeft", u"MarginTop", u"MarginRight", u"MarginBottom"}) {
        host::set_registry_dword(HKEY_CURRENT_USER, kPrinterKey, margin, 0);
    }
    for (const auto& [name, value] : request.settings) {
        const bool of_product = name == "EmbedFonts" || name == "CaptureFonts";
        host::set_registry_dword(HKEY_CURRENT_USER, of_product ? kProductKey : kPrinterKey, widen(name), value);
    }
    host::Printer printer;
    printer.name = kPrinterName;
    printer.port = output ? u"FILE:" : u"KARVO:";
    if (output) printer.output_descriptor = output->descriptor();
    return host::open_printer(printer);
}

bool wants_whole_fonts(const Request& request) {
    return std::any_of(request.settings.begin(), request.settings.end(),
                       [](const auto& setting) { return setting.first == "EmbedFonts" && setting.second != 0; });
}

// Names and values as the PASSTHROUGH escape takes them: the word 2, then UTF-16 texts, the last one empty.
std::vector<BYTE> data_block(const Request& request) {
    std::u16string block = u"\x2";
    for (const auto& [name, value] : request.data) block += widen(name) + u'\0' + widen(value) + u'\0';
    block += u'\0';
    const auto* bytes = reinterpret_cast<const BYTE*>(block.data());
    return {bytes, bytes + block.size() * sizeof(char16_t)};
}

// From 1, in their order; never none.
std::vector<size_t> pages_of(const Request& request, size_t count) {
    if (request.pages) return request.pages(count);
    std::vector<size_t> all(count);
    std::iota(all.begin(), all.end(), size_t{1});
    return all;
}

// What the driver told the user, as one line; empty for nothing.
std::string last_message() {
    if (host::messages().empty()) return "";
    const std::u16string& wide = host::messages().back().text;
    std::string text(wide.size() * 3, '\0');
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(),
                                           static_cast<int>(text.size()), nullptr, nullptr);
    text.resize(static_cast<size_t>(std::max(length, 0)));
    return text;
}

class Printing {
public:
    Printing(const Request& request, const Output* output, fz_context* context)
        : request_(request), context_(context), printer_(open_printer(request, output)) {
        if (!request.text_list.empty()) list_.emplace(request.text_list);
    }

    void print(Document& document) {
        const std::vector<size_t> pages = pages_of(request_, static_cast<size_t>(document.pages()));
        if (document.pdf()) mender_.emplace(context_, document.pdf());
        survey(document, pages);
        fonts_.emplace(context_, identities_, survey_, installed_, wants_whole_fonts(request_));
        bool readable = false;
        progress_.begin(Progress::Phase::Printing, pages.size());
        for (size_t i = 0; i < pages.size(); ++i) {
            readable |= print_page(document, static_cast<int>(pages[i]));
            document.forget_page();
            progress_.done(i + 1);
        }
        warnings_of(context_).at_page(0);
        if (!readable) {
            const Warnings& warnings = warnings_of(context_);
            throw std::runtime_error("damaged: no page can be read" +
                                     (warnings.any() ? " (" + warnings.all().front().line() + ")" : ""));
        }
    }
    // Writes the output.
    void finish(Output* output) {
        if (list_) list_->finish();
        if (!device_->end_document()) fail("the driver did not end the document");
        // The end of a document has no answer that tells of its job.
        if (!output && (trace_.lost_job() || !trace_.first_failure().empty())) fail("the driver recorded no job");
        fonts_.reset();
        device_.reset();
        if (output) {
            const host::Printer& printed = host::printer(printer_);
            const uint64_t size = std::accumulate(printed.write_sizes.begin(), printed.write_sizes.end(), uint64_t{0});
            if (size == 0 && printed.write_error.empty()) fail("the driver recorded no job");
            output->finish(printed.write_error, size);
            played_.bytes = size;
        }
        host::close_printer(printer_);
    }
    Played& played() { return played_; }

private:
    // The driver refuses to go on: most often because its own file of the job cannot be written.
    [[noreturn]] void fail(const std::string& what) const {
        const std::string message = last_message(), cause = trace_.first_failure();
        if (message.empty()) throw std::runtime_error(what + cause);
        const size_t reason = message.find(". ");  // behind the name of a file that is gone
        throw OutputFault("the job cannot be recorded in " + fs::temp_directory_path().string() + ": " +
                          (reason == std::string::npos ? message : message.substr(reason + 2)) + cause);
    }

    // What is wrong with a page is told when it is printed.
    void survey(Document& document, const std::vector<size_t>& pages) {
        const Warnings::Pause pause(warnings_of(context_));
        progress_.begin(Progress::Phase::Reading, pages.size());
        for (size_t i = 0; i < pages.size(); ++i) {
            try {
                Page page(context_, document, static_cast<int>(pages[i]), request_);
                page.run(survey_.start_page(), 1, {0, 0});
                if (page.end() == Page::End::Unread) {
                    lost_images_[pages[i]] = blank_images(page);
                    page.run(survey_.start_page(), 1, {0, 0});
                }
                if (pdf_obj* resources = page.resources()) survey_.add_widths(document.pdf(), resources);
            } catch (const std::runtime_error&) {
            }
            document.forget_page();
            progress_.done(i + 1);
        }
    }

    void use_mode(const DEVMODEW& mode) {
        if (!device_) {
            const std::string name = std::filesystem::path(request_.input).filename().string();
            device_.emplace(driver_, printer_, &mode, kPrinterName);
            if (!device_->is_open() || !device_->start_document(widen(name), 1)) {
                fail("the driver cannot start a document");
            }
            attach_data();
        } else if (std::memcmp(&mode, &mode_, sizeof mode) != 0 && !device_->reset(mode)) {
            fail("the driver does not take another page size");
        }
        mode_ = mode;
    }

    void attach_data() {
        constexpr ULONG kPassThrough = 19;
        if (!request_.data.empty() && !device_->escape(kPassThrough, data_block(request_))) {
            fail("the driver does not take the data");
        }
    }

    // False for a page of which nothing can be read.
    bool print_page(const Document& document, int number) {
        Warnings& warnings = warnings_of(context_);
        warnings.at_page(number);
        std::optional<Page> page;
        try {
            const Warnings::Subject all_of_it(warnings, nullptr);
            page.emplace(context_, document, number, request_);
        } catch (const std::runtime_error&) {
            warnings.add("left out: it cannot be read");
            return false;
        }
        mend(*page, static_cast<size_t>(number));
        const size_t before = played_.drawings();
        play(*page, number);
        return played_.drawings() > before || !warnings.any_at(number) || page->end() == Page::End::Spent;
    }

    void mend(Page& page, size_t number) {
        if (mender_) mender_->look_at(page.resources());
        const auto lost = lost_images_.find(number);
        if (lost == lost_images_.end() || lost->second == 0) return;
        blank_images(page);  // which may have been read anew since
        warnings_of(context_).add("image not decoded", lost->second);
    }

    // Those in its contents itself.
    static size_t blank_images(Page& page) {
        try {
            return page.blank_broken_images();
        } catch (const std::runtime_error&) {
            return 0;  // what is wrong with the contents is told when they are drawn
        }
    }

    void play(Page& page, int number) {
        const PageFit fit = fit_page(page.width(), page.height());
        use_mode(fit.mode);
        if (fit.scale < 1) warnings_of(context_).add("made smaller to fit the largest paper");
        if (!device_->start_page()) fail("the driver cannot start a page");
        const GDIINFO& info = device_->info();
        const auto resolution = static_cast<float>(info.ulLogPixelsX);
        Canvas canvas(*device_, played_);
        const float scale = fit.scale * resolution / 72;
        const fz_point corner = {-static_cast<float>(info.ptlPhysOffset.x), -static_cast<float>(info.ptlPhysOffset.y)};
        if (list_) list_->page(number, scale, corner.x, corner.y);
        try {
            PagePlayer player(context_, canvas, *fonts_, resolution, request_.memory, list_ ? &*list_ : nullptr);
            if (auto blends = page.find_blends()) player.keep_page(std::move(*blends));
            page.run(player.device(), scale, corner);
            player.finish(page.end() == Page::End::Spent);
        } catch (const LibraryFault& fault) {
            warnings_of(context_).add(std::string("not all of it is drawn: ") + fault.what());
        } catch (const std::bad_alloc&) {
            warnings_of(context_).add("not all of it is drawn: not enough memory");
        }
        canvas.finish();
        if (canvas.failed() || !device_->send_page()) fail("the driver cannot record a page");
        ++played_.pages;
    }

    const Request& request_;
    Progress progress_{request_};
    fz_context* context_;
    const TraceListener trace_{request_.trace};
    const HANDLE printer_;
    const InstalledFonts installed_;
    FontIdentities identities_{context_};
    FontSurvey survey_{context_, identities_};
    std::optional<ImageMender> mender_;
    std::map<size_t, size_t> lost_images_;  // by page: those in its contents that kept them from being read on
    kv::engine::Driver driver_;
    std::optional<kv::engine::Device> device_;
    std::optional<FontStore> fonts_;
    std::optional<TextList> list_;
    DEVMODEW mode_ = {};
    Played played_;
};

}  // namespace

Played print_file(const Request& request) {
    host::set_messages_quiet(true);  // a fault is told in one line, by who called
    Warnings warnings;
    Context context(warnings, request.memory);
    const InputFile input(request.input);
    for (const std::string& output : {request.output, request.text_list}) {
        if (!output.empty()) check_is_not(output, input.status());
    }
    Document document(context.get(), input, request);
    std::optional<Handover> handover;
    std::optional<Output> output;
    if (request.output.empty()) {
        handover.emplace();
    } else {
        output.emplace(request.output);
    }
    Printing printing(request, output ? &*output : nullptr, context.get());
    printing.print(document);
    printing.played().warnings = warnings.all();
    if (request.strict && warnings.any()) throw std::runtime_error("damaged: " + warnings.all().front().line());
    printing.finish(output ? &*output : nullptr);
    if (handover) handover->finish();
    return std::move(printing.played());
}

}  // namespace kvprint
