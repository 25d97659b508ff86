#include "reader/job_writer.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

#include "reader/encode.h"
#include "reader/inflate.h"

namespace kvjob {
namespace {

constexpr uint64_t kPositionIdentifier = 0x20000000;
constexpr uint32_t kShortest = 254;  // bytes that are worth a compressed record, or a length of 16 bits

Framing plain_framing(size_t length) {
    return length < kShortest ? Framing::Short : length <= 0xFFFF ? Framing::Medium : Framing::Long;
}

// A form of length that the checker takes for one that the driver writes.
bool is_due(uint8_t type, Framing framing, size_t length) {
    if (framing == Framing::Compressed) return length >= kShortest;
    return framing == plain_framing(length) || (framing == Framing::Long && type_info(type).sized);
}

bool is_definition(Body kind) { return kind == Body::Brush || kind == Body::Font || kind == Body::FontFile; }

std::unordered_map<uint32_t, uint32_t>& identifiers(RecordSource& source, Body kind) {
    return kind == Body::Brush ? source.brushes : kind == Body::Font ? source.fonts : source.font_files;
}

void patch(std::vector<uint8_t>& body, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) body[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// Stock brushes and colours.
bool names_itself(uint32_t brush) { return (brush & 0xC0000000) != 0; }

int rank_of(uint8_t type) {
    constexpr uint8_t kOrder[] = {23, 24, 40, 37};
    return static_cast<int>(std::find(std::begin(kOrder), std::end(kOrder), type) - std::begin(kOrder));
}

}  // namespace

JobWriter::JobWriter(Output& out, uint8_t build, uint64_t memory) : out_(out), memory_(memory), checker_({}) {
    const uint8_t magic[] = {'K', 'A', 'R', 'V'};
    out_.write(magic);
    position_ = sizeof magic;
    write_plain(1, Writer().u32(0xC000000E).u16(0x0C04).u8(0).u8(build).bytes());
    write_plain(2, {});
}

void JobWriter::write_record(uint8_t type, Framing framing, Bytes payload, uint32_t inflated) {
    const auto length = static_cast<uint32_t>(payload.size());
    Writer head;
    head.u8(type);
    if (framing == Framing::Short) head.u8(length);
    if (framing == Framing::Medium) head.u8(0xFE).u16(length);
    if (framing == Framing::Long) head.u8(0xFF).u8(0).u32(length);
    if (framing == Framing::Compressed) head.u8(0xFF).u8(2).u32(length).u32(inflated);
    constexpr uint64_t kLargestJob = 0x7FFFFFFF;
    if (position_ + head.bytes().size() + payload.size() > kLargestJob) {
        throw std::runtime_error("a job ends at 2 GiB; this one would be larger");
    }
    out_.write(head.bytes());
    out_.write(payload);
    position_ += head.bytes().size() + payload.size();
    if (framing == Framing::Compressed) return;
    uint32_t& largest = type_info(type).marks ? largest_image_ : largest_;
    largest = std::max(largest, length);
}

void JobWriter::write_plain(uint8_t type, Bytes body) {
    write_record(type, plain_framing(body.size()), body, static_cast<uint32_t>(body.size()));
}

// compressed: the body's deflate data where they are at hand.
JobWriter::Refusal JobWriter::put(uint8_t type, Framing framing, Bytes body, Bytes compressed) {
    std::vector<uint8_t> made;
    if (!is_due(type, framing, body.size())) framing = plain_framing(body.size());
    if (framing == Framing::Compressed && compressed.empty()) compressed = made = deflate_raw(body);
    const Bytes payload = framing == Framing::Compressed ? compressed : body;
    const Record record = {position_, type, framing, payload, static_cast<uint32_t>(body.size())};
    if (auto refusal = checker_.refuses(record, body)) return refusal;
    write_record(type, framing, payload, record.inflated_length);
    return std::nullopt;
}

void JobWriter::start_page(std::optional<uint16_t> tray) {
    end_page();
    in_page_ = true;
    checker_.start_page(position_);
    if (!tray) return write_plain(5, {});
    constexpr uint8_t kTray = 0x80;
    const std::vector<uint8_t> body = Writer().u8(kTray).u16(*tray).bytes();
    if (put(44, Framing::Short, body, {})) write_plain(5, {});
}

void JobWriter::end_page() {
    if (std::exchange(in_page_, false)) write_plain(6, {});
}

JobWriter::Refusal JobWriter::add(const Record& record, Bytes body, RecordSource& source) {
    const TypeInfo& info = type_info(record.type);
    if (is_definition(info.body)) return add_definition(record, body, source);
    if (!info.in_page) return "no record of a page";
    if (info.body == Body::DrawState) return add_draw_state(read_draw_state(body), source);
    if (info.body == Body::TextState) return add_text_state(read_text_state(body), source);
    const bool clip = info.body == Body::ClipReset || info.body == Body::ClipRects || info.body == Body::ClipPath;
    if (clip && checker_.repeats_clip(record.type, body)) return std::nullopt;
    return put(record.type, record.framing, body, record.compressed() ? record.payload : Bytes());
}

uint32_t JobWriter::next_identifier(Body kind) {
    if (position_ < kPositionIdentifier) return static_cast<uint32_t>(position_ | kPositionIdentifier);
    return ++counters_[kind == Body::Brush ? 0 : kind == Body::Font ? 1 : 2];
}

JobWriter::Refusal JobWriter::add_definition(const Record& record, Bytes body, RecordSource& source) {
    constexpr size_t kReference = 32;  // of a font to its file
    const Body kind = type_info(record.type).body;
    const uint32_t old = Reader(body).u32();
    auto& known = identifiers(source, kind);
    if (known.contains(old)) return std::nullopt;
    std::vector<uint8_t> changed(body.begin(), body.end());
    if (kind == Body::Font) {
        if (const auto reference = read_font(body).file) {
            const auto file = resolved(Body::FontFile, reference->file, source);
            if (!file) return "its font file is not there";
            patch(changed, kReference, *file);
        }
    }
    const uint32_t id = next_identifier(kind);
    patch(changed, 0, id);
    if (auto refusal = put(record.type, record.framing, changed, id == old ? record.payload : Bytes())) return refusal;
    known.emplace(old, id);
    return std::nullopt;
}

std::optional<uint32_t> JobWriter::resolved(Body kind, uint32_t id, RecordSource& source) {
    const auto& known = identifiers(source, kind);
    if (const auto found = known.find(id); found != known.end()) return found->second;
    const Record* record = source.find ? source.find(kind, id) : nullptr;
    if (!record) return std::nullopt;
    std::vector<uint8_t> buffer;
    if (add_definition(*record, body_of(*record, buffer, memory_), source)) return std::nullopt;
    const auto found = known.find(id);
    return found == known.end() ? std::nullopt : std::optional(found->second);
}

// Fields that say what already holds are left out: a record before may be missing.
JobWriter::Refusal JobWriter::add_draw_state(DrawState state, RecordSource& source) {
    Refusal lost;
    auto resolve = [&](uint16_t bit, uint32_t& brush) {
        if (!(state.changed & bit) || names_itself(brush)) return;
        constexpr uint32_t kGrey = 0x80000002;
        const auto id = resolved(Body::Brush, brush, source);
        if (!id) lost = "its brush is not there; grey stands for it";
        brush = id.value_or(kGrey);
    };
    resolve(kStrokeBrush, state.stroke_brush);
    resolve(kFillBrush, state.fill_brush);
    state.changed = static_cast<uint16_t>(state.changed & ~repeated_fields(checker_.state(), state));
    if (state.changed == 0) return lost;
    const std::vector<uint8_t> body = encoded(state);
    const Refusal refusal = put(39, plain_framing(body.size()), body, {});
    return refusal ? refusal : lost;
}

JobWriter::Refusal JobWriter::add_text_state(TextState state, RecordSource& source) {
    Refusal lost;
    if (state.changed & kFont) {
        if (const auto font = resolved(Body::Font, state.font, source)) {
            state.font = *font;
        } else {
            state.changed = static_cast<uint8_t>(state.changed & ~kFont);
            lost = "its font is not there";
        }
    }
    state.changed = static_cast<uint8_t>(state.changed & ~repeated_fields(checker_.text(), state));
    if (state.changed == 0) return lost;
    const Refusal refusal = put(19, Framing::Short, encoded(state), {});
    return refusal ? refusal : lost;
}

void JobWriter::add_name(uint8_t type, Bytes body) { names_.emplace_back(type, std::vector(body.begin(), body.end())); }

void JobWriter::finish(std::vector<IndexedPage> pages, uint16_t resolution, uint32_t largest) {
    end_page();
    write_plain(3, {});
    write_plain(0, {});
    const Found& found = checker_.found();
    const auto trailer = static_cast<uint32_t>(position_);
    Summary summary;
    summary.flags = (trailer < kPositionIdentifier ? 1 : 0) | (found.names_tray ? 4 : 0);
    summary.brushes = found.brushes, summary.fonts = found.fonts, summary.font_files = found.font_files;
    summary.largest_entry = found.largest_entry, summary.largest_clip = found.largest_clip;
    summary.resolution = resolution;
    for (size_t i = 0; i < pages.size(); ++i) {
        const SeenPage& seen = found.pages[i];
        IndexedPage& page = pages[i];
        page.position = static_cast<uint32_t>(seen.offset);
        page.flags = static_cast<uint8_t>(seen.flags | (page.flags & seen.possible_flags));
        page.printable = ordered(page.printable);
        const Rect marks = intersection(page.marks, page.surface()), drawn = intersection(seen.drawn, page.surface());
        if (marks != page.marks || !drawn.empty()) page.marks = united(marks, drawn);
        Rect& bounds = page.orientation == 1 ? summary.portrait : summary.landscape;
        bounds = united(bounds, page.marks);
    }
    summary.pages = std::move(pages);
    summary.wide = !fits_short_form(summary);
    constexpr uint32_t kAnnouncement = 58;
    const auto size = static_cast<uint32_t>(encoded(summary).size());
    summary.largest_record = std::max({largest_, found.largest_image, size, summary.wide ? kAnnouncement : 0});
    if (found.uncounted_images) {
        summary.largest_record = std::max({summary.largest_record, largest_image_, largest});
    }
    if (summary.wide) write_plain(21, Writer().u16(2).add(std::vector<uint8_t>(56)).bytes());
    write_plain(summary.wide ? 55 : 21, encoded(summary));
    std::stable_sort(names_.begin(), names_.end(),
                     [](const auto& a, const auto& b) { return rank_of(a.first) < rank_of(b.first); });
    std::set<std::pair<uint8_t, uint16_t>> once;
    for (const auto& [type, body] : names_) {
        if (type == 37 && !found.names_tray) continue;
        if (type != 40 && !once.emplace(type, type == 37 ? read_tray(body).number : 0).second) continue;
        write_plain(type, body);
    }
    write_plain(38, Writer().u32(trailer).bytes());
    out_.finish();
}

}  // namespace kvjob
