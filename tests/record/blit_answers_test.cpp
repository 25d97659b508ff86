// What transfers with a source answer when they cannot be recorded, and what is left of the document.

#include <functional>

#include "tests/record/blit_bytes.h"
#include "tests/record/blit_fixture.h"

namespace kv::test {
namespace {

using engine::Bitmap;
using engine::Clip;
using engine::RowOrder;
using engine::Translation;
using BlitAnswers = BlitTest;

TEST_F(BlitAnswers, FailuresAndMissingPointers) {
    start_page();
    SURFOBJ* page = device->surface();
    Bitmap deep(BMF_24BPP, 4, 4), indexed(BMF_8BPP, 4, 4);
    RECTL rect = {0, 0, 4, 4};
    POINTL at = {};
    BLENDOBJ blend = {};
    EXPECT_FALSE(DrvStretchBlt(page, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &rect, &rect, nullptr, 0));
    EXPECT_FALSE(DrvStretchBlt(page, &deep, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &rect, nullptr, 0));
    EXPECT_FALSE(DrvStretchBltROP(page, &deep, nullptr, nullptr, nullptr, nullptr, nullptr, &rect, nullptr, nullptr, 0,
                                  nullptr, 0xCCCC));
    EXPECT_FALSE(DrvCopyBits(page, &deep, nullptr, nullptr, &rect, nullptr));
    EXPECT_FALSE(DrvCopyBits(page, nullptr, nullptr, nullptr, &rect, &at));
    EXPECT_FALSE(DrvAlphaBlend(page, &deep, nullptr, nullptr, &rect, &rect, nullptr));
    EXPECT_FALSE(DrvAlphaBlend(page, nullptr, nullptr, nullptr, &rect, &rect, &blend));
    EXPECT_FALSE(DrvTransparentBlt(page, &deep, nullptr, nullptr, nullptr, &rect, 0, 0));
    EXPECT_FALSE(pdevice().failed);
    // What cannot be seen succeeds, whatever the bitmap is.
    EXPECT_TRUE(device->copy_bits(indexed, nullptr, nullptr, {5, 5, 5, 9}, at));
    EXPECT_TRUE(device->copy_bits(indexed, nullptr, nullptr, rect, {4, 0}));
    EXPECT_TRUE(device->copy_bits(indexed, nullptr, nullptr, rect, {0x7FFFFFFF, -0x7FFFFFFF - 1}));
    EXPECT_TRUE(device->stretch_blt_rop(indexed, nullptr, nullptr, nullptr, rect, rect, nullptr, 0xAAAA));
    EXPECT_TRUE(device->alpha_blend(indexed, nullptr, nullptr, rect, {3, 3, 1, 1}, {}));
    EXPECT_TRUE(device->transparent_blt(indexed, nullptr, nullptr, {}, rect, 0));
    // An index without a palette cannot be recorded: the document has failed.
    EXPECT_FALSE(device->copy_bits(indexed, nullptr, nullptr, rect, at));
    EXPECT_TRUE(pdevice().failed);
    EXPECT_FALSE(device->copy_bits(deep, nullptr, nullptr, rect, at));
    EXPECT_TRUE(device->end_document());
    EXPECT_TRUE(job().empty());
}

// A drawing that succeeds is in the job whole; the one that does not is told at once, and nothing is sent.
TEST_F(BlitAnswers, EveryDrawingAnswersForWhatFails) {
    constexpr LONG kSide = 104;  // an image of 24 bits all but fills the file's buffer, and its mask does
    const RECTL place = {0, 0, kSide, kSide};
    const POINTL at = {0, 0};
    Bitmap deep(BMF_24BPP, kSide, kSide), indexed(BMF_8BPP, kSide, kSide), alpha(BMF_32BPP, kSide, kSide),
        mask(BMF_1BPP, kSide, kSide);
    for (LONG i = 0; i < kSide * kSide; ++i) indexed.set_pixel(i % kSide, i / kSide, static_cast<ULONG>(i % 251));
    Translation table(grays(256));
    Clip clip = Clip::rectangle({0, 0, 60, 60});
    const struct {
        WORD compression;
        std::function<BOOL()> draw;
    } cases[] = {
        {0x00, [&] { return device->copy_bits(deep, &clip, nullptr, place, at); }},
        {0x01, [&] { return device->copy_bits(deep, &clip, nullptr, place, at); }},
        {0x08, [&] { return device->copy_bits(indexed, &clip, &table, place, at); }},
        {0x10, [&] { return device->copy_bits(deep, &clip, nullptr, place, at); }},
        {0x00,
         [&] {
             return device->alpha_blend(alpha, &clip, nullptr, place, place, {0, 0, 255, AC_SRC_ALPHA});
         }},
        {0x08, [&] { return device->transparent_blt(indexed, &clip, &table, place, place, 31); }},
        {0x00, [&] { return device->bit_blt(&deep, &mask, &clip, nullptr, place, &at, nullptr, 0xAACC); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        close_device();
        set_private(c.compression);
        const Bytes whole = print(c.draw);
        auto draw = [&](bool has_room) {
            const BOOL answer = c.draw();
            EXPECT_EQ(pdevice().failed == 0, answer != FALSE);
            EXPECT_TRUE(has_room || !answer);
            const bool failing = !host::failed_function().empty();
            host::clear_failures();
            host::printer(printer).output.clear();
            EXPECT_EQ(device->send_page(), answer);
            device->end_document();
            EXPECT_EQ(to_hex(job().empty() ? Bytes() : page_records()), to_hex(answer ? whole : Bytes()));
            return failing;
        };
        for (DWORD room : {4u, 40u}) {  // not for the clip, not for the pixels
            start_page();
            pdevice().position = 0x7FFFFFFF - room;
            draw(false);
        }
        for (host::CallKind kind : {host::CallKind::Allocation, host::CallKind::File}) {
            bool failing = true;
            for (uint64_t call = 1; failing && !HasFailure(); ++call) {
                start_page();
                host::fail_call(kind, call);
                failing = draw(true);
            }
        }
    }
}

TEST_F(BlitAnswers, NoJobGrowsBeyondItsPositions) {
    Bitmap bitmap(BMF_8BPP, 64, 64);
    Translation table(grays(256, 0x010101));
    for (WORD compression : std::initializer_list<WORD>{0x00, 0x01, 0x08, 0x10}) {
        close_device();
        set_private(compression);
        start_page();
        pdevice().position = 0x7FFFFFFF - 40;  // room for what stands before the pixels
        EXPECT_FALSE(copy(bitmap, &table)) << compression;
        EXPECT_TRUE(pdevice().failed);
        EXPECT_TRUE(device->end_document());
        EXPECT_TRUE(job().empty());
    }
}

// No pixel of it is looked at: it is told like any other growth of the job beyond 2 GiB.
TEST_F(BlitAnswers, NoImageIsLongerThanAJob) {
    constexpr LONG kSide = 32768;
    for (RowOrder order : {RowOrder::TopDown, RowOrder::BottomUp}) {
        for (ULONG format : {BMF_24BPP, BMF_32BPP}) {
            SCOPED_TRACE(format);
            Bitmap image(format, kSide, 1, order);
            image.sizlBitmap.cy = kSide;  // 3 GiB and more
            const RECTL whole = {0, 0, kSide, kSide};
            start_page();
            const size_t messages = host::messages().size();
            EXPECT_FALSE(format == BMF_24BPP
                             ? device->copy_bits(image, nullptr, nullptr, whole, {0, 0})
                             : device->alpha_blend(image, nullptr, nullptr, whole, whole, {0, 0, 255, 1}));
            EXPECT_EQ(GetLastError(), 223u);
            EXPECT_TRUE(pdevice().failed);
            ASSERT_EQ(host::messages().size(), messages + 1);
            EXPECT_TRUE(host::messages().back().text.starts_with(u"Could not write to the file C:\\"));
            EXPECT_TRUE(device->end_document());
        }
    }
}

}  // namespace
}  // namespace kv::test
