#pragma once
// The printer Device Driver Interface in our own declarations, the same on both systems: what the
// driver implements (Drv*), what the graphics engine offers it (Eng*, *OBJ_*), and the shapes of both.
//
// Field names, order and widths are those of the published interface; pointers have the width of the
// build, so that sizes which hold pointers are asserted for the 32-bit product only.

#include "platform/win32.h"

// The program that plays the engine defines what the driver imports.
#if defined(_WIN32) && !defined(KV_ENGINE_SIDE)
#define KV_ENGINE_API extern "C" __declspec(dllimport)
#else
#define KV_ENGINE_API extern "C"
#endif

using FIX = LONG;  // 28.4 fixed point
using MIX = ULONG;
using ROP4 = ULONG;
using HGLYPH = ULONG;
using FLONG = ULONG;
using FLOATL = FLOAT;
using HSURF = struct HSURF__*;
using HDEV = struct HDEV__*;
using DHPDEV = struct DHPDEV__*;
using DHSURF = struct DHSURF__*;
using PFN = LONG_PTR(APIENTRY*)();

inline constexpr ULONG DDI_ERROR = 0xFFFFFFFF;
inline constexpr ULONG FD_ERROR = 0xFFFFFFFF;

// Function numbers.
enum : ULONG {
    INDEX_DrvEnablePDEV = 0,
    INDEX_DrvCompletePDEV = 1,
    INDEX_DrvDisablePDEV = 2,
    INDEX_DrvEnableSurface = 3,
    INDEX_DrvDisableSurface = 4,
    INDEX_DrvResetPDEV = 7,
    INDEX_DrvDisableDriver = 8,
    INDEX_DrvRealizeBrush = 12,
    INDEX_DrvStrokePath = 14,
    INDEX_DrvFillPath = 15,
    INDEX_DrvStrokeAndFillPath = 16,
    INDEX_DrvBitBlt = 18,
    INDEX_DrvCopyBits = 19,
    INDEX_DrvStretchBlt = 20,
    INDEX_DrvTextOut = 23,
    INDEX_DrvEscape = 24,
    INDEX_DrvDrawEscape = 25,
    INDEX_DrvQueryFont = 26,
    INDEX_DrvQueryFontTree = 27,
    INDEX_DrvQueryFontData = 28,
    INDEX_DrvLineTo = 31,
    INDEX_DrvSendPage = 32,
    INDEX_DrvStartPage = 33,
    INDEX_DrvEndDoc = 34,
    INDEX_DrvStartDoc = 35,
    INDEX_DrvGetGlyphMode = 37,
    INDEX_DrvDestroyFont = 43,
    INDEX_DrvFontManagement = 47,
    INDEX_DrvQueryAdvanceWidths = 53,
    INDEX_DrvStartBanding = 57,
    INDEX_DrvNextBand = 58,
    INDEX_DrvGradientFill = 68,
    INDEX_DrvStretchBltROP = 69,
    INDEX_DrvPlgBlt = 70,
    INDEX_DrvAlphaBlend = 71,
    INDEX_DrvTransparentBlt = 74,
    INDEX_DrvQueryPerBandInfo = 75,
};

struct DRVFN {
    ULONG iFunc;
    PFN pfn;
};
struct DRVENABLEDATA {
    ULONG iDriverVersion;
    ULONG c;
    DRVFN* pdrvfn;
};
static_assert(sizeof(void*) != 4 || sizeof(DRVENABLEDATA) == 12);

// Device description.
struct CIECHROMA {
    LONG x, y, Y;
};
struct COLORINFO {
    CIECHROMA Red, Green, Blue, Cyan, Magenta, Yellow, AlignmentWhite;
    LONG RedGamma, GreenGamma, BlueGamma;
    LONG MagentaInCyanDye, YellowInCyanDye, CyanInMagentaDye, YellowInMagentaDye, CyanInYellowDye, MagentaInYellowDye;
};
struct GDIINFO {
    ULONG ulVersion, ulTechnology;
    ULONG ulHorzSize, ulVertSize;  // millimetres
    ULONG ulHorzRes, ulVertRes;    // pixels
    ULONG cBitsPixel, cPlanes, ulNumColors, flRaster;
    ULONG ulLogPixelsX, ulLogPixelsY;
    ULONG flTextCaps;
    ULONG ulDACRed, ulDACGreen, ulDACBlue;
    ULONG ulAspectX, ulAspectY, ulAspectXY;
    LONG xStyleStep, yStyleStep, denStyleStep;
    POINTL ptlPhysOffset;
    SIZEL szlPhysSize;
    ULONG ulNumPalReg;
    COLORINFO ciDevice;
    ULONG ulDevicePelsDPI, ulPrimaryOrder, ulHTPatternSize, ulHTOutputFormat, flHTFlags, ulVRefresh, ulBltAlignment;
    ULONG ulPanningHorzRes, ulPanningVertRes, xPanningAlignment, yPanningAlignment;
    ULONG cxHTPat, cyHTPat;
    BYTE *pHTPatA, *pHTPatB, *pHTPatC;
    ULONG flShadeBlend, ulPhysicalPixelCharacteristics, ulPhysicalPixelGamma;
};
static_assert(sizeof(void*) != 4 || sizeof(GDIINFO) == 304);
struct DEVINFO {
    FLONG flGraphicsCaps;
    LOGFONTW lfDefaultFont, lfAnsiVarFont, lfAnsiFixFont;
    ULONG cFonts, iDitherFormat;
    USHORT cxDither, cyDither;
    HPALETTE hpalDefault;
    FLONG flGraphicsCaps2;
};
static_assert(sizeof(void*) != 4 || sizeof(DEVINFO) == 300);

// Surfaces and palettes.
enum : ULONG { STYPE_BITMAP = 0, STYPE_DEVICE = 1 };
enum : ULONG {
    BMF_1BPP = 1,
    BMF_4BPP = 2,
    BMF_8BPP = 3,
    BMF_16BPP = 4,
    BMF_24BPP = 5,
    BMF_32BPP = 6,
    BMF_4RLE = 7,
    BMF_8RLE = 8,
};
enum : USHORT { BMF_TOPDOWN = 1 };
struct SURFOBJ {
    DHSURF dhsurf;
    HSURF hsurf;
    DHPDEV dhpdev;
    HDEV hdev;
    SIZEL sizlBitmap;
    ULONG cjBits;
    PVOID pvBits, pvScan0;
    LONG lDelta;  // bytes from a row to the next one down, negative for bottom-up bitmaps
    ULONG iUniq, iBitmapFormat;
    USHORT iType, fjBitmap;
};
enum : FLONG {
    HOOK_BITBLT = 0x1,
    HOOK_STRETCHBLT = 0x2,
    HOOK_PLGBLT = 0x4,
    HOOK_TEXTOUT = 0x8,
    HOOK_STROKEPATH = 0x20,
    HOOK_FILLPATH = 0x40,
    HOOK_STROKEANDFILLPATH = 0x80,
    HOOK_LINETO = 0x100,
    HOOK_COPYBITS = 0x400,
    HOOK_STRETCHBLTROP = 0x2000,
    HOOK_TRANSPARENTBLT = 0x8000,
    HOOK_ALPHABLEND = 0x10000,
    HOOK_GRADIENTFILL = 0x20000,
};
enum : ULONG { PAL_INDEXED = 1, PAL_BITFIELDS = 2, PAL_RGB = 4, PAL_BGR = 8 };

// Colour translation.
enum : FLONG { XO_TRIVIAL = 1, XO_TABLE = 2 };
enum : ULONG { XO_SRCPALETTE = 1, XO_DESTPALETTE = 2, XO_SRCBITFIELDS = 4 };
struct XLATEOBJ {
    ULONG iUniq;
    FLONG flXlate;
    USHORT iSrcType, iDstType;
    ULONG cEntries;
    ULONG* pulXlate;
};

// Brushes.
struct BRUSHOBJ {
    ULONG iSolidColor;  // 0xFFFFFFFF when the brush has to be realised
    PVOID pvRbrush;
    FLONG flColorType;
};
enum : ULONG { HS_HORIZONTAL_INDEX = 0, HS_DIAGCROSS_INDEX = 5, HS_DDI_MAX = 6 };

// Clips.
enum : BYTE { DC_TRIVIAL = 0, DC_RECT = 1, DC_COMPLEX = 3 };
struct CLIPOBJ {
    ULONG iUniq;
    RECTL rclBounds;
    BYTE iDComplexity, iFComplexity, iMode, fjOptions;
};

// Paths and lines.
struct POINTFIX {
    FIX x, y;
};
struct RECTFX {
    FIX xLeft, yTop, xRight, yBottom;
};
enum : FLONG { PO_BEZIERS = 1, PO_ELLIPSE = 2 };
struct PATHOBJ {
    FLONG fl;
    ULONG cCurves;
};
enum : FLONG {
    PD_BEGINSUBPATH = 0x01,
    PD_ENDSUBPATH = 0x02,
    PD_RESETSTYLE = 0x04,
    PD_CLOSEFIGURE = 0x08,
    PD_BEZIERS = 0x10,
};
struct PATHDATA {
    FLONG flags;
    ULONG count;
    POINTFIX* pptfx;
};
enum : FLONG { FP_ALTERNATEMODE = 1, FP_WINDINGMODE = 2 };
enum : FLONG { LA_GEOMETRIC = 1, LA_ALTERNATE = 2, LA_STARTGAP = 4, LA_STYLED = 8 };
enum : ULONG { JOIN_ROUND = 0, JOIN_BEVEL = 1, JOIN_MITER = 2 };
enum : ULONG { ENDCAP_ROUND = 0, ENDCAP_SQUARE = 1, ENDCAP_BUTT = 2 };
union FLOAT_LONG {
    FLOATL e;
    LONG l;
};
struct LINEATTRS {
    FLONG fl;
    ULONG iJoin, iEndCap;
    FLOAT_LONG elWidth;
    FLOATL eMiterLimit;
    ULONG cstyle;
    FLOAT_LONG* pstyle;
    FLOAT_LONG elStyleState;
};

// Transforms.
using XFORMOBJ = struct XFORMOBJ_;
struct XFORMOBJ_ {
    ULONG ulReserved;
};
enum : ULONG { XF_LTOL = 0, XF_INV_LTOL = 1, XF_LTOFX = 2, XF_INV_FXTOL = 3 };
struct XFORML {
    FLOATL eM11, eM12, eM21, eM22, eDx, eDy;
};

struct BLENDOBJ {
    BLENDFUNCTION BlendFunction;
};

// Fonts and strings. A font's notional units are those of its design, with y downwards like the device's.
enum : FLONG {
    FO_TYPE_RASTER = 0x1,
    FO_TYPE_TRUETYPE = 0x4,
    FO_TYPE_OPENTYPE = 0x8,
    FO_SIM_BOLD = 0x2000,
    FO_SIM_ITALIC = 0x4000,
};
struct FONTOBJ {
    ULONG iUniq, iFace, cxMax;
    FLONG flFontType;
    ULONG_PTR iTTUniq, iFile;
    SIZEL sizLogResPpi;
    ULONG ulStyleSize;
    PVOID pvConsumer, pvProducer;
};
static_assert(sizeof(void*) != 4 || sizeof(FONTOBJ) == 44);

enum : FLONG {
    FM_INFO_TECH_TRUETYPE = 0x1,
    FM_INFO_TECH_BITMAP = 0x2,
    FM_INFO_TECH_OUTLINE_NOT_TRUETYPE = 0x8,
    FM_INFO_TECH_CFF = 0x04000000,
};
enum : USHORT { FM_SEL_ITALIC = 0x1, FM_SEL_UNDERSCORE = 0x2, FM_SEL_STRIKEOUT = 0x10, FM_SEL_BOLD = 0x20 };
// Texts lie at byte offsets from the structure's start; fields that begin with fwd are notional units.
struct IFIMETRICS {
    ULONG cjThis, cjIfiExtra;
    LONG dpwszFamilyName, dpwszStyleName, dpwszFaceName, dpwszUniqueName, dpFontSim;
    LONG lEmbedId, lItalicAngle, lCharBias;
    LONG dpCharSets;
    BYTE jWinCharSet, jWinPitchAndFamily;
    USHORT usWinWeight;
    FLONG flInfo;
    USHORT fsSelection, fsType;
    SHORT fwdUnitsPerEm, fwdLowestPPEm;
    SHORT fwdWinAscender, fwdWinDescender, fwdMacAscender, fwdMacDescender, fwdMacLineGap;
    SHORT fwdTypoAscender, fwdTypoDescender, fwdTypoLineGap;
    SHORT fwdAveCharWidth, fwdMaxCharInc, fwdCapHeight, fwdXHeight;
    SHORT fwdSubscriptXSize, fwdSubscriptYSize, fwdSubscriptXOffset, fwdSubscriptYOffset;
    SHORT fwdSuperscriptXSize, fwdSuperscriptYSize, fwdSuperscriptXOffset, fwdSuperscriptYOffset;
    SHORT fwdUnderscoreSize, fwdUnderscorePosition, fwdStrikeoutSize, fwdStrikeoutPosition;
    BYTE chFirstChar, chLastChar, chDefaultChar, chBreakChar;
    WCHAR wcFirstChar, wcLastChar, wcDefaultChar, wcBreakChar;
    POINTL ptlBaseline, ptlAspect, ptlCaret;
    RECTL rclFontBox;
    BYTE achVendId[4];
    ULONG cKerningPairs, ulPanoseCulture;
    BYTE panose[10];
};
static_assert(sizeof(IFIMETRICS) == 184);

// Which characters a font has, in ascending runs.
struct WCRUN {
    WCHAR wcLow;
    USHORT cGlyphs;
    HGLYPH* phg;  // null: each character is its own handle
};
struct FD_GLYPHSET {
    ULONG cjThis;
    FLONG flAccel;
    ULONG cGlyphsSupported, cRuns;
    WCRUN awcrun[1];
};
static_assert(sizeof(void*) != 4 || sizeof(FD_GLYPHSET) == 24);

struct GLYPHDATA {
    PVOID gdf;
    HGLYPH hg;
    FIX fxD, fxA, fxAB;  // along the baseline: advance, and the two edges of the ink
    FIX fxInkTop, fxInkBottom;
    RECTL rclInk;  // pixels around the origin
    LARGE_INTEGER ptqD[2];
};
static_assert(sizeof(void*) != 4 || sizeof(GLYPHDATA) == 64);

enum : FLONG {
    SO_FLAG_DEFAULT_PLACEMENT = 0x1,
    SO_HORIZONTAL = 0x2,
    SO_GLYPHINDEX_TEXTOUT = 0x100,
    SO_ESC_NOT_ORIENT = 0x200,
    SO_DXDY = 0x400,
};
struct GLYPHPOS {
    HGLYPH hg;
    PVOID pgdf;
    POINTL ptl;
};
struct STROBJ {
    ULONG cGlyphs;
    FLONG flAccel;
    ULONG ulCharInc;  // the advance of every glyph, 0 when they differ
    RECTL rclBkGround;
    GLYPHPOS* pgp;  // null: the glyphs must be enumerated
    LPWSTR pwszOrg;
};
static_assert(sizeof(void*) != 4 || sizeof(STROBJ) == 36);

enum : ULONG { FO_GLYPHBITS = 1 };
enum : ULONG { ED_ABORTDOC = 1 };
enum : ULONG { DRVQUERY_USERMODE = 1 };

// What the engine offers.
KV_ENGINE_API HSURF APIENTRY EngCreateDeviceSurface(DHSURF surface, SIZEL size, ULONG format);
KV_ENGINE_API BOOL APIENTRY EngAssociateSurface(HSURF surface, HDEV device, FLONG hooks);
KV_ENGINE_API BOOL APIENTRY EngMarkBandingSurface(HSURF surface);
KV_ENGINE_API BOOL APIENTRY EngDeleteSurface(HSURF surface);
KV_ENGINE_API BOOL APIENTRY EngEraseSurface(SURFOBJ* surface, RECTL* rect, ULONG color);
KV_ENGINE_API HPALETTE APIENTRY EngCreatePalette(ULONG mode, ULONG count, ULONG* colors, FLONG red, FLONG green,
                                                 FLONG blue);
KV_ENGINE_API BOOL APIENTRY EngDeletePalette(HPALETTE palette);
KV_ENGINE_API void APIENTRY EngDeletePath(PATHOBJ* path);

KV_ENGINE_API PVOID APIENTRY BRUSHOBJ_pvAllocRbrush(BRUSHOBJ* brush, ULONG bytes);
KV_ENGINE_API PVOID APIENTRY BRUSHOBJ_pvGetRbrush(BRUSHOBJ* brush);
KV_ENGINE_API PATHOBJ* APIENTRY CLIPOBJ_ppoGetPath(CLIPOBJ* clip);
KV_ENGINE_API void APIENTRY PATHOBJ_vEnumStart(PATHOBJ* path);
// FALSE with the last block of the path.
KV_ENGINE_API BOOL APIENTRY PATHOBJ_bEnum(PATHOBJ* path, PATHDATA* data);
KV_ENGINE_API void APIENTRY PATHOBJ_vGetBounds(PATHOBJ* path, RECTFX* bounds);
KV_ENGINE_API IFIMETRICS* APIENTRY FONTOBJ_pifi(FONTOBJ* font);
KV_ENGINE_API XFORMOBJ* APIENTRY FONTOBJ_pxoGetXform(FONTOBJ* font);
// The bytes of the font's file, a whole collection where it lies in one. Null when there is none.
KV_ENGINE_API PVOID APIENTRY FONTOBJ_pvTrueTypeFontFile(FONTOBJ* font, ULONG* size);
KV_ENGINE_API FD_GLYPHSET* APIENTRY FONTOBJ_pfdg(FONTOBJ* font);
// The glyphs handed out: mode FO_GLYPHBITS stores a GLYPHDATA* for each handle.
KV_ENGINE_API ULONG APIENTRY FONTOBJ_cGetGlyphs(FONTOBJ* font, ULONG mode, ULONG count, HGLYPH* handles, PVOID* glyphs);
KV_ENGINE_API void APIENTRY STROBJ_vEnumStart(STROBJ* text);
// FALSE with the last batch, DDI_ERROR on failure.
KV_ENGINE_API BOOL APIENTRY STROBJ_bEnumPositionsOnly(STROBJ* text, ULONG* count, GLYPHPOS** glyphs);
KV_ENGINE_API DWORD APIENTRY STROBJ_dwGetCodePage(STROBJ* text);
KV_ENGINE_API BOOL APIENTRY XFORMOBJ_bApplyXform(XFORMOBJ* transform, ULONG mode, ULONG count, PVOID in, PVOID out);
KV_ENGINE_API ULONG APIENTRY XFORMOBJ_iGetXform(XFORMOBJ* transform, XFORML* matrix);
KV_ENGINE_API ULONG APIENTRY XLATEOBJ_iXlate(XLATEOBJ* translation, ULONG color);
KV_ENGINE_API ULONG APIENTRY XLATEOBJ_cGetPalette(XLATEOBJ* translation, ULONG kind, ULONG count, ULONG* entries);
