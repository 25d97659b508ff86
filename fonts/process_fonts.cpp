#include "fonts/process_fonts.h"

#include "fonts/font_names.h"
#include "fonts/full_name_reader.h"
#include "fonts/ifi_metrics.h"
#include "fonts/ttc.h"
#include "platform/guarded_call.h"
#include "support/trace.h"

namespace kv {
namespace {

ProcessFonts*& instance() {
    static ProcessFonts* fonts = nullptr;
    return fonts;
}

bool is_installed(const CTtfFullNameReader& reader) {
    ProcessFonts* fonts = process_fonts();
    if (!fonts) return false;
    const Holding held(fonts->installed_lock);
    for (DWORD i = 0; i < reader.full_name_count(); ++i) {
        if (fonts->installed.has_face(reader.full_name(i))) return true;
    }
    return false;
}

// Members share tables: each is turned back before the next is read. Those that the budget does not reach have no
// names.
bool has_installed_member(std::span<BYTE> collection) {
    CTtc members;
    members.set_data(collection.data(), static_cast<DWORD>(collection.size()));
    for (CTtf* member = members.first_member(); member && !members.budget().spent(); member = members.next_member()) {
        const std::span<BYTE> view = member->image();
        CTtfFullNameReader reader;
        if (!reader.SetFontData(view.data(), static_cast<DWORD>(view.size()), FALSE, member->member_offset())) continue;
        reader.share_budget(&members.budget());
        reader.ParseFont();
        reader.SetByteOrder(ByteOrder::File);
        if (is_installed(reader)) return true;
    }
    return false;
}

}  // namespace

BOOL create_process_fonts() {
    if (!instance()) instance() = make_object<ProcessFonts>();
    return instance() || KV_FAIL(Fonts, "no font counts as installed");
}

void release_process_fonts() { destroy_object(instance()); }

ProcessFonts* process_fonts() { return instance(); }

BOOL ShouldEmbedFont(const IFIMETRICS& metrics, std::span<const BYTE> file) {
    if (file.empty() || !has_font_file(metrics)) {
        KV_TRACE(Fonts, Info, "no: it has no file");
        return FALSE;
    }
    const auto size = static_cast<DWORD>(file.size());
    CTtfFullNameReader reader;
    if (!reader.LoadFromMemory(file.data(), size)) return FALSE;
    if (IsCollection(file.data(), size) == 1) {
        const bool installed = has_installed_member(reader.image());
        KV_TRACE(Fonts, Info, "%s of the collection is installed", installed ? "no: a member" : "yes: no member");
        return !installed;
    }
    if (!reader.ParseFont() || reader.full_name_count() == 0) {
        KV_TRACE(Fonts, Info, "no: the file has no full name");
        return FALSE;
    }
    const bool installed = is_installed(reader);
    KV_TRACE(Fonts, Info, "%s: %s", installed ? "no, installed" : "yes, not installed",
             TraceText(reader.full_name(0)).c_str());
    return !installed;
}

BOOL find_installed_family(const WCHAR* family, std::span<const BYTE> file, FamilyText& installed) {
    ProcessFonts* fonts = process_fonts();
    if (!fonts || file.empty()) return FALSE;
    BOOL found = FALSE;
    const Holding held(fonts->cache_lock);
    // Bytes of the file that cannot be read must not leave the lock held.
    if (!guarded_call([&] { found = ResolveFaceName(fonts->cache, family, file, installed); })) {
        return KV_FAIL(Fonts, "an exception in the file of %s", TraceText(family).c_str());
    }
    KV_TRACE(Fonts, Info, "%s is %s %s", TraceText(family).c_str(), found ? "installed as" : "not known by its file",
             found ? TraceText(installed.c_str()).c_str() : "");
    return found;
}

}  // namespace kv
