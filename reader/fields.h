#pragma once

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "reader/geometry.h"

namespace kvjob {

// The fields of one record, as "name=value" or as members of a JSON object.
class Fields {
public:
    explicit Fields(bool json) : json_(json) {}

    void number(const char* name, int64_t value) { add(name, std::to_string(value)); }
    void real(const char* name, float value) {
        char text[32];
        std::snprintf(text, sizeof text, "%g", double{value});
        if (std::isfinite(value)) {
            add(name, text);
        } else {
            string(name, text);
        }
    }
    void hex(const char* name, uint32_t value) {
        char text[16];
        std::snprintf(text, sizeof text, json_ ? "\"0x%X\"" : "0x%X", value);
        add(name, text);
    }
    void string(const char* name, const std::string& value) { add(name, quoted(value)); }
    void rect(const char* name, const Rect& r) { add(name, list(r)); }
    void rects(const char* name, const std::vector<Rect>& all) {
        std::string text;
        for (const Rect& r : all) text += (text.empty() ? "" : ", ") + list(r);
        add(name, "[" + text + "]");
    }
    template <class Number>
    void numbers(const char* name, const std::vector<Number>& all) {
        std::string text;
        for (const Number number : all) text += (text.empty() ? "" : ", ") + std::to_string(number);
        add(name, "[" + text + "]");
    }
    void raw(const char* name, const std::string& value) { add(name, value); }

    const std::string& text() const { return text_; }

    static std::string quoted(const std::string& value) {
        std::string text = "\"";
        for (char c : value) {
            if (c == '"' || c == '\\') {
                text += '\\';
                text += c;
            } else if (static_cast<unsigned char>(c) < 0x20) {
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
                text += escape;
            } else {
                text += c;
            }
        }
        return text + "\"";
    }

private:
    static std::string list(const Rect& r) {
        return "[" + std::to_string(r.left) + ", " + std::to_string(r.top) + ", " + std::to_string(r.right) + ", " +
               std::to_string(r.bottom) + "]";
    }
    void add(const char* name, const std::string& value) {
        text_ += json_ ? std::string(", \"") + name + "\": " + value : std::string(" ") + name + "=" + value;
    }
    bool json_;
    std::string text_;
};

}  // namespace kvjob
