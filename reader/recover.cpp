#include "reader/recover.h"

#include <algorithm>
#include <functional>

#include "reader/index.h"
#include "reader/job_writer.h"
#include "reader/picture.h"

namespace kvjob {
namespace {

enum Type : uint8_t { kEnd = 0, kHeader = 1, kStart = 2, kDocumentEnd = 3, kPage = 5, kPageEnd = 6, kSummary = 21 };
enum : uint8_t { kTrayPage = 44, kIndex = 55, kTrailerPosition = 38 };

bool starts_page(uint8_t type) { return type == kPage || type == kTrayPage; }

// The body by itself. Throws BodyFault.
void parse(const Record& record, Bytes body) {
    const TypeInfo& info = type_info(record.type);
    switch (info.body) {
        case Body::Unknown:
            throw BodyFault("record of type " + std::to_string(record.type));
        case Body::Empty:
        case Body::ClipReset:
            return Reader(body).expect_end();
        case Body::Header:
            if (body.size() != 8 || Reader(body).u32() != 0xC000000E) throw BodyFault("of another format");
            return;
        case Body::Brush:
            if (const Brush brush = read_brush(body); brush.kind == 5) Picture::of_bitmap(brush.bitmap);
            return;
        case Body::Font:
            return void(read_font(body));
        case Body::FontFile:
            return void(read_font_file(body));
        case Body::ClipRects:
            return void(read_clip_rects(body, info.wide));
        case Body::RectFill:
            return void(read_rect_fill(body, info.wide));
        case Body::TextState:
            return void(read_text_state(body));
        case Body::Text:
            return void(read_text(body, info.wide));
        case Body::Path:
        case Body::ClipPath:
            return void(read_path(body, info.wide));
        case Body::DrawState:
            return void(read_draw_state(body));
        case Body::PageStartData:
            return void(read_page_start_data(body));
        case Body::Bitmap:
        case Body::AlphaBlend:
        case Body::Transparent:
        case Body::Masked:
            return void(Picture::of(record, read_image(record.type, body)));
        case Body::Summary:
            if (!announces_index(body)) read_summary(body, false);
            return;
        case Body::Index:
            return void(read_summary(body, true));
        case Body::String:
            if (read_string(body).empty()) throw BodyFault("empty text");
            return;
        case Body::Tray:
            return void(read_tray(body));
        case Body::Attached:
            return void(read_attached(body));
        case Body::TrailerPosition:
            if (body.size() != 4) throw BodyFault("of another length");
            return;
    }
}

// What may stand behind a record whose bytes are common in other data.
bool may_follow(uint8_t type, uint8_t next) {
    if (type == kEnd) return next == kSummary;
    if (type == kDocumentEnd) return next == kEnd;
    if (type == kPageEnd) return starts_page(next) || next == kDocumentEnd || next == 7 || next == 9 || next == 28;
    return next != kEnd && next != kHeader;
}

class Saving {
public:
    Saving(Bytes file, Output& out, uint64_t memory)
        : file_(file), out_(out, build_of(file), memory), bodies_(memory) {}

    Recovery run() {
        walk();
        close_page(true);
        find_index();
        if (found_.pages != 0 && index_ && index_->pages.size() > found_.pages) {
            lose(file_.size(), 0, std::to_string(index_->pages.size() - found_.pages) + " pages are not there");
        }
        if (!told_offset_) lose(file_.size(), 0, "no trailer position: names before it may be missing");
        if (!index_) lose(file_.size(), 0, "no index: the resolution and the sizes of the pages are assumed");
        constexpr uint16_t kResolution = 600;
        const uint16_t resolution = index_ && index_->resolution ? index_->resolution : kResolution;
        out_.finish(index_entries(), resolution, index_ ? index_->largest_record : 0);
        std::ranges::stable_sort(found_.losses, {}, &Loss::offset);
        return std::move(found_);
    }

private:
    // Either the magic or the header tells that it is a job.
    static uint8_t build_of(Bytes file) {
        constexpr size_t kHeaderSize = 10, kBuild = 7;
        if (file.size() < kMagicSize + kHeaderSize) expect_magic(file);
        try {
            const Record header = read_record(file, kMagicSize);
            if (header.type == kHeader && header.payload.size() + 2 == kHeaderSize) {
                parse(header, header.payload);
                return header.payload[kBuild];
            }
        } catch (const std::runtime_error&) {  // told by the walk
        }
        expect_magic(file);
        return 0;
    }

    // The record at an offset, when its framing and its body are sound and what follows fits.
    std::optional<Record> sound_record(uint64_t at, std::string& why) {
        try {
            const Record record = read_record(file_, at);
            body_ = bodies_(record);
            parse(record, body_);
            const uint64_t end = record.end(file_.data());
            if (end + 1 < file_.size() && (record.type == kEnd || record.type == kDocumentEnd)) {
                if (!may_follow(record.type, file_[end])) throw BodyFault("what follows is not what must");
            }
            return record;
        } catch (const std::runtime_error& fault) {
            why = fault.what();
            return std::nullopt;
        }
    }

    // Records follow one another from here, or the trailer position ends the file.
    bool is_plausible(uint64_t at) {
        constexpr int kRecords = 3;
        std::string why;
        std::optional<uint8_t> before;
        for (int i = 0; i < kRecords; ++i) {
            const std::optional<Record> record = at < file_.size() ? sound_record(at, why) : std::nullopt;
            if (!record || (before && !may_follow(*before, record->type))) return false;
            at = record->end(file_.data());
            before = record->type;
            if (at == file_.size()) return record->type == kTrailerPosition;
        }
        return true;
    }

    uint64_t next_plausible(uint64_t at) {
        while (at < file_.size() && !is_plausible(at)) ++at;
        return at;
    }

    void walk() {
        try {
            expect_magic(file_);
        } catch (const Fault& fault) {
            lose(0, kMagicSize, fault.what());
        }
        for (uint64_t at = kMagicSize; at < file_.size();) {
            std::string why;
            const std::optional<Record> record = sound_record(at, why);
            if (record) {
                const uint64_t end = record->end(file_.data());
                take(*record, end - at);
                at = end;
                continue;
            }
            const uint64_t next = behind_damage(at);
            lose(at, next - at, why);
            at = next;
        }
    }

    // A record whose length is right is left out alone.
    uint64_t behind_damage(uint64_t at) {
        try {
            const uint64_t end = read_record(file_, at).end(file_.data());
            if (end == file_.size() || is_plausible(end)) return end;
        } catch (const Fault&) {
        }
        return next_plausible(at + 1);
    }

    void take(const Record& record, uint64_t size) {
        const TypeInfo& info = type_info(record.type);
        if (info.body == Body::Summary || info.body == Body::Index) {
            if (info.body == Body::Index || !announces_index(body_)) walked_ = read_summary(body_, info.wide);
            if (info.body == Body::Summary) summary_offset_ = record.offset;
        } else if (info.body == Body::String || info.body == Body::Tray || info.body == Body::Attached) {
            out_.add_name(record.type, body_);
        } else if (info.body == Body::TrailerPosition) {
            told_offset_ = Reader(body_).u32();
        } else if (starts_page(record.type)) {
            close_page(true);
            open_page(record.offset, record.type == kTrayPage ? read_page_start_data(body_).tray : std::nullopt);
        } else if (record.type == kPageEnd) {
            close_page(false);
        } else if (record.type == kDocumentEnd) {
            close_page(true);
        } else if (info.body != Body::Empty && info.body != Body::Header) {
            if (info.in_page && !out_.in_page()) open_page(record.offset, std::nullopt);  // its start was lost
            if (const auto why = out_.add(record, body_, source_)) lose(record.offset, size, *why);
        }
    }

    void open_page(uint64_t offset, std::optional<uint16_t> tray) {
        pages_.push_back(offset);
        ++found_.pages;
        out_.start_page(tray);
    }
    // too_early: without its end record.
    void close_page(bool too_early) {
        if (out_.in_page() && too_early) lose(pages_.back(), 0, "page " + std::to_string(pages_.size()) + " is cut");
        out_.end_page();
    }

    void lose(uint64_t offset, uint64_t bytes, const std::string& what) {
        found_.losses.push_back({offset, bytes, what});
    }

    void find_index() {
        index_ = walked_;
        try {
            if (!index_) index_ = find_summary(file_);
        } catch (const Fault&) {  // lost
        }
    }

    // Positions in the index are true up to the damage; behind missing bytes they are too large by these.
    std::vector<IndexedPage> index_entries() const {
        const std::vector<IndexedPage> none, &told = index_ ? index_->pages : none;
        const uint64_t missing =
            summary_offset_ && told_offset_ > summary_offset_ ? *told_offset_ - *summary_offset_ : 0;
        std::vector<IndexedPage> entries;
        size_t next = 0;
        for (size_t i = 0; i < pages_.size(); ++i) {
            auto at = [&](uint64_t position) {
                return std::find_if(told.begin(), told.end(),
                                    [&](const IndexedPage& page) { return page.position == position; });
            };
            auto entry = at(pages_[i]);
            if (entry == told.end()) entry = at(pages_[i] + missing);
            if (entry == told.end() && next < told.size()) entry = told.begin() + static_cast<ptrdiff_t>(next);
            if (entry != told.end()) next = static_cast<size_t>(entry - told.begin()) + 1;
            entries.push_back(entry != told.end() ? *entry : assumed(out_.pages()[i].drawn));
        }
        return entries;
    }

    // A4 at 600 dots per inch, marked all over, for nothing tells where its texts are.
    static IndexedPage assumed(const Rect& drawn) {
        constexpr int32_t kWidth = 4961, kHeight = 7016;
        constexpr uint16_t kA4 = 9;
        const int32_t width = std::max(kWidth, drawn.empty() ? 0 : drawn.right);
        const int32_t height = std::max(kHeight, drawn.empty() ? 0 : drawn.bottom);
        const Rect all = {0, 0, width, height};
        return {0, kA4, 1, 0, width, height, all, all};
    }

    Bytes file_;
    JobWriter out_;
    RecordSource source_;
    Recovery found_;
    std::vector<uint64_t> pages_;  // where they start in the damaged job
    BodyReader bodies_;
    Bytes body_;  // of the record that was read last
    std::optional<Summary> walked_, index_;
    std::optional<uint64_t> summary_offset_;
    std::optional<uint64_t> told_offset_;  // of the summary, by the trailer position
};

}  // namespace

Recovery recover_job(Bytes file, Output& out, uint64_t memory) { return Saving(file, out, memory).run(); }

}  // namespace kvjob
