#include "record/font_recorder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "fonts/font_names.h"
#include "fonts/ifi_metrics.h"
#include "fonts/process_fonts.h"
#include "record/document.h"
#include "record/record_types.h"
#include "record/text_layout.h"
#include "support/assert.h"
#include "support/little_endian.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

enum : BYTE { kClipEmbedded = 0x80, kClipTrueType = 0x20 };
enum : WORD { kReferenceEmbedded = 0x1, kReferenceMember = 0x2, kReferenceVertical = 0x4 };
constexpr WCHAR kFaceFiller = 0xFFFF;
constexpr LONG kBold = 700;

BYTE plain_clip_precision(const IFIMETRICS& metrics) {
    return metrics.flInfo & FM_INFO_TECH_TRUETYPE ? BYTE{kClipTrueType} : BYTE{0};
}

void set_face_name(LOGFONTW& font, const WCHAR* name) {
    std::fill(std::begin(font.lfFaceName), std::end(font.lfFaceName), kFaceFiller);
    copy_text(font.lfFaceName, std::size(font.lfFaceName), name);
}

void set_style(LOGFONTW& font, const FONTOBJ& object, const IFIMETRICS& metrics) {
    font.lfWeight = metrics.usWinWeight;
    if (object.flFontType & FO_SIM_BOLD) font.lfWeight = std::max(font.lfWeight, kBold);
    font.lfItalic = (metrics.fsSelection & FM_SEL_ITALIC) || (object.flFontType & FO_SIM_ITALIC);
    font.lfUnderline = (metrics.fsSelection & FM_SEL_UNDERSCORE) != 0;
    font.lfStrikeOut = (metrics.fsSelection & FM_SEL_STRIKEOUT) != 0;
    font.lfCharSet = metrics.jWinCharSet ? metrics.jWinCharSet : BYTE{DEFAULT_CHARSET};
    font.lfPitchAndFamily = metrics.jWinPitchAndFamily;
}

// Nobody is told when this fails: it serves those who look at the files.
void capture(const Document& document, std::span<const BYTE> file) {
    PathText folder, path;
    WCHAR name[16];
    format_text(name, std::size(name), TEXT("%08x.ttf"), document.position);
    if (!GetTempFolder(folder)) return;
    JoinPath(folder.c_str(), name, path);
    const HANDLE out =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (out == INVALID_HANDLE_VALUE) {
        KV_FAIL(Record, "not made: %s", TraceText(path.c_str()).c_str());
        return;
    }
    DWORD written = 0;
    if (!file.empty()) WriteFile(out, file.data(), static_cast<DWORD>(file.size()), &written, nullptr);
    if (written != file.size()) KV_FAIL(Record, "not whole: %s", TraceText(path.c_str()).c_str());
    CloseHandle(out);
}

// Whether the job carries the font's file.
bool decide_embedding(const Document& document, const EngineFont& font, bool installed) {
    CRegKey key;
    open_product_key(key, HKEY_CURRENT_USER);
    const WCHAR* family = family_name(*font.metrics);
    if (key.ReadDword(TEXT("CaptureFonts"), 0)) {
        KV_TRACE(Record, Info, "%s travels: CaptureFonts is set", TraceText(family).c_str());
        capture(document, font.file);
        return true;
    }
    if (key.ReadDword(TEXT("EmbedFonts"), 0)) {
        KV_TRACE(Record, Info, "%s travels: EmbedFonts is set", TraceText(family).c_str());
        return true;
    }
    const bool travels = !installed && ShouldEmbedFont(*font.metrics, font.file);
    KV_TRACE(Record, Info, "%s %s", TraceText(family).c_str(),
             installed ? "stays: it is installed under its file's names"
             : travels ? "travels: no face of its full names is installed"
                       : "stays: installed, or without a file that can be read");
    return travels;
}

// The file of a font that is to be embedded may not be there: the text keeps its font's name then.
ObjectPtr<RealizedFont> realize(Document& document, EngineFont font) {
    ObjectPtr<RealizedFont> realized(make_object<RealizedFont>());
    if (!realized) return nullptr;
    font.transform = realized->transform = cleaned(font.transform);
    realized->font = BuildFontLogFont(document, font);
    if (font.file.empty()) realized->font.lfClipPrecision = plain_clip_precision(*font.metrics);
    realized->layout = make_text_layout(font.object, *font.metrics, font.transform, realized->font.lfEscapement);
    const auto size = static_cast<DWORD>(font.file.size());
    realized->collection = IsCollection(font.file.data(), size);
    if (realized->collection == 1) {
        realized->member = find_collection_member(font.file.data(), size, realized->font.lfFaceName);
    }
    if (realized->font.lfClipPrecision == kClipEmbedded) {
        realized->identity.reset(make_object<FontIdentity>(make_font_identity(*font.object, *font.metrics, font.file)));
        if (!realized->identity) return nullptr;
    }
    return realized;
}

// In place of the face name: where the font's file is.
void set_reference(LOGFONTW& font, const RealizedFont& realized, DWORD file_id) {
    const bool is_member = realized.collection == 1;
    WORD flags = kReferenceEmbedded;
    if (is_member) flags |= kReferenceMember;
    if (font.lfFaceName[0] == kVerticalPrefix) flags |= kReferenceVertical;
    BYTE reference[sizeof font.lfFaceName] = {};
    ByteWriter out(reference);
    out.u32(file_id);
    out.u16(0);
    out.u16(flags);
    if (is_member) out.u32(static_cast<uint32_t>(realized.member));
    KV_ASSERT(file_id && !out.overflowed() && (!is_member || realized.member >= 0));
    std::memcpy(font.lfFaceName, reference, sizeof reference);
}

// What a definition says, compared byte by byte: a logical font as its record has it, and the identifier of the file
// that the job carries for it, 0 for none. A definition that keeps its face name does not say which file it belongs to.
struct FontDefinition {
    LOGFONTW font;
    DWORD file_id;
};
static_assert(sizeof(FontDefinition) == sizeof(LOGFONTW) + sizeof(DWORD));

// A member that the collection does not have by that name keeps its face name.
FontDefinition definition_of(const RealizedFont& realized, DWORD file_id) {
    FontDefinition definition = {realized.font, file_id};
    const bool lost_member = realized.collection == 1 && realized.member < 0;
    if (file_id && !lost_member) set_reference(definition.font, realized, file_id);
    return definition;
}

// What is held back comes first. When it cannot be written it is lost, and the document with it.
BOOL flush_held(Document& document) {
    if (document.pending.flush(document)) return TRUE;
    document.SetFailed();
    return FALSE;
}

BOOL write_definition(Document& document, RealizedFont& realized, const LOGFONTW& font) {
    ++document.statistics.fonts;
    if (!flush_held(document)) return FALSE;
    realized.id = document.new_identifier(process_state().font_ids);
    BYTE body[4 + sizeof font];
    ByteWriter out(body);
    out.u32(realized.id);
    out.bytes(&font, sizeof font);
    KV_ASSERT(realized.id && out.size() == sizeof body);
    return document.WriteRecord(kRecordFont, sizeof body, body);
}

// Finds the definition in the job, or writes it. The file comes first: fonts of different files may bear one name.
BOOL define(Document& document, RealizedFont& realized, std::span<const BYTE> file) {
    DWORD file_id = 0;
    if (realized.identity) {
        file_id = EmbedFontFile(document, file, *realized.identity);
        if (!file_id) return FALSE;
    }
    const FontDefinition definition = definition_of(realized, file_id);
    const std::span<const BYTE> content(reinterpret_cast<const BYTE*>(&definition), sizeof definition);
    if (const DWORD known = document.fonts.find(content)) {
        KV_TRACE(Record, Info, "font %X is reused", static_cast<unsigned>(known));
        realized.id = known;
        return TRUE;
    }
    if (!write_definition(document, realized, definition.font)) return FALSE;
    KV_TRACE(Record, Info, "font %X, %d high, %s", static_cast<unsigned>(realized.id),
             static_cast<int>(definition.font.lfHeight), file_id ? "with its file" : "by its name");
    document.fonts.add(content, realized.id);
    return TRUE;
}

}  // namespace

XFORML cleaned(XFORML transform) {
    constexpr FLOATL kRounding = 1e-5f;
    for (FLOATL* entry :
         {&transform.eM11, &transform.eM12, &transform.eM21, &transform.eM22, &transform.eDx, &transform.eDy}) {
        if (std::fabs(*entry) < kRounding) *entry = 0;
    }
    return transform;
}

RealizedFont* GetFontRecord(Document& document, const EngineFont& font) {
    if (!font.object->pvConsumer) font.object->pvConsumer = realize(document, font).release();
    auto* realized = static_cast<RealizedFont*>(font.object->pvConsumer);
    if (!realized) return nullptr;
    DWORD& which = document.document_number;
    if (which == 0) which = process_state().document_ids.next();
    if (realized->job_stamp == document.job_id && realized->document == which) return realized;
    if (!define(document, *realized, font.file)) return nullptr;
    realized->job_stamp = document.job_id;
    realized->document = which;
    return realized;
}

LOGFONTW BuildFontLogFont(Document& document, const EngineFont& font) {
    const IFIMETRICS& metrics = *font.metrics;
    const WCHAR* family = family_name(metrics);
    FamilyText installed;
    const bool found = find_installed_family(family, font.file, installed);
    LOGFONTW result = {};
    set_face_name(result, found ? installed.c_str() : family);
    set_size(result, font.transform, metrics);
    set_style(result, *font.object, metrics);
    result.lfOutPrecision = metrics.flInfo & FM_INFO_TECH_TRUETYPE ? 7 : 0;
    result.lfQuality = 2;
    result.lfClipPrecision =
        decide_embedding(document, font, found) ? BYTE{kClipEmbedded} : plain_clip_precision(metrics);
    return result;
}

DWORD EmbedFontFile(Document& document, std::span<const BYTE> file, const FontIdentity& identity) {
    constexpr DWORD kHead = 8;
    if (identity.size != 0) {  // what has no bytes is no file
        if (const DWORD known = document.font_files.find(content_of(identity))) return known;
    }
    if (file.empty() || identity.size == 0 || file.size() > 0xFFFFFFFF - kHead) {
        return KV_FAIL(Record, "no file, or one of 4 GiB, at position %u", static_cast<unsigned>(document.position));
    }
    DWORD* entry = document.font_files.add(content_of(identity), 0);
    if (!entry) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    ++document.statistics.font_files;
    if (!flush_held(document)) return 0;
    const DWORD id = *entry = document.new_identifier(process_state().font_file_ids);
    const auto size = static_cast<DWORD>(file.size());
    BYTE head[kHead];
    ByteWriter out(head);
    out.u32(id);
    out.u32(size);
    const BOOL written = document.BeginRecord(kRecordFontFile, size + kHead, TRUE) &&
                         document.WriteBytes(head, sizeof head) && document.WriteBytes(file.data(), size) &&
                         document.EndRecord();
    KV_TRACE(Record, Info, "font file %X, %u bytes%s", static_cast<unsigned>(id), static_cast<unsigned>(size),
             written ? "" : ": not written");
    return written ? id : 0;
}

}  // namespace kv
