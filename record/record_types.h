#pragma once
// The record types of the job file.

#include <array>

#include "platform/win32.h"

namespace kv {

enum RecordType : BYTE {
    kRecordEndOfStream = 0,
    kRecordDocumentHeader = 1,
    kRecordDocumentStart = 2,
    kRecordDocumentEnd = 3,
    kRecordPageStart = 5,
    kRecordPageEnd = 6,
    kRecordBrush = 7,
    kRecordFont = 9,
    kRecordClipReset = 10,
    kRecordClipRects16 = 12,
    kRecordRectFill16 = 14,
    kRecordBitmap16 = 18,
    kRecordTextState = 19,
    kRecordSummary = 21,
    kRecordDocumentName = 23,
    kRecordApplicationName = 24,
    kRecordFontFile = 28,
    kRecordText16 = 30,
    kRecordJpeg16 = 31,
    kRecordClipPath16 = 33,
    kRecordStrokePath16 = 34,
    kRecordFillPath16 = 35,
    kRecordStrokeAndFillPath16 = 36,
    kRecordPaperTray = 37,
    kRecordTrailerPosition = 38,
    kRecordDrawState = 39,
    kRecordAttachedData = 40,
    kRecordAlphaBlend16 = 41,
    kRecordAlphaBlend32 = 42,
    kRecordPageStartWithData = 44,
    kRecordClipPath32 = 46,
    kRecordStrokePath32 = 47,
    kRecordFillPath32 = 48,
    kRecordStrokeAndFillPath32 = 49,
    kRecordClipRects32 = 50,
    kRecordRectFill32 = 51,
    kRecordBitmap32 = 52,
    kRecordJpeg32 = 53,
    kRecordText32 = 54,
    kRecordPageIndex32 = 55,
    kRecordTransparent16 = 59,
    kRecordTransparent32 = 60,
    kRecordMasked16 = 61,
    kRecordMasked32 = 62,
};

// From a path type with 16-bit points to the one with 32-bit points.
inline constexpr BYTE kWidePathStep = 13;

// A record with this attribute puts marks on its page.
inline constexpr DWORD kAttributeMarks = 0x01;
inline constexpr std::array<DWORD, 256> kRecordAttributes = {
    0,       0x2,     0,       0,       0,       0,   0,    0,   0x10, 0x10, 0x4,     0x4, 0x4,  0x8, 0x40, 0x20020,
    0x10020, 0x30020, 0x1,     0,       0x80,    0x2, 0x2,  0x2, 0x2,  0x2,  0x30020, 0x1, 0x10, 0x2, 0x80, 0x1,
    0,       0x4,     0x20020, 0x10020, 0x30020, 0x2, 0,    0x8, 0,    0x1,  0x1,     0x2, 0,    0x2, 0x4,  0x20020,
    0x10020, 0x30020, 0x4,     0x40,    0x1,     0x1, 0x80, 0x2, 0,    0,    0,       0x1, 0x1,  0x1, 0x1,
};

}  // namespace kv
