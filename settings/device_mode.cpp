#include "settings/device_mode.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

#include "settings/paper_table.h"
#include "support/assert.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/text.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr WORD kPublicSize = 220;  // bytes
static_assert(kPublicSize == sizeof(DEVMODEW) && kPublicSize + sizeof(PrivateDevMode) == sizeof(DriverDevMode));
constexpr WORD kPrivateVersion = 8;
constexpr WORD kDriverVersion = 0x0C04;  // 12.4

// A server-qualified name ("\\server\printer") counts from behind its server.
const WCHAR* without_server(const WCHAR* printer) {
    if (!starts_with(printer, TEXT("\\\\"))) return printer;
    for (const WCHAR* at = printer + 2; *at; ++at) {
        if (*at == '\\') return at + 1;
    }
    return TEXT("");
}

void init_private(PrivateDevMode& kv) {
    KV_ASSERT(kv.mask == 0 && kv.application[0] == 0);
    kv.signature[0] = 'K';
    kv.signature[1] = 'V';
    kv.version = kPrivateVersion;
    PathText program;
    GetModuleBaseName(nullptr, program);
    if (IsApplicationName(program.c_str())) to_ansi(kv.application, sizeof kv.application, program.c_str());
    kv.mask = kPrivateAll;
    kv.Resolution = 600;
    kv.MarginLeft = kv.MarginTop = kv.MarginRight = kv.MarginBottom = 250;
    kv.ShowDlg = 1;
    kv.Compression = kCompressJpeg | kCompressRecords | kCompressReduceColors;
    std::memcpy(kv.DefaultFont, "Courier New", sizeof "Courier New");
    kv.PathEscapes = 1;
    kv.AutoEm = 1;
    kv.units = process_state().private_units;
    kv.ResDownSamp = 150;
    kv.JpegQuality = 75;
    kv.ResDownSampMono = 300;
    kv.KvAction = 0x8000;
}

void copy_form_name(DriverDevMode& record, const WCHAR* name) {
    std::fill(std::begin(record.dmFormName), std::end(record.dmFormName), WCHAR{0});
    copy_text(record.dmFormName, CCHFORMNAME, name);
    KV_ASSERT(record.dmFormName[CCHFORMNAME - 1] == 0);
}

void clear_form_name(DriverDevMode& record) {
    record.dmFields &= ~DWORD{DM_FORMNAME};
    copy_form_name(record, TEXT(""));
}

void apply_custom_paper(const PaperRecord& paper, DriverDevMode& record) {
    record.dmPaperSize = static_cast<SHORT>(paper.id);
    record.dmPaperWidth = paper_tenths(paper.width);
    record.dmPaperLength = paper_tenths(paper.height);
    KV_ASSERT(record.dmPaperWidth >= 0 && record.dmPaperLength >= 0);
    copy_form_name(record, paper.name);
    record.dmFields |= DM_PAPERSIZE | DM_PAPERWIDTH | DM_PAPERLENGTH | DM_FORMNAME;
}

void apply_explicit_paper(const DEVMODEW& source, DriverDevMode& record) {
    record.dmPaperSize = source.dmPaperSize;
    record.dmPaperWidth = source.dmPaperWidth;
    record.dmPaperLength = source.dmPaperLength;
    record.dmFields |= DM_PAPERSIZE | DM_PAPERWIDTH | DM_PAPERLENGTH;
    if (!(source.dmFields & DM_FORMNAME)) return;
    WCHAR name[CCHFORMNAME + 1] = {};
    std::copy(std::begin(source.dmFormName), std::end(source.dmFormName), name);
    copy_form_name(record, name);
    record.dmFields |= DM_FORMNAME;
    WORD index = 0;
    if (CStdPaperList().FindByName(record.dmFormName, &index)) clear_form_name(record);
}

void merge_paper(const DEVMODEW& source, DriverDevMode& record) {
    if (!(source.dmFields & DM_PAPERSIZE) || source.dmPaperSize == 0) return;
    auto id = static_cast<WORD>(source.dmPaperSize);
    if (find_standard_paper(id)) {
        record.dmPaperSize = source.dmPaperSize;
        record.dmFields |= DM_PAPERSIZE;
        SetFormNameFromPaperSize(record);
        return;
    }
    CCustomPaperList papers;
    papers.Load();
    WORD index = 0;
    WCHAR name[CCHFORMNAME + 1] = {};
    std::copy(std::begin(source.dmFormName), std::end(source.dmFormName), name);
    bool found = (source.dmFields & DM_FORMNAME) && papers.FindByName(name, &index);
    if (!found) found = papers.FindById(id, &index);
    constexpr DWORD kBothSizes = DM_PAPERWIDTH | DM_PAPERLENGTH;
    if (found) {
        apply_custom_paper(papers[index], record);
    } else if ((source.dmFields & kBothSizes) == kBothSizes) {
        apply_explicit_paper(source, record);
    } else {
        KV_TRACE(Settings, Warning, "paper %u is unknown and has no size: passed over", id);
    }
}

// The layouts of the private part. Offsets from its start; 0 says that a version lacks the field.
struct PrivateLayout {
    int version;
    WORD size;
    bool wide;  // texts are UTF-16
    WORD application, flags, resolution, compression, default_font, path_escapes, auto_em, units, carried_text;
    WORD down_samp, jpeg_quality, down_samp_mono, action;
};
constexpr PrivateLayout kLayouts[] = {
    {0, 158, true, 2, 66, 70, 0, 92, 0, 84, 0, 0, 0, 0, 0, 0},
    {1, 156, true, 4, 68, 72, 86, 88, 152, 154, 0, 0, 0, 0, 0, 0},
    {2, 680, true, 4, 68, 72, 86, 88, 152, 154, 156, 158, 0, 0, 0, 0},
    {3, 680, true, 4, 68, 72, 86, 88, 152, 154, 156, 158, 678, 0, 0, 0},
    {3, 356, false, 4, 36, 40, 54, 56, 88, 90, 92, 94, 354, 0, 0, 0},
    {4, 356, false, 4, 36, 40, 54, 56, 88, 90, 92, 94, 354, 0, 0, 0},
    {5, 360, false, 4, 36, 40, 54, 56, 88, 90, 92, 94, 354, 356, 0, 0},
    {6, 360, false, 4, 36, 40, 54, 56, 88, 90, 92, 94, 354, 356, 358, 0},
    {7, 364, false, 4, 36, 40, 54, 56, 88, 90, 92, 94, 354, 356, 358, 360},
    {8, 364, false, 4, 36, 40, 54, 56, 88, 90, 92, 94, 354, 356, 358, 360},
};

// Every field lies within the part, and the newest layout is that of the struct.
consteval bool are_sound(std::span<const PrivateLayout> layouts) {
    for (const PrivateLayout& layout : layouts) {
        const int unit = layout.wide ? 2 : 1;
        for (const int end :
             {layout.application + 32 * unit, layout.flags + 4, layout.resolution + 12, layout.compression + 2,
              layout.default_font + 32 * unit, layout.path_escapes + 2, layout.auto_em + 2, layout.units + 2,
              layout.down_samp + 2, layout.jpeg_quality + 2, layout.down_samp_mono + 2, layout.action + 2,
              layout.carried_text ? layout.carried_text + 260 * unit : 0}) {
            if (end > layout.size) return false;
        }
    }
    const PrivateLayout& newest = layouts.back();
    return newest.version == kPrivateVersion && newest.size == sizeof(PrivateDevMode) &&
           newest.flags == offsetof(PrivateDevMode, mask) &&
           newest.resolution == offsetof(PrivateDevMode, Resolution) &&
           newest.compression == offsetof(PrivateDevMode, Compression) &&
           newest.carried_text == offsetof(PrivateDevMode, carried_text) &&
           newest.action == offsetof(PrivateDevMode, KvAction);
}
static_assert(are_sound(kLayouts));

const PrivateLayout* find_layout(int version, DWORD size) {
    for (const PrivateLayout& layout : kLayouts) {
        if (layout.version == version && layout.size == size) return &layout;
    }
    return nullptr;
}

// Merges the private part at `data` into a record, field by field of the layout.
class PrivateMerger {
public:
    PrivateMerger(const BYTE* data, const PrivateLayout& layout, PrivateDevMode& target)
        : data_(data), layout_(layout), target_(target) {
        std::memcpy(&flags_, data + layout.flags, sizeof flags_);
    }

    void resolution() { word(layout_.resolution, kPrivateResolution, target_.Resolution); }

    void others() {
        application();
        auto margins = layout_.resolution;
        word(margins + 2u, kPrivateMarginLeft, target_.MarginLeft);
        word(margins + 4u, kPrivateMarginTop, target_.MarginTop);
        word(margins + 6u, kPrivateMarginRight, target_.MarginRight);
        word(margins + 8u, kPrivateMarginBottom, target_.MarginBottom);
        word(margins + 10u, kPrivateShowDlg, target_.ShowDlg);
        word(layout_.compression, kPrivateCompression, target_.Compression);
        if (flags_ & kPrivateDefaultFont) {
            if (text(layout_.default_font, 32, target_.DefaultFont)) target_.mask |= kPrivateDefaultFont;
        }
        word(layout_.path_escapes, kPrivatePathEscapes, target_.PathEscapes);
        word(layout_.auto_em, kPrivateAutoEm, target_.AutoEm);
        word(layout_.units, kPrivateUnits, target_.units);
        if (layout_.carried_text) text(layout_.carried_text, 260, target_.carried_text);
        word(layout_.down_samp, kPrivateResDownSamp, target_.ResDownSamp);
        word(layout_.jpeg_quality, kPrivateJpegQuality, target_.JpegQuality);
        word(layout_.down_samp_mono, kPrivateResDownSampMono, target_.ResDownSampMono);
        word(layout_.action, kPrivateKvAction, target_.KvAction);
    }

private:
    template <class Word>
    void word(unsigned offset, DWORD flag, Word& field) {
        static_assert(sizeof(Word) == 2);
        if (offset == 0 || !(flags_ & flag)) return;
        KV_ASSERT(offset + sizeof field <= layout_.size);
        std::memcpy(&field, data_ + offset, sizeof field);
        target_.mask |= flag;
    }

    // A text of at most `capacity` units (UTF-16 or bytes); an empty one leaves the target. True when copied.
    template <size_t Size>
    bool text(unsigned offset, size_t capacity, char (&target)[Size]) {
        char copy[Size] = {};
        KV_ASSERT(offset + capacity * (layout_.wide ? sizeof(WCHAR) : 1) <= layout_.size);
        if (layout_.wide) {
            WCHAR wide[261] = {};
            std::memcpy(wide, data_ + offset, capacity * sizeof(WCHAR));
            to_ansi(copy, Size, wide);
        } else {
            copy_ansi(copy, Size, reinterpret_cast<const char*>(data_ + offset), capacity);
        }
        if (!copy[0]) return false;
        std::memcpy(target, copy, Size);
        return true;
    }

    void application() {
        if (layout_.wide) {
            WCHAR wide[33] = {};
            std::memcpy(wide, data_ + layout_.application, 32 * sizeof(WCHAR));
            if (!IsApplicationName(wide)) return;
        } else {
            char ansi[33] = {};
            std::memcpy(ansi, data_ + layout_.application, 32);
            if (!IsApplicationName(ansi)) return;
        }
        text(layout_.application, 32, target_.application);
    }

    const BYTE* data_;
    const PrivateLayout& layout_;
    PrivateDevMode& target_;
    DWORD flags_ = 0;
};

}  // namespace

void InitDefaultDevMode(const WCHAR* printer, DriverDevMode& record) {
    std::memset(&record, 0, sizeof record);
    copy_text(record.dmDeviceName, CCHDEVICENAME, without_server(printer ? printer : TEXT("")));
    record.dmSpecVersion = 0x0401;
    record.dmDriverVersion = kDriverVersion;
    record.dmSize = kPublicSize;
    record.dmDriverExtra = sizeof(PrivateDevMode);
    record.dmFields = DM_ORIENTATION | DM_PAPERSIZE | DM_DEFAULTSOURCE | DM_PRINTQUALITY | DM_COLOR | DM_YRESOLUTION |
                      DM_TTOPTION | DM_LOGPIXELS | DM_BITSPERPEL;
    record.dmOrientation = DMORIENT_PORTRAIT;
    record.dmPaperSize = static_cast<SHORT>(process_state().default_paper);
    record.dmScale = 100;
    record.dmCopies = 1;
    record.dmDefaultSource = 1;
    record.dmPrintQuality = record.dmYResolution = 600;
    record.dmColor = 2;
    record.dmDuplex = 1;
    record.dmTTOption = 2;
    record.dmLogPixels = 600;
    record.dmBitsPerPel = 24;
    SetFormNameFromPaperSize(record);
    init_private(record.kv);
    KV_ASSERT(record.dmSize + record.dmDriverExtra == sizeof record && record.kv.mask == kPrivateAll);
}

bool IsValidDevMode(const DEVMODEW* mode) {
    constexpr ULONG_PTR kHeadSize = 72;  // to the end of the two sizes
    if (!mode || IsBadReadPtr(mode, kHeadSize) || mode->dmSize != kPublicSize) return false;
    return !IsBadReadPtr(mode, static_cast<ULONG_PTR>(mode->dmSize) + mode->dmDriverExtra);
}

bool CheckPrivateDevMode(const DEVMODEW* mode, DWORD* size, int* version) {
    *size = 0;
    *version = -1;
    if (!IsValidDevMode(mode)) return false;
    const BYTE* data = reinterpret_cast<const BYTE*>(mode) + kPublicSize;
    constexpr WORD kFirstWithPrivate = 0x0411, kLastWithoutVersion = 0x0429;
    if (mode->dmDriverExtra < 4 || data[0] != 'K' || data[1] != 'V' || mode->dmDriverVersion < kFirstWithPrivate) {
        return true;
    }
    WORD found = 0;
    if (mode->dmDriverVersion > kLastWithoutVersion) std::memcpy(&found, data + 2, sizeof found);
    if (find_layout(found, mode->dmDriverExtra)) {
        KV_ASSERT(found <= kPrivateVersion && mode->dmDriverExtra > 4);
        *size = mode->dmDriverExtra;
        *version = found;
    }
    return true;
}

void MergeDevMode(const DEVMODEW* source, DriverDevMode& record) {
    DWORD size = 0;
    int version = -1;
    if (!CheckPrivateDevMode(source, &size, &version)) {
        KV_TRACE(Settings, Warning, "no device mode: passed over");
        return;
    }
    const PrivateLayout* layout = find_layout(version, size);
    KV_TRACE(Settings, Info, "public fields %X, private version %d", static_cast<unsigned>(source->dmFields), version);
    if (!layout) {
        MergePublicDevModeFields(*source, record);
        return;
    }
    PrivateMerger merger(reinterpret_cast<const BYTE*>(source) + kPublicSize, *layout, record.kv);
    merger.resolution();
    MergePublicDevModeFields(*source, record);
    merger.others();
}

void MergePublicDevModeFields(const DEVMODEW& source, DriverDevMode& record) {
    KV_ASSERT(&source != &record && record.dmSize == kPublicSize);
    merge_paper(source, record);
    if ((source.dmFields & DM_ORIENTATION) && (source.dmOrientation == 1 || source.dmOrientation == 2)) {
        record.dmOrientation = source.dmOrientation;
        record.dmFields |= DM_ORIENTATION;
    }
    auto copy = [&](DWORD field, auto DEVMODEW::*member) {
        if (!(source.dmFields & field)) return;
        record.*member = source.*member;
        record.dmFields |= field;
    };
    copy(DM_DEFAULTSOURCE, &DEVMODEW::dmDefaultSource);
    copy(DM_PRINTQUALITY, &DEVMODEW::dmPrintQuality);
    copy(DM_YRESOLUTION, &DEVMODEW::dmYResolution);
    copy(DM_COPIES, &DEVMODEW::dmCopies);
    copy(DM_COLOR, &DEVMODEW::dmColor);
    copy(DM_BITSPERPEL, &DEVMODEW::dmBitsPerPel);
    if (source.dmFields & DM_SCALE) record.dmScale = source.dmScale;  // carried, but never said to be set
}

void SetFormNameFromPaperSize(DriverDevMode& record) {
    const PaperRecord* paper = nullptr;
    if (record.dmFields & DM_PAPERSIZE) paper = find_standard_paper(static_cast<WORD>(record.dmPaperSize));
    if (!paper) {
        clear_form_name(record);
        return;
    }
    copy_form_name(record, paper->name);
    record.dmFields |= DM_FORMNAME;
}

bool IsApplicationName(const WCHAR* name) {
    if (!name || !*name) return false;
    for (const WCHAR* system :
         {TEXT("csrss"), TEXT("explorer"), TEXT("rundll32"), TEXT("spoolss"), TEXT("spoolsv"), TEXT("splwow64")}) {
        if (same_text_ignoring_case(name, system)) return false;
    }
    TextBuffer<32> dispatcher;
    for (int version = 4; version <= 12; ++version) {
        format_text(dispatcher.data(), dispatcher.capacity(), TEXT("%s%d"), TEXT("kvdisp"), version);
        if (same_text_ignoring_case(name, dispatcher.c_str())) return false;
        if (version > 5) continue;
        dispatcher.append(TEXT("a"));
        if (same_text_ignoring_case(name, dispatcher.c_str())) return false;
    }
    return true;
}

bool IsApplicationName(const char* name) {
    WCHAR wide[kPathCapacity];
    return name && to_wide(wide, kPathCapacity, name) && IsApplicationName(wide);
}

}  // namespace kv
