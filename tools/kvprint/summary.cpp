#include "tools/kvprint/summary.h"

#include <cmath>

namespace kvprint {
namespace {

// Raised when a member goes or changes its meaning.
constexpr int kVersion = 1;

Json document_json(const Request& request) {
    Json document = {{"input", request.input}, {"output", nullptr}};
    if (!request.output.empty()) document["output"] = request.output;
    return document;
}

std::string counted(size_t count, const char* what) { return std::to_string(count) + ' ' + what; }

}  // namespace

std::string summary_text(const Request& request, const Played& played) {
    std::string text = (request.output.empty() ? request.input : request.output) + ": " +
                       counted(played.pages, played.pages == 1 ? "page" : "pages") + ", " +
                       counted(played.fills, "fills, ") + counted(played.strokes, "strokes, ") +
                       counted(played.texts, "texts, ") + counted(played.images, "images\n");
    for (const auto& [kind, letters] : played.letters) {
        text += "  letters in " + kind + " fonts: " + counted(letters.as_text, "as text, ") +
                counted(letters.as_outlines, "as outlines, ") + counted(letters.in_images, "in images, ") +
                counted(letters.stroked, "stroked\n");
    }
    for (const auto& [what, count] : played.otherwise) {
        if (count > 0) text += "  drawn otherwise: " + counted(count, what.c_str()) + "\n";
    }
    return text;
}

Json summary_json(const Request& request, const Played& played, double seconds) {
    constexpr double kMilliseconds = 1000;
    Json document = document_json(request);
    document["pages"] = played.pages;
    document["bytes"] = played.bytes > 0 ? Json(played.bytes) : Json(nullptr);
    document["seconds"] = std::round(seconds * kMilliseconds) / kMilliseconds;
    document["fills"] = played.fills;
    document["strokes"] = played.strokes;
    document["texts"] = played.texts;
    document["images"] = played.images;
    Json &letters = document["letters"] = Json::array(), &otherwise = document["otherwise"] = Json::array(),
         &warnings = document["warnings"] = Json::array();
    for (const auto& [kind, count] : played.letters) {
        letters.push_back({{"fonts", kind},
                           {"as_text", count.as_text},
                           {"as_outlines", count.as_outlines},
                           {"in_images", count.in_images},
                           {"stroked", count.stroked}});
    }
    for (const auto& [what, count] : played.otherwise) {
        if (count > 0) otherwise.push_back({{"what", what}, {"count", count}});
    }
    for (const Warning& warning : played.warnings) {
        warnings.push_back({{"page", warning.page > 0 ? Json(warning.page) : Json(nullptr)},
                            {"what", warning.what},
                            {"count", warning.count}});
    }
    return document;
}

Json fault_json(const Request& request, const std::string& error) {
    Json document = document_json(request);
    document["error"] = error;
    return document;
}

std::string written(Json documents) {
    const Json all = {{"version", kVersion}, {"documents", std::move(documents)}};
    return all.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace kvprint
