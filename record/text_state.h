#pragma once
// The attributes of text: font, colours, code page and background mode. A text state record carries what changed.

#include "platform/ddi.h"

namespace kv {

struct Document;
struct RealizedFont;

// Presence bits, also the change mask of the record.
enum : BYTE {
    kTextFont = 0x80,
    kTextColour = 0x40,
    kTextBackground = 0x20,
    kTextCodePage = 0x10,
    kTextBackgroundMode = 0x08,
};
enum : DWORD { kBackgroundTransparent = 1, kBackgroundOpaque = 2 };

// Colours are 0x00BBGGRR.
struct TextState {
    BYTE presence = 0;
    DWORD font_id = 0;
    DWORD colour = 0;
    DWORD background = 0;
    DWORD code_page = 0;
    DWORD background_mode = 0;

    void set(BYTE bit, DWORD TextState::*field, DWORD value) {
        presence |= bit;
        this->*field = value;
    }
};

// What a call draws with. An opaque rectangle that the background mode makes superfluous becomes null.
TextState BuildTextState(const RealizedFont& font, STROBJ& text, const RECTL*& opaque, const BRUSHOBJ* foreground,
                         const BRUSHOBJ* background);
// Writes what differs from the device's current state, and makes it current.
BOOL WriteTextState(Document& document, TextState state);

// Room for one text record of 255 glyphs with its end position.
struct TextBuffers {
    WCHAR characters[258];
    WORD glyphs[256];
    POINTL positions[257];
};

}  // namespace kv
