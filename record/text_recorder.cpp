#include "record/text_recorder.h"

#include <algorithm>

#include "fonts/ifi_metrics.h"
#include "record/clip_recorder.h"
#include "record/document.h"
#include "record/font_recorder.h"
#include "record/path_recorder.h"
#include "record/pending_text.h"
#include "record/text_layout.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

POINTL right_of(POINTL at, ULONG distance) { return {static_cast<LONG>(static_cast<ULONG>(at.x) + distance), at.y}; }

// The glyphs of a string one by one, from the batches of the engine.
class GlyphWalk {
public:
    // Stands at the first glyph.
    explicit GlyphWalk(STROBJ& text) : text_(text) {
        STROBJ_vEnumStart(&text_);
        settle();
    }
    bool at_glyph() const { return next_ < count_; }
    // The engine could not go on.
    bool failed() const { return failed_; }
    HGLYPH glyph() const {
        KV_ASSERT(at_glyph());
        return batch_[next_].hg;
    }
    POINTL position() const { return position_; }
    void advance() {
        ++next_;
        settle();
    }

private:
    // Takes further batches until one has a glyph.
    void settle() {
        while (next_ == count_ && more_) {
            next_ = count_ = 0;
            const BOOL result = STROBJ_bEnumPositionsOnly(&text_, &count_, &batch_);
            failed_ = result == static_cast<BOOL>(DDI_ERROR) || (count_ != 0 && !batch_);
            more_ = !failed_ && result;
            if (failed_) count_ = 0;
        }
        if (!at_glyph()) return;
        if (text_.ulCharInc == 0 || next_ == 0) {
            position_ = batch_[next_].ptl;
        } else {
            position_ = right_of(position_, text_.ulCharInc);
        }
    }

    STROBJ& text_;
    GLYPHPOS* batch_ = nullptr;
    ULONG count_ = 0, next_ = 0;
    POINTL position_ = {};
    bool more_ = true, failed_ = false;
};

// 0 also when the engine fails.
DWORD count_glyphs(STROBJ& text) {
    DWORD total = 0;
    BOOL more = TRUE;
    STROBJ_vEnumStart(&text);
    while (more) {
        ULONG count = 0;
        GLYPHPOS* glyphs = nullptr;
        more = STROBJ_bEnumPositionsOnly(&text, &count, &glyphs);
        if (more == static_cast<BOOL>(DDI_ERROR)) {
            KV_FAIL(Record, "the engine gives no glyphs");
            return 0;
        }
        total += count;
    }
    return total;
}

bool says_something(const WCHAR* units, DWORD count) {
    return std::any_of(units, units + count, [](WCHAR unit) { return unit != 0; });
}

// FALSE when the engine has no description or no transform of the font.
bool describe(FONTOBJ* object, EngineFont& font) {
    if (!object) return false;
    font.object = object;
    font.metrics = FONTOBJ_pifi(object);
    XFORMOBJ* transform = font.metrics ? FONTOBJ_pxoGetXform(object) : nullptr;
    if (!transform || XFORMOBJ_iGetXform(transform, &font.transform) == DDI_ERROR) return false;
    if (has_font_file(*font.metrics)) {
        ULONG size = 0;
        const void* bytes = FONTOBJ_pvTrueTypeFontFile(object, &size);
        if (bytes) font.file = {static_cast<const BYTE*>(bytes), size};
    }
    return true;
}

static_assert(std::size(TextBuffers().characters) >= kMostGlyphs && std::size(TextBuffers().glyphs) >= kMostGlyphs &&
              std::size(TextBuffers().positions) >= kMostGlyphs + 1);

// Cuts a string into records and writes or holds back each.
class StringRecorder {
public:
    StringRecorder(Document& document, const TextCall& call, const RealizedFont& font, DWORD glyphs)
        : document_(document),
          text_(*call.text),
          object_(call.font),
          layout_(font.layout),
          left_(glyphs),
          walk_(text_) {}

    BOOL record(const RECTL* opaque) {
        while (left_ > 0 && walk_.at_glyph()) {
            const DWORD count = gather();
            KV_ASSERT(count > 0 && count <= kMostGlyphs);
            if (walk_.failed()) {
                KV_FAIL(Record, "the engine gives no more glyphs: %u are left out, position %u",
                        static_cast<unsigned>(left_ + count), static_cast<unsigned>(document_.position));
                break;
            }
            buffers().positions[count] = end_position(buffers().positions[count - 1]);
            if (!write(opaque, count)) return FALSE;
            opaque = nullptr;  // painted behind the first record
        }
        return TRUE;
    }

private:
    bool by_index() const { return text_.flAccel & SO_GLYPHINDEX_TEXTOUT; }
    TextBuffers& buffers() { return document_.text_buffers; }

    // Fills the buffers for one record. Returns its glyphs.
    DWORD gather() {
        DWORD count = 0;
        for (; count < kMostGlyphs && left_ > 0 && walk_.at_glyph(); ++count, --left_) {
            const WCHAR unit = text_.pwszOrg[taken_++];
            by_index() ? buffers().glyphs[count] = static_cast<WORD>(unit) : buffers().characters[count] = unit;
            buffers().positions[count] = walk_.position();
            last_glyph_ = walk_.glyph();
            walk_.advance();
        }
        return count;
    }

    // Where the glyph behind the record stands, or would.
    POINTL end_position(POINTL last) {
        if (text_.ulCharInc != 0) return right_of(last, text_.ulCharInc);
        if (left_ > 0 && walk_.at_glyph()) return walk_.position();
        if (layout_.orientation == Orientation::Level) return {text_.rclBkGround.right, last.y};
        return Baseline(layout_, last).behind(last, rounded_advance(object_, last_glyph_));
    }

    BOOL write(const RECTL* opaque, DWORD count) {
        const FLONG displaced = text_.flAccel & SO_DXDY ? SO_DXDY : text_.flAccel & SO_ESC_NOT_ORIENT;
        const TextRun run = {&layout_,
                             opaque,
                             count,
                             by_index() ? nullptr : buffers().characters,
                             by_index() ? buffers().glyphs : nullptr,
                             buffers().positions,
                             displaced != 0};
        return document_.pending.hold_or_write<CPendingText>(document_, &PendingOperation::offer_text_run,
                                                             WriteTextRecord, run);
    }

    Document& document_;
    STROBJ& text_;
    FONTOBJ* object_;
    const TextLayout& layout_;
    DWORD left_, taken_ = 0;
    HGLYPH last_glyph_ = 0;
    GlyphWalk walk_;
};

}  // namespace

BOOL RecordText(Document& document, const TextCall& call) {
    STROBJ& text = *call.text;
    if (!text.pwszOrg) {
        KV_TRACE(Record, Warning, "a text without characters is left out");
        return TRUE;
    }
    const DWORD glyphs = count_glyphs(text);
    const bool has_area = call.opaque && !is_empty(*call.opaque);
    if (!has_area && !says_something(text.pwszOrg, glyphs)) return TRUE;
    EngineFont engine_font = {};
    if (!describe(call.font, engine_font)) {
        return KV_FAIL(Record, "the engine does not describe the font, position %u",
                       static_cast<unsigned>(document.position));
    }
    const RealizedFont* font = GetFontRecord(document, engine_font);
    if (!font) {
        KV_FAIL(Record, "%u glyphs are left out: no font, position %u", static_cast<unsigned>(glyphs),
                static_cast<unsigned>(document.position));
        return TRUE;
    }

    const RECTL* opaque = call.opaque;
    const TextState state = BuildTextState(*font, text, opaque, call.foreground, call.background);
    const RECTL ink = text.rclBkGround;
    const RECTL bounds = opaque && !is_empty(*opaque) ? union_of(ink, *opaque) : ink;
    if (!RecordClip(document, call.clip, &bounds) || !WriteTextState(document, state)) {
        document.SetFailed();
        return FALSE;
    }
    if (glyphs == 0) return TRUE;
    AddInk(document, ink);
    if (StringRecorder(document, call, *font, glyphs).record(opaque)) return TRUE;
    document.SetFailed();
    return FALSE;
}

}  // namespace kv
