#include "report/html_report.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

#include "drawing/render_job.h"
#include "reader/utf.h"
#include "report/html_file.h"
#include "report/job_json.h"
#include "report/page_records.h"
#include "report/pictures.h"

namespace kvjob {
namespace {

constexpr size_t kMostFonts = 1000, kMostImages = 2000, kMostThumbnails = 400;

// A page's words for the layer over its picture: [angle, [[text, x, y, length, ascent, descent], ...]] for each line.
Json layer_of(const std::vector<PlacedLine>& lines) {
    Json all = Json::array();
    for (const PlacedLine& line : lines) {
        Json words = Json::array();
        for (const PlacedWord& word : line.words) {
            words.push_back({word.text, rounded(word.x), rounded(word.y), rounded(word.length), rounded(word.ascent),
                             rounded(word.descent)});
        }
        all.push_back({line.angle, std::move(words)});
    }
    return all;
}

class Report {
public:
    Report(const ReportedJob& job, const ReportOptions& options, Output& out)
        : job_(job),
          options_(options),
          summary_(find_summary(job.file)),
          map_(job.file, options.memory),
          fonts_(map_),
          texts_(fonts_, TextPainter::Fonts::Dropped),
          reports_([this](uint64_t at, const std::string& what) { leave_out(at, what); }),
          painter_(map_, summary_.resolution, BrushTable::Drawing::Pixels, reports_),
          info_(read_all_info()),
          pages_(chosen_pages()),
          html_(out, title()) {}

    size_t write() {
        html_.add("job", job_json());
        bool first = true;
        for (const size_t number : pages_) {
            if (options_.progress) {
                std::fprintf(stderr, "\rpage %zu of %zu", number, summary_.pages.size());
            }
            add_page(number);
            if (first) html_.add_script();
            first = false;
        }
        if (options_.progress) std::fputs("\r\033[K", stderr);
        add_fonts();
        add_images();
        guarded([&] { html_.add("document-records", document_records(job_.file, options_.memory)); });
        html_.add("left-out", left_out_);
        html_.finish();
        return reports_.count();
    }

private:
    void leave_out(uint64_t at, const std::string& what) {
        constexpr size_t kMostKept = 1000;
        if (left_out_.size() < kMostKept) left_out_.push_back(fault_json(at, what));
        if (options_.report) options_.report(at, what);
    }

    // What a fault of the job ends, and nothing else.
    template <class Action>
    void guarded(Action action) {
        try {
            action();
        } catch (const Fault& fault) {
            reports_.add(fault.offset, "job", fault.what());
        }
    }

    JobInfo read_all_info() {
        JobInfo info;
        info.bytes = job_.file.size();
        info.summary = summary_;
        guarded([&] { info = read_info(job_.file, options_.memory); });
        return info;
    }

    std::string title() const { return info_.document.empty() ? job_.name : info_.document; }

    // From 1, ascending.
    std::vector<size_t> chosen_pages() const {
        if (summary_.resolution == 0) throw std::runtime_error("the job does not tell its resolution");
        const size_t count = std::min(map_.pages().size(), summary_.pages.size());
        std::vector<size_t> chosen(std::min(count, kMostPages));
        std::iota(chosen.begin(), chosen.end(), size_t{1});
        if (options_.pages) chosen = options_.pages(count);
        std::erase_if(chosen, [&](size_t number) { return number < 1 || number > count; });
        std::ranges::sort(chosen);
        chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
        if (chosen.empty()) throw std::runtime_error("no such page; the job has " + std::to_string(count));
        return chosen;
    }

    Json job_json() const {
        constexpr size_t kLongestText = 65536;
        Json json = shortened(info_json(info_), kLongestText);
        json["name"] = job_.name;
        json["title"] = title();
        json["made_by"] = options_.made_by;
        json["shown"] = pages_;
        const std::vector<Finding> findings = check_job(job_.original, kMostFindings, options_.memory);
        json["findings"] = findings_json(findings);
        json["lost"] = losses_json(job_.losses);
        json["dots"] = options_.dots_per_inch;
        return json;
    }

    void add_page(size_t number) {
        const std::string name = std::to_string(number);
        html_.add("picture-" + name, picture(number - 1));
        guarded([&] { html_.add("text-" + name, layer_of(page_words(map_, fonts_, number - 1, reports_))); });
        guarded([&] { html_.add("records-" + name, page_records(map_, fonts_, number - 1, uses_)); });
    }

    Json picture(size_t page) {
        try {
            return page_picture(painter_, page, summary_.pages[page],
                                {summary_.resolution, options_.dots_per_inch, options_.memory});
        } catch (const Fault& fault) {
            reports_.add(fault.offset, "page", fault.what());
            return {{"error", fault.what()}};
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::runtime_error& error) {
            reports_.add(map_.pages()[page], "page", error.what());
            return {{"error", error.what()}};
        }
    }

    Json sample(const FontUse& use, const FontDefinition& font, Face* face) {
        try {
            return sample_line(texts_, use.longest, font, face);
        } catch (const BodyFault&) {
            return nullptr;
        }
    }

    void add_fonts() {
        Json list = Json::array();
        std::map<uint32_t, size_t> files;
        size_t more = 0;
        auto visit = [&](const std::variant<ListedFont, ListedFontFile>& found) {
            if (const auto* file = std::get_if<ListedFontFile>(&found)) {
                files[file->file.id] = file->file.bytes.size();
                return;
            }
            if (list.size() == kMostFonts) return void(++more);
            list.push_back(font_with_use(std::get<ListedFont>(found)));
            texts_.end_page();
        };
        guarded([&] { for_each_font(map_, fonts_, visit, reports_); });
        for (Json& font : list) {
            if (font["file"].is_null()) continue;
            const auto id = static_cast<uint32_t>(std::stoul(font["file"].get<std::string>(), nullptr, 16));
            if (const auto file = files.find(id); file != files.end()) font["file_bytes"] = file->second;
        }
        html_.add("fonts", {{"fonts", std::move(list)}, {"more", more}});
    }

    Json font_with_use(const ListedFont& found) {
        Json json = shortened(font_json(found));
        const FontUse use = uses_.contains(found.definition.id) ? uses_[found.definition.id] : FontUse();
        json["points"] = rounded(-72.0 * found.definition.height / summary_.resolution);
        json["runs"] = use.runs;
        json["glyphs"] = use.glyphs;
        json["used_on"] = use.pages;
        const auto& characters = use.longest.characters;
        json["sample_text"] = utf8_of(characters.begin(), characters.end());
        json["sample"] = use.runs > 0 ? sample(use, found.definition, found.face.get()) : Json();
        return json;
    }

    void add_images() {
        Json list = Json::array();
        size_t more = 0;
        auto visit = [&](const FoundImage& found) {
            if (list.size() == kMostImages) return void(++more);
            Json json = image_json(found);
            json["bytes"] = found.record.payload.size();
            if (list.size() < kMostThumbnails) json["thumbnail"] = thumbnail(found);
            list.push_back(std::move(json));
        };
        guarded([&] { for_each_image(job_.file, options_.memory, visit, reports_); });
        html_.add("images", {{"images", std::move(list)}, {"more", more}});
    }

    const ReportedJob& job_;
    const ReportOptions& options_;
    Summary summary_;
    JobMap map_;
    FontStore fonts_;
    TextPainter texts_;
    Json left_out_ = Json::array();
    Reports reports_;
    JobPainter painter_;
    JobInfo info_;
    std::vector<size_t> pages_;
    HtmlFile html_;
    FontUses uses_;
};

}  // namespace

size_t write_report(const ReportedJob& job, const ReportOptions& options, Output& out) {
    return Report(job, options, out).write();
}

}  // namespace kvjob
