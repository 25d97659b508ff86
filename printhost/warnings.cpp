#include "printhost/warnings.h"

#include <cstring>

namespace kvprint {

Warnings::Subject::~Subject() {
    warnings_.subject_ = outer_;
    if (!thing_ || !fault_) return;
    const std::string what = std::string(thing_) + ' ' + fault_;
    warnings_.add(kind_ ? what + " (" + kind_ + ')' : what);
}

// Decoders that meet the end of their data, or bad data, only warn, and the rest is missing. A wrong checksum at the
// end of data that are all there is no damage.
void Warnings::take_message(const char* message) {
    if (!subject_ || !subject_->thing_ || std::strstr(message, "incorrect data check")) return;
    for (const char* damage : {"zlib error", "read error", "premature end", "padding truncated image", "broken object",
                               "corrupt", "jbig2dec error", "openjpeg error", "lzw decode", "glyph load failed",
                               "ignoring rest", "cannot load content stream", "content stream is not a stream",
                               "error during interpretation", "ignored error when loading embedded font"}) {
        if (!std::strstr(message, damage)) continue;
        if (!subject_->fault_) subject_->fault_ = "damaged";
        return;
    }
}

bool Warnings::any_at(int page) const {
    const auto first = counts_.lower_bound({page, ""});
    return first != counts_.end() && first->first.first == page;
}

std::vector<std::string> Warnings::lines() const {
    std::vector<std::string> lines;
    for (const auto& [place, count] : counts_) {
        const auto& [page, what] = place;
        std::string line = (page > 0 ? "page " + std::to_string(page) + ": " : "") + what;
        if (count > 1) line += " (" + std::to_string(count) + " times)";
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace kvprint
