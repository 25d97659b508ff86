#include "printhost/text_list.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "fonts/md5.h"

namespace kvprint {

TextList::TextList(const std::string& path) : path_(path), out_(std::fopen(path.c_str(), "w")) {
    if (!out_) throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
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
    if (std::ferror(out_.get()) || std::fclose(out_.release()) != 0) throw std::runtime_error("cannot write " + path_);
}

}  // namespace kvprint
