// Hooks that answer a fixed value: the driver has no device fonts.

#include "driver/hooks.h"

ULONG APIENTRY DrvDrawEscape(SURFOBJ*, ULONG, CLIPOBJ*, RECTL*, ULONG, PVOID) { return 0; }

ULONG APIENTRY DrvFontManagement(SURFOBJ*, FONTOBJ*, ULONG, ULONG, PVOID, ULONG, PVOID) { return 0; }

ULONG APIENTRY DrvGetGlyphMode(DHPDEV, FONTOBJ*) { return FO_GLYPHBITS; }

BOOL APIENTRY DrvQueryAdvanceWidths(DHPDEV, FONTOBJ*, ULONG, HGLYPH*, PVOID, ULONG) { return FALSE; }

PVOID APIENTRY DrvQueryFont(DHPDEV, ULONG_PTR, ULONG, ULONG_PTR*) { return nullptr; }

LONG APIENTRY DrvQueryFontData(DHPDEV, FONTOBJ*, ULONG, HGLYPH, PVOID, PVOID, ULONG) {
    return static_cast<LONG>(FD_ERROR);
}

PVOID APIENTRY DrvQueryFontTree(DHPDEV, ULONG_PTR, ULONG, ULONG, ULONG_PTR*) { return nullptr; }
