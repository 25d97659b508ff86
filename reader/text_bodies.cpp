#include "reader/text_bodies.h"

#include <algorithm>

#include "reader/utf.h"

namespace kvjob {
namespace {

constexpr size_t kFaceUnits = 32;
using Face = std::vector<uint16_t>;

[[noreturn]] void bad(const std::string& what) { throw BodyFault(what); }

void expect_at_most(const char* what, uint32_t value, uint32_t most) {
    if (value > most) bad(std::string(what) + " is " + std::to_string(value));
}

std::vector<uint16_t> read_units(Reader& in, size_t count) {
    std::vector<uint16_t> units(count);
    for (uint16_t& unit : units) unit = in.u16();
    return units;
}

// The name, its 0, and 0xFFFF in every unit behind that.
std::string face_name(const Face& units) {
    const auto end = std::find(units.begin(), units.end(), 0);
    if (end == units.end()) bad("face name without an end");
    if (!std::all_of(end + 1, units.end(), [](uint16_t unit) { return unit == 0xFFFF; })) {
        bad("bytes behind the face name");
    }
    return utf8_of(units.begin(), end);
}

// What stands in place of a face name when the font's file is in the job: nothing but zeros behind the reference.
bool is_reference(const Face& units) {
    return std::all_of(units.begin() + 6, units.end(), [](uint16_t unit) { return unit == 0; });
}

FontReference reference(const Face& units) {
    constexpr uint16_t kEmbedded = 1, kMember = 2, kVertical = 4;
    auto u32 = [&](size_t at) { return units[at] | static_cast<uint32_t>(units[at + 1]) << 16; };
    const uint16_t flags = units[3];
    if (units[2] != 0 || !(flags & kEmbedded) || flags > (kEmbedded | kMember | kVertical)) {
        bad("reference to a font file of an unknown form");
    }
    FontReference found = {u32(0), std::nullopt, (flags & kVertical) != 0};
    if (flags & kMember) {
        found.member = static_cast<int32_t>(u32(4));
        if (*found.member < 0) bad("negative member of a collection");
    } else if (u32(4) != 0) {
        bad("member of a font that is no collection");
    }
    return found;
}

}  // namespace

FontDefinition read_font(Bytes body) {
    Reader in(body);
    FontDefinition font = {};
    font.id = in.u32();
    for (int32_t* value : {&font.height, &font.width, &font.escapement, &font.orientation, &font.weight}) {
        *value = static_cast<int32_t>(in.u32());
    }
    if (font.height > 0) bad("height of cells instead of the em");
    if (font.width < 0) bad("negative width");
    if (font.escapement != font.orientation) bad("orientation differs from the escapement");
    for (bool* flag : {&font.italic, &font.underline, &font.strike_out}) {
        const uint8_t value = in.u8();
        expect_at_most("style flag", value, 1);
        *flag = value != 0;
    }
    for (uint8_t* value :
         {&font.char_set, &font.out_precision, &font.clip_precision, &font.quality, &font.pitch_and_family}) {
        *value = in.u8();
    }
    const Face units = read_units(in, kFaceUnits);
    in.expect_end();
    if (font.embedded() && is_reference(units)) {
        font.file = reference(units);
    } else {
        font.face = face_name(units);
    }
    return font;
}

FontFile read_font_file(Bytes body) {
    Reader in(body);
    FontFile file = {in.u32(), {}};
    if (in.u32() != in.left()) bad("size does not match the length");
    file.bytes = in.take(in.left());
    return file;
}

TextState read_text_state(Bytes body) {
    constexpr uint8_t kKnown = kFont | kTextColour | kBackColour | kCodePage | kBackMode;
    Reader in(body);
    TextState state;
    state.changed = in.u8();
    if (state.changed == 0) bad("nothing changes");
    if (state.changed & ~kKnown) bad("unknown change bits");
    if (state.changed & kFont) state.font = in.u32();
    if (state.changed & kTextColour) expect_at_most("text colour", state.colour = in.u32(), 0xFFFFFF);
    if (state.changed & kBackColour) expect_at_most("background colour", state.background = in.u32(), 0xFFFFFF);
    if (state.changed & kCodePage) state.code_page = in.u32();
    if (state.changed & kBackMode) {
        state.mode = in.u8();
        if (state.mode != 1 && state.mode != 2) bad("background mode is " + std::to_string(state.mode));
    }
    in.expect_end();
    return state;
}

void apply(TextState& state, const TextState& change) {
    if (change.changed & kFont) state.font = change.font;
    if (change.changed & kTextColour) state.colour = change.colour;
    if (change.changed & kBackColour) state.background = change.background;
    if (change.changed & kCodePage) state.code_page = change.code_page;
    if (change.changed & kBackMode) state.mode = change.mode;
    state.changed = static_cast<uint8_t>(state.changed | change.changed);
}

uint8_t repeated_fields(const TextState& state, const TextState& change) {
    uint8_t repeated = 0;
    auto compare = [&](uint8_t bit, uint32_t before, uint32_t now) {
        if (before == now) repeated = static_cast<uint8_t>(repeated | (change.changed & state.changed & bit));
    };
    compare(kFont, state.font, change.font);
    compare(kTextColour, state.colour, change.colour);
    compare(kBackColour, state.background, change.background);
    compare(kCodePage, state.code_page, change.code_page);
    compare(kBackMode, state.mode, change.mode);
    return repeated;
}

TextRun read_text(Bytes body, bool wide) {
    constexpr uint8_t kCharacters = 0x40, kGlyphs = 0x20, kOpaque = 0x10, kOffsets = 0x08;
    Reader in(body);
    TextRun run;
    const uint8_t flags = in.u8();
    if (flags & ~(kCharacters | kGlyphs | kOpaque | kOffsets)) bad("unknown flags");
    if (!(flags & (kCharacters | kGlyphs))) bad("neither characters nor glyphs");
    run.count = in.u8();
    if (run.count == 0) bad("no glyphs");
    if (flags & kCharacters) {
        run.characters = read_units(in, run.count);
        if (in.u16() != 0) bad("characters without their end");
    }
    if (flags & kGlyphs) run.glyphs = read_units(in, run.count);
    run.x = in.coordinate(wide);
    run.y = in.coordinate(wide);
    run.advances = read_units(in, run.count);
    if (flags & kOpaque) {
        run.opaque = in.rect(wide);
        if (run.opaque->empty()) bad("opaque rectangle without an area");
    }
    if (flags & kOffsets) {
        run.offsets = read_units(in, run.count);
        if (run.offsets[0] != 0) bad("the first glyph lies off its own baseline");
    }
    in.expect_end();
    return run;
}

}  // namespace kvjob
