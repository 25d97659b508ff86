// The resource library's texts, as they are compiled into it.

#include "ui/texts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

namespace kv::test {
namespace {

using Texts = std::map<unsigned, std::u16string>;

#define KV_STRING(number, text) {number, u"" text},
const Texts kEnglish = {
#include "resources/strings.inc"
};
const Texts kGerman = {
#include "resources/strings_de.inc"
};
const Texts kJapanese = {
#include "resources/strings_ja.inc"
};
#undef KV_STRING

size_t arguments_of(const std::u16string& text) {
    size_t count = 0;
    for (size_t at = text.find(u"%s"); at != text.npos; at = text.find(u"%s", at + 2)) ++count;
    return count;
}

char16_t access_key(const std::u16string& text) {
    const size_t mark = text.find(u'&');
    const char16_t key = mark == text.npos || mark + 1 == text.size() ? u'\0' : text[mark + 1];
    return key >= 'a' && key <= 'z' ? static_cast<char16_t>(key - 'a' + 'A') : key;
}

struct Page {
    unsigned first, last;  // the labels of its controls
};
constexpr Page kPages[] = {{kTextPaper, kTextTray},
                           {kTextResolution, kTextDownsampleMonoDpi},
                           {kTextDefaultFont, kTextCaptureFonts},
                           {kTextSetting, kTextOutbox}};

TEST(UiTexts, AreTheSameInAllLanguages) {
    for (const Texts* texts : {&kGerman, &kJapanese}) {
        ASSERT_EQ(texts->size(), kEnglish.size());
        for (const auto& [number, text] : kEnglish) {
            ASSERT_TRUE(texts->contains(number)) << number;
            EXPECT_EQ(arguments_of(texts->at(number)), arguments_of(text)) << number;
            EXPECT_EQ(access_key(texts->at(number)) != 0, access_key(text) != 0) << number;
        }
    }
}

TEST(UiTexts, HaveOneAccessKeyForEachControlOfAPage) {
    for (const Texts* texts : {&kEnglish, &kGerman, &kJapanese}) {
        for (const Page& page : kPages) {
            std::set<char16_t> keys;
            for (unsigned number = page.first; number <= page.last; ++number) {
                const char16_t key = access_key(texts->at(number));
                EXPECT_NE(key, 0) << number;
                EXPECT_TRUE(keys.insert(key).second) << number << ": the key is another control's";
            }
        }
    }
}

}  // namespace
}  // namespace kv::test
