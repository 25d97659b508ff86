#include "ui/settings_model.h"

#include <iterator>
#include <span>

#include "settings/page_size.h"
#include "settings/paper_trays.h"
#include "ui/capabilities.h"
#include "ui/papers.h"
#include "ui/texts.h"

namespace kv {
namespace {

constexpr LONG kLargestLength = 32767;                 // tenths of a millimetre
constexpr LONG kTenthsInInch = 254, kInchParts = 100;  // an inch is shown in hundredths

WORD compression_bit(Setting setting) {
    switch (setting) {
        case Setting::Records:
            return kCompressRecords;
        case Setting::Jpeg:
            return kCompressJpeg;
        case Setting::ReduceColors:
            return kCompressReduceColors;
        case Setting::RunLength:
            return kCompressRunLength;
        case Setting::Downsample:
            return kCompressDownsample;
        case Setting::DownsampleMono:
            return kCompressDownsampleMono;
        default:
            return 0;
    }
}

void set_resolution(DriverDevMode& mode, LONG value) {
    mode.kv.Resolution = static_cast<WORD>(value);
    mode.dmYResolution = mode.dmPrintQuality = static_cast<SHORT>(value);
    mode.dmFields |= DM_YRESOLUTION | DM_PRINTQUALITY;
    mode.kv.mask |= kPrivateResolution;
}

void set_paper(DriverDevMode& mode, LONG value) {
    DEVMODEW source = {};
    source.dmFields = DM_PAPERSIZE;
    source.dmPaperSize = static_cast<SHORT>(value);
    if (value == DMPAPER_USER) {
        const SheetSize size = get_sheet_size(mode);
        source.dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
        source.dmPaperWidth = static_cast<SHORT>(size.width);
        source.dmPaperLength = static_cast<SHORT>(size.height);
        mode.dmFields &= ~DWORD{DM_FORMNAME};
        mode.dmFormName[0] = 0;
    }
    MergePublicDevModeFields(source, mode);
}

class ChoiceWriter {
public:
    ChoiceWriter(Choices& choices, size_t room) : choices_(choices), room_(room) {}
    void add(LONG value, const WCHAR* text) {
        if (choices_.count == room_) return;
        Choice& choice = choices_.entries[choices_.count++];
        choice.value = value;
        choice.text.assign(text);
    }
    void add(LONG value, UiText text) {
        TextBuffer<kPathCapacity> loaded;
        load_text(text, loaded);
        add(value, loaded.c_str());
    }
    void add_number(LONG value, UiText pattern) {
        WCHAR digits[16];
        format_text(digits, std::size(digits), TEXT("%d"), static_cast<int>(value));
        add(value, filled_text(pattern, digits).c_str());
    }
    void add_numbers(std::span<const LONG> values, UiText pattern, LONG present) {
        bool there = false;
        for (LONG value : values) {
            add_number(value, pattern);
            there |= value == present;
        }
        if (!there) add_number(present, pattern);
    }

private:
    Choices& choices_;
    size_t room_;
};

void list_papers(ChoiceWriter& writer, const Papers& papers) {
    for (size_t i = 0; i < papers.count(); ++i) writer.add(papers[i].id, papers[i].name);
    writer.add(DMPAPER_USER, kTextCustomSize);
}

void list_trays(ChoiceWriter& writer, const PaperTrays& trays, LONG present) {
    bool there = present == kDefaultTray;
    writer.add(kDefaultTray, kTextDefaultTray);
    for (size_t i = 0; i < trays.count; ++i) {
        writer.add(trays.entries[i].bin, trays.entries[i].name.c_str());
        there |= trays.entries[i].bin == present;
    }
    WCHAR digits[16];
    format_text(digits, std::size(digits), TEXT("%d"), static_cast<int>(present));
    if (!there) writer.add(present, digits);
}

// What a user is offered of Compression as a whole.
constexpr WORD kLosslessBits = kCompressRecords | kCompressReduceColors | kCompressRunLength;
constexpr WORD kStandardBits = kCompressRecords | kCompressReduceColors | kCompressJpeg;
constexpr WORD kSmallestBits = kStandardBits | kCompressRunLength | kCompressDownsample | kCompressDownsampleMono;

void list_compressions(ChoiceWriter& writer, LONG present) {
    writer.add(kLosslessBits, kTextLossless);
    writer.add(kStandardBits, kTextStandard);
    writer.add(kSmallestBits, kTextSmallest);
    if (present == kLosslessBits || present == kStandardBits || present == kSmallestBits) return;
    WCHAR digits[16];
    format_text(digits, std::size(digits), TEXT("0x%02X"), static_cast<unsigned>(present));
    writer.add(present, digits);
}

}  // namespace

NumberRange range_of(Setting setting) {
    switch (setting) {
        case Setting::Resolution:
            return {36, 4800};  // a page of A4 stays below 65536 pixels a side
        case Setting::JpegQuality:
            return {1, 100};
        case Setting::DownsampleDpi:
        case Setting::DownsampleMonoDpi:
            return {36, 4800};
        case Setting::Depth:
            return {16, 32};
        default:
            return {0, 0xFFFF};
    }
}

LONG get_setting(const DriverDevMode& mode, Setting setting) {
    switch (setting) {
        case Setting::Paper:
            return static_cast<WORD>(mode.dmPaperSize);
        case Setting::Orientation:
            return mode.dmOrientation;
        case Setting::Tray:
            return static_cast<WORD>(mode.dmDefaultSource);
        case Setting::Resolution:
            return mode.kv.Resolution;
        case Setting::Depth:
            return static_cast<LONG>(mode.dmBitsPerPel);
        case Setting::JpegQuality:
            return mode.kv.JpegQuality;
        case Setting::DownsampleDpi:
            return mode.kv.ResDownSamp;
        case Setting::DownsampleMonoDpi:
            return mode.kv.ResDownSampMono;
        case Setting::Compression:
            return mode.kv.Compression;
        default:
            return (mode.kv.Compression & compression_bit(setting)) != 0;
    }
}

void set_setting(DriverDevMode& mode, Setting setting, LONG value) {
    switch (setting) {
        case Setting::Paper:
            set_paper(mode, value);
            break;
        case Setting::Orientation:
            mode.dmOrientation = static_cast<SHORT>(value);
            mode.dmFields |= DM_ORIENTATION;
            break;
        case Setting::Tray:
            mode.dmDefaultSource = static_cast<SHORT>(value);
            mode.dmFields |= DM_DEFAULTSOURCE;
            break;
        case Setting::Resolution:
            set_resolution(mode, value);
            break;
        case Setting::Depth:
            mode.dmBitsPerPel = static_cast<DWORD>(value);
            mode.dmFields |= DM_BITSPERPEL;
            break;
        case Setting::JpegQuality:
            mode.kv.JpegQuality = static_cast<WORD>(value);
            mode.kv.mask |= kPrivateJpegQuality;
            break;
        case Setting::DownsampleDpi:
            mode.kv.ResDownSamp = static_cast<WORD>(value);
            mode.kv.mask |= kPrivateResDownSamp;
            break;
        case Setting::DownsampleMonoDpi:
            mode.kv.ResDownSampMono = static_cast<WORD>(value);
            mode.kv.mask |= kPrivateResDownSampMono;
            break;
        case Setting::Compression:
            mode.kv.Compression = static_cast<WORD>(value);
            mode.kv.mask |= kPrivateCompression;
            break;
        default: {
            const WORD bit = compression_bit(setting);
            mode.kv.Compression = static_cast<WORD>(value ? mode.kv.Compression | bit : mode.kv.Compression & ~bit);
            mode.kv.mask |= kPrivateCompression;
        }
    }
}

SheetSize get_sheet_size(const DriverDevMode& mode) {
    const auto id = static_cast<WORD>(mode.dmPaperSize);
    if (const PaperRecord* paper = find_standard_paper(id))
        return {paper_tenths(paper->width), paper_tenths(paper->height)};
    if (mode.dmPaperWidth > 0 && mode.dmPaperLength > 0) return {mode.dmPaperWidth, mode.dmPaperLength};
    const CStdPaperList papers;
    const PaperRecord* standard = papers.GetDefault();
    return {paper_tenths(standard->width), paper_tenths(standard->height)};
}

void set_sheet_size(DriverDevMode& mode, SheetSize size) {
    mode.dmPaperSize = DMPAPER_USER;
    mode.dmPaperWidth = static_cast<SHORT>(size.width);
    mode.dmPaperLength = static_cast<SHORT>(size.height);
    mode.dmFields |= DM_PAPERSIZE | DM_PAPERWIDTH | DM_PAPERLENGTH;
    mode.dmFields &= ~DWORD{DM_FORMNAME};
    mode.dmFormName[0] = 0;
}

BOOL list_choices(const WCHAR* printer, Setting setting, LONG present, Choices& choices) {
    static constexpr LONG kDepths[] = {16, 24, 32}, kImageResolutions[] = {75, 100, 150, 200, 300, 400, 600};
    static constexpr LONG kQualities[] = {25, 50, 75, 85, 95, 100};
    const Papers papers;
    PaperTrays trays;
    if (setting == Setting::Tray) GetPaperTrays(printer, trays);
    const size_t room = setting == Setting::Paper ? papers.count() + 1 : trays.count + std::size(kResolutions) + 2;
    choices.count = 0;
    if (!choices.entries.alloc(room, kQuietly)) return FALSE;
    ChoiceWriter writer(choices, room);
    switch (setting) {
        case Setting::Paper:
            list_papers(writer, papers);
            break;
        case Setting::Orientation:
            writer.add(DMORIENT_PORTRAIT, kTextPortrait);
            writer.add(DMORIENT_LANDSCAPE, kTextLandscape);
            break;
        case Setting::Tray:
            list_trays(writer, trays, present);
            break;
        case Setting::Resolution:
            writer.add_numbers(kResolutions, kTextDpi, present);
            break;
        case Setting::Depth:
            writer.add_numbers(kDepths, kTextBits, present);
            break;
        case Setting::Compression:
            list_compressions(writer, present);
            break;
        case Setting::JpegQuality:
            writer.add_numbers(kQualities, kTextPlain, present);
            break;
        default:
            writer.add_numbers(kImageResolutions, kTextDpi, present);
    }
    return TRUE;
}

void format_length(LONG tenths, WORD units, TextBuffer<32>& text) {
    if (units == 1) {
        const LONG parts = (tenths * kInchParts + kTenthsInInch / 2) / kTenthsInInch;
        format_text(text.data(), text.capacity(), TEXT("%d.%02d"), static_cast<int>(parts / kInchParts),
                    static_cast<int>(parts % kInchParts));
    } else {
        format_text(text.data(), text.capacity(), TEXT("%d.%d"), static_cast<int>(tenths / 10),
                    static_cast<int>(tenths % 10));
    }
}

bool parse_length(const WCHAR* text, WORD units, LONG& tenths) {
    constexpr LONG kScale = 1000, kMostWhole = 10000;
    LONG thousandths = 0, digit_value = kScale;
    bool fraction = false, any = false;
    while (*text == ' ') ++text;
    for (; *text && *text != ' '; ++text) {
        if ((*text == '.' || *text == ',') && !fraction) {
            fraction = true;
        } else if (*text < '0' || *text > '9') {
            return false;
        } else if (fraction) {
            digit_value /= 10;
            thousandths += (*text - '0') * digit_value;
            any = true;
        } else {
            thousandths = thousandths * 10 + (*text - '0') * kScale;
            any = true;
            if (thousandths > kMostWhole * kScale) return false;
        }
    }
    while (*text == ' ') ++text;
    if (*text || !any) return false;
    const LONGLONG parts = LONGLONG{thousandths} * (units == 1 ? kTenthsInInch : 10);
    const LONGLONG length = (parts + kScale / 2) / kScale;
    if (length < 1 || length > kLargestLength) return false;
    tenths = static_cast<LONG>(length);
    return true;
}

bool parse_number_in(const WCHAR* text, NumberRange range, LONG& number) {
    LONG value = 0;
    bool any = false;
    while (*text == ' ') ++text;
    for (; *text >= '0' && *text <= '9'; ++text) {
        value = value * 10 + (*text - '0');
        any = true;
        if (value > range.highest) return false;
    }
    while (*text == ' ') ++text;
    if (*text || !any || value < range.lowest) return false;
    number = value;
    return true;
}

}  // namespace kv
