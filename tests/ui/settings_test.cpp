// Device modes as dialogs and the spooler see them.

#include <cstring>

#include "platform/printer_ui.h"
#include "support/process_state.h"
#include "tests/common/host_test.h"
#include "ui/document_properties.h"
#include "ui/printer_defaults.h"
#include "ui/settings_model.h"
#include "ui/texts.h"

namespace kv::test {
namespace {

using Text = std::u16string;
const Text kPrinter = u"Software\\Velmora Software\\Karvo12\\KarvoPrinters\\P";

class UiSettingsTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        process_state().resource_module = host::driver_module();
        process_state().default_paper = DMPAPER_A4;
        InitDefaultDevMode(u"P", mode);
        request.pszPrinterName = name;
        request.pdmOut = out;
        request.cbOut = sizeof *out;
    }
    void TearDown() override {
        process_state().resource_module = nullptr;
        HostTest::TearDown();
    }
    WCHAR name[2] = u"P";
    DriverDevMode mode, out[1] = {};
    DOCUMENTPROPERTYHEADER request = {};
};

TEST_F(UiSettingsTest, GivesTheSizeAndTheSettledDeviceMode) {
    EXPECT_EQ(document_properties(request), 584);
    EXPECT_EQ(request.cbOut, 584u);

    host::set_registry_dword(HKEY_CURRENT_USER, kPrinter, u"Orientation", DMORIENT_LANDSCAPE);  // enforced
    host::set_registry_dword(HKEY_CURRENT_USER, kPrinter + u"\\PrinterDriverData", u"PaperSize", DMPAPER_A3);
    request.fMode = DM_OUT_BUFFER;
    EXPECT_EQ(document_properties(request), kPropertiesDone);
    EXPECT_TRUE(out->dmOrientation == DMORIENT_LANDSCAPE && out->dmPaperSize == DMPAPER_A3);

    request.fMode = DM_IN_BUFFER | DM_OUT_BUFFER;
    request.pdmIn = &mode;
    mode.dmPaperSize = DMPAPER_LETTER;
    mode.dmOrientation = DMORIENT_PORTRAIT;
    EXPECT_EQ(document_properties(request), kPropertiesDone);
    EXPECT_TRUE(out->dmOrientation == DMORIENT_LANDSCAPE && out->dmPaperSize == DMPAPER_LETTER);

    request.cbOut = 583;
    EXPECT_EQ(document_properties(request), kPropertiesFailed);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    request.pdmOut = nullptr;
    EXPECT_EQ(document_properties(request), kPropertiesFailed);
}

TEST_F(UiSettingsTest, ConvertsDeviceModes) {
    LONG size = 583;
    EXPECT_FALSE(convert_mode(u"P", &mode, out, &size, CDM_CONVERT));
    EXPECT_TRUE(size == 584 && GetLastError() == ERROR_INSUFFICIENT_BUFFER);
    mode.dmPaperSize = DMPAPER_A3;
    mode.dmDriverVersion = 0x0430;  // version 1 of the private part: 156 bytes, nothing flagged in it
    mode.dmDriverExtra = 156;
    std::memset(&mode.kv, 0, sizeof mode.kv);
    std::memcpy(&mode.kv, "KV\1", 4);
    ASSERT_TRUE(convert_mode(u"P", &mode, out, &size, CDM_CONVERT));
    EXPECT_TRUE(out->dmPaperSize == DMPAPER_A3 && out->kv.version == 8 && out->dmDriverExtra == 364);
    ASSERT_TRUE(convert_mode(u"P", &mode, out, &size, CDM_DRIVER_DEFAULT));
    EXPECT_EQ(out->dmPaperSize, DMPAPER_A4);
    EXPECT_FALSE(convert_mode(u"P", &mode, out, &size, 8));
    EXPECT_FALSE(convert_mode(u"P", &mode, out, nullptr, CDM_CONVERT));
}

TEST_F(UiSettingsTest, RefusesDocumentsOfUnknownPapers) {
    WCHAR text[12];
    DEVQUERYPRINT_INFO query = {};
    query.pszErrorStr = text;
    query.cchErrorStr = 12;
    EXPECT_TRUE(query_print(query));  // no device mode: the printer's own
    query.pDevMode = &mode;
    EXPECT_TRUE(query_print(query));
    mode.dmPaperSize = 777;
    EXPECT_FALSE(query_print(query));
    EXPECT_EQ(Text(text), u"The paper s");  // 11 units and the end
    EXPECT_GT(query.cchNeeded, 12u);
    mode.dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    mode.dmPaperWidth = mode.dmPaperLength = 1000;
    EXPECT_TRUE(query_print(query));
}

TEST_F(UiSettingsTest, SetsWhatAMergeTakesOver) {
    const std::pair<Setting, LONG> values[] = {
        {Setting::Paper, DMPAPER_A3},
        {Setting::Orientation, DMORIENT_LANDSCAPE},
        {Setting::Tray, 301},
        {Setting::Resolution, 1200},
        {Setting::Depth, 32},
        {Setting::Records, 0},
        {Setting::Jpeg, 0},
        {Setting::ReduceColors, 0},
        {Setting::RunLength, 1},
        {Setting::Downsample, 1},
        {Setting::DownsampleMono, 1},
        {Setting::JpegQuality, 40},
        {Setting::DownsampleDpi, 200},
        {Setting::DownsampleMonoDpi, 600},
    };
    mode.dmFields = mode.kv.mask = 0;
    for (const auto& [setting, value] : values) {
        EXPECT_NE(get_setting(mode, setting), value) << static_cast<int>(setting);
        set_setting(mode, setting, value);
    }
    DriverDevMode merged;
    InitDefaultDevMode(u"P", merged);
    MergeDevMode(&mode, merged);
    for (const auto& [setting, value] : values)
        EXPECT_EQ(get_setting(merged, setting), value) << static_cast<int>(setting);
    EXPECT_TRUE(merged.dmPrintQuality == 1200 && Text(merged.dmFormName) == u"A3");
    EXPECT_EQ(merged.kv.Compression, kCompressRunLength | kCompressDownsample | kCompressDownsampleMono);
}

TEST_F(UiSettingsTest, MakesACustomSizeOfAPaper) {
    const SheetSize a4 = get_sheet_size(mode);
    EXPECT_TRUE(a4.width == 2100 && a4.height == 2970);
    set_setting(mode, Setting::Paper, DMPAPER_USER);
    EXPECT_TRUE(mode.dmPaperSize == DMPAPER_USER && mode.dmPaperWidth == 2100 && mode.dmPaperLength == 2970);
    set_sheet_size(mode, {800, 2000});
    DriverDevMode merged;
    InitDefaultDevMode(u"P", merged);
    MergeDevMode(&mode, merged);
    EXPECT_TRUE(merged.dmPaperSize == DMPAPER_USER && merged.dmPaperWidth == 800 && merged.dmPaperLength == 2000);
    set_setting(mode, Setting::Paper, DMPAPER_A3);
    EXPECT_EQ(get_sheet_size(mode).width, 2970);
}

TEST_F(UiSettingsTest, OffersThePresentValueAmongTheChoices) {
    const std::tuple<Setting, LONG, Text> rows[] = {
        {Setting::Paper, DMPAPER_USER, u"Custom size"},
        {Setting::Orientation, DMORIENT_LANDSCAPE, u"Landscape"},
        {Setting::Tray, 301, u"301"},  // of a tray that is no longer defined
        {Setting::Resolution, 600, u"600 dpi"},
        {Setting::Resolution, 720, u"720 dpi"},
        {Setting::Depth, 24, u"24 bits"},
        {Setting::Compression, 0x31, u"Standard"},
        {Setting::Compression, 0x05, u"0x05"},
        {Setting::JpegQuality, 75, u"75"},
        {Setting::DownsampleDpi, 150, u"150 dpi"},
    };
    for (const auto& [setting, present, text] : rows) {
        Choices choices;
        ASSERT_TRUE(list_choices(u"P", setting, present, choices));
        size_t found = 0;
        for (size_t i = 0; i < choices.count; ++i) {
            if (choices.entries[i].value != present) continue;
            ++found;
            EXPECT_EQ(Text(choices.entries[i].text.c_str()), text);
        }
        EXPECT_EQ(found, 1u) << present;
    }
}

TEST_F(UiSettingsTest, ReadsAndWritesLengths) {
    struct Row {
        const char16_t* text;
        WORD units;
        LONG tenths;  // 0: no length
    };
    const Row rows[] = {{u"210", 2, 2100},
                        {u" 215,9 ", 2, 2159},
                        {u"8.5", 1, 2159},
                        {u"0.04", 2, 0},
                        {u"3276.7", 2, 32767},
                        {u"3276.8", 2, 0},
                        {u"129.0", 1, 32766},
                        {u"129.1", 1, 0},
                        {u"", 2, 0},
                        {u".", 2, 0},
                        {u"1.2.3", 2, 0},
                        {u"-5", 2, 0},
                        {u"12a", 2, 0},
                        {u"1 2", 2, 0},
                        {u"99999999999999999999", 2, 0},
                        {u"0.11111111111111111111", 2, 1}};
    for (const Row& row : rows) {
        LONG tenths = 0;
        EXPECT_EQ(parse_length(row.text, row.units, tenths), row.tenths != 0) << tenths;
        EXPECT_EQ(tenths, row.tenths);
    }
    TextBuffer<32> text;
    format_length(2159, 1, text);
    EXPECT_EQ(Text(text.c_str()), u"8.50");
    format_length(2159, 2, text);
    EXPECT_EQ(Text(text.c_str()), u"215.9");
    LONG number = 0;
    EXPECT_TRUE(parse_number_in(u" 100 ", {1, 100}, number) && number == 100);
    for (const char16_t* bad : {u"0", u"101", u"", u"1.5", u"4294967297"})
        EXPECT_FALSE(parse_number_in(bad, {1, 100}, number));
}

TEST_F(UiSettingsTest, StoresDefaultsAndEnforcedValues) {
    LONG value = 0;
    for (Setting setting : kStoredSettings) {
        EXPECT_FALSE(read_stored(u"P", Layer::Enforced, setting, value));
        ASSERT_TRUE(write_stored(u"P", Layer::Default, setting, 2));
        EXPECT_TRUE(read_stored(u"P", Layer::Default, setting, value) && value == 2);
        EXPECT_FALSE(read_stored(u"P", Layer::Enforced, setting, value));
        EXPECT_TRUE(delete_stored(u"P", Layer::Default, setting));
        EXPECT_FALSE(read_stored(u"P", Layer::Default, setting, value));
        EXPECT_TRUE(delete_stored(u"P", Layer::Default, setting));
    }
    ASSERT_TRUE(write_stored(u"P", Layer::Enforced, Setting::Resolution, 300));
    request.fMode = DM_OUT_BUFFER;
    document_properties(request);
    EXPECT_EQ(out->kv.Resolution, 300);
    EXPECT_FALSE(write_stored(u"", Layer::Enforced, Setting::Resolution, 300));
    EXPECT_TRUE(write_font_settings({true, false}));
    EXPECT_TRUE(read_font_settings().embed && !read_font_settings().capture);
}

TEST_F(UiSettingsTest, FillsAndStripsTexts) {
    EXPECT_EQ(Text(filled_text(kTextBadNumber, u"1", u"%s").c_str()), u"Enter a whole number from 1 to %s.");
    const std::pair<const char16_t*, const char16_t*> labels[] = {
        {u"&Paper size:", u"Paper size"}, {u"用紙サイズ(&P):", u"用紙サイズ"}, {u"A (&", u"A ("}, {u"", u""}};
    for (const auto& [label, plain] : labels) {
        UiLine line(label);
        strip_label(line);
        EXPECT_EQ(Text(line.c_str()), plain);
    }
    EXPECT_FALSE(texts_run_right_to_left());
    host::driver_resources().strings[kTextReadingDirection] = u"rtl";
    EXPECT_TRUE(texts_run_right_to_left());
}

}  // namespace
}  // namespace kv::test
