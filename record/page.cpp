// The pages of a document.

#include "record/document.h"
#include "record/record_types.h"
#include "settings/page_size.h"
#include "support/assert.h"
#include "support/little_endian.h"
#include "support/trace.h"

namespace kv {
namespace {

// Bins from here on are the printer's named trays.
constexpr SHORT kFirstNamedTray = 300;
// Page start data: a tray number follows.
constexpr BYTE kPageDataTray = 0x80;

bool lists_tray(const CGlobalObj& trays, WORD tray) {
    const auto* listed = reinterpret_cast<const WORD*>(trays.data());
    const size_t count = trays.used() / sizeof(WORD);
    KV_ASSERT(trays.used() % sizeof(WORD) == 0);
    for (size_t i = 0; i < count; ++i) {
        if (listed[i] == tray) return true;
    }
    return false;
}

}  // namespace

void AddInk(Pages& pages, const RECTL& rect) {
    const RECTL inked = intersection(normalized(rect), pages.surface_rect);
    if (!is_empty(inked)) pages.page_marks = union_of(pages.page_marks, inked);
}

void Pages::mark_page(BYTE flag) {
    if (PageEntry* page = pages.current()) page->flags = static_cast<BYTE>(page->flags | flag);
}

BOOL Pages::note_paper_tray(WORD tray) {
    if (!trays) {
        constexpr DWORD kStep = 1024;  // bytes: 512 trays at a time
        trays.reset(make_object<CGlobalObj>());
        if (!trays || !trays->Alloc(kStep, GMEM_MOVEABLE, kStep)) return FALSE;
    }
    return lists_tray(*trays, tray) || trays->append(&tray, sizeof tray);
}

BOOL Document::write_page_start() {
    const bool named_tray = (settings.dmFields & DM_DEFAULTSOURCE) && settings.dmDefaultSource >= kFirstNamedTray;
    if (!named_tray) return WriteEmptyRecord(kRecordPageStart);
    const WORD tray = static_cast<WORD>(settings.dmDefaultSource);
    if (!note_paper_tray(tray)) return FALSE;
    mark_page(kPageNamesTray);
    document_flags |= kDocumentNamesTray;
    BYTE body[3];
    ByteWriter out(body);
    out.u8(kPageDataTray);
    out.u16(tray);
    KV_ASSERT(out.size() == sizeof body);
    return WriteRecord(kRecordPageStartWithData, sizeof body, body);
}

BOOL Document::StartPage() {
    if (page_start != 0 && !EndPage()) return FALSE;
    PageEntry* page = pages.add();
    if (!page) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        KV_FAIL(Record, "no memory for the entry of page %u", static_cast<unsigned>(page_count + 1));
        SetFailed();
        return FALSE;
    }
    const PageSize paper = GetPaperSizePixels(settings, settings.kv.Resolution);
    page->position = position;
    page->paper_size = static_cast<WORD>(settings.dmPaperSize);
    page->orientation = LOBYTE(settings.dmOrientation);
    page->width = paper.width_px;
    page->height = paper.height_px;
    const RECTL printable = GetPrintableRect(settings);
    page->printable = normalized(printable);
    page->marks = kEmptyRect;
    surface_rect = {0, 0, printable.right - printable.left, printable.bottom - printable.top};
    page_marks = kEmptyRect;
    pending.clear();
    if (!write_page_start()) {
        SetFailed();
        return FALSE;
    }
    page_start = position;
    KV_ASSERT(page_start > page->position && pages.current() == page);
    KV_TRACE(Record, Info, "page %u at position %u, %d x %d pixels", static_cast<unsigned>(page_count + 1),
             static_cast<unsigned>(page->position), static_cast<int>(paper.width_px),
             static_cast<int>(paper.height_px));
    // The page's first drawing says everything again.
    current_clip.clear_head();
    clipped_by_captured = false;
    draw_state = DrawAttrs();
    text_state = TextState();
    return TRUE;
}

BOOL Document::EndPage() {
    BOOL ok = pending.flush(*this);
    if (ok) {
        ++page_count;
        KV_ASSERT(page_start != 0);
        page_start = 0;
        ok = WriteEmptyRecord(kRecordPageEnd);
        PageEntry* page = pages.current();
        if (ok && KV_ALWAYS(page)) {
            page->marks = page_marks;
            RECTL& marks = page->orientation == DMORIENT_PORTRAIT ? portrait_marks : landscape_marks;
            marks = union_of(marks, page_marks);
        }
    }
    pending.clear();
    if (!ok) SetFailed();
    return ok;
}

}  // namespace kv
