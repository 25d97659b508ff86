#pragma once
// Pages of transfers with a source.

#include "tests/common/fault_test.h"

namespace kv::test {

struct BlitTest : PrintTest {
    void set_private(WORD compression) { set(u"Compression", compression); }
    // A page with what `draw` draws; its records.
    template <class Draw>
    Bytes print(Draw draw) {
        host::printer(printer).output.clear();
        start_page();
        EXPECT_TRUE(draw());
        flags = pdevice().pages.current()->flags;
        end_page_and_document();
        EXPECT_EQ(faults_of(job()), "");
        return page_records();
    }
    template <class Draw>
    void expect_page(Draw draw, const BytesBuilder& expected) {
        EXPECT_EQ(to_hex(print(draw)), to_hex(expected.bytes));
    }
    // The summary's largest record.
    DWORD largest_record() const {
        const Bytes all = job();
        const size_t at = all[all.size() - 4] | all[all.size() - 3] << 8 | all[all.size() - 2] << 16;
        const BYTE* field = &all[at + 2 + 6];
        return field[0] | field[1] << 8 | field[2] << 16;
    }
    BOOL copy(engine::Bitmap& bitmap, engine::Translation* table = nullptr, LONG left = 10, LONG top = 20) {
        const RECTL to = {left, top, left + bitmap.width(), top + bitmap.height()};
        return device->copy_bits(bitmap, nullptr, table, to, {0, 0});
    }
    BYTE flags = 0;
};

}  // namespace kv::test
