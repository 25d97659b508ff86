#include "printhost/font_identity.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include <mupdf/pdf.h>

namespace kvprint {
namespace {

constexpr size_t kMostKnown = 64;
constexpr int kType3Glyphs = 256;

class Digest {
public:
    Digest() { fz_md5_init(&state_); }
    void add(const void* bytes, size_t size) { fz_md5_update(&state_, static_cast<const unsigned char*>(bytes), size); }
    template <class Number>
    void add_number(Number number) {
        add(&number, sizeof number);
    }
    FontDigest finish() {
        FontDigest digest;
        fz_md5_final(&state_, digest.data());
        return digest;
    }

private:
    fz_md5 state_;
};

// MuPDF's own fonts, which are large, are known by their beginning.
void add_program(fz_context* context, fz_font* font, Digest& digest) {
    constexpr size_t kBeginning = 4096;
    const fz_buffer& program = *font->buffer;
    if (program.shared) {
        digest.add_number(program.len);
        digest.add(program.data, std::min(program.len, kBeginning));
        digest.add(font->name, sizeof font->name);
    } else {
        FontDigest bytes;
        with_errors(context, [&] { fz_font_digest(context, font, bytes.data()); });
        digest.add(bytes.data(), bytes.size());
    }
    digest.add_number(member_of(context, font));
}

// Glyphs that are drawings name what they draw with in their resources.
void add_drawings(fz_context* context, const fz_font& font, Digest& digest) {
    auto* resources = static_cast<pdf_obj*>(font.t3resources);
    digest.add_number(pdf_is_indirect(context, resources) ? pdf_to_num(context, resources)
                                                          : pdf_obj_parent_num(context, resources));
    digest.add_number(font.t3matrix);
    for (int glyph = 0; glyph < kType3Glyphs; ++glyph) {
        const fz_buffer* drawing = font.t3procs[glyph];
        digest.add_number(drawing ? drawing->len : 0);
        if (drawing) digest.add(drawing->data, drawing->len);
        digest.add_number(font.t3widths[glyph]);
    }
}

FontDigest make_digest(fz_context* context, fz_font* font) {
    Digest digest;
    if (font->buffer) add_program(context, font, digest);
    if (font->t3procs) add_drawings(context, *font, digest);
    const fz_font_flags_t& flags = font->flags;
    digest.add_number(flags.fake_bold | flags.fake_italic << 1 | flags.ft_stretch << 2 | flags.ft_substitute << 3);
    if (flags.ft_stretch && font->width_table) {
        digest.add_number(font->width_default);
        digest.add(font->width_table, static_cast<size_t>(font->width_count) * sizeof *font->width_table);
    }
    return digest.finish();
}

}  // namespace

const FontDigest& FontIdentities::digest_of(fz_font* font) {
    const auto found = known_.find(font);
    if (found != known_.end()) return found->second.digest;
    if (known_.size() >= kMostKnown) known_.clear();
    const FontDigest digest = make_digest(context_, font);
    return known_.emplace(font, Known{{context_, fz_keep_font(context_, font)}, digest}).first->second.digest;
}

unsigned member_of(fz_context* context, fz_font* font) {
    const auto* face = static_cast<FT_Face>(fz_font_ft_face(context, font));
    return face ? static_cast<unsigned>(face->face_index & 0xFFFF) : 0;
}

}  // namespace kvprint
