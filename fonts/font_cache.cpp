#include "fonts/font_cache.h"

#include <algorithm>
#include <cstring>

#include "fonts/font_names.h"
#include "fonts/ifi_metrics.h"
#include "fonts/md5.h"
#include "fonts/ttc.h"
#include "support/assert.h"
#include "support/paths.h"
#include "support/reg_key.h"
#include "support/time_text.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr const WCHAR* kCacheName = TEXT("FontCache");
constexpr const WCHAR* kPartNames[] = {TEXT("1"), TEXT("2")};
constexpr const WCHAR* kVersionValue = TEXT("Version");
constexpr const WCHAR* kHashValue = TEXT("Hash");
constexpr DWORD kVersion = 4;  // of the cache: another one's is made anew
constexpr REGSAM kCacheAccess = KEY_READ | KEY_WRITE | WRITE_DAC;

using Names = HeapArray<const WCHAR*>;

// The files of the installed fonts in ascending order. FALSE when memory is out, and when one has no name.
BOOL sorted_files(const TextList& files, Names& sorted) {
    if (files.count() == 0) return TRUE;
    if (!sorted.alloc(files.count())) return FALSE;
    const WCHAR** const end = sorted.get() + files.count();
    files.list(sorted.get());
    KV_ASSERT(end[-1]);
    if (std::any_of(sorted.get(), end, [](const WCHAR* name) { return *name == 0; })) {
        return KV_FAIL(Fonts, "an installed font without a file: the cache stays as it is");
    }
    std::sort(sorted.get(), end, [](const WCHAR* a, const WCHAR* b) { return compare_text_ignoring_case(a, b) < 0; });
    return TRUE;
}

Md5Digest digest_of(const Names& names, DWORD count) {
    Md5 md5;
    for (DWORD i = 0; i < count; ++i) {
        md5.update({reinterpret_cast<const BYTE*>(names[i]), text_length(names[i]) * sizeof(WCHAR)});
    }
    return md5.finish();
}

bool is_current(CRegKey& cache, const Md5Digest& digest) {
    Md5Digest stored;
    DWORD size = 0;
    return cache.ReadDword(kVersionValue, 0) == kVersion &&
           cache.read_raw(kHashValue, stored.data(), static_cast<DWORD>(stored.size()), &size) &&
           size == stored.size() && stored == digest;
}

// The value is a text, and one that says something.
const WCHAR* read_family(CRegKey& part, const WCHAR* name) {
    DWORD type = REG_NONE;
    if (RegQueryValueExW(part.handle(), name, nullptr, &type, nullptr, nullptr) != ERROR_SUCCESS || type != REG_SZ) {
        return nullptr;
    }
    const WCHAR* family = part.ReadString(name);
    return family && *family ? family : nullptr;
}

// Fills the parts of the cache from font files.
class CacheBuilder {
public:
    BOOL open(CRegKey& cache) {
        return by_unique_id_.Create(kCacheAccess, cache.handle(), kPartNames[0]) &&
               by_postscript_name_.Create(kCacheAccess, cache.handle(), kPartNames[1]);
    }

    void add_file(const WCHAR* path) {
        if (!FileExists(path)) return;
        CTtf font;
        font.LoadFromFile(path);
        const std::span<BYTE> image = font.image();
        if (IsCollection(image.data(), static_cast<DWORD>(image.size())) == 1) {
            add_members(image);
        } else {
            font.ParseFont();
            store(font);
        }
    }

    void stamp(const WCHAR* time) {
        by_unique_id_.write_string(nullptr, time);
        by_postscript_name_.write_string(nullptr, time);
    }

private:
    // Members share tables: each is turned back before the next is read. Those that the budget does not reach have no
    // names.
    void add_members(std::span<BYTE> collection) {
        CTtc members;
        members.set_data(collection.data(), static_cast<DWORD>(collection.size()));
        for (CTtf* member = members.first_member(); member && !members.budget().spent();
             member = members.next_member()) {
            const BOOL parsed = member->ParseFont();
            member->SetByteOrder(ByteOrder::File);
            if (parsed) store(*member);
        }
    }

    void store(const CTtf& font) {
        const FamilyText family(font.family().wide.text.wide()), postscript(font.postscript_name().wide.text.wide());
        TextBuffer<512> unique;
        if (IsVariableFont(font) || family.empty() || !font.unique_identifier(unique.data(), unique.capacity())) return;
        store_by_unique_id(font, unique.c_str(), family);
        if (!postscript.empty()) by_postscript_name_.write_string(postscript.c_str(), family.c_str());
    }

    // An identifier that two files of different families carry stands for neither: its family becomes empty.
    void store_by_unique_id(const CTtf& font, const WCHAR* unique, const FamilyText& family) {
        const bool known = by_unique_id_.ValueExists(unique);
        if (known && font.member_offset() != 0) return;
        const WCHAR* earlier = known ? read_family(by_unique_id_, unique) : family.c_str();
        const bool agree = earlier && same_text_ignoring_case(earlier, family.c_str());
        KV_ASSERT(!family.empty() && *unique);
        by_unique_id_.write_string(unique, agree ? family.c_str() : TEXT(""));
    }

    CRegKey by_unique_id_, by_postscript_name_;
};

void rebuild(CRegKey& cache, const Names& files, DWORD count, const Md5Digest& digest) {
    CacheBuilder builder;
    WCHAR folder[MAX_PATH];
    if (!builder.open(cache) || SHGetFolderPathW(nullptr, CSIDL_FONTS, nullptr, 0, folder) < 0) {
        KV_FAIL(Fonts, "no keys of the cache, or no folder of fonts");
        return;
    }
    KV_TRACE(Fonts, Info, "from %u files", static_cast<unsigned>(count));
    for (DWORD i = 0; i < count; ++i) {
        PathText path(files[i]);
        if (!find_last(files[i], '\\')) JoinPath(folder, files[i], path);
        builder.add_file(path.c_str());
    }
    cache.write(kHashValue, REG_BINARY, digest.data(), static_cast<DWORD>(digest.size()));
    cache.WriteDword(kVersionValue, kVersion);
    builder.stamp(current_time_text().c_str());
}

void open_part(CRegKey& key, const WCHAR* part) {
    PathText path(kProductKeyPath);
    for (const WCHAR* name : {kCacheName, part}) {
        path.append(TEXT("\\"));
        path.append(name);
    }
    key.Open(KEY_READ, HKEY_CURRENT_USER, path.c_str());
}

// Looks a name up in its UTF-16 form, then in its 8-bit form.
const WCHAR* find_family(CRegKey& part, const WCHAR* wide, const char* ansi, UINT code_page) {
    if (!part.is_open()) return nullptr;
    if (wide && *wide) {
        if (const WCHAR* family = read_family(part, wide)) return family;
    }
    PathText converted;
    if (!ansi || to_wide(converted.data(), converted.capacity(), ansi, code_page) == 0) return nullptr;
    return read_family(part, converted.c_str());
}

}  // namespace

BOOL CFontCache::refresh(DWORD parts) {
    if (!(parts & (kCacheByUniqueId | kCacheByPostScriptName)) || refreshed_) return TRUE;
    CRegKey product, cache;
    if (!create_product_key(product, HKEY_CURRENT_USER) || !cache.Create(kCacheAccess, product.handle(), kCacheName)) {
        return KV_FAIL(Fonts, "no key of the cache");
    }
    refreshed_ = true;
    Names sorted;
    if (!sorted_files(files(), sorted)) return TRUE;
    const Md5Digest digest = digest_of(sorted, files().count());
    if (!is_current(cache, digest)) rebuild(cache, sorted, files().count(), digest);
    return TRUE;
}

BOOL ResolveFaceName(CFontCache& cache, const WCHAR* family, std::span<const BYTE> file, FamilyText& installed) {
    const auto size = static_cast<DWORD>(file.size());
    if (!family || !*family || *family == kVerticalPrefix || file.empty()) return FALSE;
    if (IsCollection(file.data(), size) == 1 || !cache.refresh(kCacheByUniqueId | kCacheByPostScriptName)) return FALSE;
    CRegKey by_unique_id, by_postscript_name;
    open_part(by_unique_id, kPartNames[0]);
    open_part(by_postscript_name, kPartNames[1]);
    FontNames found;
    if ((!by_unique_id.is_open() && !by_postscript_name.is_open()) || !ReadFontNames(file.data(), size, found)) {
        return FALSE;
    }
    const NameText& unique = found.names.unique.text;
    const WCHAR* known = find_family(by_unique_id, unique.wide(), unique.ansi(), CP_ACP);
    if (!known && found.symbol == SymbolKind::None) {
        const NamePair& name = found.names.postscript;
        known =
            find_family(by_postscript_name, name.wide.text.wide(), name.ansi.text.ansi(), name.ansi.text.code_page());
    }
    if (known) installed.assign(known);
    return known != nullptr;
}

}  // namespace kv
