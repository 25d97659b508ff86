#include "tools/kvjob/json_commands.h"

#include "reader/dump.h"
#include "reader/record_fields.h"

namespace kvjob {
namespace {

bool write_check(const Options& options, Bytes file, JsonWriter& json) {
    const std::vector<Finding> findings = check_job(file, kMostFindings, options.memory());
    json.member("sound", findings.empty());
    json.member("findings", findings_json(findings));
    return findings.empty();
}

void write_dump(const Options& options, Bytes file, JsonWriter& json) {
    BodyReader bodies(options.memory());
    json.begin_list("records");
    for_each_record(file, wanted_pages(options, file),
                    [&](const Record& record) { json.item(record_json(record, bodies)); });
}

void write_fonts(const Options& options, Bytes file, const OpenOutput& open, Reports& reports, JsonWriter& json) {
    const JobMap map(file, options.memory());
    FontStore store(map);
    Json files = Json::array();
    auto visit = [&](const std::variant<ListedFont, ListedFontFile>& found) {
        if (const auto* font = std::get_if<ListedFont>(&found)) return json.item(font_json(*font));
        const auto& font_file = std::get<ListedFontFile>(found);
        files.push_back(font_file_json(font_file));
        if (!open) return;
        extract_font(font_file, open);
        files.back()["extracted"] = font_file.name;
    };
    json.begin_list("fonts");
    for_each_font(map, store, visit, reports);
    json.member("files", files);
}

void write_images(const Options& options, Bytes file, const OpenOutput& open, Reports& reports, JsonWriter& json) {
    auto visit = [&](const FoundImage& found) {
        Json image = image_json(found);
        if (open) image["extracted"] = extract_image(found, open);
        json.item(image);
    };
    json.begin_list("images");
    for_each_image(file, options.memory(), visit, reports);
}

void write_text(const Options& options, Bytes file, Reports& reports, JsonWriter& json) {
    const JobMap map(file, options.memory());
    FontStore fonts(map);
    json.begin_list("pages");
    for (const size_t page : chosen_pages(options, map.pages().size())) {
        json.item({{"page", page}, {"lines", lines_json(page_words(map, fonts, page - 1, reports))}});
    }
    if (map.broken()) throw *map.broken();
}

}  // namespace

bool write_json(const Options& options, Bytes file, const OpenOutput& open, Reports& reports, JsonWriter& json) {
    const std::string& command = options.command;
    if (command == "check") return write_check(options, file, json);
    if (command == "info") json.members(info_json(read_info(file, options.memory())));
    if (command == "dump") write_dump(options, file, json);
    if (command == "fonts") write_fonts(options, file, open, reports, json);
    if (command == "images") write_images(options, file, open, reports, json);
    if (command == "text") write_text(options, file, reports, json);
    return reports.count() == 0;
}

}  // namespace kvjob
