#include "reader/records.h"

#include <algorithm>
#include <array>

#include "reader/inflate.h"

namespace kvjob {
namespace {

constexpr TypeInfo kTypes[] = {
    {0, Body::Empty, "end of stream"},
    {1, Body::Header, "document header"},
    {2, Body::Empty, "document start"},
    {3, Body::Empty, "document end"},
    {5, Body::Empty, "page start"},
    {6, Body::Empty, "page end"},
    {7, Body::Brush, "brush definition"},
    {9, Body::Font, "font definition"},
    {10, Body::ClipReset, "clip reset", false, true},
    {12, Body::ClipRects, "rectangle clip", false, true},
    {14, Body::RectFill, "rectangle fill", false, true},
    {18, Body::Bitmap, "bitmap", false, true, true, true},
    {19, Body::TextState, "text state", false, true},
    {21, Body::Summary, "document summary"},
    {23, Body::String, "document name"},
    {24, Body::String, "application name"},
    {28, Body::FontFile, "embedded font file"},
    {30, Body::Text, "text", false, true},
    {31, Body::Bitmap, "JPEG bitmap", false, true, true, true},
    {33, Body::ClipPath, "path clip", false, true},
    {34, Body::Path, "stroke path", false, true},
    {35, Body::Path, "fill path", false, true},
    {36, Body::Path, "stroke and fill path", false, true},
    {37, Body::Tray, "paper tray name"},
    {38, Body::TrailerPosition, "trailer position"},
    {39, Body::DrawState, "drawing state", false, true},
    {40, Body::Attached, "attached data"},
    {41, Body::AlphaBlend, "alpha blend", false, true, false, true},
    {42, Body::AlphaBlend, "alpha blend", true, true, false, true},
    {44, Body::PageStartData, "page start with data"},
    {46, Body::ClipPath, "path clip", true, true},
    {47, Body::Path, "stroke path", true, true},
    {48, Body::Path, "fill path", true, true},
    {49, Body::Path, "stroke and fill path", true, true},
    {50, Body::ClipRects, "rectangle clip", true, true},
    {51, Body::RectFill, "rectangle fill", true, true},
    {52, Body::Bitmap, "bitmap", true, true, true, true},
    {53, Body::Bitmap, "JPEG bitmap", true, true, true, true},
    {54, Body::Text, "text", true, true},
    {55, Body::Index, "page index", true},
    {59, Body::Transparent, "transparent blit", false, true, true, true},
    {60, Body::Transparent, "transparent blit", true, true, true, true},
    {61, Body::Masked, "masked image", false, true, false, true},
    {62, Body::Masked, "masked image", true, true, false, true},
};

constexpr std::array<TypeInfo, 256> all_types() {
    std::array<TypeInfo, 256> all{};
    for (size_t i = 0; i < all.size(); ++i) all[i] = {static_cast<uint8_t>(i), Body::Unknown, "unknown"};
    for (const TypeInfo& info : kTypes) all[info.type] = info;
    return all;
}
constexpr std::array<TypeInfo, 256> kAllTypes = all_types();

}  // namespace

const TypeInfo& type_info(uint8_t type) { return kAllTypes[type]; }

void expect_magic(Bytes file) {
    constexpr uint8_t kMagic[kMagicSize] = {'K', 'A', 'R', 'V'};
    if (file.size() < kMagicSize || !std::equal(std::begin(kMagic), std::end(kMagic), file.begin())) {
        throw Fault(0, "not a job file: the magic is missing");
    }
}

Record read_record(Bytes file, uint64_t offset) {
    Record record = {offset, 0, Framing::Short, {}, 0};
    try {
        Reader reader(file.subspan(offset));
        record.type = reader.u8();
        const uint8_t length = reader.u8();
        uint32_t size = length;
        if (length == 0xFE) {
            record.framing = Framing::Medium;
            size = reader.u16();
        } else if (length == 0xFF) {
            const uint8_t kind = reader.u8();
            if (kind != 0 && kind != 2) throw Fault(offset, "length of unknown kind " + std::to_string(kind));
            record.framing = kind == 0 ? Framing::Long : Framing::Compressed;
            size = reader.u32();
            if (kind == 2) record.inflated_length = reader.u32();
        }
        record.payload = reader.take(size);
        if (!record.compressed()) record.inflated_length = size;
    } catch (const BodyFault&) {
        throw Fault(offset, "the file ends within a record");
    }
    return record;
}

Bytes body_of(const Record& record, std::vector<uint8_t>& buffer, uint64_t memory) {
    if (!record.compressed()) return record.payload;
    if (record.inflated_length > memory && can_inflate_to(record.payload, record.inflated_length)) {
        throw BodyFault("inflates to " + std::to_string(record.inflated_length) +
                        " bytes, more than the memory allowed");
    }
    inflate_raw(record.payload, record.inflated_length, buffer);
    return buffer;
}

}  // namespace kvjob
