#include "printhost/charstring.h"

#include <algorithm>
#include <cstdlib>

namespace kvprint {
namespace {

enum Operator : unsigned {
    kVMoveTo = 4,
    kRLineTo = 5,
    kHLineTo = 6,
    kVLineTo = 7,
    kRRCurveTo = 8,
    kEndChar = 14,
    kRMoveTo = 21,
    kHMoveTo = 22,
    kVVCurveTo = 26,
    kHHCurveTo = 27,
    kVHCurveTo = 30,
    kHVCurveTo = 31,
};

constexpr size_t kMostArguments = 48;

// A step by what it moves: a line by its end, a curve by its three points.
struct Move {
    OutlineStep::Kind kind;
    int x1, y1, x2, y2, x3, y3;

    bool is_curve() const { return kind == OutlineStep::Curve; }
    bool starts_flat() const { return y1 == 0; }
    bool starts_upright() const { return x1 == 0; }
    bool ends_flat() const { return y3 == 0; }
    bool ends_upright() const { return x3 == 0; }
};

std::vector<Move> moves_of(const Outline& outline) {
    std::vector<Move> moves;
    DesignPoint at = {0, 0};
    for (size_t i = 0; i < outline.size(); ++i) {
        const OutlineStep& step = outline[i];
        if (step.kind == OutlineStep::Curve) {
            moves.push_back({step.kind, step.control1.x - at.x, step.control1.y - at.y,
                             step.control2.x - step.control1.x, step.control2.y - step.control1.y,
                             step.end.x - step.control2.x, step.end.y - step.control2.y});
        } else if (step.kind == OutlineStep::Move || step.end != at) {
            moves.push_back({step.kind, step.end.x - at.x, step.end.y - at.y, 0, 0, 0, 0});
        }
        at = step.end;
    }
    return moves;
}

class Encoder {
public:
    Encoder(const std::vector<Move>& moves, std::optional<int> extra_width) : moves_(moves) {
        if (extra_width) arguments_.push_back(*extra_width);
    }

    FontBytes encode() {
        while (next_ < moves_.size()) {
            const Move& move = moves_[next_];
            if (move.kind == OutlineStep::Move) {
                move_to(move);
            } else if (!move.is_curve()) {
                is_straight(move) ? alternating_lines() : plain_lines();
            } else if (move.starts_flat() && move.ends_flat()) {
                level_curves(kHHCurveTo);
            } else if (move.starts_upright() && move.ends_upright()) {
                level_curves(kVVCurveTo);
            } else if (is_turning(move)) {
                alternating_curves();
            } else {
                plain_curves();
            }
        }
        emit(kEndChar);
        return std::move(out_.bytes);
    }

private:
    static bool is_straight(const Move& move) { return move.x1 == 0 || move.y1 == 0; }
    // From along one axis to along the other.
    static bool is_turning(const Move& move) {
        return (move.starts_flat() && move.ends_upright()) || (move.starts_upright() && move.ends_flat());
    }
    bool has_room(size_t count) const { return arguments_.size() + count <= kMostArguments; }
    const Move* next(OutlineStep::Kind kind) const {
        return next_ < moves_.size() && moves_[next_].kind == kind ? &moves_[next_] : nullptr;
    }

    void emit(Operator operation) {
        for (const int value : arguments_) number(value);
        arguments_.clear();
        out_.u8(operation);
    }

    void number(int value) {
        constexpr int kSmall = 107, kMedium = 1131, kFirstMedium = 108;
        constexpr unsigned kZero = 139, kPositive = 247, kNegative = 251, kWord = 28;
        const int size = std::abs(value);
        if (size <= kSmall) {
            out_.u8(kZero + static_cast<unsigned>(value));
        } else if (size <= kMedium) {
            const auto rest = static_cast<unsigned>(size - kFirstMedium);
            out_.u8((value > 0 ? kPositive : kNegative) + (rest >> 8)).u8(rest);
        } else {
            out_.u8(kWord).i16(value);
        }
    }

    void add(std::initializer_list<int> values) { arguments_.insert(arguments_.end(), values); }

    void move_to(const Move& move) {
        ++next_;
        if (move.y1 == 0) {
            add({move.x1});
            emit(kHMoveTo);
        } else if (move.x1 == 0) {
            add({move.y1});
            emit(kVMoveTo);
        } else {
            add({move.x1, move.y1});
            emit(kRMoveTo);
        }
    }

    // Along the axes in turn, one number each.
    void alternating_lines() {
        const bool flat = moves_[next_].y1 == 0;
        bool flat_now = flat;
        for (const Move* line; (line = next(OutlineStep::Line)) && has_room(1); flat_now = !flat_now) {
            if ((flat_now ? line->y1 : line->x1) != 0) break;
            add({flat_now ? line->x1 : line->y1});
            ++next_;
        }
        emit(flat ? kHLineTo : kVLineTo);
    }

    void plain_lines() {
        for (const Move* line; (line = next(OutlineStep::Line)) && has_room(2) && !is_straight(*line); ++next_) {
            add({line->x1, line->y1});
        }
        emit(kRLineTo);
    }

    // Curves that start and end along one axis, four numbers each.
    void level_curves(Operator operation) {
        const bool flat = operation == kHHCurveTo;
        for (const Move* curve; (curve = next(OutlineStep::Curve)) && has_room(4); ++next_) {
            if (flat ? !(curve->starts_flat() && curve->ends_flat())
                     : !(curve->starts_upright() && curve->ends_upright())) {
                break;
            }
            add({flat ? curve->x1 : curve->y1, curve->x2, curve->y2, flat ? curve->x3 : curve->y3});
        }
        emit(operation);
    }

    // Each starts along the axis that the one before it ended along.
    void alternating_curves() {
        const bool flat = moves_[next_].starts_flat() && moves_[next_].ends_upright();
        bool flat_now = flat;
        for (const Move* curve; (curve = next(OutlineStep::Curve)) && has_room(4); flat_now = !flat_now, ++next_) {
            if (flat_now ? !(curve->starts_flat() && curve->ends_upright())
                         : !(curve->starts_upright() && curve->ends_flat())) {
                break;
            }
            add({flat_now ? curve->x1 : curve->y1, curve->x2, curve->y2, flat_now ? curve->y3 : curve->x3});
        }
        emit(flat ? kHVCurveTo : kVHCurveTo);
    }

    void plain_curves() {
        for (const Move* curve; (curve = next(OutlineStep::Curve)) && has_room(6); ++next_) {
            if (!arguments_.empty() && is_turning(*curve)) break;
            add({curve->x1, curve->y1, curve->x2, curve->y2, curve->x3, curve->y3});
        }
        emit(kRRCurveTo);
    }

    const std::vector<Move>& moves_;
    size_t next_ = 0;
    std::vector<int> arguments_;
    FontWriter out_;
};

}  // namespace

FontBytes charstring_of(const Outline& outline, std::optional<int> extra_width) {
    return Encoder(moves_of(outline), extra_width).encode();
}

}  // namespace kvprint
