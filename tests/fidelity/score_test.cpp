#include "tools/fidelity/score.h"

#include <gtest/gtest.h>

#include "tools/fidelity/sheet.h"

namespace fidelity {
namespace {

void fill(Picture& picture, int left, int top, int right, int bottom, uint8_t red, uint8_t green, uint8_t blue) {
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            uint8_t* pixel = picture.at(x, y);
            pixel[0] = red, pixel[1] = green, pixel[2] = blue;
        }
    }
}

Picture page_with_square(int left, int size) {
    Picture page(200, 200);
    fill(page, left, 80, left + size, 80 + size, 0, 0, 0);
    return page;
}

TEST(ScoreTest, EqualPagesAreEqual) {
    const Score score = compare(page_with_square(50, 40), page_with_square(50, 40));
    EXPECT_EQ(score.difference, 0);
    EXPECT_NEAR(score.similarity, 1, 1e-6);
    EXPECT_NEAR(score.ink_similarity, 1, 1e-6);
}

TEST(ScoreTest, DifferencesCountByWhatTheyChange) {
    const Picture page = page_with_square(50, 40);
    const Score nothing = compare(page, Picture(200, 200)), elsewhere = compare(page, page_with_square(110, 40)),
                shifted = compare(page, page_with_square(51, 40));
    // 1600 of 40000 pixels are black in one of them
    EXPECT_NEAR(nothing.difference, 255.0 * 1600 / 40000, 0.01);
    EXPECT_NEAR(elsewhere.difference, 2 * nothing.difference, 0.01);
    EXPECT_LT(nothing.similarity, 0.96);
    EXPECT_LT(nothing.ink_similarity, 0.3);
    EXPECT_GT(shifted.similarity, 0.99);
    EXPECT_LT(elsewhere.similarity, nothing.similarity);
    EXPECT_LT(shifted.ink_similarity, shifted.similarity);
}

TEST(ScoreTest, ColoursOfOneLuminanceDifferInTheirChannels) {
    Picture red(60, 60), green(60, 60);
    fill(red, 0, 0, 60, 60, 100, 0, 0);
    fill(green, 0, 0, 60, 60, 0, 51, 0);  // 0.299 x 100 = 0.587 x 51
    EXPECT_NEAR(compare(red, green).difference, 151.0 / 3, 0.5);
}

TEST(ScoreTest, FinerPagesAreAveraged) {
    Picture page(5, 4);  // white but for a cell and one pixel of the last, which is half there
    fill(page, 0, 0, 2, 2, 0, 30, 255);
    fill(page, 4, 2, 5, 3, 0, 0, 0);
    const Picture small = reduced(page, 2);
    ASSERT_EQ(small.width, 3);
    ASSERT_EQ(small.height, 2);
    EXPECT_EQ(std::vector<uint8_t>(small.at(0, 0), small.at(0, 0) + 6),
              std::vector<uint8_t>({0, 30, 255, 255, 255, 255}));
    EXPECT_EQ(small.at(2, 1)[0], 191);  // three quarters of 255
    EXPECT_EQ(reduced(page, 1).bytes, page.bytes);
}

TEST(SheetTest, PagesStandBesideEachOther) {
    ContactSheet sheet;
    Picture source(640, 640), job(640, 320);
    fill(source, 0, 0, 640, 640, 10, 0, 0);
    fill(job, 0, 0, 640, 320, 20, 0, 0);
    sheet.add(source, job, difference_of(source, source));
    const Picture picture = sheet.picture();  // thumbnails of 320 pixels, gaps of 8
    EXPECT_EQ(picture.at(8, 8)[0], 10);
    EXPECT_EQ(picture.at(327, 327)[0], 10);
    EXPECT_EQ(picture.at(336, 8)[0], 20);
    EXPECT_EQ(picture.at(336, 168)[0], 160);  // below the shorter page
    EXPECT_EQ(picture.at(664, 8)[0], 255);
}

}  // namespace
}  // namespace fidelity
