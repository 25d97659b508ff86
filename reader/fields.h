#pragma once
// The fields of one record, as "name=value" or as a JSON object.

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "reader/geometry.h"
#include "reader/json.h"

namespace kvjob {

class Fields {
public:
    enum class Form { Line, Object };

    // Lists that are longer than longest_list may be cut by whoever shows them.
    explicit Fields(Form form, size_t longest_list = SIZE_MAX) : form_(form), longest_list_(longest_list) {}

    void number(const char* name, int64_t number) { value(name, number); }
    // With as few digits as tell it apart; JSON has no word for what is not finite.
    void real(const char* name, float number) {
        char text[32];
        *std::to_chars(text, text + sizeof text - 1, number).ptr = '\0';
        if (!std::isfinite(number)) return string(name, text);
        form_ == Form::Object ? value(name, std::strtod(text, nullptr)) : add_text(name, text);
    }
    void hex(const char* name, uint32_t number) {
        const std::string text = hex_text(number);
        form_ == Form::Object ? value(name, text) : add_text(name, text);
    }
    void string(const char* name, const std::string& text) { value(name, text); }
    void rect(const char* name, const Rect& r) { value(name, rect_json(r)); }
    void rects(const char* name, const std::vector<Rect>& all) {
        Json list = Json::array();
        for (size_t i = 0; i < all.size() && i < longest_list_; ++i) list.push_back(rect_json(all[i]));
        if (list.size() < all.size()) number((std::string(name) + "_count").c_str(), static_cast<int64_t>(all.size()));
        value(name, std::move(list));
    }
    template <class Number>
    void numbers(const char* name, const std::vector<Number>& all) {
        value(name, Json(all));
    }
    void value(const char* name, Json json) {
        form_ == Form::Object ? void(object_[name] = std::move(json)) : add_text(name, spaced(json));
    }

    size_t longest_list() const { return longest_list_; }
    const std::string& text() const { return text_; }
    Json take() { return std::move(object_); }

private:
    void add_text(const char* name, const std::string& value) { text_ += std::string(" ") + name + "=" + value; }

    Form form_;
    size_t longest_list_;
    std::string text_;
    Json object_ = Json::object();
};

}  // namespace kvjob
