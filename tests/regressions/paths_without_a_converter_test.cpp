// Paths went through a converter that the C library loads, and that memory did not suffice for: all of them became
// empty, and a temporary file was looked for 65,536 times in vain. UTF-8 needs nothing that can be missing now.

#include "tests/common/host_test.h"

namespace kv::test {
namespace {

int convert(const std::string& bytes, DWORD flags, std::u16string& units) {
    units.assign(16, u'\0');
    const int count =
        MultiByteToWideChar(CP_UTF8, flags, bytes.data(), static_cast<int>(bytes.size()), units.data(), 16);
    units.resize(static_cast<size_t>(count));
    return count;
}

// At the ends of what one, two, three and four bytes hold.
TEST_F(HostTest, Utf8IsConvertedByItsOwnRules) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"\x7F\xC2\x80\xDF\xBF", u"\x7F\x80\x7FF"},
        {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", u"\x800\xD7FF\xE000\xFFFF"},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\xD800\xDC00\xDBFF\xDFFF"}};
    for (const auto& [bytes, units] : cases) {
        std::u16string found;
        convert(bytes, MB_ERR_INVALID_CHARS, found);
        EXPECT_EQ(found, units);
        std::string back(32, '\0');
        const int size = WideCharToMultiByte(CP_UTF8, 0, units.data(), static_cast<int>(units.size()), back.data(), 32,
                                             nullptr, nullptr);
        back.resize(static_cast<size_t>(size));
        EXPECT_EQ(back, bytes);
    }
    // More bytes than needed, a surrogate, beyond the last character, cut short, bytes that begin nothing.
    for (const char* bytes : {"\xC0\xAF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                              "\xE2\x82", "\x80", "\xFF", "\xC3q"}) {
        std::u16string found;
        EXPECT_EQ(convert(bytes, MB_ERR_INVALID_CHARS, found), 0) << bytes;
        convert(bytes, 0, found);
        EXPECT_EQ(found[0], 0xFFFD) << bytes;
    }
    char narrow[8];
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\xDC00", 1, narrow, 8, nullptr, nullptr), 3);
    EXPECT_EQ(std::string(narrow, 3), "\xEF\xBF\xBD");
}

}  // namespace
}  // namespace kv::test
