#include "ui/capabilities.h"

#include <iterator>

#include "settings/device_mode.h"
#include "settings/paper_trays.h"
#include "support/trace.h"
#include "ui/papers.h"
#include "ui/settings_model.h"
#include "ui/texts.h"

namespace kv {
namespace {

constexpr size_t kPaperNameUnits = 64, kTrayNameUnits = 24;

// Tenths of a millimetre: an inch, so that the usual margins leave something of it, and what a device mode can say.
constexpr WORD kSmallestSide = 254, kLargestSide = 32767;

constexpr DWORD kFields = DM_ORIENTATION | DM_PAPERSIZE | DM_PAPERLENGTH | DM_PAPERWIDTH | DM_DEFAULTSOURCE |
                          DM_PRINTQUALITY | DM_COLOR | DM_YRESOLUTION | DM_TTOPTION | DM_FORMNAME | DM_LOGPIXELS |
                          DM_BITSPERPEL;

// Writes an entry for each paper, where there is a place for them.
template <class Entry, class Write>
DWORD list_papers(void* output, size_t units, Write write) {
    const Papers papers;
    auto* entries = static_cast<Entry*>(output);
    for (size_t i = 0; entries && i < papers.count(); ++i) write(papers[i], entries + i * units);
    return static_cast<DWORD>(papers.count());
}

// The default tray, and the named ones.
template <class Entry, class Write>
DWORD list_trays(const WCHAR* printer, void* output, size_t units, Write write) {
    PaperTrays trays;
    GetPaperTrays(printer, trays);
    auto* entries = static_cast<Entry*>(output);
    if (!entries) return static_cast<DWORD>(trays.count + 1);
    PaperTray standard = {kDefaultTray, {}};
    load_text(kTextDefaultTray, standard.name);
    write(standard, entries);
    for (size_t i = 0; i < trays.count; ++i) write(trays.entries[i], entries + (i + 1) * units);
    return static_cast<DWORD>(trays.count + 1);
}

DWORD list_resolutions(void* output) {
    auto* entry = static_cast<LONG*>(output);
    for (LONG resolution : kResolutions) {
        if (!entry) break;
        *entry++ = resolution;
        *entry++ = resolution;
    }
    return static_cast<DWORD>(std::size(kResolutions));
}

}  // namespace

DWORD device_capability(const WCHAR* printer, WORD capability, void* output) {
    KV_TRACE(Settings, Info, "capability %u", capability);
    switch (capability) {
        case DC_FIELDS:
            return kFields;
        case DC_PAPERS:
            return list_papers<WORD>(output, 1, [](const PaperRecord& paper, WORD* id) { *id = paper.id; });
        case DC_PAPERSIZE:
            return list_papers<POINT>(output, 1, [](const PaperRecord& paper, POINT* size) {
                *size = {paper_tenths(paper.width), paper_tenths(paper.height)};
            });
        case DC_PAPERNAMES:
        case DC_MEDIAREADY:
            return list_papers<WCHAR>(output, kPaperNameUnits, [](const PaperRecord& paper, WCHAR* name) {
                copy_text(name, kPaperNameUnits, paper.name);
            });
        case DC_MINEXTENT:
            return DWORD{kSmallestSide} << 16 | kSmallestSide;  // height and width
        case DC_MAXEXTENT:
            return DWORD{kLargestSide} << 16 | kLargestSide;
        case DC_BINS:
            return list_trays<WORD>(printer, output, 1, [](const PaperTray& tray, WORD* bin) { *bin = tray.bin; });
        case DC_BINNAMES:
            return list_trays<WCHAR>(printer, output, kTrayNameUnits, [](const PaperTray& tray, WCHAR* name) {
                copy_text(name, kTrayNameUnits, tray.name.c_str());
            });
        case DC_SIZE:
            return sizeof(DEVMODEW);
        case DC_EXTRA:
            return sizeof(PrivateDevMode);
        case DC_VERSION:
        case DC_DRIVER: {
            DriverDevMode mode;
            InitDefaultDevMode(printer, mode);
            return capability == DC_VERSION ? mode.dmSpecVersion : mode.dmDriverVersion;
        }
        case DC_ENUMRESOLUTIONS:
            return list_resolutions(output);
        case DC_TRUETYPE:
            return DCTT_DOWNLOAD;
        case DC_ORIENTATION:
            return 90;  // degrees by which landscape is turned counterclockwise
        case DC_COPIES:
        case DC_COLORDEVICE:
            return 1;
        case DC_DUPLEX:
        case DC_FILEDEPENDENCIES:
        case DC_COLLATE:
        case DC_PRINTERMEM:
        case DC_STAPLE:
            return 0;
        default:
            return kNoSuchCapability;
    }
}

}  // namespace kv
