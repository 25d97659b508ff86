// Documents under failure: whatever call fails, the result is the documented one and nothing is left behind.

#include "tests/common/fault_test.h"

namespace kv::test {
namespace {

using engine::Brush;
using engine::Clip;
using engine::Path;

void make_zigzag(Path& path, int points) {
    path.move_to(at(10, 10));
    for (int i = 1; i < points; ++i) path.line_to(at(10 + i % 800, i % 2 ? 900 : 10));
}

// More than 1 KB when it is encoded, so that it is kept.
Clip large_region() {
    std::vector<RECTL> rects;
    for (LONG y = 0; y < 80; ++y) rects.push_back({10, y * 10, 500, y * 10 + 5});
    return Clip::region(std::move(rects));
}

struct DocumentFaults : FaultTest {
    static void draw_page(engine::Device& device, Answers& note, int points) {
        note(device.start_page());
        Path rect, zigzag;
        rect.add_rect({20, 20, 400, 400});
        make_zigzag(zigzag, points);
        Brush blue = Brush::solid(0x0000FF), hatch = Brush::hatched(3, 0x102030, 0xFFFFFF);
        Clip region = large_region(), inner = Clip::rectangle({30, 30, 90, 90});
        engine::Transform transform({2, 0, 0, 2, 0, 0});
        note(device.fill(rect, nullptr, blue, FP_WINDINGMODE));
        note(device.fill(rect, &region, hatch, FP_ALTERNATEMODE));
        note(device.stroke(zigzag, &region, &transform, blue, geometric_line(2)));
        note(device.stroke_and_fill(rect, &inner, nullptr, blue, hairline(), hatch, FP_WINDINGMODE));
        note(device.send_page());
    }

    static Script print(int points) {
        return [points](engine::Device& device, Answers& note) {
            note(device.start_document(u"Faults", 3));
            draw_page(device, note, points);
            DEVMODEW mode_of_tray = landscape();
            mode_of_tray.dmFields |= DM_DEFAULTSOURCE;
            mode_of_tray.dmDefaultSource = 301;
            device.reset(mode_of_tray);  // without memory for another device the document goes on where it is
            draw_page(device, note, points);
            note(device.end_document());
        };
    }

    // What is only looked up (settings, names) may fail without any loss, and without memory either a step fails or the
    // document is there.
    static void expect_no_loss(const FaultRun& run) {
        if (run.kind == host::CallKind::Allocation && run.port_known) {
            EXPECT_EQ(run.answers.refused(), run.job.empty());
        }
        const bool looked_up = run.kind == host::CallKind::Registry || run.kind == host::CallKind::Process;
        if (!looked_up && !run.functions.contains("SetEndOfFile"))
            return;  // there is nothing behind the end to cut off
        EXPECT_FALSE(run.answers.refused());
        EXPECT_FALSE(run.job.empty());
    }

    void SetUp() override {
        FaultTest::SetUp();
        host::set_registry_string(
            HKEY_CURRENT_USER, u"Software\\Velmora Software\\Karvo12\\KarvoPrinters\\P\\PaperTrays", u"301", u"Blue");
    }
};

TEST_F(DocumentFaults, EveryCallOfAPlainDocument) {
    fail_each_call(print(12000), expect_no_loss);  // beyond the file's write buffer
    EXPECT_GT(failed_calls, 250u);
}

TEST_F(DocumentFaults, EveryWrite) { fail_each_write(print(40)); }

TEST_F(DocumentFaults, EveryCallOfACompressedDocument) {
    set(u"Compression", 0x10);
    fail_each_call_of(host::CallKind::Allocation, print(2000), {});
    fail_each_call_of(host::CallKind::File, print(2000), {});
}

}  // namespace
}  // namespace kv::test
