// The installed DejaVu fonts, as scripts/check-fonts compares many more.

#include <gtest/gtest.h>

#include "tests/common/workspace.h"
#include "tests/fonts/freetype_names.h"

namespace kv::test {
namespace {

TEST(RealFonts, HaveTheNamesAndCharactersThatFreeTypeFinds) {
    for (const char* name : {"DejaVuSans-Bold.ttf", "DejaVuSansMono.ttf", "DejaVuSerif.ttf"}) {
        const Bytes file = read_bytes(std::string("/usr/share/fonts/truetype/dejavu/") + name);
        ASSERT_FALSE(file.empty()) << name;
        FontComparison result;
        compare_with_freetype(file, name, result);
        EXPECT_EQ(result.faces, 1u);
        EXPECT_EQ(result.names, 10u) << "four and the family that FreeType chooses, of each reader";
        for (const std::string& fault : result.faults) ADD_FAILURE() << fault;
    }
}

}  // namespace
}  // namespace kv::test
