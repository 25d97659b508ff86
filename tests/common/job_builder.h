#pragma once
// Jobs built by hand, record by record.

#include "reader/bytes.h"
#include "tests/common/bytes.h"

namespace kvjob::test {

using Buffer = kv::test::Bytes;
using Body = kv::test::BytesBuilder;

Buffer deflated(const Buffer& bytes);
// A packed bitmap with biClrUsed 0; `table` is colours or masks.
Buffer packed_bitmap(int width, int height, int bits, const std::vector<uint32_t>& table, const Buffer& pixels,
                     int compression = 0);

// A JPEG stream of one colour, or of one grey (red counts).
Buffer jpeg_stream(int width, int height, bool grey, int red, int green, int blue);

// Portrait pages of 850 x 1100 pixels at 100 dots per inch, wholly printable.
class JobBuilder {
public:
    JobBuilder();
    uint32_t position() const { return static_cast<uint32_t>(job_.size()); }
    // The identifier that a definition written next takes.
    uint32_t next_id() const { return position() | 0x20000000; }

    JobBuilder& record(int type, const Buffer& body = {});
    JobBuilder& sized_record(int type, const Buffer& body);  // the long header whatever the length
    JobBuilder& compressed_record(int type, const Buffer& body);
    JobBuilder& raw(const Buffer& bytes);

    JobBuilder& start_page();
    JobBuilder& start_page(int tray);
    // What the index says of the page that ends.
    JobBuilder& end_page(int flags = 0, Rect marks = {0, 0, 850, 1100});
    // The trailer; `names` are records between the index and the trailer position.
    Buffer finish(const std::vector<std::pair<int, Buffer>>& names = {});

    // Statistics of the summary; the other ones are counted.
    uint32_t largest_record = 0, largest_entry = 0, largest_clip = 0;
    int page_width = 850, page_height = 1100;  // of the pages that start

private:
    struct Page {
        uint32_t position;
        int flags;
        Rect marks;
        int width, height;
    };
    void head(int type, size_t length);
    Buffer summary(bool wide) const;

    Buffer job_;
    std::vector<Page> pages_;
    uint32_t counts_[256] = {};
    bool names_tray_ = false;
};

// The state record that a page's first fill needs: a brush, R2_COPYPEN and winding.
Buffer fill_state(uint32_t brush);
Buffer rect16(int left, int top, int right, int bottom);

}  // namespace kvjob::test
