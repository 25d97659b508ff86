#include "tests/common/text_test.h"

#include <algorithm>

#include "fonts/process_fonts.h"
#include "record/record_types.h"
#include "support/reg_key.h"
#include "tests/common/workspace.h"

namespace kv::test {

std::shared_ptr<engine::FontFile> font_file(const FontPlan& plan) {
    return std::make_shared<engine::FontFile>(build_font(plan));
}

void TextTest::SetUp() {
    PrintTest::SetUp();
    install(u"Test Sans (TrueType)", u"test.ttf", sans->bytes());
    reload_fonts();
}

void TextTest::install(const std::u16string& display_name, const std::u16string& file_name, const Bytes& bytes) {
    host::set_registry_string(HKEY_LOCAL_MACHINE, kFontsKey, display_name, file_name);
    write_file(host::host_path(u"C:\\Windows\\Fonts\\" + file_name), bytes);
}

void TextTest::reload_fonts() {
    release_process_fonts();
    ASSERT_TRUE(create_process_fonts());
    before = host::live_objects();
}

std::u16string registry_text(const std::u16string& key, const std::u16string& name) {
    CRegKey open;
    const WCHAR* text = open.Open(KEY_READ, HKEY_CURRENT_USER, key.c_str()) ? open.ReadString(name.c_str()) : nullptr;
    return text ? text : u"(none)";
}

BOOL TextTest::draw(engine::String& text, engine::Font& font, engine::Clip* clip) {
    return device->text_out(text, font, clip, black);
}

std::vector<Record> TextTest::records_of(engine::String& text, engine::Font& font) {
    start_page();
    EXPECT_TRUE(draw(text, font));
    return finish();
}

std::vector<Record> TextTest::finish() {
    constexpr size_t kFirstPage = 16;  // behind the magic, the header and the document start
    host::printer(printer).output.clear();
    end_page_and_document();
    const Bytes all = job();
    std::vector<Record> records = split_records(Bytes(all.begin() + kFirstPage, all.end()));
    auto is_page_end = [](const Record& record) { return record.type == kRecordPageEnd; };
    records.erase(std::find_if(records.begin(), records.end(), is_page_end), records.end());
    if (!records.empty()) records.erase(records.begin());  // the page start
    return records;
}

std::vector<Record> TextTest::finish_text() {
    std::vector<Record> records = finish();
    std::erase_if(records,
                  [](const Record& record) { return record.type != kRecordText16 && record.type != kRecordText32; });
    return records;
}

}  // namespace kv::test
