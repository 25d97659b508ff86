#include "tests/common/job_builder.h"

#include <zlib.h>

#include <stdexcept>

#include "tests/common/plain_jpeg.h"

namespace kvjob::test {

Buffer deflated(const Buffer& bytes) {
    z_stream stream = {};
    if (deflateInit2(&stream, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) throw std::bad_alloc();
    Buffer out(deflateBound(&stream, bytes.size()));
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

Buffer packed_bitmap(int width, int height, int bits, const std::vector<uint32_t>& table, const Buffer& pixels,
                     int compression) {
    Body dib;
    const bool encoded = compression == 1 || compression == 2;
    dib.u32({40, width, height}).u16({1, bits});
    dib.u32({compression, encoded ? static_cast<int64_t>(pixels.size()) : 0, 0, 0, 0, 0});
    for (uint32_t entry : table) dib.u32({entry});
    return dib.add(pixels);
}

Buffer jpeg_stream(int width, int height, bool grey, int red, int green, int blue) {
    Body rows;
    for (int i = 0; i < width * height; ++i) grey ? rows.u8({red}) : rows.u8({red, green, blue});
    return kv::test::plain_jpeg(rows.bytes, static_cast<unsigned>(width), static_cast<unsigned>(height), grey, 95);
}

JobBuilder::JobBuilder() {
    raw({'K', 'A', 'R', 'V'});
    record(1, Body().u32({0xC000000E}).u16({0x0C04}).u8({0, 7}));
    record(2);
}

JobBuilder& JobBuilder::raw(const Buffer& bytes) {
    job_.insert(job_.end(), bytes.begin(), bytes.end());
    return *this;
}

void JobBuilder::head(int type, size_t length) {
    const int l = static_cast<int>(length);
    ++counts_[type];
    raw(Body().u8({type}));
    if (l < 254) {
        raw(Body().u8({l}));
    } else if (l <= 0xFFFF) {
        raw(Body().u8({0xFE}).u16({l}));
    } else {
        raw(Body().u8({0xFF, 0}).u32({l}));
    }
}

JobBuilder& JobBuilder::record(int type, const Buffer& body) {
    head(type, body.size());
    largest_record = std::max(largest_record, static_cast<uint32_t>(body.size()));
    return raw(body);
}

JobBuilder& JobBuilder::sized_record(int type, const Buffer& body) {
    ++counts_[type];
    return raw(Body().u8({type, 0xFF, 0}).u32({static_cast<int64_t>(body.size())})).raw(body);
}

JobBuilder& JobBuilder::compressed_record(int type, const Buffer& body) {
    ++counts_[type];
    const Buffer data = deflated(body);
    raw(Body().u8({type, 0xFF, 2}).u32({static_cast<int64_t>(data.size()), static_cast<int64_t>(body.size())}));
    return raw(data);
}

JobBuilder& JobBuilder::start_page() {
    pages_.push_back({position(), 0, {}, page_width, page_height});
    return record(5);
}

JobBuilder& JobBuilder::start_page(int tray) {
    pages_.push_back({position(), 0, {}, page_width, page_height});
    names_tray_ = true;
    return record(44, Body().u8({0x80}).u16({tray}));
}

JobBuilder& JobBuilder::end_page(int flags, Rect marks) {
    pages_.back().flags = flags;
    pages_.back().marks = marks;
    return record(6);
}

Buffer JobBuilder::summary(bool wide) const {
    auto rect = [&](Body& out, Rect r) {
        if (!wide && r == kEmptyRect) r = {0x7FFF, 0x7FFF, 0x8000, 0x8000};
        wide ? out.u32({r.left, r.top, r.right, r.bottom}) : out.u16({r.left, r.top, r.right, r.bottom});
    };
    Rect bounds = kEmptyRect;
    for (const Page& page : pages_) bounds = united(bounds, page.marks);
    const auto size = static_cast<uint32_t>((wide ? 68 : 52) + (wide ? 48 : 28) * pages_.size());
    Body out;
    out.u16({5}).u32({names_tray_ ? 5 : 1});
    out.u32({std::max(largest_record, size), counts_[7], counts_[9], counts_[28], largest_entry, largest_clip});
    out.u16({100});
    rect(out, bounds);
    rect(out, kEmptyRect);  // of the landscape pages
    out.u32({static_cast<int64_t>(pages_.size())});
    for (const Page& page : pages_) {
        out.u32({page.position}).u16({1}).u8({1, page.flags});
        wide ? out.u32({page.width, page.height}) : out.u16({page.width, page.height});
        rect(out, {0, 0, page.width, page.height});
        rect(out, page.marks);
    }
    return out;
}

Buffer JobBuilder::finish(const std::vector<std::pair<int, Buffer>>& names) {
    record(3);
    record(0);
    const uint32_t trailer = position();
    if (page_width > 0x7FFF || page_height > 0x7FFF) {
        record(21, Body().u16({2}).fill(56, 0));
        record(55, summary(true));
    } else {
        record(21, summary(false));
    }
    for (const auto& [type, body] : names) record(type, body);
    record(38, Body().u32({trailer}));
    return job_;
}

Buffer fill_state(uint32_t brush) { return Body().u16({0x0E}).u32({brush}).u8({13, 2}); }
Buffer rect16(int left, int top, int right, int bottom) { return Body().u16({left, top, right, bottom}); }

}  // namespace kvjob::test
