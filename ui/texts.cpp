#include "ui/texts.h"

#include "support/process_state.h"

namespace kv {

void load_text(UiText number, WCHAR* target, size_t capacity) {
    target[0] = 0;
    LoadStringW(process_state().resource_module, number, target, static_cast<int>(capacity));
}

UiLine filled_text(UiText number, const WCHAR* first, const WCHAR* second) {
    UiLine pattern, text;
    load_text(number, pattern);
    const WCHAR* next = first;
    for (const WCHAR* at = pattern.c_str(); *at; ++at) {
        const WCHAR unit[] = {*at, 0};
        if (at[0] == '%' && at[1] == 's') {
            if (next) text.append(next);
            next = second;
            ++at;
        } else {
            text.append(unit);
        }
    }
    return text;
}

void strip_label(UiLine& label) {
    WCHAR* out = label.data();
    for (const WCHAR* at = label.c_str(); *at; ++at) {
        if (at[0] == '(' && at[1] == '&' && at[2] && at[3] == ')') {
            at += 3;  // an access key behind a text without letters
        } else if (*at != '&') {
            *out++ = *at;
        }
    }
    while (out > label.c_str() && (out[-1] == ':' || out[-1] == ' ')) --out;
    *out = 0;
}

bool texts_run_right_to_left() {
    TextBuffer<8> direction;
    load_text(kTextReadingDirection, direction);
    return same_text_ignoring_case(direction.c_str(), TEXT("rtl"));
}

}  // namespace kv
