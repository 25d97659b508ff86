#pragma once
// Fonts and text of a job. Every function throws BodyFault for a body that is not as the format says.

#include <optional>
#include <string>
#include <vector>

#include "reader/bytes.h"

namespace kvjob {

// An embedded font file as a definition names it.
struct FontReference {
    uint32_t file;                  // identifier of the file
    std::optional<int32_t> member;  // of a collection
    bool vertical;                  // the face name began with '@'
};

// A logical font; sizes are device pixels.
struct FontDefinition {
    uint32_t id;
    int32_t height, width;            // minus the em's height; the average character's width or 0
    int32_t escapement, orientation;  // tenths of a degree, counter-clockwise
    int32_t weight;
    bool italic, underline, strike_out;
    uint8_t char_set, out_precision, clip_precision, quality, pitch_and_family;
    std::string face;  // empty where a file is referred to
    std::optional<FontReference> file;

    bool embedded() const { return clip_precision == 0x80; }
};
FontDefinition read_font(Bytes body);

struct FontFile {
    uint32_t id;
    Bytes bytes;
};
FontFile read_font_file(Bytes body);

// Change bits of a text state, in the order of the fields.
enum TextBit : uint8_t {
    kFont = 0x80,
    kTextColour = 0x40,
    kBackColour = 0x20,
    kCodePage = 0x10,
    kBackMode = 0x08,
};
struct TextState {
    uint8_t changed = 0;
    uint32_t font = 0, colour = 0, background = 0xFFFFFF, code_page = 0;
    uint8_t mode = 1;  // of the background: 1 transparent, 2 opaque
};
TextState read_text_state(Bytes body);
// Takes over the fields that a record changes; `state.changed` gathers those that are known.
void apply(TextState& state, const TextState& change);
// The changed fields that the state already holds with the same value.
uint8_t repeated_fields(const TextState& state, const TextState& change);

struct TextRun {
    size_t count = 0;                  // of glyphs, 1 to 255
    std::vector<uint16_t> characters;  // UTF-16, or empty
    std::vector<uint16_t> glyphs;      // indices, or empty
    int32_t x = 0, y = 0;              // of the first glyph's origin
    std::vector<uint16_t> advances;    // from each glyph to the next, the last one's to the end
    std::optional<Rect> opaque;
    std::vector<uint16_t> offsets;  // of each glyph from the baseline, or empty
};
TextRun read_text(Bytes body, bool wide);

}  // namespace kvjob
