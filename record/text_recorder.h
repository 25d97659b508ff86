#pragma once
// The text hook's work: strings turned into text records.

#include "platform/ddi.h"

namespace kv {

struct Document;

struct TextCall {
    STROBJ* text;
    FONTOBJ* font;
    CLIPOBJ* clip;
    const RECTL* opaque;
    const BRUSHOBJ* foreground;
    const BRUSHOBJ* background;
};

// Writes the font's definition, the clip, the text state and the text. FALSE without a font or its description, and
// when a write failed, which has failed the document. What cannot be recorded for other reasons is left out.
BOOL RecordText(Document& document, const TextCall& call);

}  // namespace kv
