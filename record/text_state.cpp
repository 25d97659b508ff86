#include "record/text_state.h"

#include "record/document.h"
#include "record/geometry.h"
#include "record/realized_font.h"
#include "record/record_types.h"
#include "support/assert.h"
#include "support/little_endian.h"

namespace kv {
namespace {

constexpr DWORD kBlack = 0, kWhite = 0xFFFFFF;

// In the order of the record.
struct Field {
    BYTE bit;
    DWORD TextState::*value;
    size_t width;
};
constexpr Field kFields[] = {
    {kTextFont, &TextState::font_id, 4},
    {kTextColour, &TextState::colour, 4},
    {kTextBackground, &TextState::background, 4},
    {kTextCodePage, &TextState::code_page, 4},
    {kTextBackgroundMode, &TextState::background_mode, 1},
};

DWORD colour_of(const BRUSHOBJ& brush, DWORD without_colour) {
    constexpr ULONG kNoColour = 0xFFFFFFFE;  // and what lies above
    return brush.iSolidColor >= kNoColour ? without_colour : swap_red_and_blue(brush.iSolidColor);
}

template <class Test>
bool every_channel(DWORD colour, Test test) {
    return test(colour & 0xFF) && test(colour >> 8 & 0xFF) && test(colour >> 16 & 0xFF);
}

// Text that is nearly black or white becomes so, and black text is not drawn on a black ground.
void snap_colours(TextState& state) {
    if (!(state.presence & kTextColour)) return;
    const bool black = every_channel(state.colour, [](DWORD channel) { return channel < 10; });
    if (black) state.colour = kBlack;
    if (every_channel(state.colour, [](DWORD channel) { return channel > 245; })) state.colour = kWhite;
    if (black && (state.presence & kTextBackground) && state.background == kBlack) state.background = kWhite;
}

}  // namespace

TextState BuildTextState(const RealizedFont& font, STROBJ& text, const RECTL*& opaque, const BRUSHOBJ* foreground,
                         const BRUSHOBJ* background) {
    TextState state;
    state.set(kTextFont, &TextState::font_id, font.id);
    if (foreground) state.set(kTextColour, &TextState::colour, colour_of(*foreground, kBlack));
    if (opaque && background) {
        state.set(kTextBackgroundMode, &TextState::background_mode, kBackgroundOpaque);
        state.set(kTextBackground, &TextState::background, colour_of(*background, kWhite));
        const bool level = font.layout.orientation == Orientation::Level;
        if (level && same_rect(*opaque, text.rclBkGround)) opaque = nullptr;
    } else {
        state.set(kTextBackgroundMode, &TextState::background_mode, kBackgroundTransparent);
        opaque = nullptr;
    }
    const DWORD code_page = STROBJ_dwGetCodePage(&text);
    if (code_page) state.set(kTextCodePage, &TextState::code_page, code_page);
    return state;
}

BOOL WriteTextState(Document& document, TextState state) {
    snap_colours(state);
    TextState& current = document.text_state;
    BYTE changed = 0;
    for (const Field& field : kFields) {
        if (!(state.presence & field.bit)) continue;
        if (!(current.presence & field.bit) || current.*field.value != state.*field.value) changed |= field.bit;
    }
    if (!changed) return TRUE;
    BYTE body[1 + sizeof(TextState)];
    ByteWriter out(body);
    out.u8(changed);
    for (const Field& field : kFields) {
        if (!(changed & field.bit)) continue;
        field.width == 1 ? out.u8(state.*field.value) : out.u32(state.*field.value);
    }
    KV_ASSERT(out.size() > 1 && !out.overflowed());
    if (!document.WriteRecord(kRecordTextState, static_cast<DWORD>(out.size()), out.data())) return FALSE;
    for (const Field& field : kFields) {
        if (changed & field.bit) current.set(field.bit, field.value, state.*field.value);
    }
    return TRUE;
}

}  // namespace kv
