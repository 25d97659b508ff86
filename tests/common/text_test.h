#pragma once
// Text printed in small fonts that tests build: "Test Sans", 1000 units to the em.

#include <memory>

#include "tests/common/font_builder.h"
#include "tests/common/print_test.h"

namespace kv::test {

inline const std::u16string kProductKey = u"Software\\Velmora Software\\Karvo12";
inline const std::u16string kFontsKey = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Fonts";
inline const std::u16string kCacheKey = kProductKey + u"\\FontCache";

// A text of the user's registry, or "(none)".
std::u16string registry_text(const std::u16string& key, const std::u16string& name);

std::shared_ptr<engine::FontFile> font_file(const FontPlan& plan = {});

class TextTest : public PrintTest {
protected:
    // Test Sans is installed, so that jobs do not carry its file.
    void SetUp() override;
    // Puts a font file where the system looks for installed ones. The driver sees it after reload_fonts.
    static void install(const std::u16string& display_name, const std::u16string& file_name, const Bytes& bytes);
    // As if the driver were loaded anew.
    void reload_fonts();

    BOOL draw(engine::String& text, engine::Font& font, engine::Clip* clip = nullptr);
    // A page of that text alone.
    std::vector<Record> records_of(engine::String& text, engine::Font& font);
    // Ends the page and the document. All records of the page.
    std::vector<Record> finish();
    // The text records alone.
    std::vector<Record> finish_text();

    engine::Brush black = engine::Brush::solid(0);
    std::shared_ptr<engine::FontFile> sans = font_file();
};

}  // namespace kv::test
