#include "report/job_json.h"

#include <cmath>

namespace kvjob {
namespace {

Json page_json(const IndexedPage& page) {
    return {{"width", page.width},
            {"height", page.height},
            {"orientation", page.orientation == 1 ? "portrait" : "landscape"},
            {"paper", page.paper},
            {"flags", page.flags},
            {"printable", rect_json(page.printable)},
            {"marks", page.marks.empty() ? Json() : rect_json(page.marks)}};
}

template <class Items, class Make>
Json array_of(const Items& items, Make make) {
    Json array = Json::array();
    for (const auto& item : items) array.push_back(make(item));
    return array;
}

}  // namespace

double rounded(double value) { return std::isfinite(value) ? std::round(value * 100) / 100 : 0; }

Json fault_json(uint64_t offset, const std::string& message) { return {{"offset", offset}, {"message", message}}; }

Json findings_json(const std::vector<Finding>& findings) {
    return array_of(findings, [](const Finding& finding) { return fault_json(finding.offset, finding.message); });
}

Json losses_json(const std::vector<Loss>& losses) {
    return array_of(losses, [](const Loss& loss) {
        return Json{{"offset", loss.offset}, {"bytes", loss.bytes}, {"message", loss.what}};
    });
}

Json info_json(const JobInfo& info) {
    Json json = {{"document", info.document}, {"application", info.application}};
    json["data"] = array_of(info.attached, [](const auto& pair) {
        return Json{{"name", pair.first}, {"value", pair.second}};
    });
    json["trays"] = array_of(info.trays, [](const Tray& tray) {
        return Json{{"number", tray.number}, {"name", tray.name}};
    });
    json["bytes"] = info.bytes;
    json["resolution"] = info.summary.resolution;
    json["pages"] = array_of(info.summary.pages, page_json);
    json["fonts"] = {{"definitions", info.fonts},
                     {"with_files", info.fonts_with_files},
                     {"files", info.files},
                     {"file_bytes", info.file_bytes}};
    json["images"] = array_of(info.images, [](const auto& kind) {
        return Json{{"bits", kind.first.first}, {"encoding", kind.first.second}, {"count", kind.second}};
    });
    json["records"] = array_of(info.types, [](const TypeCount& count) {
        const TypeInfo& type = type_info(count.type);
        return Json{{"type", count.type},
                    {"name", type.name},
                    {"wide", type.wide},
                    {"count", count.records},
                    {"bytes", count.bytes}};
    });
    return json;
}

Json font_json(const ListedFont& found) {
    const FontDefinition& font = found.definition;
    Json json = {{"id", hex_text(font.id)},       {"offset", found.offset},
                 {"height", font.height},         {"width", font.width},
                 {"weight", font.weight},         {"italic", font.italic},
                 {"underline", font.underline},   {"strike_out", font.strike_out},
                 {"escapement", font.escapement}, {"face", font.face}};
    json["file"] = font.file ? Json(hex_text(font.file->file)) : Json();
    json["member"] = font.file && font.file->member ? Json(*font.file->member) : Json();
    json["family"] = found.face ? Json(found.face->family()) : Json();
    return json;
}

Json font_file_json(const ListedFontFile& found) {
    return {{"id", hex_text(found.file.id)}, {"offset", found.offset}, {"bytes", found.file.bytes.size()}};
}

Json image_json(const FoundImage& found) {
    const Picture& picture = found.picture;
    Json json = {{"page", found.page},
                 {"offset", found.record.offset},
                 {"kind", name_of(found.kind)},
                 {"width", picture.width()},
                 {"height", picture.height()},
                 {"bits", picture.depth()},
                 {"encoding", picture.encoding()}};
    if (found.image) {
        json["source"] = rect_json(found.image->source);
        json["target"] = rect_json(found.image->target);
    }
    return json;
}

Json lines_json(const std::vector<PlacedLine>& lines) {
    return array_of(lines, [](const PlacedLine& line) {
        Json words = Json::array();
        for (const PlacedWord& word : line.words) {
            const Box box = box_of(word, line.angle);
            words.push_back({{"text", word.text},
                             {"box", {rounded(box.left), rounded(box.top), rounded(box.right), rounded(box.bottom)}}});
        }
        return Json{{"angle", line.angle}, {"words", std::move(words)}};
    });
}

}  // namespace kvjob
