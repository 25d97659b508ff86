#include "report/html_file.h"

#include <charconv>
#include <stdexcept>

#include "generated/report_page.h"
#include "report/base64.h"

namespace kvjob {
namespace {

template <size_t size>
std::string_view text_of(const unsigned char (&bytes)[size]) {
    return {reinterpret_cast<const char*>(bytes), size};
}

// As a content security policy names a source.
std::string source_of(std::string_view digest) {
    std::vector<uint8_t> bytes(digest.size() / 2);
    for (size_t i = 0; i < bytes.size(); ++i) {
        constexpr int kHexadecimal = 16;
        std::from_chars(digest.data() + 2 * i, digest.data() + 2 * i + 2, bytes[i], kHexadecimal);
    }
    return "'sha256-" + base64(bytes) + "'";
}

// Nothing is loaded, and no script or style counts but the file's own.
std::string policy() {
    return "default-src 'none'; img-src data:; style-src " + source_of(k_report_css_sha256) + "; script-src " +
           source_of(k_report_js_sha256) + "; base-uri 'none'; form-action 'none'";
}

// JSON in which nothing can end the element that holds it.
std::string inert(const Json& value) {
    std::string text;
    for (const char c : written(value)) {
        if (c == '<') {
            text += "\\u003c";
        } else if (c == '>') {
            text += "\\u003e";
        } else if (c == '&') {
            text += "\\u0026";
        } else {
            text += c;
        }
    }
    return text;
}

}  // namespace

std::string escaped(std::string_view text) {
    std::string safe;
    for (const char c : text) {
        switch (c) {
            case '&':
                safe += "&amp;";
                break;
            case '<':
                safe += "&lt;";
                break;
            case '>':
                safe += "&gt;";
                break;
            case '"':
                safe += "&quot;";
                break;
            case '\'':
                safe += "&#39;";
                break;
            default:
                safe += c;
        }
    }
    return safe;
}

HtmlFile::HtmlFile(Output& out, const std::string& title) : out_(out), frame_(text_of(k_report_html)) {
    write(frame_before("{{policy}}"));
    write(policy());
    write(frame_before("{{title}}"));
    write(escaped(title));
    write(frame_before("{{style}}"));
    write(text_of(k_report_css));
    write(frame_before("{{first data}}"));
}

void HtmlFile::write(std::string_view text) {
    out_.write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

std::string_view HtmlFile::frame_before(std::string_view place) {
    const size_t at = frame_.find(place);
    if (at == std::string_view::npos) throw std::logic_error("the report's frame lacks a place");
    const std::string_view before = frame_.substr(0, at);
    frame_.remove_prefix(at + place.size());
    return before;
}

void HtmlFile::add(const std::string& name, const Json& value) {
    write("<script type=\"application/json\" id=\"data-" + name + "\">" + inert(value) + "</script>\n");
}

void HtmlFile::add_script() {
    write(frame_before("{{script}}"));
    write(text_of(k_report_js));
    write(frame_before("{{other data}}"));
}

void HtmlFile::finish() {
    write(frame_);
    out_.finish();
}

}  // namespace kvjob
