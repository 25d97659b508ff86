#include <kvjob/kvjob.h>

#include "drawing/images.h"
#include "drawing/page_rows.h"
#include "drawing/page_words.h"
#include "drawing/render_job.h"
#include "reader/checker.h"
#include "reader/job_file.h"
#include "reader/names.h"
#include "reader/recover.h"

namespace karvo {
namespace {

// Faults of the reader as those of the library.
template <class Action>
auto translated(Action action, uint64_t offset = 0) {
    try {
        return action();
    } catch (const kvjob::Fault& fault) {
        throw Error(fault.offset, fault.what());
    } catch (const kvjob::BodyFault& fault) {
        throw Error(offset, fault.what());
    }
}

// What a caller's sink gets.
class SinkOutput : public kvjob::Output {
public:
    explicit SinkOutput(const Sink& sink) : sink_(sink) {}
    void write(kvjob::Bytes bytes) override { sink_(bytes); }
    void finish() override {}

private:
    const Sink& sink_;
};

kvjob::Reports::Take take_of(const Report& report) {
    return [&report](uint64_t offset, const std::string& message) {
        if (report) report(offset, message);
    };
}

Rect of(const kvjob::Rect& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

Document read_document(kvjob::Bytes file, const kvjob::Summary& summary) {
    Document document = {{}, {}, {}, summary.resolution, {}};
    for (const kvjob::IndexedPage& page : summary.pages) {
        const Rect printable = of(page.printable);
        document.pages.push_back(
            {page.position, page.width, page.height, printable, page.orientation != 1, page.paper});
    }
    kvjob::DocumentNames names = kvjob::read_names(file);
    document.title = std::move(names.title);
    document.application = std::move(names.application);
    document.attached = std::move(names.attached);
    return document;
}

}  // namespace

struct Job::State {
    State(kvjob::Bytes job, const Limits& limits) : bytes(job), memory(limits.memory), read_body(memory) {
        kvjob::expect_magic(job);
    }
    State(const std::string& path, const Limits& limits)
        : file(std::make_unique<kvjob::JobFile>(path, kvjob::JobFile::Large::Copied)),
          bytes(file->bytes()),
          memory(limits.memory),
          read_body(memory) {
        kvjob::expect_magic(bytes);
    }

    // Made when they are first needed.
    const kvjob::JobMap& the_map() {
        if (!map) map.emplace(bytes, memory);
        return *map;
    }
    const kvjob::Summary& the_summary() {
        if (!summary) summary = kvjob::find_summary(bytes);
        return *summary;
    }
    kvjob::FontStore& the_fonts() {
        if (!fonts) fonts.emplace(the_map());
        return *fonts;
    }
    uint64_t start_of(size_t page) {
        if (page >= the_map().pages().size()) throw std::out_of_range("the job has no such page");
        return the_map().pages()[page];
    }
    const kvjob::IndexedPage& indexed(size_t page) {
        start_of(page);
        if (page >= the_summary().pages.size()) throw std::out_of_range("the index has no such page");
        if (the_summary().resolution == 0) throw Error(0, "the job does not tell its resolution");
        return the_summary().pages[page];
    }
    kvjob::Placement placement(size_t page, double dots_per_inch) {
        if (!(dots_per_inch > 0)) throw std::invalid_argument("dots per inch must be above 0");
        return kvjob::place_page(indexed(page), dots_per_inch / the_summary().resolution);
    }

    std::unique_ptr<kvjob::JobFile> file;  // null for bytes of the caller
    kvjob::Bytes bytes;
    uint64_t memory;
    kvjob::BodyReader read_body;  // for the caller
    std::optional<kvjob::JobMap> map;
    std::optional<kvjob::Summary> summary;
    std::optional<Document> document;
    std::optional<kvjob::FontStore> fonts;
};

Records::Iterator::Iterator(Bytes file, uint64_t at, uint64_t end) : file_(file), at_(at), end_(end) { read(); }

void Records::Iterator::read() {
    if (at_ >= end_) return;
    const kvjob::Record record = translated([&] { return kvjob::read_record(file_, at_); });
    record_ = {record.offset,       record.type,    kvjob::type_info(record.type).name,
               record.compressed(), record.payload, record.inflated_length};
}

Records::Iterator& Records::Iterator::operator++() {
    at_ = static_cast<uint64_t>(record_.payload.data() - file_.data()) + record_.payload.size();
    read();
    return *this;
}

Job::Job(std::unique_ptr<State> state) : state_(std::move(state)) {}
Job::Job(Job&& other) noexcept = default;
Job& Job::operator=(Job&& other) noexcept = default;
Job::~Job() = default;

Job Job::open(const std::string& path) { return open(path, {}); }
Job Job::open(const std::string& path, const Limits& limits) {
    return translated([&] { return Job(std::make_unique<State>(path, limits)); });
}
Job Job::of(Bytes bytes) { return of(bytes, {}); }
Job Job::of(Bytes bytes, const Limits& limits) {
    return translated([&] { return Job(std::make_unique<State>(bytes, limits)); });
}

std::vector<Finding> Job::check(size_t most) const {
    std::vector<Finding> findings;
    for (auto& found : kvjob::check_job(state_->bytes, most, state_->memory)) {
        findings.push_back({found.offset, 0, found.message});
    }
    return findings;
}

std::vector<Finding> Job::recover(const Sink& sink) const {
    return translated([&] {
        SinkOutput out(sink);
        std::vector<Finding> findings;
        for (auto& loss : kvjob::recover_job(state_->bytes, out, state_->memory).losses) {
            findings.push_back({loss.offset, loss.bytes, loss.what});
        }
        return findings;
    });
}

const Document& Job::document() const {
    if (!state_->document) {
        state_->document = translated([&] { return read_document(state_->bytes, state_->the_summary()); });
    }
    return *state_->document;
}

Records Job::records() const { return {state_->bytes, kvjob::kMagicSize, state_->bytes.size()}; }

Records Job::records(size_t page) const {
    return translated([&] {
        const kvjob::Record start = kvjob::read_record(state_->bytes, state_->start_of(page));
        const uint64_t first = start.end(state_->bytes.data());
        uint64_t end = first;
        state_->the_map().for_each_record(page, [&](const auto& record) { end = record.end(state_->bytes.data()); });
        return Records(state_->bytes, first, end);
    });
}

Bytes Job::body(const Record& record) const {
    return translated([&] { return state_->read_body(kvjob::read_record(state_->bytes, record.offset)); },
                      record.offset);
}

std::string Job::text(size_t page, const Report& report) const {
    return translated([&] {
        state_->start_of(page);
        kvjob::Reports reports(take_of(report));
        return kvjob::page_text(state_->the_map(), state_->the_fonts(), page, reports);
    });
}

std::vector<Font> Job::fonts(const Report& report) const {
    return translated([&] {
        std::vector<Font> fonts;
        kvjob::Reports reports(take_of(report));
        kvjob::BodyReader read_body(state_->memory);
        for (const kvjob::Record& record : state_->the_map().font_records()) {
            const kvjob::TypeInfo& info = kvjob::type_info(record.type);
            if (info.body != kvjob::Body::Font) continue;
            try {
                const kvjob::FontDefinition font = kvjob::read_font(read_body(record));
                const auto file = font.file ? std::optional(font.file->file) : std::nullopt;
                fonts.push_back({font.id, font.face, -font.height, font.weight, font.escapement, font.italic, file});
            } catch (const kvjob::BodyFault& fault) {
                reports.add(record.offset, info.name, fault.what());
            }
        }
        return fonts;
    });
}

std::vector<uint8_t> Job::font_file(uint32_t id) const {
    return translated([&] {
        const kvjob::Record* record = state_->the_map().font_file(id);
        if (!record) throw kvjob::BodyFault("a font file that was not introduced");
        kvjob::BodyReader read_body(state_->memory);
        const Bytes bytes = kvjob::read_font_file(read_body(*record)).bytes;
        return std::vector<uint8_t>(bytes.begin(), bytes.end());
    });
}

void Job::for_each_image(const std::function<void(const Image&)>& visit, const Report& report) const {
    translated([&] {
        kvjob::Reports reports(take_of(report));
        kvjob::for_each_image(
            state_->bytes, state_->memory,
            [&](const kvjob::FoundImage& found) {
                const kvjob::Picture& picture = found.picture;
                visit({found.record.offset, found.page, kvjob::name_of(found.kind), picture.encoding(), picture.width(),
                       picture.height(), picture.depth(), picture.jpeg(),
                       [&](const auto& take) { picture.read([&](int32_t, kvjob::Picture::Row row) { take(row); }); }});
            },
            reports);
    });
}

std::pair<int, int> Job::size(size_t page, double dots_per_inch) const {
    return translated([&] {
        const kvjob::Placement place = state_->placement(page, dots_per_inch);
        return std::pair(place.width, place.height);
    });
}

void Job::draw(size_t page, const DrawOptions& options,
               const std::function<void(std::span<const uint32_t>)>& sink) const {
    translated([&] {
        const kvjob::Placement place = state_->placement(page, options.dots_per_inch);
        kvjob::Reports reports(take_of(options.report));
        kvjob::JobPainter painter(state_->the_map(), state_->the_summary().resolution,
                                  kvjob::BrushTable::Drawing::Pixels, reports);
        kvjob::draw_rows(painter, page, place, options.memory, sink);
    });
}

void Job::write_pdf(const PdfOptions& options, const Sink& sink) const {
    translated([&] {
        kvjob::RenderOptions rendering;
        rendering.format = kvjob::RenderOptions::Format::Pdf;
        rendering.title = options.title;
        rendering.dots_per_inch = options.dots_per_inch;
        rendering.memory = options.memory;
        rendering.open = [&](const std::string&) { return std::make_unique<SinkOutput>(sink); };
        if (!options.pages.empty()) {
            rendering.pages = [&](size_t) {
                std::vector<size_t> pages = options.pages;
                for (size_t& page : pages) ++page;
                return pages;
            };
        }
        kvjob::Reports reports(take_of(options.report));
        kvjob::render_job(state_->bytes, rendering, reports);
    });
}

}  // namespace karvo
