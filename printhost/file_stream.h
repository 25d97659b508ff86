#pragma once
// A file as MuPDF reads it: hither and thither, in small pieces, so that what was read last is kept; and it can be
// held.

#include <cstdint>

#include "printhost/mupdf.h"

namespace kvprint {

// While it is set no reading goes on: what reads is told that the rest is not there yet, which ends it without harm to
// the document.
struct Hold {
    bool held = false;
};

// descriptor, hold: have to live as long as the stream. Throws LibraryFault.
using Stream = Held<fz_stream, fz_drop_stream>;
Stream open_stream(fz_context* context, int descriptor, const Hold& hold);

}  // namespace kvprint
