#include "reader/index.h"

#include <algorithm>

namespace kvjob {
namespace {

constexpr uint16_t kFormatLevel = 5, kIndexFollows = 2;
constexpr size_t kAnnouncementSize = 58;
constexpr uint64_t kTrailerPositionSize = 6;  // the last record of a job

IndexedPage read_page(Reader& in, bool wide) {
    IndexedPage page;
    page.position = in.u32();
    page.paper = in.u16();
    page.orientation = in.u8();
    page.flags = in.u8();
    page.width = in.coordinate(wide);
    page.height = in.coordinate(wide);
    page.printable = in.rect(wide);
    page.marks = in.rect(wide);
    return page;
}

}  // namespace

// Printable areas of a damaged index may be of any size.
Rect IndexedPage::surface() const {
    auto extent = [](int32_t low, int32_t high) {
        return static_cast<int32_t>(std::clamp<int64_t>(int64_t{high} - low, 0, INT32_MAX));
    };
    return {0, 0, extent(printable.left, printable.right), extent(printable.top, printable.bottom)};
}

bool announces_index(Bytes body) {
    if (body.size() != kAnnouncementSize || Reader(body).u16() != kIndexFollows) return false;
    return std::all_of(body.begin() + 2, body.end(), [](uint8_t byte) { return byte == 0; });
}

Summary read_summary(Bytes body, bool wide) {
    Reader in(body);
    Summary summary;
    summary.wide = wide;
    if (in.u16() != kFormatLevel) throw BodyFault("unknown format level");
    summary.flags = in.u32();
    for (uint32_t* value : {&summary.largest_record, &summary.brushes, &summary.fonts, &summary.font_files,
                            &summary.largest_entry, &summary.largest_clip}) {
        *value = in.u32();
    }
    summary.resolution = in.u16();
    summary.portrait = in.rect(wide);
    summary.landscape = in.rect(wide);
    const uint32_t count = in.u32();
    const size_t page_size = wide ? 48 : 28;
    if (in.left() != uint64_t{count} * page_size) throw BodyFault("page count does not match the length");
    for (uint32_t i = 0; i < count; ++i) summary.pages.push_back(read_page(in, wide));
    return summary;
}

bool fits_short_form(const Summary& summary) {
    return fits_16_bits(summary.portrait) && fits_16_bits(summary.landscape) &&
           std::all_of(summary.pages.begin(), summary.pages.end(), [](const IndexedPage& page) {
               return fits_16_bits(page.width) && fits_16_bits(page.height) && fits_16_bits(page.printable) &&
                      fits_16_bits(page.marks);
           });
}

uint64_t summary_position(Bytes file) {
    expect_magic(file);
    if (file.size() < kTrailerPositionSize) throw Fault(0, "no trailer position");
    const uint64_t last = file.size() - kTrailerPositionSize;
    const Record position = read_record(file, last);
    if (position.type != 38 || position.payload.size() != 4) throw Fault(last, "no trailer position");
    const uint32_t trailer = Reader(position.payload).u32();
    if (trailer >= last) throw Fault(last, "trailer position is beyond the trailer");
    return trailer;
}

Summary find_summary(Bytes file) {
    const uint64_t trailer = summary_position(file);
    try {
        Record record = read_record(file, trailer);
        if (record.type != 21) throw Fault(trailer, "no document summary where the trailer begins");
        if (!announces_index(record.payload)) return read_summary(record.payload, false);
        record = read_record(file, record.end(file.data()));
        if (record.type != 55) throw Fault(record.offset, "no page index behind its announcement");
        return read_summary(record.payload, true);
    } catch (const BodyFault& fault) {
        throw Fault(trailer, fault.what());
    }
}

}  // namespace kvjob
