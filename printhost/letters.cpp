#include "printhost/letters.h"

#include <algorithm>
#include <cstdint>

namespace kvprint {

std::string kind_of(const fz_font& font) {
    constexpr uint32_t kOtto = 0x4F54544F, kVersion1 = 0x00010000, kTrue = 0x74727565, kCollection = 0x74746366;
    if (font.t3procs || !font.buffer || font.buffer->len < sizeof(uint32_t)) return "other";
    uint32_t tag = 0;
    for (size_t i = 0; i < sizeof tag; ++i) tag = tag << 8 | font.buffer->data[i];
    if (tag == kOtto) return "OpenType";
    return tag == kVersion1 || tag == kTrue || tag == kCollection ? "TrueType" : "other";
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
