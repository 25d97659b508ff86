#include "report/page_records.h"

#include <algorithm>
#include <cmath>

#include "drawing/glyph_run.h"
#include "reader/bodies.h"
#include "reader/dump.h"
#include "reader/record_fields.h"

namespace kvjob {
namespace {

Rect bounds_of(const std::vector<Rect>& rects) {
    Rect all = kEmptyRect;
    for (const Rect& rect : rects) all = united(all, rect);
    return all;
}

// The pixels of points whose bounds are inclusive.
Rect around(const Rect& points) {
    if (points.left > points.right || points.top > points.bottom) return kEmptyRect;
    auto behind = [](int32_t last) { return last < INT32_MAX ? last + 1 : last; };
    return {points.left, points.top, behind(points.right), behind(points.bottom)};
}

// Where what a record draws lies, as far as its numbers tell.
class Places {
public:
    Places(FontStore& fonts, size_t page, FontUses& uses, uint64_t memory)
        : fonts_(fonts), page_(page), uses_(uses), bodies_(memory) {}

    // An empty rectangle where it has no place. Throws BodyFault.
    Rect of(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        switch (info.body) {
            case Body::Path:
            case Body::ClipPath:
                return around(read_path(bodies_(record), info.wide).on_curve);
            case Body::ClipRects:
                return bounds_of(read_clip_rects(bodies_(record), info.wide));
            case Body::RectFill:
                return ordered(read_rect_fill(bodies_(record), info.wide).rect);
            case Body::Bitmap:
            case Body::AlphaBlend:
            case Body::Transparent:
            case Body::Masked:
                return ordered(read_image(record.type, bodies_(record)).target);
            case Body::TextState:
                apply(state_, read_text_state(bodies_(record)));
                return kEmptyRect;
            case Body::Text:
                return of_text(read_text(bodies_(record), info.wide));
            default:
                return kEmptyRect;
        }
    }

private:
    Rect of_text(const TextRun& run) {
        constexpr double kAscent = 0.9, kDescent = 0.25;  // of most fonts, in ems
        note(run);
        const FontDefinition& font = fonts_.definition(state_.font);
        const Baseline line = baseline_of(font);
        double along = 0;
        for (const uint16_t advance : run.advances) along += static_cast<int16_t>(advance);
        Rect all = kEmptyRect;
        for (const double forward : {0.0, along}) {
            for (const double up : {-kAscent * font.height, kDescent * font.height}) {
                const auto x =
                    static_cast<int32_t>(std::clamp(run.x + forward * line.cosine - up * line.sine, -2e9, 2e9));
                const auto y =
                    static_cast<int32_t>(std::clamp(run.y - forward * line.sine - up * line.cosine, -2e9, 2e9));
                all = united(all, {x, y, x + 1, y + 1});
            }
        }
        return all;
    }
    void note(const TextRun& run) {
        constexpr size_t kLookedAt = 50, kPagesKept = 20;
        FontUse& use = uses_[state_.font];
        ++use.runs;
        use.glyphs += run.count;
        if (use.runs <= kLookedAt && run.count > use.longest.count) use.longest = run;
        if (use.pages.size() < kPagesKept && (use.pages.empty() || use.pages.back() != page_ + 1)) {
            use.pages.push_back(page_ + 1);
        }
    }

    FontStore& fonts_;
    size_t page_;
    FontUses& uses_;
    TextState state_;
    BodyReader bodies_;
};

}  // namespace

void RecordList::add(const Record& record, const Rect& place) {
    if (records_.size() == kMostRecords) return void(++more_);
    Json json = shortened(record_json(record, bodies_, kLongestList));
    if (!place.empty()) json["at"] = rect_json(place);
    records_.push_back(std::move(json));
}

Json RecordList::take() { return {{"records", std::move(records_)}, {"more", more_}}; }

Json shortened(Json value, size_t longest_text) {
    if (value.is_string()) {
        auto& text = value.get_ref<std::string&>();
        if (text.size() <= longest_text) return value;
        size_t end = longest_text;
        while (end > 0 && (text[end] & 0xC0) == 0x80) --end;  // not within a character
        text.resize(end);
        text += "…";
    }
    if (value.is_structured()) {
        for (Json& member : value) member = shortened(std::move(member), longest_text);
    }
    return value;
}

Json page_records(const JobMap& map, FontStore& fonts, size_t page, FontUses& uses) {
    RecordList list(map.memory());
    Places places(fonts, page, uses, map.memory());
    list.add(read_record(map.file(), map.pages()[page]));
    map.for_each_record(page, [&](const Record& record) {
        Rect place = kEmptyRect;
        try {
            place = places.of(record);
        } catch (const BodyFault&) {
            // The record's own fields tell what is wrong with it.
        }
        list.add(record, place);
    });
    return list.take();
}

Json document_records(Bytes file, uint64_t memory) {
    constexpr uint8_t kPageStart = 5, kPageEnd = 6, kPageStartWithData = 44;
    RecordList list(memory);
    bool in_page = false;
    for_each_record(file, std::nullopt, [&](const Record& record) {
        if (record.type == kPageStart || record.type == kPageStartWithData) in_page = true;
        if (!in_page) list.add(record);
        if (record.type == kPageEnd) in_page = false;
    });
    return list.take();
}

}  // namespace kvjob
