#pragma once
// The types of GDI that the driver shares with applications, and rectangle and scaling arithmetic.

#include "platform/host/win32/types.h"

enum : int { LF_FACESIZE = 32, CCHDEVICENAME = 32, CCHFORMNAME = 32 };

struct LOGFONTW {
    LONG lfHeight, lfWidth, lfEscapement, lfOrientation, lfWeight;
    BYTE lfItalic, lfUnderline, lfStrikeOut, lfCharSet;
    BYTE lfOutPrecision, lfClipPrecision, lfQuality, lfPitchAndFamily;
    WCHAR lfFaceName[LF_FACESIZE];
};
static_assert(sizeof(LOGFONTW) == 92);

struct DEVMODEW {
    WCHAR dmDeviceName[CCHDEVICENAME];
    WORD dmSpecVersion, dmDriverVersion, dmSize, dmDriverExtra;
    DWORD dmFields;
    SHORT dmOrientation, dmPaperSize, dmPaperLength, dmPaperWidth, dmScale, dmCopies, dmDefaultSource, dmPrintQuality;
    SHORT dmColor, dmDuplex, dmYResolution, dmTTOption, dmCollate;
    WCHAR dmFormName[CCHFORMNAME];
    WORD dmLogPixels;
    DWORD dmBitsPerPel, dmPelsWidth, dmPelsHeight, dmDisplayFlags, dmDisplayFrequency;
    DWORD dmICMMethod, dmICMIntent, dmMediaType, dmDitherType, dmReserved1, dmReserved2, dmPanningWidth,
        dmPanningHeight;
};
static_assert(sizeof(DEVMODEW) == 220);

enum : DWORD {
    DM_ORIENTATION = 0x1,
    DM_PAPERSIZE = 0x2,
    DM_PAPERLENGTH = 0x4,
    DM_PAPERWIDTH = 0x8,
    DM_SCALE = 0x10,
    DM_COPIES = 0x100,
    DM_DEFAULTSOURCE = 0x200,
    DM_PRINTQUALITY = 0x400,
    DM_COLOR = 0x800,
    DM_DUPLEX = 0x1000,
    DM_YRESOLUTION = 0x2000,
    DM_TTOPTION = 0x4000,
    DM_COLLATE = 0x8000,
    DM_FORMNAME = 0x10000,
    DM_LOGPIXELS = 0x20000,
    DM_BITSPERPEL = 0x40000,
};
// What an application does with device modes: DocumentProperties.
enum : DWORD { DM_OUT_BUFFER = 2, DM_IN_PROMPT = 4, DM_IN_BUFFER = 8 };
// What it asks of a device: DeviceCapabilities.
enum : WORD {
    DC_FIELDS = 1,
    DC_PAPERS = 2,
    DC_PAPERSIZE = 3,
    DC_MINEXTENT = 4,
    DC_MAXEXTENT = 5,
    DC_BINS = 6,
    DC_DUPLEX = 7,
    DC_SIZE = 8,
    DC_EXTRA = 9,
    DC_VERSION = 10,
    DC_DRIVER = 11,
    DC_BINNAMES = 12,
    DC_ENUMRESOLUTIONS = 13,
    DC_FILEDEPENDENCIES = 14,
    DC_TRUETYPE = 15,
    DC_PAPERNAMES = 16,
    DC_ORIENTATION = 17,
    DC_COPIES = 18,
    DC_COLLATE = 22,
    DC_PRINTERMEM = 28,
    DC_MEDIAREADY = 29,
    DC_STAPLE = 30,
    DC_COLORDEVICE = 32,
    DC_NUP = 33,
};
enum : DWORD { DCTT_DOWNLOAD = 2 };
enum : int {
    DMORIENT_PORTRAIT = 1,
    DMORIENT_LANDSCAPE = 2,
    DMPAPER_LETTER = 1,
    DMPAPER_A3 = 8,
    DMPAPER_A4 = 9,
    DMPAPER_USER = 256,
};

struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth, biHeight;
    WORD biPlanes, biBitCount;
    DWORD biCompression, biSizeImage;
    LONG biXPelsPerMeter, biYPelsPerMeter;
    DWORD biClrUsed, biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);
enum : DWORD { BI_RGB = 0, BI_RLE8 = 1, BI_RLE4 = 2, BI_BITFIELDS = 3 };

struct BLENDFUNCTION {
    BYTE BlendOp, BlendFlags, SourceConstantAlpha, AlphaFormat;
};
enum : BYTE { AC_SRC_OVER = 0, AC_SRC_ALPHA = 1 };

struct XFORM {
    FLOAT eM11, eM12, eM21, eM22, eDx, eDy;
};

struct COLORADJUSTMENT {
    WORD caSize, caFlags, caIlluminantIndex, caRedGamma, caGreenGamma, caBlueGamma, caReferenceBlack, caReferenceWhite;
    SHORT caContrast, caBrightness, caColorfulness, caRedGreenTint;
};

// Binary raster operations.
enum : BYTE {
    R2_BLACK = 1,
    R2_NOTCOPYPEN = 4,
    R2_NOT = 6,
    R2_XORPEN = 7,
    R2_MASKPEN = 9,
    R2_NOP = 11,
    R2_COPYPEN = 13,
    R2_MERGEPEN = 15,
    R2_WHITE = 16,
};
enum : int { PS_SOLID = 0, PS_NULL = 5, BS_SOLID = 0, BS_NULL = 1, BS_HATCHED = 2, BS_PATTERN = 3 };
enum : int { QUERYESCSUPPORT = 8, PASSTHROUGH = 19, GETTECHNOLOGY = 20, BEGIN_PATH = 4096, CLIP_TO_PATH, END_PATH };
enum : DWORD { DT_RASPRINTER = 2, DEFAULT_GUI_FONT = 17, TCI_SRCCHARSET = 1, TCI_SRCLOCALE = 0x1000 };
enum : BYTE { DEFAULT_CHARSET = 1 };

// (value * numerator) / denominator in 64 bits, rounded half away from zero; -1 when the result does
// not fit or the denominator is 0.
int MulDiv(int value, int numerator, int denominator);
BOOL IsRectEmpty(const RECT* rect);
BOOL IntersectRect(RECT* result, const RECT* a, const RECT* b);
BOOL UnionRect(RECT* result, const RECT* a, const RECT* b);

struct FONTSIGNATURE {
    DWORD fsUsb[4], fsCsb[2];
};
struct CHARSETINFO {
    UINT ciCharset, ciACP;
    FONTSIGNATURE fs;
};
BOOL TranslateCharsetInfo(DWORD* source, CHARSETINFO* info, DWORD flags);
HGDIOBJ GetStockObject(int number);
int GetObjectW(HANDLE object, int capacity, LPVOID data);
