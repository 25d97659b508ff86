#include "printhost/letters.h"

#include <algorithm>

#include "printhost/sfnt.h"

namespace kvprint {

std::string kind_of(const fz_font& font) {
    if (font.t3procs) return "Type 3";
    if (!font.buffer || font.buffer->len < 4) return "other";
    const std::span<const uint8_t> program(font.buffer->data, font.buffer->len);
    if (is_sfnt(program)) return program[0] == 'O' ? "OpenType" : "TrueType";
    const bool is_type1 = (program[0] == '%' && program[1] == '!') || (program[0] == 0x80 && program[1] == 1);
    if (is_type1) return "Type 1";
    return program[0] == 1 && program[1] == 0 ? "CFF" : "other";
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
