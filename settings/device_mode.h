#pragma once
// The settings record: a public DEVMODEW of 220 bytes followed by the driver's private part, and the merging of
// device modes of every private version into it.

#include <cstddef>

#include "platform/win32.h"

namespace kv {

#pragma pack(push, 2)
struct PrivateDevMode {
    char signature[2];  // "KV"
    WORD version;
    char application[32];                                    // system code page
    DWORD mask;                                              // which fields are set (kPrivate*)
    WORD Resolution;                                         // dots per inch
    SHORT MarginLeft, MarginTop, MarginRight, MarginBottom;  // thousandths of an inch
    WORD ShowDlg;
    WORD unused;
    WORD Compression;  // kCompress*
    char DefaultFont[32];
    WORD PathEscapes;
    WORD AutoEm;
    WORD units;  // 1 inch-based, 2 metric
    char carried_text[260];
    WORD ResDownSamp;  // dots per inch
    WORD JpegQuality;
    WORD ResDownSampMono;
    WORD KvAction;
    WORD padding;
};
#pragma pack(pop)
static_assert(sizeof(PrivateDevMode) == 364);
static_assert(offsetof(PrivateDevMode, mask) == 36 && offsetof(PrivateDevMode, Compression) == 54);
static_assert(offsetof(PrivateDevMode, carried_text) == 94 && offsetof(PrivateDevMode, KvAction) == 360);

struct DriverDevMode : DEVMODEW {
    PrivateDevMode kv;
};
static_assert(sizeof(DriverDevMode) == 584);

enum : DWORD {
    kPrivateResolution = 0x00001,
    kPrivateMarginLeft = 0x00002,
    kPrivateMarginTop = 0x00004,
    kPrivateMarginRight = 0x00008,
    kPrivateMarginBottom = 0x00010,
    kPrivateShowDlg = 0x00020,
    kPrivateUnits = 0x00040,
    kPrivateAutoEm = 0x00080,
    kPrivateCompression = 0x00200,
    kPrivateResDownSamp = 0x00400,
    kPrivateDefaultFont = 0x00800,
    kPrivatePathEscapes = 0x01000,
    kPrivateJpegQuality = 0x02000,
    kPrivateResDownSampMono = 0x10000,
    kPrivateKvAction = 0x20000,
    kPrivateAll = 0x33EFF,
};
enum : WORD {
    kCompressJpeg = 0x01,
    kCompressRunLength = 0x08,
    kCompressRecords = 0x10,
    kCompressReduceColors = 0x20,
    kCompressDownsample = 0x40,
    kCompressDownsampleMono = 0x80,
};

// Zeroes the record and sets the driver's defaults.
void InitDefaultDevMode(const WCHAR* printer, DriverDevMode& record);
// Not null, dmSize 220, and all its bytes readable.
bool IsValidDevMode(const DEVMODEW* mode);
// False for an invalid device mode. Size 0 and version -1 when it has no private part of ours.
bool CheckPrivateDevMode(const DEVMODEW* mode, DWORD* size, int* version);
// Applies what the source flags. An invalid device mode changes nothing.
void MergeDevMode(const DEVMODEW* source, DriverDevMode& record);
void MergePublicDevModeFields(const DEVMODEW& source, DriverDevMode& record);
void SetFormNameFromPaperSize(DriverDevMode& record);
// Whether a base name is an application's, and not the shell's, the spooler's or the dispatcher's.
bool IsApplicationName(const WCHAR* name);
bool IsApplicationName(const char* name);

}  // namespace kv
