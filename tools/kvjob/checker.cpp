#include "tools/kvjob/checker.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <unordered_set>
#include <utility>

#include "tools/kvjob/bodies.h"
#include "tools/kvjob/index.h"
#include "tools/kvjob/records.h"

namespace kvjob {
namespace {

constexpr uint32_t kPositionIdentifier = 0x20000000;
enum PageFlag : uint8_t { kReadsDestination = 0x01, kNamesTray = 0x04, kHasMarks = 0x08, kTransparency = 0x20 };

std::string hex(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", value);
    return text;
}

Rect intersection(const Rect& a, const Rect& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}
Rect united(const Rect& a, const Rect& b) {
    if (a.empty()) return b.empty() ? Rect{} : b;
    if (b.empty()) return a;
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}
bool contains(const Rect& outer, const Rect& inner) {
    return outer.left <= inner.left && outer.top <= inner.top && outer.right >= inner.right &&
           outer.bottom >= inner.bottom;
}

// Printable areas of a damaged index may be of any size.
Rect surface_of(const IndexedPage& page) {
    auto extent = [](int32_t low, int32_t high) {
        return static_cast<int32_t>(std::clamp<int64_t>(int64_t{high} - low, 0, INT32_MAX));
    };
    const Rect& area = page.printable;
    return {0, 0, extent(area.left, area.right), extent(area.top, area.bottom)};
}

// A page as its records show it.
struct SeenPage {
    uint64_t offset;
    uint8_t flags = 0;           // that must be set
    uint8_t possible_flags = 0;  // that may be set besides
};

class Checker {
public:
    Checker(Bytes file, size_t limit) : file_(file), limit_(limit) {}

    std::vector<Finding> run() {
        try {
            check_stream();
        } catch (const Fault& fault) {
            report(fault.offset, fault.what());
        }
        std::stable_sort(findings_.begin(), findings_.end(),
                         [](const Finding& a, const Finding& b) { return a.offset < b.offset; });
        return std::move(findings_);
    }

private:
    enum class Stage { Header, Start, Pages, EndOfStream, Summary, Index, Names, Done };

    void report(uint64_t offset, const std::string& message) {
        if (findings_.size() < limit_) findings_.push_back({offset, message});
    }

    void check_stream() {
        constexpr char kMagic[4] = {'K', 'A', 'R', 'V'};
        if (file_.size() < sizeof kMagic || std::memcmp(file_.data(), kMagic, sizeof kMagic) != 0) {
            throw Fault(0, "not a job file: the magic is missing");
        }
        try {
            announced_ = find_summary(file_).pages;
        } catch (const Fault&) {  // the walk finds out what is wrong with it
        }
        uint64_t at = sizeof kMagic;
        while (at < file_.size() && stage_ != Stage::Done) {
            const Record record = read_record(file_, at);
            check_framing(record);
            check_place(record);
            check_body(record);
            at = record.end(file_.data());
        }
        if (stage_ != Stage::Done) throw Fault(at, "the job ends without its trailer");
        if (at < file_.size()) throw Fault(at, "bytes after the trailer position");
    }

    void check_framing(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        const size_t length = record.payload.size();
        const bool shorter_fits = (record.framing == Framing::Medium && length < 254) ||
                                  (record.framing == Framing::Long && length <= 0xFFFF && !info.sized);
        if (shorter_fits) report(record.offset, "length in a longer form than it needs");
        if (record.compressed() && record.inflated_length < 254) report(record.offset, "too short to be compressed");
        if (record.compressed() && in_trailer()) report(record.offset, "compressed record in the trailer");
        if (!record.compressed() && !(info.sized && record.framing == Framing::Long) && stage_ < Stage::Names) {
            largest_record_ = std::max(largest_record_, static_cast<uint32_t>(length));
        } else if (record.compressed() || info.sized) {
            has_uncounted_images_ = has_uncounted_images_ || info.in_page;
        }
    }

    bool in_trailer() const { return stage_ >= Stage::Summary; }

    // The order of records.
    void check_place(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        if (info.body == Body::Unknown) throw Fault(record.offset, "record of type " + std::to_string(record.type));
        const Stage before = stage_;
        if (!advance(record, info)) {
            report(record.offset, std::string(info.name) + " in the wrong place");
            stage_ = before;
        }
    }

    bool advance(const Record& record, const TypeInfo& info) {
        switch (stage_) {
            case Stage::Header:
                stage_ = Stage::Start;
                return record.type == 1;
            case Stage::Start:
                stage_ = Stage::Pages;
                return record.type == 2;
            case Stage::Pages:
                return advance_in_pages(record, info);
            case Stage::EndOfStream:
                stage_ = Stage::Summary;
                return record.type == 0;
            case Stage::Summary:
                trailer_ = record.offset;
                stage_ = announces_index(record.payload) ? Stage::Index : Stage::Names;
                return record.type == 21;
            case Stage::Index:
                stage_ = Stage::Names;
                return record.type == 55;
            case Stage::Names:
                return advance_in_names(record);
            case Stage::Done:
                break;
        }
        return false;
    }

    bool advance_in_pages(const Record& record, const TypeInfo& info) {
        switch (record.type) {
            case 5:
            case 44:
                if (page_open_) return false;
                page_open_ = true;
                pages_.push_back({record.offset});
                stroke_known_ = fill_known_ = false;
                return true;
            case 6:
                return std::exchange(page_open_, false);
            case 3:
                stage_ = Stage::EndOfStream;
                return !page_open_;
            default: {
                const bool definition =
                    info.body == Body::Brush || info.body == Body::Font || info.body == Body::FontFile;
                return definition || (info.in_page && page_open_);
            }
        }
    }

    // Name, application, attached data, trays, position: each kind not before the one ahead of it.
    bool advance_in_names(const Record& record) {
        constexpr uint8_t kOrder[] = {23, 24, 40, 37, 38};
        const auto* found = std::find(std::begin(kOrder), std::end(kOrder), record.type);
        if (found == std::end(kOrder)) return false;
        const auto rank = static_cast<int>(found - std::begin(kOrder));
        const bool repeats = record.type == 40 || record.type == 37;
        const bool ordered = rank > name_rank_ || (repeats && rank == name_rank_);
        name_rank_ = std::max(name_rank_, rank);
        if (record.type == 38) stage_ = Stage::Done;
        return ordered;
    }

    void check_body(const Record& record) {
        try {
            dispatch(record, body_of(record, buffer_));
        } catch (const BodyFault& fault) {
            report(record.offset, std::string(type_info(record.type).name) + ": " + fault.what());
        }
    }

    void dispatch(const Record& record, Bytes body) {
        const TypeInfo& info = type_info(record.type);
        if (info.marks) require_flag(kHasMarks);
        switch (info.body) {
            case Body::Empty:
                Reader(body).expect_end();
                break;
            case Body::Header:
                check_header(body);
                break;
            case Body::Brush:
                check_brush(record, body);
                break;
            case Body::Font:
                ++fonts_;
                if (body.size() != 96) throw BodyFault("length is not 96");
                break;
            case Body::FontFile:
                check_font_file(body);
                break;
            case Body::ClipRects:
                largest_clip_ = std::max(largest_clip_, static_cast<uint32_t>(read_clip_rects(body, info.wide).size()));
                break;
            case Body::RectFill:
                check_rect_fill(read_rect_fill(body, info.wide));
                break;
            case Body::Path:
                check_path(record.type, body, info.wide);
                break;
            case Body::ClipPath:
                largest_entry_ = std::max(largest_entry_, read_path(body, info.wide).largest_entry);
                break;
            case Body::DrawState:
                check_state(read_draw_state(body));
                break;
            case Body::PageStartData:
                read_page_start_data(body);
                require_flag(kNamesTray);
                break;
            case Body::Bitmap:
                if (reads_destination(read_bitmap(body, info.wide).rop)) require_flag(kReadsDestination);
                break;
            case Body::AlphaBlend:
                check_blend(read_alpha_blend(body, info.wide));
                break;
            case Body::Transparent:
                read_transparent(body, info.wide);
                break;
            case Body::Masked:
                read_masked(body, info.wide);
                require_flag(kTransparency);
                break;
            default:
                check_trailer_body(record, info, body);
        }
    }

    void check_trailer_body(const Record& record, const TypeInfo& info, Bytes body) {
        switch (info.body) {
            case Body::Summary:
                if (!announces_index(body)) check_summary(record, read_summary(body, false));
                break;
            case Body::Index:
                check_summary(record, read_summary(body, true));
                break;
            case Body::String:
                if (read_string(body).empty()) throw BodyFault("empty text");
                break;
            case Body::Tray:
                read_tray(body);
                if (!names_tray_) throw BodyFault("no page names a tray");
                break;
            case Body::Attached:
                read_attached(body);
                break;
            case Body::TrailerPosition: {
                Reader in(body);
                if (in.u32() != trailer_) throw BodyFault("is not that of the summary");
                in.expect_end();
                break;
            }
            default:
                break;
        }
    }

    SeenPage* page() { return pages_.empty() ? nullptr : &pages_.back(); }
    void require_flag(uint8_t flag) {
        if (page()) page()->flags = static_cast<uint8_t>(page()->flags | flag);
        if (flag == kNamesTray) names_tray_ = true;
    }
    void allow_flag(uint8_t flag) {
        if (page()) page()->possible_flags = static_cast<uint8_t>(page()->possible_flags | flag);
    }

    void check_header(Bytes body) {
        Reader in(body);
        const bool known = in.u32() == 0xC000000E && in.u16() == 0x0C04 && in.u8() == 0;
        in.u8();
        in.expect_end();
        if (!known) throw BodyFault("of another format");
    }

    void check_brush(const Record& record, Bytes body) {
        ++brushes_;
        const uint32_t id = read_brush(body).id;
        const bool by_position = record.offset < kPositionIdentifier;
        if (by_position ? id != (record.offset | kPositionIdentifier) : id == 0 || id >= kPositionIdentifier) {
            throw BodyFault("identifier " + hex(id) + " does not fit the position");
        }
        if (!brush_ids_.insert(id).second) throw BodyFault("identifier " + hex(id) + " was introduced before");
    }

    void check_font_file(Bytes body) {
        ++font_files_;
        Reader in(body);
        in.u32();
        if (in.u32() != in.left()) throw BodyFault("size does not match the length");
    }

    void check_brush_reference(uint32_t id) {
        constexpr uint32_t kStock = 0x80000000, kLastStock = 0x80000005, kSolid = 0x40000000;
        if (id >= kStock && id <= kLastStock) return;
        if ((id & 0xFF000000) == kSolid) {
            for (uint32_t stock : {0xFFFFFFu, 0xC0C0C0u, 0x808080u, 0x404040u, 0u}) {
                if ((id & 0xFFFFFF) == stock) throw BodyFault("a stock colour as solid brush " + hex(id));
            }
            return;
        }
        if (!brush_ids_.contains(id)) throw BodyFault("brush " + hex(id) + " was not introduced");
    }

    void check_state(const DrawState& state) {
        if (state.changed & kStrokeRop && reads_destination(ternary_of(state.stroke_rop))) {
            require_flag(kReadsDestination);
        }
        if (state.changed & kFillRop && reads_destination(ternary_of(state.fill_rop))) {
            require_flag(kReadsDestination);
        }
        stroke_known_ = stroke_known_ || (state.changed & kStrokeBrush);
        fill_known_ = fill_known_ || (state.changed & kFillBrush);
        if (state.changed & kStrokeBrush) check_brush_reference(state.stroke_brush);
        if (state.changed & kFillBrush) check_brush_reference(state.fill_brush);
    }

    void check_path(uint8_t type, Bytes body, bool wide) {
        const PathSummary path = read_path(body, wide);
        largest_entry_ = std::max(largest_entry_, path.largest_entry);
        if (!pages_.empty() && pages_.size() <= announced_.size()) {
            const IndexedPage& page = announced_[pages_.size() - 1];
            const Rect drawn = intersection(path.box, surface_of(page));
            if (!drawn.empty() && !contains(page.marks, drawn)) throw BodyFault("drawn outside the page's marks");
        }
        const int kind = (type - 34) % 13;  // stroke, fill, both
        if (kind != 1 && !stroke_known_) throw BodyFault("no stroke brush was set on the page");
        if (kind != 0 && !fill_known_) throw BodyFault("no fill brush was set on the page");
    }

    void check_rect_fill(const RectFill& fill) {
        if (reads_destination(fill.rop)) allow_flag(kReadsDestination);
        const bool uses_brush = (fill.rop >> 4) != (fill.rop & 0x0F);
        if (uses_brush && !fill_known_) throw BodyFault("no fill brush was set on the page");
    }

    void check_blend(const Image& image) {
        const uint32_t alpha = image.blend >> 16 & 0xFF, format = image.blend >> 24;
        if ((format & 1) || (alpha != 0 && alpha != 1 && alpha != 255)) require_flag(kTransparency);
    }

    void check_summary(const Record& record, const Summary& summary) {
        auto expect = [&](bool ok, const std::string& what) {
            if (!ok) report(record.offset, "summary: " + what);
        };
        expect(summary.wide != fits_short_form(summary), "the other form of the index was due");
        const uint32_t small = trailer_ < kPositionIdentifier ? 1 : 0;
        expect(summary.flags == (small | (names_tray_ ? 4u : 0u)), "document flags " + hex(summary.flags));
        expect(summary.resolution > 0, "resolution 0");
        expect(
            has_uncounted_images_ ? summary.largest_record >= largest_record_
                                  : summary.largest_record == largest_record_,
            "largest record " + std::to_string(summary.largest_record) + ", found " + std::to_string(largest_record_));
        expect(summary.brushes == brushes_, "number of brushes");
        expect(summary.fonts == fonts_, "number of fonts");
        expect(summary.font_files == font_files_, "number of font files");
        expect(summary.largest_entry >= largest_entry_, "largest path entry");
        expect(summary.largest_clip >= largest_clip_, "largest rectangle clip");
        check_pages(record, summary);
    }

    void check_pages(const Record& record, const Summary& summary) {
        if (summary.pages.size() != pages_.size()) {
            report(record.offset, "index of " + std::to_string(summary.pages.size()) + " pages, found " +
                                      std::to_string(pages_.size()));
            return;
        }
        Rect portrait = kEmptyRect, landscape = kEmptyRect;
        for (size_t i = 0; i < pages_.size(); ++i) {
            const IndexedPage& indexed = summary.pages[i];
            check_page(record, i + 1, indexed, pages_[i]);
            Rect& bounds = indexed.orientation == 1 ? portrait : landscape;
            bounds = united(bounds, indexed.marks);
        }
        if (portrait != summary.portrait) report(record.offset, "bounds of the portrait pages");
        if (landscape != summary.landscape) report(record.offset, "bounds of the landscape pages");
    }

    void check_page(const Record& record, size_t number, const IndexedPage& indexed, const SeenPage& seen) {
        auto expect = [&](bool ok, const std::string& what) {
            if (!ok) report(record.offset, "page " + std::to_string(number) + ": " + what);
        };
        expect(indexed.position == seen.offset,
               "position " + hex(indexed.position) + ", found " + hex(static_cast<uint32_t>(seen.offset)));
        const bool flags_fit =
            (indexed.flags & seen.flags) == seen.flags && !(indexed.flags & ~(seen.flags | seen.possible_flags));
        expect(flags_fit, "flags " + hex(indexed.flags) + ", found " + hex(seen.flags));
        const Rect& area = indexed.printable;
        expect(area.left <= area.right && area.top <= area.bottom, "printable area is not normalised");
        const Rect& marks = indexed.marks;
        expect(marks.empty() || contains(surface_of(indexed), marks), "marks lie outside the page");
    }

    Bytes file_;
    size_t limit_;
    std::vector<Finding> findings_;
    std::vector<uint8_t> buffer_;

    Stage stage_ = Stage::Header;
    bool page_open_ = false;
    int name_rank_ = -1;
    uint64_t trailer_ = 0;
    std::vector<SeenPage> pages_;
    std::vector<IndexedPage> announced_;  // of the trailer, where it can be read
    std::unordered_set<uint32_t> brush_ids_;
    bool stroke_known_ = false, fill_known_ = false, names_tray_ = false, has_uncounted_images_ = false;
    uint32_t largest_record_ = 0, brushes_ = 0, fonts_ = 0, font_files_ = 0, largest_entry_ = 0, largest_clip_ = 0;
};

}  // namespace

std::vector<Finding> check_job(Bytes file, size_t limit) { return Checker(file, limit).run(); }

}  // namespace kvjob
