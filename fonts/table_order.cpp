#include "fonts/table_order.h"

#include <algorithm>

#include "fonts/cmap_table.h"
#include "fonts/name_table.h"

namespace kv {
namespace {

// A run of equal fields; unit 1 stays as it is.
struct Run {
    BYTE unit, count;
};
// Fields that exist only when the table is at least so long.
struct Extension {
    BYTE length;
    Run run;
};

// Versions, revision, checksum, magic; flags, units per em; the two dates; box, style, formats.
constexpr Run kHead[] = {{4, 4}, {2, 2}, {4, 4}, {2, 9}};
constexpr Run kHhea[] = {{4, 1}, {2, 16}};
constexpr Run kMaxp[] = {{4, 1}, {2, 1}};
constexpr Run kMaxpLong[] = {{4, 1}, {2, 14}};
// Up to sFamilyClass; PANOSE; Unicode ranges; vendor; up to usWinDescent.
constexpr Run kOs2[] = {{2, 16}, {1, 10}, {4, 4}, {1, 4}, {2, 8}};
constexpr Extension kOs2Extensions[] = {{82, {4, 1}}, {86, {4, 1}}, {88, {2, 1}}, {90, {2, 1}},
                                        {92, {2, 1}}, {94, {2, 1}}, {96, {2, 1}}};
constexpr Run kPost[] = {{4, 2}, {2, 2}, {4, 5}};

constexpr DWORD size_of(std::span<const Run> runs) {
    DWORD size = 0;
    for (const Run& run : runs) size += DWORD{run.unit} * run.count;
    return size;
}
static_assert(size_of(kHead) == 54 && size_of(kHhea) == 36 && size_of(kMaxp) == 6 && size_of(kMaxpLong) == 32 &&
              size_of(kOs2) == 78 && size_of(kPost) == 32);
constexpr DWORD kOs2LongSize = 96;

BYTE* swap_run(BYTE* at, Run run) {
    if (run.unit == 2) swap_u16(at, run.count);
    if (run.unit == 4) swap_u32(at, run.count);
    return at + run.unit * run.count;
}

void swap_runs(std::span<BYTE> bytes, std::span<const Run> runs) {
    if (bytes.size() < size_of(runs)) return;
    BYTE* at = bytes.data();
    for (const Run& run : runs) at = swap_run(at, run);
}

void swap_os2(std::span<BYTE> bytes) {
    if (bytes.size() < size_of(kOs2)) return;
    swap_runs(bytes, kOs2);
    BYTE* at = bytes.data() + size_of(kOs2);
    for (const Extension& extension : kOs2Extensions) {
        if (bytes.size() >= extension.length) at = swap_run(at, extension.run);
    }
}

}  // namespace

void swap_table(DWORD table_tag, std::span<BYTE> bytes, ByteOrder from) {
    switch (table_tag) {
        case tag("head"):
            return swap_runs(bytes, kHead);
        case tag("hhea"):
            return swap_runs(bytes, kHhea);
        case tag("hmtx"):
            return swap_u16(bytes.data(), bytes.size() / 2);
        case tag("maxp"):
            return swap_runs(bytes, bytes.size() >= size_of(kMaxpLong) ? std::span<const Run>(kMaxpLong) : kMaxp);
        case tag("OS/2"):
            return swap_os2(bytes);
        case tag("name"):
            return swap_name_table(bytes, from);
        case tag("cmap"):
            return swap_cmap(bytes, from);
        case tag("post"):
            return swap_runs(bytes, kPost);
    }
}

DWORD convertible_size(DWORD table_tag, DWORD length) {
    switch (table_tag) {
        case tag("head"):
            return std::min(length, size_of(kHead));
        case tag("hhea"):
            return std::min(length, size_of(kHhea));
        case tag("maxp"):
            return std::min(length, size_of(kMaxpLong));
        case tag("OS/2"):
            return std::min(length, kOs2LongSize);
        case tag("post"):  // the strings behind its header are read where they lie
        case tag("hmtx"):
        case tag("loca"):
        case tag("name"):
        case tag("cmap"):
            return length;
    }
    return 0;
}

}  // namespace kv
