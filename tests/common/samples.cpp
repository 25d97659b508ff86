#include "tests/common/samples.h"

#include "tests/common/workspace.h"

namespace kvjob::test {
namespace {

using kv::test::from_hex;

Body font_head(uint32_t id, int height, int escapement, int weight, bool italic, int clip_precision) {
    Body font;
    font.u32({id, height, 0, escapement, escapement, weight});
    return font.u8({italic, 0, 0, 1, 7, clip_precision, 2, 0x22});
}

}  // namespace

Buffer font_definition(uint32_t id, int height, const std::u16string& face, int escapement, int weight, bool italic) {
    Body font = font_head(id, height, escapement, weight, italic, 0x20);
    font.text(face).u16({0});
    return font.fill(2 * (31 - face.size()), 0xFF);
}

Buffer embedded_font_definition(uint32_t id, int height, uint32_t file, int flags, const Buffer& rest) {
    Body font = font_head(id, height, 0, 400, false, 0x80);
    font.u32({file}).u16({0, flags}).add(rest);
    return font.fill(56 - rest.size(), 0);
}

const Buffer& sample_font() {
    static const Buffer font = kv::test::read_bytes("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
    return font;
}

uint32_t start_page_with_font(JobBuilder& job, int height) {
    const uint32_t file = job.start_page().next_id();
    const auto size = static_cast<int64_t>(sample_font().size());
    job.record(28, Body().u32({file, size}).add(sample_font()));
    const uint32_t font = job.next_id();
    job.record(9, embedded_font_definition(font, height, file, 1));
    return font;
}

namespace {

Buffer star16(int points) {
    Body path;
    path.u8({0, 1, 0x0B});
    points < 254 ? path.u8({points}) : path.u8({0xFE}).u16({points});
    for (int i = 0; i < points; ++i) path.u16({10 + i * 37 % 500, 10 + i * 91 % 700});
    return path;
}

Buffer vector_job() {
    JobBuilder job;
    const uint32_t hatch = job.start_page(301).next_id();
    job.record(7, Body().u32({hatch, 2, 0xFF, 3, 0xFFFFFF}));
    job.record(12, rect16(5, 5, 800, 800)).record(39, fill_state(hatch)).record(35, star16(5));
    // caps, joins, miter limit, width 300, pen, operation, no gaps, geometric, two dashes
    job.record(39, Body().u16({0xFCD0}).u8({2, 1}).f32(10).u16({300}).u32({0x80000004}).u8({13, 0, 1, 2}).u16({9, 4}));
    job.compressed_record(36, star16(300));
    job.record(33, star16(4)).record(14, Body().u8({0xF0}).add(rect16(50, 50, 90, 90)));
    job.record(10);
    job.record(39, Body().u16({0x14}).u8({0x03, 7}))
        .record(34, Body().u8({1, 1, 0x13, 4}).u16({1, 1, 9, 1, 9, 9, 1, 9}));
    job.end_page(0x05).start_page().end_page(0, kEmptyRect);
    job.start_page().record(39, fill_state(hatch)).record(35, star16(5)).end_page();
    job.largest_entry = 300;
    job.largest_clip = 1;
    return job.finish({{23, Body().text(u"name").u16({0})},
                       {24, Body().text(u"program").u16({0})},
                       {40, Body().text(u"k").u16({0}).text(u"v").u16({0, 0})},
                       {40, Body().text(u"k").u16({0, 0})},  // ended by an empty value
                       {37, Body().u32({0}).u16({301}).text(u"Tray").u16({0})}});
}

Buffer wide_job() {
    JobBuilder job;
    job.page_width = 40000;
    job.start_page().record(39, fill_state(0x80000002));
    job.record(50, Body().u32({0, 0, 39000, 50})).record(51, Body().u8({0xF0}).u32({0, 0, 38000, 20}));
    job.record(48, Body().u8({0, 1, 0x0B, 3}).u32({10, 10, 39000, 10, 90, 90}));
    job.record(46, Body().u8({0, 1, 0x0B, 3}).u32({10, 10, 39000, 10, 90, 90}));
    job.end_page(0, {0, 0, 40000, 1100});
    job.largest_entry = 3;
    job.largest_clip = 1;
    return job.finish();
}

constexpr uint32_t kBlack = 0, kWhite = 0xFFFFFF;

Buffer checkerboard() { return packed_bitmap(8, 2, 1, {kBlack, kWhite}, {0xAA, 0, 0, 0, 0x55, 0, 0, 0}); }

Buffer image_job() {
    JobBuilder job;
    const uint32_t pattern = job.start_page().next_id();
    job.record(7, Body().u32({pattern, 5, 0, 0, 0}).add(checkerboard()));
    job.record(39, fill_state(pattern)).record(14, Body().u8({0xF0}).add(rect16(0, 0, 99, 99)));
    auto drawn = [](Body head, int width, int height, const Buffer& bitmap) {
        return head.add(rect16(0, 0, width, height)).add(rect16(10, 10, 50, 20)).add(bitmap).bytes;
    };
    const Buffer colours = packed_bitmap(90, 1, 24, {}, Body().fill(272, 0x7F));
    const Buffer runs =
        packed_bitmap(12, 1, 8, std::vector<uint32_t>(256, kWhite), from_hex("0901 00 03 04050600 0000 0001"), 1);
    job.record(18, drawn(Body().u8({0xCC}), 8, 2, checkerboard()));
    job.compressed_record(18, drawn(Body().u8({0xCC}), 90, 1, colours));
    job.sized_record(31, drawn(Body().u8({0xCC}), 32, 32, jpeg_stream(32, 32, false, 200, 100, 50)));
    job.sized_record(59, drawn(Body().u8({200, 200, 200, 1}), 32, 32, jpeg_stream(32, 32, true, 200, 0, 0)));
    job.sized_record(18, drawn(Body().u8({0x66}), 12, 1, runs));
    job.record(59, drawn(Body().u8({0, 0, 0, 0}), 8, 2, checkerboard()));
    const Buffer translucent = packed_bitmap(2, 1, 32, {}, Body().u32({0x80400000, 0}));
    job.record(41, drawn(Body().u32({0x01FF0000}), 2, 1, translucent));
    Body masked;
    masked.u16({0}).add(rect16(0, 0, 8, 2)).u16({10, 10, 50, 10, 50, 20, 10, 20}).u32({72, 56});
    masked.add(packed_bitmap(8, 2, 16, {}, Body().fill(32, 0x1F))).add(checkerboard());
    job.record(61, masked).end_page(0x29);
    job.largest_record = 14000;
    return job.finish();
}

// No font files: theirs would be most of the bytes.
Buffer text_job() {
    JobBuilder job;
    job.page_width = 40000;
    const uint32_t file = job.start_page().next_id();
    job.compressed_record(28, Body().u32({file, 400}).add(Buffer(sample_font().begin(), sample_font().begin() + 400)));
    const uint32_t embedded = job.next_id();
    job.record(9, embedded_font_definition(embedded, -40, file, 3, Body().u32({1})));
    const uint32_t named = job.next_id();
    job.record(9, font_definition(named, -30, u"DejaVu Sans", 450, 700, true));
    job.record(19, Body().u8({0xE8}).u32({named, 0xFF, 0xFFFFFF}).u8({2}));
    job.record(30,
               Body().u8({0x78, 2}).u16({'a', 'b', 0, 7, 8, -5, 20, 11, 12}).add(rect16(1, 2, 30, 40)).u16({0, -3}));
    job.record(19, Body().u8({0x90}).u32({embedded, 1252}));
    job.record(54, Body().u8({0x20, 1}).u16({7}).u32({33000, 5}).u16({5}));
    return job.end_page(0, {0, 0, 40000, 1100}).finish();
}

}  // namespace

std::vector<Buffer> sample_jobs() { return {vector_job(), wide_job(), image_job(), text_job()}; }

}  // namespace kvjob::test
