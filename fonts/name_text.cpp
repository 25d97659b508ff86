#include "fonts/name_text.h"

#include <algorithm>
#include <cstring>

#include "fonts/name_table.h"
#include "support/assert.h"
#include "support/text.h"

namespace kv {
namespace {

constexpr UINT kLatin1 = 1252;
constexpr LANGID kPrimaryLanguage = 0x3FF, kEnglish = 0x09;

template <class Unit>
bool is_ascii(const Unit* text) {
    for (; *text; ++text) {
        if (static_cast<std::make_unsigned_t<Unit>>(*text) > 0x7F) return false;
    }
    return true;
}

// Copies a text whose units mean the same in both forms, with its terminating 0.
template <class To, class From>
BOOL copy_units(HeapArray<To>& target, const From* source) {
    size_t size = 1;
    while (source[size - 1]) ++size;
    if (!target.alloc(size, kQuietly)) return FALSE;
    for (size_t i = 0; i < size; ++i) target[i] = static_cast<To>(source[i]);
    return TRUE;
}

// ASCII is the same in every code page of fonts. A text that the system cannot convert gives none.
BOOL to_utf16(HeapArray<WCHAR>& target, const char* text, UINT code_page) {
    if (is_ascii(text)) return copy_units(target, text);
    const int bytes = static_cast<int>(std::strlen(text));
    const int units = MultiByteToWideChar(code_page, 0, text, bytes, nullptr, 0);
    if (units <= 0) return TRUE;
    if (!target.alloc(static_cast<size_t>(units) + 1, kQuietly)) return FALSE;
    MultiByteToWideChar(code_page, 0, text, bytes, target.get(), units);
    return TRUE;
}

BOOL to_code_page(HeapArray<char>& target, const WCHAR* text, UINT code_page) {
    if (is_ascii(text)) return copy_units(target, text);
    const int units = static_cast<int>(text_length(text));
    const int bytes = WideCharToMultiByte(code_page, 0, text, units, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0) return TRUE;
    if (!target.alloc(static_cast<size_t>(bytes) + 1, kQuietly)) return FALSE;
    WideCharToMultiByte(code_page, 0, text, units, target.get(), bytes, nullptr, nullptr);
    return TRUE;
}

// Piece by piece, because the system tells of replaced characters only where it converts.
bool units_fit(const WCHAR* text, UINT code_page) {
    constexpr size_t kPiece = 128;  // units, on the stack with up to 8 bytes each
    if (code_page == CP_UTF8 || is_ascii(text)) return true;
    for (size_t left = text_length(text); left > 0;) {
        size_t piece = std::min(left, kPiece);
        const bool splits_pair = piece < left && text[piece - 1] >= 0xD800 && text[piece - 1] < 0xDC00;
        if (splits_pair) --piece;
        char bytes[8 * kPiece];
        BOOL replaced = FALSE;
        const int written = WideCharToMultiByte(code_page, 0, text, static_cast<int>(piece), bytes,
                                                static_cast<int>(sizeof bytes), nullptr, &replaced);
        if (written <= 0 || replaced) return false;
        text += piece;
        left -= piece;
    }
    return true;
}

// 0 empty, 1 neither, 2 in the system's code page, 3 in 1252, 4 in both.
int representation_score(const NameText& text, UINT ansi_code_page) {
    if (text.empty()) return 0;
    HeapArray<WCHAR> converted;
    if (!text.wide() && !to_utf16(converted, text.ansi(), text.code_page())) return -1;
    const WCHAR* units = text.wide() ? text.wide() : converted.get();
    if (!units || !*units) return 0;
    if (!units_fit(units, kLatin1)) return ansi_code_page != kLatin1 && units_fit(units, ansi_code_page) ? 2 : 1;
    return ansi_code_page == kLatin1 || units_fit(units, ansi_code_page) ? 4 : 3;
}

BOOL take(NameSlot& slot, const NameText& text, LANGID language, int score) {
    if (score <= slot.score) return TRUE;
    KV_ASSERT(score <= 5 && !text.empty());
    slot.score = score;
    slot.language = language;
    return slot.text.assign(text);
}

BOOL offer_to_pair(NamePair& pair, const NameText& text, LANGID language, int score) {
    return (!text.ansi() || take(pair.ansi, text, language, score)) &&
           (!text.wide() || take(pair.wide, text, language, score));
}

BOOL copy_slot(NameSlot& target, const NameSlot& source) {
    target.language = source.language;
    target.score = source.score;
    return target.text.assign(source.text);
}

BOOL merge_pair(NamePair& pair) {
    const bool has_ansi = !pair.ansi.text.empty(), has_wide = !pair.wide.text.empty();
    if (!has_ansi && !has_wide) return TRUE;
    const LANGID ansi = pair.ansi.language & kPrimaryLanguage, wide = pair.wide.language & kPrimaryLanguage;
    const bool ansi_is_foreign = ansi != kEnglish && ansi != 0, wide_is_foreign = wide != kEnglish && wide != 0;
    BOOL ok = TRUE;
    if (!has_ansi || (has_wide && ansi_is_foreign && wide == kEnglish)) {
        ok = copy_slot(pair.ansi, pair.wide);
    } else if (!has_wide || (ansi == kEnglish && wide_is_foreign)) {
        ok = copy_slot(pair.wide, pair.ansi);
    }
    return ok && pair.ansi.text.ensure_ansi() && pair.wide.text.ensure_wide();
}

}  // namespace

void NameText::adopt_wide(HeapArray<WCHAR> units, UINT code_page) {
    reset();
    wide_ = std::move(units);
    code_page_ = code_page;
}

void NameText::adopt_ansi(HeapArray<char> bytes, UINT code_page) {
    reset();
    ansi_ = std::move(bytes);
    code_page_ = code_page;
}

BOOL NameText::assign(const NameText& other) {
    if (this == &other) return TRUE;
    reset();
    code_page_ = other.code_page_;
    return (!other.wide_ || copy_units(wide_, other.wide_.get())) &&
           (!other.ansi_ || copy_units(ansi_, other.ansi_.get()));
}

BOOL NameText::assign_wide(const WCHAR* text) {
    reset();
    return copy_units(wide_, text);
}

void NameText::reset() {
    wide_.reset();
    ansi_.reset();
    code_page_ = 0;
}

BOOL NameText::ensure_wide() { return wide_ || !ansi_ || to_utf16(wide_, ansi_.get(), code_page_); }

BOOL NameText::ensure_ansi() { return ansi_ || !wide_ || to_code_page(ansi_, wide_.get(), code_page_); }

Fits fits_code_page(const NameText& text, UINT code_page) {
    HeapArray<WCHAR> converted;
    if (!text.wide() && text.ansi() && !to_utf16(converted, text.ansi(), text.code_page())) return Fits::NoMemory;
    const WCHAR* units = text.wide() ? text.wide() : converted.get();
    return units && units_fit(units, code_page) ? Fits::Yes : Fits::No;
}

int NameScore(const NameText& text, LANGID language, UINT ansi_code_page) {
    const int score = representation_score(text, ansi_code_page);
    return score >= 3 && (language & kPrimaryLanguage) == kEnglish ? 5 : score;
}

int unique_id_score(const NameText& text, UINT ansi_code_page) { return representation_score(text, ansi_code_page); }

BOOL NameSet::offer(WORD name_id, const NameText& text, LANGID language, UINT ansi_code_page) {
    if (name_id == kNameUnique) {
        const int score = unique_id_score(text, ansi_code_page);
        return score >= 0 && take(unique, text, 0, score);
    }
    NamePair* pair = name_id == kNameFamily       ? &family
                     : name_id == kNameFull       ? &full
                     : name_id == kNamePostScript ? &postscript
                                                  : nullptr;
    if (KV_NEVER(!pair)) return TRUE;  // no other name is decoded
    const int score = NameScore(text, language, ansi_code_page);
    return score >= 0 && offer_to_pair(*pair, text, language, score);
}

BOOL NameSet::merge() {
    return merge_pair(family) && merge_pair(full) && merge_pair(postscript) && unique.text.ensure_wide();
}

}  // namespace kv
