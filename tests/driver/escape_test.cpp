// The escapes: what they answer, what they attach, and that none harms a job.

#include <random>
#include <utility>

#include "support/process_state.h"
#include "tests/driver/escape_fixture.h"

namespace kv::test {
namespace {

using engine::Brush;
using engine::Clip;
using engine::Path;

TEST_F(EscapeTest, SayWhichAreSupported) {
    set(u"PathEscapes", 3);
    open_device();
    for (int code : {QUERYESCSUPPORT, PASSTHROUGH, GETTECHNOLOGY}) EXPECT_EQ(escape(QUERYESCSUPPORT, dword(code)), 1u);
    for (int code : {BEGIN_PATH, CLIP_TO_PATH, END_PATH}) EXPECT_EQ(escape(QUERYESCSUPPORT, dword(code)), 3u);
    for (int code : {0, 0x801, 4099, 0x10008}) EXPECT_EQ(escape(QUERYESCSUPPORT, dword(code)), 0u);
    EXPECT_EQ(escape(QUERYESCSUPPORT, {8, 0, 0}), 0u);
    EXPECT_EQ(DrvEscape(device->surface(), QUERYESCSUPPORT, 4, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(escape(4099, dword(0)), 0u);
    EXPECT_EQ(DrvEscape(nullptr, QUERYESCSUPPORT, 4, dword(8).data(), 0, nullptr), 0u);
}

TEST_F(EscapeTest, NameTheTechnology) {
    open_device();
    const std::pair<ULONG, std::string> cases[] = {{1, ""}, {3, "Ka"}, {5, "Karv"}, {6, "Karvo"}, {9, "Karvo"}};
    for (bool dbcs : {false, true}) {
        process_state().dbcs_enabled = dbcs;
        for (const auto& [size, text] : cases) {
            Bytes out(size, 'x');
            EXPECT_EQ(device->escape(GETTECHNOLOGY, {}, out), 9u);
            EXPECT_EQ(reinterpret_cast<const char*>(out.data()), text);
        }
    }
    const UINT code_page = std::exchange(process_state().gui_code_page, 932u);
    Bytes lead_before = {0x82, 'x'};  // the byte before the buffer is none of the driver's
    EXPECT_EQ(DrvEscape(device->surface(), GETTECHNOLOGY, 0, nullptr, 1, &lead_before[1]), 9u);
    EXPECT_EQ(to_hex(lead_before), "82 00 ");
    process_state().gui_code_page = code_page;
    process_state().dbcs_enabled = false;
    EXPECT_EQ(DrvEscape(device->surface(), GETTECHNOLOGY, 0, nullptr, 9, nullptr), 9u);
    EXPECT_EQ(DrvEscape(device->surface(), GETTECHNOLOGY, 0, nullptr, 0, reinterpret_cast<PVOID>(8)), 9u);
}

TEST_F(EscapeTest, AttachTextsAsTheyStandUpToTheEmptyOne) {
    const char* const cases[][2] = {
        // null: accepted without a block
        {"0200 6100 0000 3100 0000 0000", "6100 0000 3100 0000 0000"},
        {"0200 6100 0000 3100 0000 0000 FFFF", "6100 0000 3100 0000 0000"},
        {"0200 6100 0000 3100 0000 6200 0000 3200 0000 0000", "6100 0000 3100 0000 6200 0000 3200 0000 0000"},
        {"0200 6100 0000 0000 6200 0000", "6100 0000 0000"},  // ended by an empty value
        {"0200 6100 0000 3132", "6100 0000 3132 0000 0000"},  // not terminated
        {"0200 6100 6200", "6100 6200 0000 0000"},
        {"0200 6100 62", "6100 6200 0000 0000"},  // an odd number of bytes
        {"0200 61", "6100 0000 0000"},
        {"0200 0000 6100 0000", nullptr},
        {"0200 00", nullptr},
    };
    open_device();
    for (const auto& [in, block] : cases) {
        SCOPED_TRACE(in);
        ASSERT_TRUE(device->start_document(u"", 1));
        EXPECT_EQ(escape(PASSTHROUGH, from_hex(in)), 1u);
        ASSERT_TRUE(device->start_page());
        end_page_and_document();
        const auto blocks = trailer_records(job(), 40);
        EXPECT_EQ(blocks, std::vector<Bytes>(block ? 1 : 0, from_hex(block ? block : "")));
        EXPECT_EQ(faults_of(job()), "");
        host::printer(printer).output.clear();
    }
}

TEST_F(EscapeTest, WriteAttachedBlocksLastFirst) {
    start_page();
    EXPECT_EQ(escape(PASSTHROUGH, from_hex("0200 6100 0000 3100 0000 0000")), 1u);
    ASSERT_TRUE(device->send_page());
    DEVMODEW same = {};
    same.dmSize = sizeof same;
    ASSERT_TRUE(device->reset(same));  // the blocks go with the document
    ASSERT_TRUE(device->start_page());
    EXPECT_EQ(escape(PASSTHROUGH, from_hex("0200 6200 0000 3200 0000 0000")), 1u);
    end_page_and_document();
    const auto blocks = trailer_records(job(), 40);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0][0], 'b');
    EXPECT_EQ(blocks[1][0], 'a');
    host::printer(printer).output.clear();
    start_page();  // the next document has none
    end_page_and_document();
    EXPECT_TRUE(trailer_records(job(), 40).empty());
}

TEST_F(EscapeTest, RefuseDataThatHasNoPlace) {
    const Bytes pair = from_hex("0200 6100 0000 3100 0000 0000");
    open_device();
    EXPECT_EQ(escape(PASSTHROUGH, pair), 0u);  // no document is open
    ASSERT_TRUE(device->start_document(u"", 1));
    EXPECT_EQ(escape(PASSTHROUGH, from_hex("0100 6100 0000")), 0u);
    EXPECT_EQ(escape(PASSTHROUGH, word(2)), 0u);
    EXPECT_EQ(escape(PASSTHROUGH, {2}), 0u);
    EXPECT_EQ(DrvEscape(device->surface(), PASSTHROUGH, 12, nullptr, 0, nullptr), 0u);
    pdevice().SetFailed();
    EXPECT_EQ(escape(PASSTHROUGH, pair), 0u);
    EXPECT_EQ(pdevice().attached.first(), nullptr);
    EXPECT_TRUE(device->end_document());
}

TEST_F(EscapeTest, LeaveASoundJobUnderEveryFailure) {
    fail_each_call([](engine::Device& out, Answers& note) {
        note(out.start_document(u"Escapes", 2));
        out.escape(PASSTHROUGH, from_hex("0200 6100 0000 3100 0000 0000"));
        note(out.start_page());
        Path large;
        large.move_to(at(0, 0));
        for (int i = 1; i < 9000; ++i) large.line_to(at(i % 800, i % 2 ? 9 : 900));  // beyond the device's buffers
        Corner corner;
        Brush black = Brush::solid(0);
        out.escape(BEGIN_PATH, {});
        note(out.stroke(large, nullptr, nullptr, black, hairline()));
        out.escape(CLIP_TO_PATH, dword(0));
        note(out.stroke(corner, nullptr, nullptr, black, hairline()));
        out.escape(END_PATH, path_info(2, 1, {PS_SOLID, 1, 0}, {BS_HATCHED, 255, 1}));
        out.escape(CLIP_TO_PATH, dword(1));
        out.escape(CLIP_TO_PATH, dword(2));
        note(out.stroke(corner, nullptr, nullptr, black, hairline()));
        note(out.send_page());
        note(out.end_document());
    });
}

// Applications that call anything at any time.
struct RandomEscapes : EscapeTest {
    std::mt19937 random;
    int below(int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); }

    void call_escape() {
        static constexpr ULONG kCodes[] = {BEGIN_PATH, CLIP_TO_PATH, CLIP_TO_PATH, END_PATH, END_PATH, PASSTHROUGH, 8,
                                           20};
        Bytes in(static_cast<size_t>(below(50)));
        for (BYTE& byte : in) byte = static_cast<BYTE>(below(3) ? below(6) : below(256));
        escape(kCodes[below(std::size(kCodes))], in);
    }
    void draw() {
        Path path;
        const int far = below(8) == 0 ? 40000 : 0;
        path.move_to(at(far + below(800), below(1000)));
        for (int i = below(6); i >= 0; --i) path.line_to(at(far + below(800), below(1000)));
        if (below(2)) path.close();
        Clip rect = Clip::rectangle({below(400), below(400), 400 + below(400), 400 + below(400)});
        Clip region = Clip::region({{0, 0, below(800), 9}, {below(9), 20, 90, 30}});
        Clip* clips[] = {nullptr, nullptr, &rect, &region};
        Brush solid = Brush::solid(below(3) ? 0xFFFFFF : 0x808080),
              hatch = Brush::hatched(below(6), below(3), 0xFFFFFF);
        Clip* clip = clips[below(4)];
        Brush& brush = below(2) ? solid : hatch;
        const MIX mix = static_cast<MIX>(1 + below(16));
        switch (below(3)) {
            case 0:
                EXPECT_TRUE(device->stroke(path, clip, nullptr, brush, hairline(below(400)), mix));
                break;
            case 1:
                EXPECT_TRUE(device->fill(path, clip, brush, FP_ALTERNATEMODE, mix));
                break;
            default:
                EXPECT_TRUE(
                    device->stroke_and_fill(path, clip, nullptr, solid, hairline(), hatch, FP_WINDINGMODE, mix));
        }
    }
    void play() {
        ASSERT_TRUE(device->start_document(u"Random", 1));
        for (int page = below(3); page >= 0; --page) {
            if (below(4) == 0) call_escape();
            ASSERT_TRUE(device->start_page());
            for (int i = below(30); i > 0; --i) below(3) ? draw() : call_escape();
            ASSERT_TRUE(device->send_page());
        }
        ASSERT_TRUE(device->end_document());
    }
};

TEST_F(RandomEscapes, LeaveASoundJob) {
    open_device();
    for (unsigned seed = 1; seed <= 300 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random.seed(seed);
        host::printer(printer).output.clear();
        play();
        ASSERT_FALSE(job().empty());
        EXPECT_EQ(faults_of(job()), "");
    }
}

}  // namespace
}  // namespace kv::test