#include "printhost/document.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>

#include "printhost/image_mender.h"
#include "printhost/rendering.h"
#include "printhost/run_budget.h"

namespace kvprint {
namespace {

// Decoded fonts and images that MuPDF keeps at most, bytes.
size_t store_size(size_t memory) {
    constexpr size_t kMost = 64 << 20;
    return std::min(kMost, memory / 4);
}
// Where the marks at a file's ends are looked for, bytes. Transports may add some behind it.
constexpr size_t kHead = 1024, kTail = 1 << 16;

void drop_object(fz_context* context, pdf_obj* object) { pdf_drop_obj(context, object); }
using Object = Held<pdf_obj, drop_object>;

// What MuPDF tells kinds of documents by, from the first bytes and the name.
std::string kind_of(const std::string& head, const std::string& path) {
    using namespace std::string_literals;
    const std::pair<std::string, const char*> marks[] = {
        {"\x89PNG", "png"}, {"\xFF\xD8\xFF", "jpeg"},
        {"II*\0"s, "tiff"}, {"MM\0*"s, "tiff"},
        {"GIF8", "gif"},    {"BM", "bmp"},
        {"P4", "pbm"},      {"P1", "pbm"},
        {"P5", "pgm"},      {"P2", "pgm"},
        {"P6", "ppm"},      {"P3", "ppm"},
        {"P7", "pam"},      {"<svg", "svg"},
    };
    if (head.find("%PDF") != std::string::npos) return "pdf";
    for (const auto& [mark, kind] : marks) {
        if (head.starts_with(mark)) return kind;
    }
    if (head.starts_with("PK")) {
        if (head.find("application/epub+zip") != std::string::npos) return "epub";
        if (head.find("_rels/") != std::string::npos || head.find("[Content_Types]") != std::string::npos) return "xps";
        return "cbz";
    }
    if (head.starts_with("<?xml") && head.find("<svg") != std::string::npos) return "svg";
    const size_t dot = path.rfind('.');
    return dot == std::string::npos ? "pdf" : path.substr(dot + 1);
}

// Behind the last object come the table of all and marks. Where they are damaged or cut off nothing is missing: the
// objects are found without.
bool holds_all_objects(const std::string& tail) {
    const size_t object = tail.rfind("endobj"), behind = object == std::string::npos ? 0 : object;
    return tail.find("startxref", behind) != std::string::npos || tail.find("%%EOF", behind) != std::string::npos ||
           (object != std::string::npos && tail.find("xref", behind) != std::string::npos);
}

bool is_pages_node(fz_context* context, pdf_obj* node) {
    pdf_obj* type = pdf_dict_get(context, node, PDF_NAME(Type));
    if (pdf_name_eq(context, type, PDF_NAME(Pages))) return true;
    if (pdf_name_eq(context, type, PDF_NAME(Page))) return false;
    return pdf_dict_get(context, node, PDF_NAME(Kids)) && !pdf_dict_get(context, node, PDF_NAME(MediaBox));
}

// The object numbers of a document's pages. Nothing but the tree itself tells how many there are, and it is walked once
// even where it turns back on itself.
class PageTree {
public:
    PageTree(fz_context* context, pdf_document* document) : context_(context), document_(document) {}

    std::vector<int> walk() {
        int root = 0;
        with_errors(context_, [&] {
            root = pdf_to_num(context_, pdf_dict_getp(context_, pdf_trailer(context_, document_), "Root/Pages"));
        });
        std::vector<int> to_visit = {root};
        while (!to_visit.empty()) {
            const int number = to_visit.back();
            to_visit.pop_back();
            visit(number, to_visit);
        }
        return std::move(pages_);
    }

    // Pages that no tree leads to, in the order of their numbers.
    std::vector<int> find_all() {
        int count = 0;
        with_errors(context_, [&] { count = pdf_xref_len(context_, document_); });
        for (int number = 1; number < count; ++number) {
            const Object object = load(number);
            bool is_page = false;
            with_errors(context_, [&] {
                is_page = object.get() &&
                          pdf_name_eq(context_, pdf_dict_get(context_, object.get(), PDF_NAME(Type)), PDF_NAME(Page));
            });
            if (is_page) pages_.push_back(number);
        }
        return std::move(pages_);
    }

private:
    Object load(int number) {
        try {
            return make_held<Object>(context_, [&] { return pdf_load_object(context_, document_, number); });
        } catch (const std::runtime_error&) {
            return {};
        }
    }

    void visit(int number, std::vector<int>& to_visit) {
        const Object node = load(number);
        bool usable = false, inner = false;
        std::vector<int> kids;
        with_errors(context_, [&] {
            usable = pdf_is_dict(context_, node.get());
            inner = usable && is_pages_node(context_, node.get());
            if (!inner || visited_.count(number)) return;
            pdf_obj* array = pdf_dict_get(context_, node.get(), PDF_NAME(Kids));
            for (int i = pdf_array_len(context_, array); i-- > 0;) {
                to_visit.push_back(pdf_to_num(context_, pdf_array_get(context_, array, i)));
            }
        });
        if (usable && !inner) {
            pages_.push_back(number);
        } else if (!usable || !visited_.insert(number).second) {
            warnings_of(context_).add("the page tree is damaged: pages may be missing");
        }
    }

    fz_context* context_;
    pdf_document* document_;
    std::set<int> visited_;
    std::vector<int> pages_;
};

}  // namespace

Context::Context(Warnings& warnings, size_t memory)
    : memory_(memory), fz_(fz_new_context(memory_.functions(), nullptr, store_size(memory))) {
    if (!fz_) throw std::runtime_error("out of memory");
    warnings.blame(memory_);
    fz_set_user_context(fz_, &warnings);
    auto take = [](void* user, const char* message) { static_cast<Warnings*>(user)->take_message(message); };
    fz_set_warning_callback(fz_, take, &warnings);
    fz_set_error_callback(fz_, take, &warnings);
    fz_set_aa_level(fz_, 0);  // clips are whole pixels
    with_errors(fz_, [&] { fz_register_document_handlers(fz_); });
}

InputFile::InputFile(const std::string& path) {
    const bool standard = path == kStandardStream;
    const int descriptor =
        standard ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0) : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) throw std::runtime_error(errno == ENOENT ? "no such file" : "cannot be read");
    file_.reset(fdopen(descriptor, "rb"));
    if (!file_ || fstat(descriptor, &status_) != 0) throw std::runtime_error("cannot be read");
    if (S_ISFIFO(status_.st_mode) || S_ISSOCK(status_.st_mode) || (standard && S_ISCHR(status_.st_mode))) {
        keep_all_of(descriptor);
    } else if (!S_ISREG(status_.st_mode)) {
        throw std::runtime_error("not a file");
    }
}

void InputFile::keep_all_of(int descriptor) {
    std::unique_ptr<FILE, Close> kept(std::tmpfile());
    char bytes[1 << 16];
    ssize_t got = 0;
    while (kept && (got = read(descriptor, bytes, sizeof bytes)) > 0) {
        if (std::fwrite(bytes, 1, static_cast<size_t>(got), kept.get()) != static_cast<size_t>(got)) kept.reset();
    }
    if (got < 0) throw std::runtime_error("cannot be read");
    if (!kept || std::fflush(kept.get()) != 0) throw std::runtime_error("no room to keep it while it is printed");
    std::rewind(kept.get());
    file_ = std::move(kept);
}

std::string InputFile::head(size_t size) const {
    std::string bytes(size, '\0');
    const ssize_t got = pread(fileno(file_.get()), bytes.data(), size, 0);
    bytes.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return bytes;
}

std::string InputFile::tail(size_t size) const {
    const uint64_t whole = this->size(), wanted = std::min<uint64_t>(size, whole);
    std::string bytes(wanted, '\0');
    const auto at = static_cast<off_t>(whole - wanted);
    const ssize_t got = pread(fileno(file_.get()), bytes.data(), wanted, at);
    bytes.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return bytes;
}

uint64_t InputFile::size() const {
    struct stat info = {};
    fstat(fileno(file_.get()), &info);
    return static_cast<uint64_t>(info.st_size);
}

Document::Document(fz_context* context, const InputFile& file, const Request& request)
    : context_(context), bytes_(file.size()) {
    const std::string kind = kind_of(file.head(kHead), request.input);
    try {
        const Stream stream = open_stream(context_, fileno(file.get()), hold_);
        with_errors(context_, [&] { document_ = fz_open_document_with_stream(context_, kind.c_str(), stream.get()); });
        if (kind == "pdf") pdf_ = pdf_document_from_fz_document(context_, document_);
    } catch (const std::runtime_error&) {
        throw std::runtime_error(kind == "pdf" ? "not a PDF file" : "not a document that can be printed");
    }
    try {
        unlock(request.password);
        if (pdf_) {
            if (pdf_was_repaired(context_, pdf_) && !holds_all_objects(file.tail(kTail))) {
                warnings_of(context_).add("the end of the file is missing");
            }
            find_pdf_pages();
        } else {
            with_errors(context_, [&] { pages_ = fz_count_pages(context_, document_); });
        }
        if (pages_ < 1) throw std::runtime_error("damaged: it has no pages");
    } catch (...) {
        fz_drop_document(context_, document_);
        throw;
    }
}

void Document::unlock(const std::string& password) {
    // An empty user password has been tried.
    bool locked = false;
    with_errors(context_, [&] {
        locked = fz_needs_password(context_, document_) &&
                 (password.empty() || !fz_authenticate_password(context_, document_, password.c_str()));
    });
    if (!locked) return;
    throw std::runtime_error(password.empty() ? "encrypted: it needs a password (--password)"
                                              : "encrypted: the password does not fit");
}

// Hands MuPDF its map of the pages; it would trust the count that the file claims.
void Document::find_pdf_pages() {
    std::vector<int> numbers = PageTree(context_, pdf_).walk();
    if (numbers.empty()) {
        numbers = PageTree(context_, pdf_).find_all();
        if (!numbers.empty()) warnings_of(context_).add("the page tree is damaged: pages may be missing");
    }
    const size_t count = numbers.size();
    if (count == 0) return;
    with_errors(context_, [&] {
        pdf_->fwd_page_map = static_cast<int*>(fz_malloc(context_, count * sizeof(int)));
        pdf_->rev_page_map = static_cast<pdf_rev_page_map*>(fz_malloc(context_, count * sizeof(pdf_rev_page_map)));
    });
    for (size_t i = 0; i < count; ++i) {
        pdf_->fwd_page_map[i] = numbers[i];
        pdf_->rev_page_map[i] = {static_cast<int>(i), numbers[i]};
    }
    std::sort(pdf_->rev_page_map, pdf_->rev_page_map + count,
              [](const pdf_rev_page_map& a, const pdf_rev_page_map& b) { return a.object < b.object; });
    pdf_->map_page_count = pdf_->linear_page_count = pages_ = static_cast<int>(count);
    pdf_->page_map_nesting = 1;
}

Document::~Document() {
    if (pdf_) pdf_drop_page_tree(context_, pdf_);
    fz_drop_document(context_, document_);
}

void Document::forget_page() {
    // Each time every object is looked at: so many times a document, whatever its length.
    constexpr int kTimesADocument = 64, kFewestPages = 16;
    if (!pdf_ || ++pages_since_ < std::max(pages_ / kTimesADocument, kFewestPages)) return;
    pages_since_ = 0;
    with_errors(context_, [&] { pdf_clear_xref(context_, pdf_); });
}

Page::Page(fz_context* context, const Document& document, int number, const Request& request)
    : context_(context), annotations_(request.annotations), document_(document) {
    with_errors(context_, [&] { page_ = fz_load_page(context_, document.get(), number - 1); });
    try {
        with_errors(context_, [&] {
            if (document.pdf()) take_pdf_page(request.box);
            bounds_ = fz_bound_page(context_, page_);
        });
    } catch (...) {
        fz_drop_page(context_, page_);  // which holds the document
        throw;
    }
}

void Page::take_pdf_page(const std::string& box) {
    pdf_page_ = reinterpret_cast<pdf_page*>(page_);
    // With the page tree loaded, MuPDF 1.21 holds the page's object once more than it drops it: beside the page only
    // the table of objects has it.
    constexpr int kHolders = 2;
    if (!pdf_is_indirect(context_, pdf_page_->obj) && pdf_obj_refs(context_, pdf_page_->obj) > kHolders) {
        pdf_drop_obj(context_, pdf_page_->obj);
    }
    if (!box.empty()) choose_box(box);
}

// Of a PDF file's boxes MuPDF shows the crop box within the media box.
void Page::choose_box(const std::string& box) {
    const std::pair<const char*, pdf_obj*> boxes[] = {{"media", PDF_NAME(MediaBox)},
                                                      {"crop", PDF_NAME(CropBox)},
                                                      {"bleed", PDF_NAME(BleedBox)},
                                                      {"trim", PDF_NAME(TrimBox)},
                                                      {"art", PDF_NAME(ArtBox)}};
    for (const auto& [name, key] : boxes) {
        if (box != name) continue;
        const fz_rect rect = pdf_to_rect(context_, pdf_dict_get_inheritable(context_, pdf_page_->obj, key));
        if (!fz_is_empty_rect(rect)) pdf_dict_put_rect(context_, pdf_page_->obj, PDF_NAME(CropBox), rect);
    }
}

pdf_obj* Page::resources() const {
    pdf_obj* resources = nullptr;
    if (pdf_page_) with_errors(context_, [&] { resources = pdf_page_resources(context_, pdf_page_); });
    return resources;
}

namespace {

// Groups and masks that are open.
size_t layers_of(const fz_device& device) {
    return static_cast<size_t>(
        std::count_if(device.container, device.container + device.container_len, [](const auto& container) {
            return container.type == fz_device_container_stack_is_group ||
                   container.type == fz_device_container_stack_is_mask;
        }));
}

}  // namespace

size_t Page::blank_broken_images() {
    return pdf_page_ ? blank_inline_images(context_, document_.pdf(), pdf_page_->obj) : 0;
}

std::optional<Blends> Page::find_blends() {
    if (!pdf_page_ || !pdf_page_->transparency) return std::nullopt;
    struct Groups : Blends {
        std::vector<bool> open;        // whether a group that is open is isolated
        std::vector<size_t> isolated;  // those, by their number
        bool found = false;
    } groups;
    struct Probe {
        fz_device base;
        Groups* groups;
    };
    const auto device = make_held<DrawDevice>(
        context_, [&] { return static_cast<fz_device*>(fz_new_device_of_size(context_, sizeof(Probe))); });
    reinterpret_cast<Probe*>(device.get())->groups = &groups;
    device.get()->begin_group = [](fz_context*, fz_device* self, fz_rect, fz_colorspace*, int isolated, int, int mode,
                                   float) {
        Groups& all = *reinterpret_cast<Probe*>(self)->groups;
        all.whole.push_back(false);
        all.layers = std::max(all.layers, layers_of(*self));
        if (mode != FZ_BLEND_NORMAL) {
            all.found = true;
            for (const size_t outer : all.isolated) all.whole[outer] = true;
        }
        // The first group is the page's.
        if (isolated && all.whole.size() > 1) all.isolated.push_back(all.whole.size() - 1);
        all.open.push_back(isolated && all.whole.size() > 1);
    };
    device.get()->end_group = [](fz_context*, fz_device* self) {
        Groups& all = *reinterpret_cast<Probe*>(self)->groups;
        if (all.open.empty()) return;
        if (all.open.back()) all.isolated.pop_back();
        all.open.pop_back();
    };
    Warnings others, *const own = &warnings_of(context_);
    fz_set_user_context(context_, &others);  // what is wrong is told when the page is drawn
    groups.fills = run(device.get(), 1, {0, 0});
    fz_set_user_context(context_, own);
    if (!groups.found) return std::nullopt;
    return Blends(std::move(groups));
}

double Page::run(fz_device* device, float scale, fz_point corner) {
    const fz_matrix ctm = {scale, 0, 0, scale, corner.x - bounds_.x0 * scale, corner.y - bounds_.y0 * scale};
    Warnings& warnings = warnings_of(context_);
    const Warnings::Subject reading(warnings, "contents");
    fz_cookie cookie = {};
    end_ = End::Whole;
    std::optional<RunBudget> budget(std::in_place, device, cookie, document_.hold(), fz_transform_rect(bounds_, ctm),
                                    pdf_page_ && pdf_page_->transparency, document_.bytes());
    auto run_part = [&](auto part) {
        try {
            with_errors(context_, part);
        } catch (const std::runtime_error&) {
            if (!budget->is_spent()) {
                warnings.add("the rest of its contents cannot be read");
                end_ = End::Unread;
            }
        }
        with_errors(context_, [&] { close_containers(context_, device); });
    };
    if (pdf_page_) {
        constexpr const char* kUsage = "Print";
        run_part([&] { pdf_run_page_contents_with_usage(context_, pdf_page_, device, ctm, kUsage, &cookie); });
        if (annotations_) {
            run_part([&] { pdf_run_page_annots_with_usage(context_, pdf_page_, device, ctm, kUsage, &cookie); });
            run_part([&] { pdf_run_page_widgets_with_usage(context_, pdf_page_, device, ctm, kUsage, &cookie); });
        }
    } else {
        run_part([&] { fz_run_page(context_, page_, device, ctm, &cookie); });
    }
    if (budget->is_spent()) {
        warnings.add("the rest of it is left out: what it shows repeats itself without end");
        end_ = End::Spent;
    }
    const double fills = budget->fills();
    budget.reset();
    with_errors(context_, [&] { fz_close_device(context_, device); });
    if (cookie.errors > 0) warnings.add("drawing instruction not understood", static_cast<size_t>(cookie.errors));
    return fills;
}

}  // namespace kvprint
