#include "drawing/page_text.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "drawing/glyph_run.h"
#include "reader/utf.h"

namespace kvjob {
namespace {

constexpr double kBlank = 0.15;     // of the em: a gap that parts words
constexpr double kSameLine = 0.25;  // of the em: between the baselines of one line
constexpr uint32_t kUnknown = 0xFFFD;

bool is_blank(uint32_t character) { return character == ' ' || character == 0xA0 || character == 0x3000; }

// A run in a frame whose x follows the baseline and whose y leads to the next line.
struct Piece {
    double start, end, baseline, em;
    std::string text;
    bool begins_blank, ends_blank;
};

void append_text(std::string& text, const PlacedGlyph& glyph, Face* face) {
    if (glyph.character || !face) return append_utf8(text, glyph.character ? glyph.character : kUnknown);
    const std::u32string named = face->text_of(glyph.glyph);
    if (named.empty()) append_utf8(text, kUnknown);
    for (const char32_t character : named) append_utf8(text, character);
}

// Cuts a record into its words: a record may hold texts of several lines, and others may stand between its words.
class Cutter {
public:
    Cutter(const FontDefinition& font, Face* face)
        : line_(baseline_of(font)),
          em_(std::abs(static_cast<double>(font.height))),
          stretch_(face ? stretch_of(font, *face) : 1),
          face_(face) {}

    std::vector<Piece> pieces(const std::vector<PlacedGlyph>& glyphs) const {
        std::vector<Piece> pieces;
        for (size_t i = 0; i < glyphs.size(); ++i) {
            const PlacedGlyph& glyph = glyphs[i];
            const double along = glyph.x * line_.cosine - glyph.y * line_.sine;
            const double baseline = glyph.x * line_.sine + glyph.y * line_.cosine;
            if (i == 0 || parted(glyphs[i - 1], pieces.back().baseline, baseline)) {
                pieces.push_back({along, 0, baseline, em_, {}, is_blank(glyph.character), false});
            }
            Piece& piece = pieces.back();
            append_text(piece.text, glyph, face_);
            piece.end = along + width_of(glyph);
            piece.ends_blank = is_blank(glyph.character);
        }
        return pieces;
    }

private:
    double width_of(const PlacedGlyph& glyph) const {
        return face_ ? face_->advance_of(glyph.glyph) * em_ * stretch_ : glyph.advance;
    }
    bool parted(const PlacedGlyph& before, double baseline, double next_baseline) const {
        const double gap = before.advance - width_of(before);
        return before.advance < 0 || gap > kBlank * em_ || std::abs(next_baseline - baseline) > kSameLine * em_;
    }

    Baseline line_;
    double em_, stretch_;
    Face* face_;
};

std::string joined_line(std::vector<Piece>::iterator from, std::vector<Piece>::iterator to) {
    std::stable_sort(from, to, [](const Piece& a, const Piece& b) { return a.start < b.start; });
    std::string line;
    for (auto piece = from; piece != to; ++piece) {
        if (piece != from) {
            const Piece& before = piece[-1];
            const double gap = piece->start - before.end;
            const bool parted = gap > kBlank * std::min(before.em, piece->em);
            if (parted && !before.ends_blank && !piece->begins_blank) line += ' ';
        }
        line += piece->text;
    }
    while (line.ends_with(' ')) line.pop_back();
    return line;
}

std::string joined_lines(std::vector<Piece>& pieces) {
    std::stable_sort(pieces.begin(), pieces.end(),
                     [](const Piece& a, const Piece& b) { return a.baseline < b.baseline; });
    std::string text;
    for (auto from = pieces.begin(); from != pieces.end();) {
        const auto to = std::find_if(from, pieces.end(), [&](const Piece& piece) {
            return piece.baseline - from->baseline > kSameLine * std::max(piece.em, from->em);
        });
        text += joined_line(from, to) + '\n';
        from = to;
    }
    return text;
}

class Collector {
public:
    Collector(FontStore& fonts, Reports& reports) : fonts_(fonts), reports_(reports) {}

    void take(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        if (info.body != Body::TextState && info.body != Body::Text) return;
        try {
            const Bytes body = body_of(record, buffer_);
            info.body == Body::TextState ? apply(state_, read_text_state(body)) : add(read_text(body, info.wide));
        } catch (const BodyFault& fault) {
            reports_.add(record.offset, info.name, fault.what());
        }
    }

    std::string text() {
        std::string all;
        for (auto& [direction, pieces] : directions_) all += joined_lines(pieces);
        return all;
    }

private:
    void add(const TextRun& run) {
        constexpr int kTurn = 3600, kDegree = 10;
        const FontDefinition& font = fonts_.definition(state_.font);
        const std::shared_ptr<Face> face = fonts_.face(font);
        const auto glyphs = place_glyphs(run, font, face.get());
        const int direction = ((font.escapement % kTurn + kTurn + kDegree / 2) / kDegree) % (kTurn / kDegree);
        std::vector<Piece>& pieces = directions_[direction];
        for (Piece& piece : Cutter(font, face.get()).pieces(glyphs)) pieces.push_back(std::move(piece));
    }

    FontStore& fonts_;
    Reports& reports_;
    TextState state_;
    std::map<int, std::vector<Piece>> directions_;  // by whole degrees
    std::vector<uint8_t> buffer_;
};

}  // namespace

std::string page_text(const JobMap& map, FontStore& fonts, size_t page, Reports& reports) {
    Collector collector(fonts, reports);
    map.for_each_record(page, [&](const Record& record) { collector.take(record); });
    return collector.text();
}

}  // namespace kvjob
