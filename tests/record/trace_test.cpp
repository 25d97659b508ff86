// The trace: each call that is refused or fails, and each decision, has a line; without the trace nothing is written,
// and it changes no answer.

#include "support/trace.h"

#include <algorithm>
#include <functional>

#include "record/record_types.h"
#include "support/process_state.h"
#include "tests/common/text_test.h"

namespace kv::test {
namespace {

using engine::Bitmap;
using engine::Brush;
using engine::Path;

struct DocumentTraceTest : TextTest {
    using PrintTest::device, PrintTest::pdevice;
    DocumentTraceTest() {
        host::set_trace_listener([this](const std::string& line) {
            const size_t thread = line.find(' '), component = line.find(' ', thread + 1);
            lines_.push_back(line.substr(component + 1));
        });
    }
    ~DocumentTraceTest() override {
        host::set_trace_listener({});
        stop_trace();
    }

    struct Result {
        BOOL answer;
        DWORD error;
        bool operator==(const Result&) const = default;
    };
    // A document of one page that the work is done on.
    Result run(const char* levels, const std::function<BOOL(DocumentTraceTest&)>& work) {
        lines_.clear();
        set_trace_levels(levels);
        start_page();
        SetLastError(0);
        Result result = {work(*this), 0};
        result.error = GetLastError();
        device->send_page();
        device->end_document();
        close_device();
        process_state().silent = 0;
        host::clear_failures();
        return result;
    }
    BOOL fill(BYTE rop = 0, engine::Clip* clip = nullptr) {
        return device->bit_blt(nullptr, nullptr, clip, nullptr, {10, 10, 50, 50}, nullptr, &black, rop * 0x0101u);
    }
    BOOL fill_hatched() {
        Path path;
        path.add_rect({20, 20, 400, 400});
        Brush hatch = Brush::hatched(3, 0x102030, 0xFFFFFF);
        return device->fill(path, nullptr, hatch, FP_WINDINGMODE);
    }
    BOOL copy(ULONG format, LONG size) {
        Bitmap image(format, size, size);
        for (LONG i = 0; i < size * size; ++i) image.set_pixel(i % size, i / size, static_cast<ULONG>(i * 977));
        return device->copy_bits(image, nullptr, nullptr, {0, 0, size, size}, {0, 0});
    }
    BOOL say(const std::u16string& text) {
        engine::Font font(sans, 0, 40.0);
        engine::String string(font, text, {100, 200});
        return draw(string, font);
    }

    std::vector<std::string> lines_;
};

TEST_F(DocumentTraceTest, TellsWhatIsRefusedFailsAndIsDecided) {
    const struct {
        std::function<BOOL(DocumentTraceTest&)> work;
        std::vector<std::string> begins;  // of lines that must be there, in this order
    } cases[] = {
        {[](DocumentTraceTest& t) { return t.device->send_page(), t.fill_hatched(); },
         {"driver error DrvFillPath: no page is open"}},
        {[](DocumentTraceTest& t) { return t.device->send_page(), t.device->send_page(); },
         {"driver error DrvSendPage: no page is open"}},
        {[](DocumentTraceTest& t) { return t.device->end_document(ED_ABORTDOC), t.device->start_page(); },
         {"driver warning DrvEndDoc: the document is aborted",
          "record error DrvEndDoc: the document failed at position 18",
          "record info EndDocument: 0 pages in 18 bytes, discarded", "driver error DrvStartPage: no document is open"}},
        {[](DocumentTraceTest& t) { return t.device->escape(4098, {}) != 0; },
         {"record error end_path: 0 bytes, no path"}},
        {[](DocumentTraceTest& t) { return t.pdevice().WriteBytes(nullptr, 5); },
         {"record error WriteBytes: 5 bytes of nothing at position 18",
          "record error WriteBytes: the document failed at position 18"}},
        {[](DocumentTraceTest& t) {
             process_state().silent = 1;
             t.pdevice().position = 0x7FFFFFFF;
             return t.pdevice().WriteBytes("ab", 2);
         },
         {"support error show_message: message not shown, as Silent is set: Could not write to the file C:\\",
          "record error has_room: no room for 0 KiB at position 2147483647, last error 223",
          "record error write_to_file: the document failed at position 2147483647, last error 223"}},
        {[](DocumentTraceTest& t) {
             const Bytes large(300000);
             host::fail_call(host::CallKind::File, 1);
             return t.pdevice().WriteRecord(kRecordRectFill16, 300000, large.data());
         },
         {"support error show_message: message Could not write to the file C:\\",
          "support error fail: message 12160: C:\\",
          "record error write_to_file: the document failed at position 25, last error 112"}},
        {[](DocumentTraceTest& t) {
             host::fail_call(host::CallKind::Allocation, 2);  // of the rows, turned round
             return t.copy(BMF_16BPP, 40);
         },
         {"support error Alloc: no 3240 bytes of movable memory",
          "record error DrvCopyBits: the document failed at position 18"}},
        {[](DocumentTraceTest& t) { return t.copy(BMF_8BPP, 40); },
         {"record error convert: a surface of format 3, 40 x 40, is not read, position 18",
          "record error DrvCopyBits: the document failed"}},
        {[](DocumentTraceTest& t) { return t.fill_hatched() && t.fill_hatched(); },
         {"record info ResolveRealizedBrush: brush 20000012 of kind 2, 20 bytes",
          "record info ResolveRealizedBrush: brush 20000012 is reused"}},
        {[](DocumentTraceTest& t) { return t.fill() && t.fill() && t.copy(BMF_24BPP, 40); },
         {"record info offer: held back", "record info offer: joined to what is held",
          "record info flush: what is held is written at position 18",
          "image info SelectBitmapEncoding: 40 x 40, 24 bits: JPEG"}},
        {[](DocumentTraceTest& t) {
             engine::Clip clip = engine::Clip::rectangle({20, 20, 30, 30});
             return t.fill(0, &clip);
         },
         {"record info SetCurrentClip: clip of kind 3, 12 bytes"}},
        {[](DocumentTraceTest& t) { return t.fill(0xFF); }, {"record info RecordRectFill: white on a blank page"}},
        {[](DocumentTraceTest& t) { return t.say(u"A") && t.say(u"B"); },
         {"fonts info find_installed_family: Test Sans is installed as Test Sans",
          "record info decide_embedding: Test Sans stays: ", "record info define: font 20000012, -40 high, by its name",
          "record info define: font 20000012 is reused"}},
        {[](DocumentTraceTest& t) {
             t.pdevice().port_name.assign(u"LPT1:");
             return t.fill();
         },
         {"record error close_job: nobody takes the job, which is deleted: C:\\Windows\\Temp\\"}},
    };
    set(u"Compression", 1);
    for (const auto& test : cases) {
        SCOPED_TRACE(test.begins.front());
        const Result silent = run("", test.work);
        EXPECT_TRUE(lines_.empty());
        EXPECT_EQ(run("info", test.work), silent);
        auto line = lines_.begin();
        for (const std::string& begin : test.begins) {
            line = std::find_if(line, lines_.end(), [&](const std::string& l) { return l.starts_with(begin); });
            EXPECT_NE(line, lines_.end()) << begin;
            if (line == lines_.end()) break;
        }
        if (HasFailure()) {
            for (const std::string& each : lines_) ADD_FAILURE() << each;
            break;
        }
    }
}

}  // namespace
}  // namespace kv::test
