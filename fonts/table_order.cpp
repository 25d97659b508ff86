#include "fonts/table_order.h"

#include <algorithm>
#include <iterator>

#include "fonts/cmap_table.h"
#include "fonts/name_table.h"
#include "fonts/table_layout.h"

namespace kv {
namespace {

// A table whose numbers lie in fixed places.
struct FixedTable {
    DWORD tag;
    std::span<const TableField> fields;
    DWORD least;  // a shorter table is left alone; a field beyond is there where the table holds it whole
};
constexpr FixedTable kFixedTables[] = {
    {tag("head"), HeadLayout::kFields, kSizeOf<HeadLayout>},
    {tag("hhea"), HheaLayout::kFields, kSizeOf<HheaLayout>},
    {tag("maxp"), MaxpLayout::kFields, MaxpLayout::kNumGlyphs.end()},
    {tag("OS/2"), Os2Layout::kFields, Os2Layout::kLineMetrics.end()},
    {tag("post"), PostLayout::kFields, kSizeOf<PostLayout>},
};
static_assert(MaxpLayout::kNumGlyphs.end() == 6 && Os2Layout::kLineMetrics.end() == 78);

const FixedTable* find_fixed(DWORD table_tag) {
    const auto found = std::ranges::find(kFixedTables, table_tag, &FixedTable::tag);
    return found != std::end(kFixedTables) ? &*found : nullptr;
}

}  // namespace

DWORD least_size(DWORD table_tag) {
    const FixedTable* fixed = find_fixed(table_tag);
    return fixed ? fixed->least : 0;
}

void swap_table(DWORD table_tag, std::span<BYTE> bytes, ByteOrder from) {
    if (const FixedTable* fixed = find_fixed(table_tag)) {
        if (bytes.size() >= fixed->least) swap_fields(bytes, fixed->fields);
        return;
    }
    switch (table_tag) {
        case tag("hmtx"):
            return swap_u16(bytes.data(), bytes.size() / 2);
        case tag("name"):
            return swap_name_table(bytes, from);
        case tag("cmap"):
            return swap_cmap(bytes, from);
    }
}

DWORD convertible_size(DWORD table_tag, DWORD length) {
    switch (table_tag) {
        case tag("post"):  // the strings behind its header are read where they lie
        case tag("hmtx"):
        case tag("loca"):
        case tag("name"):
        case tag("cmap"):
            return length;
    }
    const FixedTable* fixed = find_fixed(table_tag);
    return fixed ? std::min(length, fixed->fields.back().end()) : 0;
}

}  // namespace kv
