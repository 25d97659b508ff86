#include "driver/capabilities.h"

#include <cmath>

#include "settings/page_size.h"
#include "support/assert.h"
#include "support/text.h"

namespace kv {
namespace {

enum : FLONG {
    GCAPS_BEZIERS = 0x1,
    GCAPS_GEOMETRICWIDE = 0x2,
    GCAPS_ALTERNATEFILL = 0x4,
    GCAPS_WINDINGFILL = 0x8,
    GCAPS_HALFTONE = 0x10,
    GCAPS_COLOR_DITHER = 0x20,
    GCAPS_OPAQUERECT = 0x100,
    GCAPS_MONO_DITHER = 0x400,
    GCAPS_DONTJOURNAL = 0x2000,
    GCAPS_ARBRUSHOPAQUE = 0x8000,
    GCAPS_DITHERONREALIZE = 0x200000,
    GCAPS_ARBRUSHTEXT = 0x10000000,
};

ULONG bits_per_pixel(const DriverDevMode& settings) {
    const DWORD bits = settings.dmBitsPerPel;
    return bits == 16 || bits == 32 ? bits : 24;
}

ULONG dither_format(ULONG bits) { return bits == 16 ? BMF_16BPP : bits == 32 ? BMF_32BPP : BMF_24BPP; }

// Margins are thousandths of an inch.
ULONG without_margins(LONG millimetres, SHORT first, SHORT second) {
    return static_cast<ULONG>(millimetres - MulDiv(first, 254, 10000) - MulDiv(second, 254, 10000));
}

LOGFONTW default_font(const DriverDevMode& settings) {
    LOGFONTW font = {};
    constexpr int kPoints = 12, kPointsPerInch = 72;
    font.lfHeight = -MulDiv(settings.kv.Resolution, kPoints, kPointsPerInch);
    font.lfWeight = 400;
    font.lfCharSet = DEFAULT_CHARSET;
    char name[sizeof settings.kv.DefaultFont + 1];
    copy_ansi(name, sizeof name, settings.kv.DefaultFont, sizeof settings.kv.DefaultFont);
    to_wide(font.lfFaceName, LF_FACESIZE, name);
    if (!font.lfFaceName[0]) copy_text(font.lfFaceName, LF_FACESIZE, TEXT("Courier New"));
    return font;
}

}  // namespace

ULONG diagonal_aspect(ULONG x, ULONG y) {
    if (x == 0 || y == 0) return x + y;
    const double square = double(x) * x + double(y) * y;
    return static_cast<ULONG>(std::lround(std::sqrt(square)));
}

GDIINFO make_gdiinfo(const DriverDevMode& settings) {
    const PrivateDevMode& kv = settings.kv;
    const PageSize page = GetPaperSizePixels(settings, kv.Resolution);
    const RECTL printable = GetPrintableRect(settings);
    KV_ASSERT(page.width_px > 0 && page.height_px > 0);
    GDIINFO info = {};
    info.ulVersion = 0x5004;
    info.ulTechnology = DT_RASPRINTER;
    info.ulHorzSize = without_margins(page.width_mm, kv.MarginLeft, kv.MarginRight);
    info.ulVertSize = without_margins(page.height_mm, kv.MarginTop, kv.MarginBottom);
    info.ulHorzRes = static_cast<ULONG>(printable.right - printable.left);
    info.ulVertRes = static_cast<ULONG>(printable.bottom - printable.top);
    info.cBitsPixel = bits_per_pixel(settings);
    info.cPlanes = 1;
    info.ulNumColors = 0x4000;
    info.ulLogPixelsX = info.ulLogPixelsY = info.ulAspectX = info.ulAspectY = kv.Resolution;
    info.ulAspectXY = diagonal_aspect(kv.Resolution, kv.Resolution);
    info.flTextCaps = 0x1DFF;
    info.xStyleStep = info.yStyleStep = 4;
    info.denStyleStep = 8;
    info.ptlPhysOffset = {printable.left, printable.top};
    info.szlPhysSize = {page.width_px, page.height_px};
    info.ulPrimaryOrder = 4;    // cyan, magenta, yellow from the last to the first
    info.ulHTPatternSize = 6;   // 8 x 8
    info.ulHTOutputFormat = 6;  // 24 bits
    info.flShadeBlend = 5;      // constant and premultiplied alpha
    return info;
}

DEVINFO make_devinfo(const DriverDevMode& settings, HPALETTE palette) {
    DEVINFO info = {};
    info.flGraphicsCaps = GCAPS_BEZIERS | GCAPS_GEOMETRICWIDE | GCAPS_ALTERNATEFILL | GCAPS_WINDINGFILL |
                          GCAPS_HALFTONE | GCAPS_COLOR_DITHER | GCAPS_OPAQUERECT | GCAPS_MONO_DITHER |
                          GCAPS_DONTJOURNAL | GCAPS_ARBRUSHOPAQUE | GCAPS_DITHERONREALIZE | GCAPS_ARBRUSHTEXT;
    info.lfDefaultFont = info.lfAnsiVarFont = info.lfAnsiFixFont = default_font(settings);
    info.cFonts = 3;
    info.iDitherFormat = dither_format(bits_per_pixel(settings));
    info.hpalDefault = palette;
    return info;
}

}  // namespace kv
