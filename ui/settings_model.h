#pragma once
// The settings of a device mode as a dialog shows them: values, choices and lengths in the user's units.

#include "settings/device_mode.h"
#include "support/memory.h"
#include "support/text.h"

namespace kv {

enum class Setting : BYTE {
    Paper,  // an id; DMPAPER_USER: the size is what counts
    Orientation,
    Tray,
    Resolution,
    Depth,    // bits of a pixel
    Records,  // from here on, of Compression: 1 or 0
    Jpeg,
    ReduceColors,
    RunLength,
    Downsample,
    DownsampleMono,  // to here
    JpegQuality,
    DownsampleDpi,
    DownsampleMonoDpi,
    Compression,  // all bits at once
};

inline constexpr WORD kDefaultTray = 1;

struct NumberRange {
    LONG lowest, highest;
};
// What a number that the user enters may be.
NumberRange range_of(Setting setting);

LONG get_setting(const DriverDevMode& mode, Setting setting);
// Flags what it sets, so that the value counts when the device mode is merged.
void set_setting(DriverDevMode& mode, Setting setting, LONG value);

// Tenths of a millimetre. The device mode takes the size in place of a paper that has one.
struct SheetSize {
    LONG width, height;
};
SheetSize get_sheet_size(const DriverDevMode& mode);
void set_sheet_size(DriverDevMode& mode, SheetSize size);

struct Choice {
    LONG value;
    TextBuffer<kPathCapacity> text;
};
// What a setting can be chosen from, for a printer, and the present value where it is none of them.
struct Choices {
    HeapArray<Choice> entries;
    size_t count = 0;
};
BOOL list_choices(const WCHAR* printer, Setting setting, LONG present, Choices& choices);

// A length in the units of the user (1 inch-based: hundredths of an inch; 2 metric: tenths of a millimetre), with the
// locale-independent "." or "," as the decimal mark when it is read. False for what is no length above 0.
void format_length(LONG tenths, WORD units, TextBuffer<32>& text);
bool parse_length(const WCHAR* text, WORD units, LONG& tenths);
// False for what is no whole number in the range.
bool parse_number_in(const WCHAR* text, NumberRange range, LONG& number);

}  // namespace kv
