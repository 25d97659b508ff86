#pragma once
// Fonts in the job: their definitions, written once a document, and the font files that travel with it.

#include <span>

#include "record/realized_font.h"

namespace kv {

struct Document;

// A font as the engine has it at a call. The file is empty when there is none; it is read, never written.
struct EngineFont {
    FONTOBJ* object;
    const IFIMETRICS* metrics;
    XFORML transform;  // notional units to device pixels
    std::span<const BYTE> file;
};

// What the driver keeps on the font, built at the first call, with its definition in the job. Null when it cannot be
// built, its file not be embedded or its definition not be written.
RealizedFont* GetFontRecord(Document& document, const EngineFont& font);

// The logical font of a definition; the transform is clean. Writes the file into the temporary folder when the
// settings say so.
LOGFONTW BuildFontLogFont(Document& document, const EngineFont& font);

// The identifier of the font file in the job, written when it is the first time. 0 without bytes, when memory is out
// and when the write fails.
DWORD EmbedFontFile(Document& document, std::span<const BYTE> file, const FontIdentity& identity);

// Entries that are 0 but for rounding are 0.
XFORML cleaned(XFORML transform);

}  // namespace kv
