// What closes a job: the summary with the page index, names, and the position where all that begins.

#include "record/document.h"
#include "record/record_types.h"
#include "settings/paper_trays.h"
#include "support/assert.h"
#include "support/little_endian.h"
#include "support/record_buffer.h"

namespace kv {
namespace {

constexpr WORD kFormatLevel = 5, kIndexFollows = 2;
// Bytes. A summary without its two rectangles: level, flags, six statistics, resolution, number of pages.
constexpr DWORD kSummaryNumbers = 2 + 4 + 6 * 4 + 2 + 4;
constexpr DWORD kSummary16Size = kSummaryNumbers + 2 * kRect16Size, kPage16Size = 8 + 2 * 2 + 2 * kRect16Size;
constexpr DWORD kSummary32Size = kSummaryNumbers + 2 * kRect32Size, kPage32Size = 8 + 2 * 4 + 2 * kRect32Size;
constexpr DWORD kSummaryIndexFollowsSize = 58;
static_assert(kSummary16Size == 52 && kPage16Size == 28 && kSummary32Size == 68);
static_assert(kPage32Size == sizeof(PageEntry));

// The two forms of the index differ in the width of coordinates only.
struct IndexForm {
    bool wide;

    void rect(ByteWriter& out, const RECTL& rect) const { wide ? put_rect32(out, rect) : put_rect16(out, rect); }
    void length(ByteWriter& out, LONG pixels) const {
        wide ? out.u32(static_cast<uint32_t>(pixels)) : out.u16(static_cast<uint32_t>(pixels));
    }
    DWORD payload(DWORD pages) const {
        return wide ? kSummary32Size + kPage32Size * pages : kSummary16Size + kPage16Size * pages;
    }
};

bool page_fits_16_bits(const PageEntry& page) {
    return fits_16_bits(page.width) && fits_16_bits(page.height) && fits_16_bits(page.printable) &&
           fits_16_bits(page.marks);
}

template <class Visit>
void for_each_page(const PageIndex& pages, Visit visit) {
    for (const CPageIndexBlock* block = pages.first(); block; block = block->next) {
        for (DWORD i = 0; i < block->count; ++i) visit(block->entries[i]);
    }
}

void put_summary(ByteWriter& out, const IndexForm& form, const Document& document, DWORD flags, DWORD pages) {
    const JobStatistics& statistics = document.statistics;
    out.u16(kFormatLevel);
    out.u32(flags);
    for (DWORD value : {statistics.largest_record, statistics.brushes, statistics.fonts, statistics.font_files,
                        statistics.largest_entry, statistics.largest_clip_rects}) {
        out.u32(value);
    }
    out.u16(document.settings.kv.Resolution);
    form.rect(out, normalized(document.portrait_marks));
    form.rect(out, normalized(document.landscape_marks));
    out.u32(pages);
}

void put_page(ByteWriter& out, const IndexForm& form, const PageEntry& page) {
    out.u32(page.position);
    out.u16(page.paper_size);
    out.u8(page.orientation);
    out.u8(page.flags);
    form.length(out, page.width);
    form.length(out, page.height);
    form.rect(out, page.printable);
    form.rect(out, page.marks);
}

BOOL write_index(Document& document) {
    DWORD pages = 0;
    IndexForm form = {!fits_16_bits(document.portrait_marks) || !fits_16_bits(document.landscape_marks)};
    for_each_page(document.pages, [&](const PageEntry& page) {
        ++pages;
        form.wide = form.wide || !page_fits_16_bits(page);
    });
    const DWORD flags = document.document_flags | (document.position < kPositionIdentifier ? DWORD{kDocumentSmall} : 0);
    if (form.wide) {
        BYTE index_follows[kSummaryIndexFollowsSize] = {};
        store_u16(index_follows, kIndexFollows);
        if (!document.WriteRecord(kRecordSummary, sizeof index_follows, index_follows)) return FALSE;
    }
    BYTE bytes[kSummary32Size];
    const BYTE type = form.wide ? kRecordPageIndex32 : kRecordSummary;
    if (!document.BeginRecord(type, form.payload(pages), FALSE)) return FALSE;
    ByteWriter summary(bytes);
    put_summary(summary, form, document, flags, pages);
    KV_ASSERT(summary.size() == form.payload(0) && pages == document.page_count);
    BOOL ok = document.WriteBytes(summary.data(), static_cast<DWORD>(summary.size()));
    for_each_page(document.pages, [&](const PageEntry& page) {
        ByteWriter out(bytes);
        put_page(out, form, page);
        KV_ASSERT(out.size() == form.payload(1) - form.payload(0));
        ok = ok && document.WriteBytes(out.data(), static_cast<DWORD>(out.size()));
    });
    return ok;
}

}  // namespace

BOOL Document::write_tray_names() {
    if (!trays) return TRUE;
    PaperTrays named;
    GetPaperTrays(printer_name.c_str(), named);
    const auto* listed = reinterpret_cast<const WORD*>(trays->data());
    const size_t count = trays->used() / sizeof(WORD);
    for (size_t i = 0; i < count; ++i) {
        const PaperTray* tray = named.find(listed[i]);
        if (!tray) continue;
        BYTE head[6] = {};  // a 32-bit 0, then the number
        store_u16(head + 4, listed[i]);
        CRecordBuffer body;
        if (!body.append(head, sizeof head) || !body.append_text(tray->name.c_str(), true)) return FALSE;
        if (!WriteRecord(kRecordPaperTray, body.size(), body.data())) return FALSE;
    }
    return TRUE;
}

BOOL Document::write_attached_data() {
    for (const AttachedData::Block* block = attached.first(); block; block = block->next) {
        if (!WriteRecord(kRecordAttachedData, block->size, block->data())) return FALSE;
    }
    return TRUE;
}

BOOL Document::write_trailer() {
    settings.kv.Compression = 0;  // nothing of the trailer is compressed
    KV_ASSERT(page_start == 0 && !pending.is_pending());
    BYTE trailer_position[4];
    store_u32(trailer_position, position);
    return write_index(*this) &&
           (document_name.empty() || WriteTextRecord(kRecordDocumentName, document_name.c_str())) &&
           (!settings.kv.application[0] || WriteStringRecord(kRecordApplicationName, settings.kv.application)) &&
           write_attached_data() && write_tray_names() &&
           WriteRecord(kRecordTrailerPosition, sizeof trailer_position, trailer_position);
}

}  // namespace kv
