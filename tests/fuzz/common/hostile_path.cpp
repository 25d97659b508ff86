#include "tests/fuzz/common/hostile_path.h"

namespace kv {
namespace {

constexpr size_t kMostPoints = 150'000;  // more than one count says

std::vector<HostilePath*>& live_paths() {
    static std::vector<HostilePath*> paths;
    return paths;
}

FIX coordinate(FuzzInput& in) {
    const auto value = static_cast<FIX>(in.u8());
    return value < 0xF0 ? (value - 40) * 8 : static_cast<FIX>(in.u32());
}
POINTFIX point(FuzzInput& in) {
    const FIX x = coordinate(in);
    return {x, coordinate(in)};
}

}  // namespace

HostilePath::HostilePath(FuzzInput& in) : PATHOBJ{} {
    const DWORD kind = in.u8();
    grows_ = kind & 1;
    fl = in.u8();
    const POINTFIX low = point(in), high = point(in);
    bounds_ = {low.x, low.y, high.x, high.y};
    size_t all = 0;
    for (DWORD left = kind >> 1; left > 0 && !in.empty(); --left) {
        Block block = {in.u8(), {}};
        constexpr DWORD kFew = 0xFC;
        DWORD count = in.u8();
        if (count >= kFew) count = (count - kFew) * 25'000 + in.u8();
        if (all + count > kMostPoints) break;
        all += count;
        const bool alike = count >= kFew;
        for (DWORD i = 0; i < count; ++i) {
            // Many come as a zigzag, which loses no point.
            block.points.push_back(alike ? POINTFIX{static_cast<FIX>(i * 16 + i % 2 * 64), static_cast<FIX>(i % 7 * 48)}
                                         : point(in));
        }
        blocks_.push_back(std::move(block));
    }
    cCurves = static_cast<ULONG>(blocks_.size());
    end_ = grows_ ? (blocks_.size() + 1) / 2 : blocks_.size();
    live_paths().push_back(this);
}

HostilePath::~HostilePath() { std::erase(live_paths(), this); }

HostilePath* HostilePath::of(PATHOBJ* path) {
    for (HostilePath* known : live_paths()) {
        if (known == path) return known;
    }
    return nullptr;
}

void HostilePath::start_enumeration() {
    next_ = 0;
    if (grows_ && end_ < blocks_.size()) ++end_;
}

bool HostilePath::next_block(PATHDATA& data) {
    data = {};
    if (next_ >= end_) return false;
    Block& block = blocks_[next_++];
    data = {block.flags, static_cast<ULONG>(block.points.size()), block.points.data()};
    return next_ < end_;
}

AnyPath::AnyPath(FuzzInput& in) {
    const DWORD kind = in.u8();
    if (kind >= 0xF0) {
        hostile_.emplace(in);
        return;
    }
    sane_.set_block_size(1 + in.u8());
    for (DWORD left = kind; left > 0 && !in.empty(); --left) {
        const DWORD what = in.u8() % 8;
        if (what == 0) sane_.move_to(point(in));
        if (what == 1) sane_.close();
        if (what == 2) sane_.curve_to(point(in), point(in), point(in));
        if (what > 2) sane_.line_to(point(in));
    }
}

}  // namespace kv

// What the linker puts in the place of the engine's functions.
extern "C" {
void APIENTRY __real_PATHOBJ_vEnumStart(PATHOBJ* path);
BOOL APIENTRY __real_PATHOBJ_bEnum(PATHOBJ* path, PATHDATA* data);
void APIENTRY __real_PATHOBJ_vGetBounds(PATHOBJ* path, RECTFX* bounds);

void APIENTRY __wrap_PATHOBJ_vEnumStart(PATHOBJ* path) {
    if (auto* hostile = kv::HostilePath::of(path)) return hostile->start_enumeration();
    __real_PATHOBJ_vEnumStart(path);
}
BOOL APIENTRY __wrap_PATHOBJ_bEnum(PATHOBJ* path, PATHDATA* data) {
    if (auto* hostile = kv::HostilePath::of(path)) return hostile->next_block(*data);
    return __real_PATHOBJ_bEnum(path, data);
}
void APIENTRY __wrap_PATHOBJ_vGetBounds(PATHOBJ* path, RECTFX* bounds) {
    if (auto* hostile = kv::HostilePath::of(path)) {
        *bounds = hostile->bounds();
        return;
    }
    __real_PATHOBJ_vGetBounds(path, bounds);
}
}
