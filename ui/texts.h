#pragma once
// The texts of the user interface, by their numbers in the resource library.

#include "support/text.h"

namespace kv {

enum UiText : UINT {
    kTextPlain = 12144,             // "%s"
    kTextReadingDirection = 13000,  // "ltr" or "rtl"
    kTextPaperPage = 13001,
    kTextQualityPage,
    kTextFontPage,
    kTextDefaultsPage,
    kTextPaper = 13010,
    kTextWidth,
    kTextHeight,
    kTextOrientation,
    kTextTray,
    kTextResolution,
    kTextDepth,
    kTextRecords,
    kTextJpeg,
    kTextJpegQuality,
    kTextReduceColors,
    kTextRunLength,
    kTextDownsample,
    kTextDownsampleDpi,
    kTextDownsampleMono,
    kTextDownsampleMonoDpi,
    kTextDefaultFont,
    kTextEmbedFonts,
    kTextCaptureFonts,
    kTextPortrait = 13030,
    kTextLandscape,
    kTextCustomSize,
    kTextDefaultTray,
    kTextDpi,   // "%s dpi"
    kTextBits,  // "%s bits"
    kTextMillimetres,
    kTextInches,
    kTextSetting = 13040,  // the page of defaults
    kTextDefaultValue,
    kTextEnforced,
    kTextOutbox,
    kTextNotSet,
    kTextCompression,
    kTextLossless,
    kTextStandard,
    kTextSmallest,
    kTextBadSize = 13050,
    kTextBadNumber,  // the lowest and the highest number
    kTextBadPaper,
    kTextBadFolder,
};

// Empty where the library lacks the text.
void load_text(UiText number, WCHAR* target, size_t capacity);
template <size_t Capacity>
void load_text(UiText number, TextBuffer<Capacity>& text) {
    load_text(number, text.data(), Capacity);
}
// The text with "%s" replaced by each argument in turn; nothing else is a conversion.
using UiLine = TextBuffer<256>;
UiLine filled_text(UiText number, const WCHAR* first, const WCHAR* second = nullptr);
bool texts_run_right_to_left();
// A control's label as the name of a thing in a list: without access key and colon.
void strip_label(UiLine& label);

}  // namespace kv
