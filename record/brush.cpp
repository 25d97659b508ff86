#include "record/brush.h"

#include <cstring>
#include <utility>

#include "driver/pdevice.h"
#include "record/record_types.h"
#include "support/process_state.h"

namespace kv {
namespace {

constexpr ULONG kNotSolid = 0xFFFFFFFF;

BrushId solid_id(DWORD colour) {
    static constexpr DWORD kStock[] = {0xFFFFFF, 0xC0C0C0, 0x808080, 0x404040, 0x000000};
    BrushId stock = kStockBrush;
    for (DWORD stock_colour : kStock) {
        if (colour == stock_colour) return stock;
        ++stock;
    }
    return kSolidBrush + colour;
}

// What makes two brushes equal: everything behind the identifier.
const BYTE* content(const RealizedBrush& brush) {
    return reinterpret_cast<const BYTE*>(&brush) + offsetof(RealizedBrush, kind);
}
DWORD content_size(DWORD brush_size) { return brush_size - static_cast<DWORD>(offsetof(RealizedBrush, kind)); }

DWORD hash_of(const RealizedBrush& brush, DWORD size) {
    DWORD hash = 2166136261u;  // FNV-1a
    for (const BYTE *at = content(brush), *end = at + content_size(size); at != end; ++at) {
        hash = (hash ^ *at) * 16777619u;
    }
    return hash;
}

BrushId new_identifier(const PDEVICE& device) {
    return device.position < kPositionIdentifier ? device.position | kPositionIdentifier
                                                 : process_state().brush_ids.next();
}

}  // namespace

DWORD realized_brush_size(const RealizedBrush&) { return sizeof(RealizedBrush); }

BrushId BrushList::find(const RealizedBrush& brush) const {
    DWORD size = realized_brush_size(brush);
    DWORD hash = hash_of(brush, size);
    for (const Node* node = buckets_[hash % kBuckets]; node; node = node->next) {
        if (node->hash == hash && node->size == size &&
            std::memcmp(content(node->brush()), content(brush), content_size(size)) == 0) {
            return node->brush().id;
        }
    }
    return kNoBrush;
}

void BrushList::add(const RealizedBrush& brush) {
    DWORD size = realized_brush_size(brush);
    void* block = nullptr;
    if (!AllocMem(&block, sizeof(Node) + size, false)) return;
    Node* node = static_cast<Node*>(block);
    node->hash = hash_of(brush, size);
    node->size = size;
    std::memcpy(node + 1, &brush, size);
    node->next = std::exchange(buckets_[node->hash % kBuckets], node);
}

void BrushList::clear() {
    for (Node*& bucket : buckets_) {
        while (bucket) FreeMem(std::exchange(bucket, bucket->next));
    }
}

BrushId ResolveBrush(PDEVICE& device, BRUSHOBJ* brush) {
    if (!brush) return kNullBrush;
    if (brush->iSolidColor != kNotSolid) {
        RealizedBrush solid = {kNoBrush, BrushKind::Solid, swap_red_and_blue(brush->iSolidColor), 0, 0};
        return ResolveRealizedBrush(device, solid);
    }
    auto* realized = static_cast<RealizedBrush*>(BRUSHOBJ_pvGetRbrush(brush));
    return realized ? ResolveRealizedBrush(device, *realized) : kNullBrush;
}

BrushId ResolveRealizedBrush(PDEVICE& device, RealizedBrush& brush) {
    if (brush.kind == BrushKind::Solid) return brush.id = solid_id(brush.colour);
    if (BrushId known = device.brushes.find(brush)) return brush.id = known;
    ++device.statistics.brushes;
    if (!device.pending.flush(device)) return kNullBrush;
    brush.id = new_identifier(device);
    if (!device.WriteRecord(kRecordBrush, realized_brush_size(brush), &brush)) return kNullBrush;
    device.brushes.add(brush);
    return brush.id;
}

BOOL realize_brush(BRUSHOBJ* brush, XLATEOBJ* translation, ULONG hatch) {
    const bool solid = brush->iSolidColor != kNotSolid;
    auto* realized = static_cast<RealizedBrush*>(BRUSHOBJ_pvAllocRbrush(brush, sizeof(RealizedBrush)));
    if (!realized) return FALSE;
    *realized = {};
    if (!solid && hatch < HS_DDI_MAX) {
        realized->kind = BrushKind::Hatched;
        realized->colour = swap_red_and_blue(XLATEOBJ_iXlate(translation, 1));
        realized->hatch = hatch;
        realized->background = swap_red_and_blue(XLATEOBJ_iXlate(translation, 0));
    } else {
        realized->colour = solid ? swap_red_and_blue(brush->iSolidColor) : 0xFFFFFF;
    }
    return TRUE;
}

}  // namespace kv
