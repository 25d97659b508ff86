#pragma once
// What the driver keeps on a font of the engine (FONTOBJ.pvConsumer) from its first text until the engine destroys it.

#include "platform/ddi.h"
#include "record/font_identity.h"
#include "support/memory.h"

namespace kv {

// The direction of text: horizontal, one of the three other right-angled ones, or any.
enum class Orientation : DWORD { Level = 0, Up = 1, Reversed = 2, Down = 3, Slanted = 4 };

struct TextLayout {
    POINTL em_vector = {};       // (0, -fwdUnitsPerEm) in device pixels
    POINTL average_vector = {};  // (fwdAveCharWidth, 0) in device pixels
    Orientation orientation = Orientation::Level;
    FLOAT angle = 0;  // radians, counter-clockwise
    FLOAT sine = 0, cosine = 1;
    FLOAT tangent = 0, tangent_squared = 0;  // of slanted text
    LONG space_advance = 0;                  // device pixels, 0 when the font has no space
};

struct RealizedFont {
    DWORD id = 0;  // of the definition in the job
    LOGFONTW font = {};
    XFORML transform = {};  // cleaned
    LONG collection = -1;   // 1 when the font's file is a collection, 0 when not, -1 when there is no file
    LONG member = 0;        // of a collection: the font's index, -1 when no member has its name
    DWORD job_stamp = 0;    // the job in which the definition was written last
    DWORD document = 0;     // and the document: job numbers return
    TextLayout layout;
    ObjectPtr<FontIdentity> identity;  // of fonts to embed
};

}  // namespace kv
