#include "reader/json.h"

namespace kvjob {

std::string written(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

std::string spaced(const Json& value) {
    if (!value.is_structured()) return written(value);
    std::string text;
    for (const auto& [name, member] : value.items()) {
        if (!text.empty()) text += ", ";
        if (value.is_object()) text += written(name) + ": ";
        text += spaced(member);
    }
    return value.is_object() ? "{" + text + "}" : "[" + text + "]";
}

std::string hex_text(uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", number);
    return text;
}

Json rect_json(const Rect& r) { return {r.left, r.top, r.right, r.bottom}; }

}  // namespace kvjob
