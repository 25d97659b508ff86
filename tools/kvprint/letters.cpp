#include "tools/kvprint/letters.h"

#include <algorithm>
#include <cstring>

namespace kvprint {

std::string kind_of(const fz_font& font) {
    constexpr size_t kTag = 4;
    if (font.t3procs || !font.buffer || font.buffer->len < kTag) return "other";
    auto begins_with = [&](const char* tag) { return std::memcmp(font.buffer->data, tag, kTag) == 0; };
    if (begins_with("OTTO")) return "OpenType";
    return begins_with("\0\1\0\0") || begins_with("true") || begins_with("ttcf") ? "TrueType" : "other";
}

size_t letters_of(const fz_text_span& span) {
    return static_cast<size_t>(
        std::count_if(span.items, span.items + span.len, [](const fz_text_item& item) { return item.gid > 0; }));
}

void count_letters(const fz_text& text, LettersOfKinds& letters) {
    for (const fz_text_span* span = text.head; span; span = span->next)
        letters[kind_of(*span->font)] += letters_of(*span);
}

}  // namespace kvprint
