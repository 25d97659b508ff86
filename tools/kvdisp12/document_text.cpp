#include "tools/kvdisp12/document_text.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "dispatcher/safe_text.h"

namespace kvdisp12 {
namespace {

using Json = nlohmann::ordered_json;

// UTC, as RFC 3339 has it.
std::string time_text(int64_t milliseconds) {
    const time_t seconds = static_cast<time_t>(milliseconds / 1000);
    const std::tm* parts = std::gmtime(&seconds);
    char text[32] = "";
    if (parts) std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", parts);
    return text;
}

std::string number_text(int64_t number) { return number < 0 ? "-" : std::to_string(number); }

Json object_of(const Document& document) {
    const auto known = [](int64_t number) { return number < 0 ? Json() : Json(number); };
    return {{"id", document.id},
            {"uuid", document.uuid},
            {"state", name_of(document.state)},
            {"announced", time_text(document.announced)},
            {"changed", time_text(document.changed)},
            {"user", document.user},
            {"session", document.session},
            {"process", document.process},
            {"spoolerJob", document.spooler_job},
            {"printer", document.printer},
            {"name", document.name},
            {"pages", known(document.pages)},
            {"bytes", known(document.bytes)},
            {"source", document.source},
            {"target", document.target},
            {"error", document.error},
            {"attempts", document.attempts},
            {"deliveryName", document.delivery_name},
            {"deliveryId", document.delivery_id}};
}

Json object_of(const Summary& summary) {
    Json counts = Json::object();
    for (const auto& [state, count] : summary.counts) counts[state] = count;
    return {{"folder", summary.folder},
            {"fault", summary.fault},
            {"documents", counts},
            {"waiting", summary.waiting},
            {"oldestWaitingSeconds", summary.oldest_waiting},
            {"freeBytes", summary.free_space},
            {"lastErrors", summary.errors},
            {"needsAttention", needs_attention(summary)}};
}

// Texts of others may not be what they should: each bad byte becomes a question mark.
std::string written(const Json& json) { return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n'; }

}  // namespace

bool needs_attention(const Summary& summary) {
    constexpr int64_t kLongWait = 600;  // seconds
    return !summary.fault.empty() || summary.short_of_space || summary.oldest_waiting > kLongWait;
}

std::string table_of(const std::vector<Document>& documents) {
    std::string text = "     ID  STATE      ANNOUNCED             PAGES       BYTES  PRINTER, DOCUMENT\n";
    for (const Document& each : documents) {
        char line[128];
        std::snprintf(line, sizeof line, "%7lld  %-9s  %s  %5s  %10s  ", static_cast<long long>(each.id),
                      name_of(each.state), time_text(each.announced).c_str(), number_text(each.pages).c_str(),
                      number_text(each.bytes).c_str());
        text += line + in_quotes(each.printer) + ", " + in_quotes(each.name) + '\n';
    }
    return text;
}

std::string text_of(const Document& document) {
    std::string text;
    const Json all = object_of(document);
    for (const auto& [name, value] : all.items()) {
        text += name + ": " + (value.is_string() ? in_quotes(value.get<std::string>()) : value.dump()) + '\n';
    }
    return text;
}

std::string text_of(const Overview& overview) {
    std::string text = "no dispatcher runs\n";
    if (overview.running) {
        text = "dispatcher: process " + std::to_string(overview.running->process) + ", up for " +
               std::to_string(overview.running->seconds_up) + " s, " + std::to_string(overview.running->clients) +
               " clients\n";
    }
    for (const Summary& each : overview.summaries) {
        text += in_quotes(each.folder) + (needs_attention(each) ? ": NEEDS ATTENTION\n" : ":\n");
        if (!each.fault.empty()) {
            text += "  " + without_controls(each.fault) + '\n';
            continue;
        }
        for (const auto& [state, count] : each.counts) text += "  " + state + ": " + std::to_string(count) + '\n';
        text += "  waiting: " + std::to_string(each.waiting) + ", the oldest for " +
                std::to_string(each.oldest_waiting) + " s\n  free: " + std::to_string(each.free_space >> 20) + " MiB\n";
        for (const std::string& error : each.errors) text += "  error of document " + without_controls(error) + '\n';
    }
    return text;
}

std::string json_of(const std::vector<Document>& documents) {
    Json all = Json::array();
    for (const Document& each : documents) all.push_back(object_of(each));
    return written(all);
}

std::string json_of(const Document& document) { return written(object_of(document)); }

std::string json_of(const Overview& overview) {
    Json all = {{"running", nullptr}, {"folders", Json::array()}};
    if (overview.running) {
        all["running"] = {{"process", overview.running->process},
                          {"secondsUp", overview.running->seconds_up},
                          {"clients", overview.running->clients}};
    }
    for (const Summary& each : overview.summaries) all["folders"].push_back(object_of(each));
    return written(all);
}

}  // namespace kvdisp12
