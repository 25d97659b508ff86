#include "printhost/text_list.h"

#include <cerrno>
#include <cstring>

#include "fonts/md5.h"
#include "printhost/output.h"

namespace kvprint {

TextList::TextList(const std::string& path) : path_(path), out_(std::fopen(path.c_str(), "w")) {
    if (!out_) throw OutputFault("cannot write " + path + ": " + std::strerror(errno));
}

void TextList::page(int number, float scale, double x, double y) {
    std::fprintf(out_.get(), "page %d %.9g %.9g %.9g\n", number, static_cast<double>(scale), x, y);
}

void TextList::add(const TextRun& run, const std::shared_ptr<kv::engine::FontFile>& file) {
    if (seen_.insert(file).second) {
        std::fputs("font ", out_.get());
        for (const BYTE byte : kv::md5(file->bytes())) std::fprintf(out_.get(), "%02x", unsigned{byte});
        std::fprintf(out_.get(), " %zu\n", file->bytes().size());
    }
    for (const PlacedGlyph& glyph : run.glyphs) std::fprintf(out_.get(), "glyph %.3f %.3f\n", glyph.x, glyph.y);
}

void TextList::finish() {
    std::fflush(out_.get());
    const int error = errno;
    const bool failed = std::ferror(out_.get());
    if (std::fclose(out_.release()) != 0) throw OutputFault("cannot write " + path_ + ": " + std::strerror(errno));
    if (failed) throw OutputFault("cannot write " + path_ + ": " + std::strerror(error));
}

}  // namespace kvprint
