#include "reader/dump_text.h"

#include "reader/utf.h"

namespace kvjob {

void show_font(const FontDefinition& font, Fields& out) {
    out.hex("id", font.id);
    out.number("height", font.height);
    if (font.width) out.number("width", font.width);
    if (font.escapement) out.number("escapement", font.escapement);
    out.number("weight", font.weight);
    out.number("italic", font.italic);
    if (font.underline) out.number("underline", 1);
    if (font.strike_out) out.number("strike_out", 1);
    out.number("char_set", font.char_set);
    out.number("out_precision", font.out_precision);
    out.hex("clip_precision", font.clip_precision);
    out.number("pitch_and_family", font.pitch_and_family);
    if (!font.file) {
        out.string("face", font.face);
        return;
    }
    out.hex("file", font.file->file);
    if (font.file->member) out.number("member", *font.file->member);
    if (font.file->vertical) out.number("vertical", 1);
}

void show_text_state(const TextState& state, Fields& out) {
    if (state.changed & kFont) out.hex("font", state.font);
    if (state.changed & kTextColour) out.hex("colour", state.colour);
    if (state.changed & kBackColour) out.hex("background", state.background);
    if (state.changed & kCodePage) out.number("code_page", state.code_page);
    if (state.changed & kBackMode) out.string("mode", state.mode == 1 ? "transparent" : "opaque");
}

void show_text(const TextRun& run, Fields& out) {
    if (!run.characters.empty()) out.string("text", utf8_of(run.characters.begin(), run.characters.end()));
    if (!run.glyphs.empty()) out.numbers("glyphs", run.glyphs);
    out.number("x", run.x);
    out.number("y", run.y);
    out.numbers("advances", run.advances);
    if (run.opaque) out.rect("opaque", *run.opaque);
    if (!run.offsets.empty()) out.numbers("offsets", run.offsets);
}

}  // namespace kvjob
