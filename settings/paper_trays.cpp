#include "settings/paper_trays.h"

#include <algorithm>

#include "support/assert.h"
#include "support/reg_key.h"
#include "support/token.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr unsigned kFirstBin = 300, kEndOfBins = 32767;  // below lie the system's own, above what a SHORT cannot say

// The bin of a value name in canonical decimal form, or 0.
WORD bin_of(const WCHAR* name) {
    unsigned bin = 0;
    for (const WCHAR* at = name; *at; ++at) {
        if (*at < '0' || *at > '9' || (at == name && *at == '0')) return 0;
        bin = bin * 10 + (*at - WCHAR{'0'});
        if (bin >= kEndOfBins) return 0;
    }
    return static_cast<WORD>(bin >= kFirstBin ? bin : 0);
}

// The valid trays of one key by ascending bin; nothing when the key or memory cannot be had.
void read_source(HKEY root, REGSAM access, const WCHAR* path, PaperTrays& source) {
    source.entries.reset();
    source.count = 0;
    TextBuffer<512> trays_path(path);
    trays_path.append(TEXT("\\PaperTrays"));
    CRegKey key;
    if (!key.Open(access, root, trays_path.c_str())) return;
    DWORD values = 0;
    while (key.EnumValueName(values)) ++values;
    if (values == 0 || !source.entries.alloc(values, kQuietly)) return;
    for (DWORD i = 0; i < values; ++i) {
        const WCHAR* name = key.EnumValueName(i);
        WORD bin = name ? bin_of(name) : WORD{0};
        if (bin == 0) continue;
        PathText value_name(name);
        const WCHAR* text = key.ReadString(value_name.c_str());
        if (!text || !*text) continue;
        PaperTray& tray = source.entries[source.count++];
        KV_ASSERT(bin >= kFirstBin && bin < kEndOfBins);
        tray.bin = bin;
        tray.name.assign(text);
    }
    KV_ASSERT(source.count <= values);
    std::sort(source.entries.get(), source.entries.get() + source.count,
              [](const PaperTray& a, const PaperTray& b) { return a.bin < b.bin; });
}

// Adds a source's trays, where there is memory for them. An entry already there is replaced only when its place is at
// or behind `replaceable`.
void merge_source(PaperTrays& trays, const PaperTrays& source, size_t replaceable) {
    if (source.count == 0) return;
    HeapArray<PaperTray> merged;
    if (!merged.alloc(trays.count + source.count, kQuietly)) return;
    std::copy_n(trays.entries.get(), trays.count, merged.get());
    size_t known = trays.count, count = known;
    for (size_t i = 0; i < source.count; ++i) {
        PaperTray* end = merged.get() + known;
        PaperTray* same =
            std::find_if(merged.get(), end, [&](const PaperTray& t) { return t.bin == source.entries[i].bin; });
        if (same == end) {
            merged[count++] = source.entries[i];
        } else if (static_cast<size_t>(same - merged.get()) >= replaceable) {
            *same = source.entries[i];
        }
    }
    KV_ASSERT(known <= count && count <= known + source.count);
    trays.entries = std::move(merged);
    trays.count = count;
}

}  // namespace

const PaperTray* PaperTrays::find(WORD bin) const {
    for (size_t i = 0; i < count; ++i) {
        if (entries[i].bin == bin) return &entries[i];
    }
    return nullptr;
}

void GetPaperTrays(const WCHAR* printer, PaperTrays& trays) {
    trays.entries.reset();
    trays.count = 0;
    TextBuffer<512> printer_path;
    GetPrinterSettingsKeyPath(printer, printer_path);
    bool named = printer && *printer;
    PaperTrays source;

    read_source(HKEY_LOCAL_MACHINE, kProductKeyRead, kProductKeyPath, source);
    merge_source(trays, source, 0);
    if (named) {
        read_source(HKEY_LOCAL_MACHINE, printer_key_access(HKEY_LOCAL_MACHINE, kPrinterKeyRead), printer_path.c_str(),
                    source);
        merge_source(trays, source, 0);
    }
    size_t machine_wide = trays.count;
    KV_ASSERT(trays.count == 0 || trays.entries);
    bool administrator = is_administrator();
    read_source(HKEY_CURRENT_USER, kProductKeyRead, kProductKeyPath, source);
    merge_source(trays, source, administrator ? 0 : machine_wide);
    if (named) {
        read_source(HKEY_CURRENT_USER, kPrinterKeyRead, printer_path.c_str(), source);
        merge_source(trays, source, administrator ? 0 : machine_wide);
    }
    KV_TRACE(Settings, Info, "%u trays, %u of them the machine's", static_cast<unsigned>(trays.count),
             static_cast<unsigned>(machine_wide));
}

}  // namespace kv
