#include "record/brush.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "record/document.h"
#include "record/record_types.h"
#include "record/surface_dib.h"
#include "support/process_state.h"
#include "support/trace.h"

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

// Identifiers are positions and counts; neighbours come apart.
DWORD scattered(BrushId id) { return (id * 2654435761u) >> 8; }

BYTE* pattern_of(RealizedBrush& brush) { return reinterpret_cast<BYTE*>(&brush + 1); }

// Enough for the pattern as it stands and with its colours reduced to a table.
uint64_t pattern_room(BITMAPINFOHEADER header) {
    if (header.biBitCount <= 8) return dib_size(header);
    header.biCompression = BI_BITFIELDS;
    const uint64_t full = dib_size(header);
    header.biCompression = BI_RGB;
    header.biBitCount = 8;
    return std::max(full, dib_size(header));
}

// Behind the realised brush, where there are `room` bytes.
BOOL realize_pattern(Document& document, const SURFOBJ& surface, XLATEOBJ* translation, RealizedBrush& brush,
                     uint64_t room) {
    const RECTL whole = {0, 0, surface.sizlBitmap.cx, surface.sizlBitmap.cy};
    SurfaceRequest request = {.surface = &surface};
    request.translation = translation;
    request.source = request.destination = whole;
    SurfaceImage image;
    if (!ConvertSurfaceToDib(document, request, image)) return FALSE;
    const DibView dib = image.view();
    if (dib_size(*dib.header) > room) return KV_FAIL(Record, "a pattern of more bytes than its surface suggests");
    const auto head_size = static_cast<size_t>(dib_head_size(*dib.header));
    brush.kind = BrushKind::Pattern;
    std::memcpy(pattern_of(brush), dib.header, head_size);
    std::memcpy(pattern_of(brush) + head_size, dib.bits, static_cast<size_t>(dib_bits_size(*dib.header)));
    return TRUE;
}

void realize_colors(const BRUSHOBJ& brush, XLATEOBJ* translation, ULONG hatch, RealizedBrush& realized) {
    if (brush.iSolidColor != kNotSolid) {
        realized.colour = swap_red_and_blue(brush.iSolidColor);
    } else if (hatch < HS_DDI_MAX) {
        realized.kind = BrushKind::Hatched;
        realized.colour = swap_red_and_blue(XLATEOBJ_iXlate(translation, 1));
        realized.hatch = hatch;
        realized.background = swap_red_and_blue(XLATEOBJ_iXlate(translation, 0));
    } else {
        realized.colour = 0xFFFFFF;
    }
}

}  // namespace

DWORD realized_brush_size(const RealizedBrush& brush) {
    if (brush.kind != BrushKind::Pattern) return sizeof(RealizedBrush);
    BITMAPINFOHEADER header;
    std::memcpy(&header, &brush + 1, sizeof header);
    return static_cast<DWORD>(sizeof(RealizedBrush) + dib_size(header));
}

void BrushList::swap(BrushList& other) {
    std::swap(buckets_, other.buckets_);
    std::swap(size_, other.size_);
    std::swap(count_, other.count_);
}

BrushId BrushList::find(const RealizedBrush& brush) const {
    if (count_ == 0) return kNoBrush;
    const DWORD size = realized_brush_size(brush);
    auto is_equal = [&](const Node* node) {
        return node->size == size && std::memcmp(content(node->brush()), content(brush), content_size(size)) == 0;
    };
    // A large pattern is compared faster than hashed.
    for (const Node* node = bucket(scattered(brush.id)).named; node; node = node->next_named) {
        if (node->brush().id == brush.id && is_equal(node)) return brush.id;
    }
    const DWORD hash = hash_of(brush, size);
    for (const Node* node = bucket(hash).content; node; node = node->next) {
        if (node->hash == hash && is_equal(node)) return node->brush().id;
    }
    return kNoBrush;
}

void BrushList::add(const RealizedBrush& brush) {
    if (count_ >= size_) grow();
    const DWORD size = realized_brush_size(brush);
    void* block = nullptr;
    if (size_ == 0 || !AllocMem(&block, sizeof(Node) + size, false)) return;
    Node* node = static_cast<Node*>(block);
    node->hash = hash_of(brush, size);
    node->size = size;
    std::memcpy(node + 1, &brush, size);
    link(node);
    ++count_;
}

void BrushList::link(Node* node) {
    node->next = std::exchange(bucket(node->hash).content, node);
    node->next_named = std::exchange(bucket(scattered(node->brush().id)).named, node);
}

// Without memory for more buckets the old ones go on.
void BrushList::grow() {
    constexpr DWORD kFirst = 256, kLargest = 1u << 24;
    const DWORD old_size = size_;
    if (old_size >= kLargest) return;
    HeapArray<Bucket> larger;
    const DWORD wanted = old_size ? old_size * 2 : kFirst;
    if (!larger.alloc(wanted, nullptr)) return;
    std::swap(buckets_, larger);
    size_ = wanted;
    for (DWORD i = 0; i < old_size; ++i) {
        for (Node* node = larger[i].content; node;) link(std::exchange(node, node->next));
    }
}

void BrushList::clear() {
    for (DWORD i = 0; i < size_; ++i) {
        for (Node* node = buckets_[i].content; node;) FreeMem(std::exchange(node, node->next));
    }
    buckets_.reset();
    size_ = count_ = 0;
}

BrushId ResolveBrush(Document& document, BRUSHOBJ* brush) {
    if (!brush) return kNullBrush;
    if (brush->iSolidColor != kNotSolid) {
        RealizedBrush solid = {kNoBrush, BrushKind::Solid, swap_red_and_blue(brush->iSolidColor), 0, 0};
        return ResolveRealizedBrush(document, solid);
    }
    auto* realized = static_cast<RealizedBrush*>(BRUSHOBJ_pvGetRbrush(brush));
    if (realized) return ResolveRealizedBrush(document, *realized);
    KV_FAIL(Record, "the engine realizes no brush at position %u", static_cast<unsigned>(document.position));
    return kNullBrush;
}

BrushId ResolveRealizedBrush(Document& document, RealizedBrush& brush) {
    if (brush.kind == BrushKind::Solid) return brush.id = solid_id(brush.colour);
    if (BrushId known = document.brushes.find(brush)) {
        KV_TRACE(Record, Info, "brush %X is reused", static_cast<unsigned>(known));
        return brush.id = known;
    }
    ++document.statistics.brushes;
    if (!document.pending.flush(document)) {
        document.SetFailed();  // what was held back is lost
        return kNullBrush;
    }
    brush.id = document.new_identifier(process_state().brush_ids);
    if (!document.WriteRecord(kRecordBrush, realized_brush_size(brush), &brush)) return kNullBrush;
    KV_TRACE(Record, Info, "brush %X of kind %u, %u bytes", static_cast<unsigned>(brush.id),
             static_cast<unsigned>(brush.kind), static_cast<unsigned>(realized_brush_size(brush)));
    document.brushes.add(brush);
    return brush.id;
}

BOOL realize_brush(Document& document, BRUSHOBJ* brush, const SURFOBJ* pattern, XLATEOBJ* translation, ULONG hatch) {
    BITMAPINFOHEADER header;
    const bool patterned =
        brush->iSolidColor == kNotSolid && hatch >= HS_DDI_MAX && pattern && describe_surface(*pattern, header);
    const uint64_t room = patterned ? pattern_room(header) : 0;
    if (room > kMaxDibSize - sizeof(RealizedBrush)) return KV_FAIL(Record, "a pattern of 2 GiB");
    const auto size = static_cast<ULONG>(sizeof(RealizedBrush) + room);
    auto* realized = static_cast<RealizedBrush*>(BRUSHOBJ_pvAllocRbrush(brush, size));
    if (!realized) return KV_FAIL(Record, "the engine has no %u bytes for a brush", static_cast<unsigned>(size));
    std::memset(realized, 0, size);
    if (patterned) return realize_pattern(document, *pattern, translation, *realized, room);
    realize_colors(*brush, translation, hatch, *realized);
    return TRUE;
}

}  // namespace kv
