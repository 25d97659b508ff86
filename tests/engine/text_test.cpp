// Fonts and strings of the graphics engine, from a real font file.

#include "engine/text.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/host/control.h"

namespace kv::engine {
namespace {

std::shared_ptr<FontFile> sans() {
    static auto file = FontFile::load("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
    return file;
}

std::u16string text_at(const IFIMETRICS& metrics, LONG offset) {
    return reinterpret_cast<const char16_t*>(reinterpret_cast<const BYTE*>(&metrics) + offset);
}

TEST(FontTest, DescribesItself) {
    Font font(sans(), 0, 100);
    const IFIMETRICS& metrics = *FONTOBJ_pifi(&font);
    EXPECT_EQ(text_at(metrics, metrics.dpwszFamilyName), u"DejaVu Sans");
    EXPECT_EQ(metrics.fwdUnitsPerEm, 2048);
    EXPECT_EQ(metrics.usWinWeight, 400);
    EXPECT_EQ(metrics.flInfo, FM_INFO_TECH_TRUETYPE);
    EXPECT_EQ(font.flFontType, FO_TYPE_TRUETYPE);
    font.rename(u"Family", u"Face");
    EXPECT_EQ(text_at(font.metrics(), font.metrics().dpwszFamilyName), u"Family");
    EXPECT_EQ(text_at(font.metrics(), font.metrics().dpwszFaceName), u"Face");
    ULONG size = 0;
    EXPECT_EQ(FONTOBJ_pvTrueTypeFontFile(&font, &size), sans()->bytes().data());
    EXPECT_EQ(size, sans()->bytes().size());
    EXPECT_THROW(FontFile(std::vector<BYTE>(100)), std::runtime_error);
}

TEST(FontTest, ItsGlyphSetIsItsMap) {
    Font font(sans(), 0, 100);
    const FD_GLYPHSET& set = *FONTOBJ_pfdg(&font);
    ULONG glyphs = 0;
    int last = -1;
    for (ULONG run = 0; run < set.cRuns; ++run) {
        const WCRUN& entry = set.awcrun[run];
        EXPECT_GT(int{entry.wcLow}, last + 1);
        for (ULONG i = 0; i < entry.cGlyphs; ++i) {
            EXPECT_EQ(entry.phg[i], font.face().glyph_of(entry.wcLow + i));
            EXPECT_NE(entry.phg[i], 0u);
        }
        glyphs += entry.cGlyphs;
        last = entry.wcLow + entry.cGlyphs - 1;
    }
    EXPECT_EQ(glyphs, set.cGlyphsSupported);
}

TEST(FontTest, AdvancesFollowSizeAndNotRotation) {
    // The space of this font is 651 of 2048 units wide.
    for (double degrees : {0.0, 90.0, 30.0}) {
        Font font(sans(), 0, 100, degrees);
        HGLYPH space = font.face().glyph_of(' ');
        PVOID data = nullptr;
        ASSERT_EQ(FONTOBJ_cGetGlyphs(&font, FO_GLYPHBITS, 1, &space, &data), 1u);
        EXPECT_EQ(static_cast<GLYPHDATA*>(data)->fxD, 509);  // 31.787 pixels in sixteenths
    }
}

TEST(StringTest, IsPlacedAlongTheBaseline) {
    Font font(sans(), 0, 2048);
    String level(font, u"  ", {10, 20});
    EXPECT_EQ(level.pgp[1].ptl.x, 661);
    EXPECT_EQ(level.pgp[1].ptl.y, 20);
    EXPECT_EQ(level.rclBkGround.left, 10);
    EXPECT_EQ(level.rclBkGround.right, 10 + 2 * 651);
    Font turned(sans(), 0, 2048, 90);
    String upwards(turned, u"  ", {10, 2000});
    EXPECT_EQ(upwards.pgp[1].ptl.x, 10);
    EXPECT_EQ(upwards.pgp[1].ptl.y, 2000 - 651);
    EXPECT_EQ(upwards.rclBkGround.top, 2000 - 2 * 651);
}

TEST(StringTest, IsEnumeratedInBatches) {
    host::reset_all();
    Font font(sans(), 0, 100);
    String text(font, u"abcde", {0, 0});
    EXPECT_NE(text.pgp, nullptr);
    text.set_batch(2);
    text.set_empty_batches(true);
    EXPECT_EQ(text.pgp, nullptr);
    for (int round = 0; round < 2; ++round) {
        STROBJ_vEnumStart(&text);
        std::vector<ULONG> counts;
        BOOL more = TRUE;
        while (more) {
            ULONG count = 9;
            GLYPHPOS* glyphs = nullptr;
            more = STROBJ_bEnumPositionsOnly(&text, &count, &glyphs);
            if (count > 0) {
                EXPECT_EQ(glyphs[0].hg, font.face().glyph_of(u"abcde"[counts.size() / 2 * 2]));
            }
            counts.push_back(count);
        }
        EXPECT_EQ(counts, (std::vector<ULONG>{0, 2, 0, 2, 0, 1}));
    }
    String indices(font, std::vector<USHORT>{7, 8}, {{{0, 0}, {5, 0}}, {9, 0}});
    EXPECT_EQ(indices.flAccel, SO_GLYPHINDEX_TEXTOUT);
    EXPECT_EQ(indices.pwszOrg[1], 8);
}

}  // namespace
}  // namespace kv::engine
