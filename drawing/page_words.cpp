#include "drawing/page_words.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>

#include "drawing/glyph_run.h"
#include "reader/utf.h"

namespace kvjob {
namespace {

constexpr double kBlank = 0.15;     // of the em: a gap that parts words
constexpr double kSameLine = 0.25;  // of the em: between the baselines of one line
constexpr int kTurn = 360;          // degrees

bool is_blank(uint32_t character) { return character == ' ' || character == 0xA0 || character == 0x3000; }

// A word, or a part of one, in a frame whose x follows the baseline and whose y leads to the next line.
struct Part {
    PlacedWord word;
    double start, baseline, em;
    bool begins_open, ends_open;  // no blank parts it from what stands beside it

    double end() const { return start + word.length; }
};

// Parts a run at its blanks and gaps, and where it goes on in another line: a record may hold texts of several lines,
// and others may stand between its words.
class RunSplitter {
public:
    RunSplitter(const FontDefinition& font, Face* face, std::vector<Part>& parts)
        : face_(face), parts_(parts), line_(baseline_of(font)), em_(std::abs(double{1} * font.height)) {
        stretch_ = face ? stretch_of(font, *face) : 1;
        // Letters of a font that cannot be opened are taken to be as high as most.
        constexpr double kAscent = 0.9, kDescent = 0.25;
        ascent_ = face && face->ascent() > 0 ? face->ascent() : kAscent;
        descent_ = face && face->descent() > 0 ? face->descent() : kDescent;
    }

    void split(const std::vector<PlacedGlyph>& glyphs) {
        bool open = true, inside = false;
        for (const PlacedGlyph& glyph : glyphs) {
            if (is_blank(glyph.character)) {
                if (inside) parts_.back().ends_open = false;
                inside = open = false;
                continue;
            }
            if (inside && std::abs(baseline(glyph) - parts_.back().baseline) > kSameLine * em_) inside = false;
            if (!inside) start(glyph, open);
            add(glyph);
            inside = !gap_behind(glyph);
            open = true;
        }
    }

private:
    void start(const PlacedGlyph& glyph, bool open) {
        Part part = {{{}, glyph.x, glyph.y, 0, ascent_ * em_, descent_ * em_}, 0, 0, em_, open, true};
        part.start = glyph.x * line_.cosine - glyph.y * line_.sine;
        part.baseline = baseline(glyph);
        parts_.push_back(std::move(part));
    }
    void add(const PlacedGlyph& glyph) {
        std::string& text = parts_.back().word.text;
        if (face_)
            face_->append_text(text, glyph.character, glyph.glyph);
        else
            append_utf8(text, glyph.character ? glyph.character : kUnknownCharacter);
        // What lies behind a gap is no part of the word.
        parts_.back().word.length += gap_behind(glyph) ? natural(glyph) : glyph.advance;
    }
    double baseline(const PlacedGlyph& glyph) const { return glyph.x * line_.sine + glyph.y * line_.cosine; }
    double natural(const PlacedGlyph& glyph) const {
        return face_ ? face_->advance_of(glyph.glyph) * em_ * stretch_ : std::max(glyph.advance, 0.0);
    }
    // Back to the start of a line, too.
    bool gap_behind(const PlacedGlyph& glyph) const {
        return glyph.advance < 0 || glyph.advance - natural(glyph) > kBlank * em_;
    }

    Face* face_;
    std::vector<Part>& parts_;
    Baseline line_;
    double em_, stretch_, ascent_, descent_;
};

PlacedLine joined_line(std::vector<Part>::iterator from, std::vector<Part>::iterator to, int angle) {
    std::stable_sort(from, to, [](const Part& a, const Part& b) { return a.start < b.start; });
    PlacedLine line = {angle, {}};
    const Part* before = nullptr;
    for (auto part = from; part != to; before = &*part++) {
        const bool joins = before && before->ends_open && part->begins_open &&
                           part->start - before->end() <= kBlank * std::min(before->em, part->em);
        if (!joins) {
            line.words.push_back(part->word);
            continue;
        }
        PlacedWord& word = line.words.back();
        word.text += part->word.text;
        word.length = std::max(word.length, part->end() - before->start + (word.length - before->word.length));
        word.ascent = std::max(word.ascent, part->word.ascent);
        word.descent = std::max(word.descent, part->word.descent);
    }
    return line;
}

void append_lines(std::vector<Part>& parts, int angle, std::vector<PlacedLine>& lines) {
    std::stable_sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) { return a.baseline < b.baseline; });
    for (auto from = parts.begin(); from != parts.end();) {
        const auto to = std::find_if(from, parts.end(), [&](const Part& part) {
            return part.baseline - from->baseline > kSameLine * std::max(part.em, from->em);
        });
        lines.push_back(joined_line(from, to, angle));
        from = to;
    }
}

class Collector {
public:
    Collector(const JobMap& map, FontStore& fonts, Reports& reports) : map_(map), fonts_(fonts), reports_(reports) {}

    void take(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        if (info.body != Body::TextState && info.body != Body::Text) return;
        try {
            const Bytes body = map_.body(record, buffer_);
            info.body == Body::TextState ? apply(state_, read_text_state(body)) : add(read_text(body, info.wide));
        } catch (const BodyFault& fault) {
            reports_.add(record.offset, info.name, fault.what());
        }
    }

    std::vector<PlacedLine> lines() {
        std::vector<PlacedLine> all;
        for (auto& [angle, parts] : directions_) append_lines(parts, angle, all);
        return all;
    }

private:
    void add(const TextRun& run) {
        constexpr int kDegree = 10;
        const FontDefinition& font = fonts_.definition(state_.font);
        const std::shared_ptr<Face> face = fonts_.face(font);
        const int turned = (font.escapement % (kTurn * kDegree) + kTurn * kDegree + kDegree / 2) / kDegree % kTurn;
        RunSplitter(font, face.get(), directions_[turned]).split(place_glyphs(run, font, face.get()));
    }

    const JobMap& map_;
    FontStore& fonts_;
    Reports& reports_;
    TextState state_;
    std::map<int, std::vector<Part>> directions_;
    std::vector<uint8_t> buffer_;
};

}  // namespace

Box box_of(const PlacedWord& word, int angle) {
    const double radians = angle * 2 * std::numbers::pi / kTurn;
    const double cosine = std::cos(radians), sine = std::sin(radians);
    Box box = {word.x, word.y, word.x, word.y};
    bool first = true;
    for (const double along : {0.0, word.length}) {
        for (const double up : {word.ascent, -word.descent}) {
            const double x = word.x + along * cosine - up * sine, y = word.y - along * sine - up * cosine;
            box = first ? Box{x, y, x, y}
                        : Box{std::min(box.left, x), std::min(box.top, y), std::max(box.right, x),
                              std::max(box.bottom, y)};
            first = false;
        }
    }
    return box;
}

std::vector<PlacedLine> page_words(const JobMap& map, FontStore& fonts, size_t page, Reports& reports) {
    Collector collector(map, fonts, reports);
    map.for_each_record(page, [&](const Record& record) { collector.take(record); });
    return collector.lines();
}

std::string page_text(const JobMap& map, FontStore& fonts, size_t page, Reports& reports) {
    std::string text;
    for (const PlacedLine& line : page_words(map, fonts, page, reports)) {
        for (size_t i = 0; i < line.words.size(); ++i) text += (i > 0 ? " " : "") + line.words[i].text;
        text += '\n';
    }
    return text;
}

}  // namespace kvjob
