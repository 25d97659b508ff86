#pragma once
// Engine surfaces turned into packed bitmaps: cropped to what is used, with the colours translated, and with fewer
// colours and pixels where the settings ask for it.

#include <utility>

#include "image/dib.h"
#include "platform/ddi.h"
#include "record/raster_ops.h"

namespace kv {

struct Document;

// What is wanted of a surface, and how it is going to be drawn.
struct SurfaceRequest {
    const SURFOBJ* surface;
    bool keep_alpha = false;          // of 32-bit pixels
    XLATEOBJ* translation = nullptr;  // to the device's colours
    RECTL source = {};                // pixels of the surface; what lies outside it is not read
    RECTL destination = {};           // device pixels
    BYTE rop = kRopSourceCopy;
    const SURFOBJ* mask = nullptr;
    WORD resolution = 0;     // at which the image prints, dots per inch; 0 keeps all pixels
    bool may_merge = false;  // the device's held-back bitmap may take the image
};

// The image: bottom-up, its pixels its own or, when nothing had to be changed, still the surface's.
class SurfaceImage {
public:
    DibView view() const { return owned_ ? owned_.view() : DibView{&head_.header, bits_}; }
    void adopt(PackedDib&& dib) {
        owned_.reset();
        owned_ = std::move(dib);
    }

    RECTL source = {};    // what of the image is used; reaches outside it where the request did
    PackedDib mask;       // 1 bit, black and white; holds nothing when there is none
    bool merged = false;  // the held-back bitmap took the image: there is nothing to write

private:
    friend class SurfaceConverter;
    struct {
        BITMAPINFOHEADER header;
        DWORD table[256];
    } head_ = {};
    static_assert(sizeof head_ == kMaxDibHead);
    const BYTE* bits_ = nullptr;
    PackedDib owned_;
};

// FALSE for surfaces without bits, of unknown formats and with other rows than their format has, for palettes that the
// translation does not have, for colour fields that are none, for nothing but pixels outside the surface, when memory
// is out, and when what was held back could not be written.
BOOL ConvertSurfaceToDib(Document& document, const SurfaceRequest& request, SurfaceImage& image);

// The resolution at which an image prints, dots per inch; 0 when it is not known.
WORD ImageResolution(const Document& document, const RECTL& source, const RECTL& destination);

// The bitmap that a whole surface would be as it stands, without colours. False for formats that are none.
bool describe_surface(const SURFOBJ& surface, BITMAPINFOHEADER& header);

}  // namespace kv
