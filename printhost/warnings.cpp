#include "printhost/warnings.h"

// clang-format off
#include <cstdio>  // what jpeglib.h takes for granted
#include <jpeglib.h>
// clang-format on

#include <cstring>

namespace kvprint {
namespace {

thread_local Warnings* latest = nullptr;

// The JPEG library would write to standard error. What it calls extraneous bytes harms nothing.
void take_jpeg_message(j_common_ptr codec) {
    char message[JMSG_LENGTH_MAX];
    codec->err->format_message(codec, message);
    if (latest && !std::strstr(message, "extraneous bytes")) latest->take_message(message);
}

}  // namespace

std::string Warning::line() const {
    return (page > 0 ? "page " + std::to_string(page) + ": " : "") + what +
           (count > 1 ? " (" + std::to_string(count) + " times)" : "");
}

Warnings::Subject::Subject(Warnings& warnings, const char* thing, const char* kind)
    : warnings_(warnings),
      outer_(std::exchange(warnings.subject_, this)),
      before_(std::exchange(latest, &warnings)),
      thing_(thing),
      kind_(kind),
      refusals_(warnings.refusals()) {}

Warnings::Subject::~Subject() {
    warnings_.subject_ = outer_;
    latest = before_;
    if (!thing_ || !fault_) return;
    std::string what = std::string(thing_) + ' ' + fault_;
    if (kind_) what += std::string(" (") + kind_ + ')';
    if (warnings_.refusals() > refusals_) what = std::string(thing_) + " not whole: it needs more memory (--memory)";
    warnings_.add(what);
}

// Decoders that meet the end of their data, or bad data, only warn, and the rest is missing. A wrong checksum at the
// end of data that are all there is no damage.
void Warnings::take_message(const char* message) {
    if (!subject_ || !subject_->thing_ || std::strstr(message, "incorrect data check")) return;
    for (const char* damage :
         {"zlib error", "read error", "premature end", "padding truncated image", "broken object", "corrupt",
          "Corrupt JPEG", "jbig2dec error", "openjpeg error", "lzw decode", "glyph load failed", "ignoring rest",
          "cannot load content stream", "content stream is not a stream", "error during interpretation",
          "ignored error when loading embedded font"}) {
        if (!std::strstr(message, damage)) continue;
        if (!subject_->fault_) subject_->fault_ = "damaged";
        return;
    }
}

bool Warnings::any_at(int page) const {
    const auto first = counts_.lower_bound({page, ""});
    return first != counts_.end() && first->first.first == page;
}

std::vector<Warning> Warnings::all() const {
    std::vector<Warning> all;
    for (const auto& [place, count] : counts_) all.push_back({place.first, place.second, count});
    return all;
}

}  // namespace kvprint

// The linker puts the second in the place of the first, whoever calls it.
extern "C" jpeg_error_mgr* __real_jpeg_std_error(jpeg_error_mgr* errors);
extern "C" jpeg_error_mgr* __wrap_jpeg_std_error(jpeg_error_mgr* errors) {
    __real_jpeg_std_error(errors);
    errors->output_message = kvprint::take_jpeg_message;
    return errors;
}
