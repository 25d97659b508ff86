#include <cstring>

#include "settings/device_settings.h"
#include "settings/page_size.h"
#include "settings/paper_table.h"
#include "settings/paper_trays.h"
#include "settings/printer_info.h"
#include "support/process_state.h"
#include "tests/common/host_test.h"

namespace kv::test {
namespace {

using Text = std::u16string;
const Text kProduct = u"Software\\Velmora Software\\Karvo12";
const Text kPrinter = kProduct + u"\\KarvoPrinters\\P";
// Of the machine, in the view that programs of both widths have of a printer's key.
const Text kPrinter32 = u"Software\\WOW6432Node\\Velmora Software\\Karvo12\\KarvoPrinters\\P";

class SettingsTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        process_state().default_paper = DMPAPER_A4;
        process_state().default_units = process_state().private_units = 2;
    }
    static void custom_paper(const Text& name, uint32_t id, uint32_t width, uint32_t height, uint32_t units) {
        const Text key = kProduct + u"\\CustomPapers\\" + name;
        const std::pair<const WCHAR*, uint32_t> values[] = {{u"ID", id}, {u"Units", units}};
        host::set_registry_dword(HKEY_CURRENT_USER, key, u"Width", width);
        host::set_registry_dword(HKEY_CURRENT_USER, key, u"Height", height);
        for (const auto& [value, number] : values) {
            if (number) host::set_registry_dword(HKEY_CURRENT_USER, key, value, number);
        }
    }
    static DriverDevMode defaults() {
        DriverDevMode mode;
        InitDefaultDevMode(u"P", mode);
        return mode;
    }
    static std::vector<uint8_t> bytes(const DriverDevMode& mode) {
        auto* data = reinterpret_cast<const uint8_t*>(&mode);
        return {data, data + sizeof mode};
    }
};

// Inches (1) or millimetres (2), in the order of the system's ids, 48 and 49 left out.
TEST_F(SettingsTest, KnowsThePapersOfTheSystem) {
    static const struct {
        const char16_t* name;
        WORD units;
        double width, height;
    } kPapers[] = {{u"Letter", 1, 8.5, 11},
                   {u"Letter Small", 1, 8.5, 11},
                   {u"Tabloid", 1, 11, 17},
                   {u"Ledger", 1, 11, 17},
                   {u"Legal", 1, 8.5, 14},
                   {u"Statement", 1, 5.5, 8.5},
                   {u"Executive", 1, 7.25, 10.5},
                   {u"A3", 2, 297, 420},
                   {u"A4", 2, 210, 297},
                   {u"A4 Small", 2, 210, 297},
                   {u"A5", 2, 148, 210},
                   {u"B4 (JIS)", 2, 257, 364},
                   {u"B5 (JIS)", 2, 182, 257},
                   {u"Folio", 1, 8.5, 13},
                   {u"Quarto", 2, 215, 275},
                   {u"10x14", 1, 10, 14},
                   {u"11x17", 1, 11, 17},
                   {u"Note", 1, 8.5, 11},
                   {u"Envelope #9", 1, 3.875, 8.875},
                   {u"Envelope #10", 1, 4.125, 9.5},
                   {u"Envelope #11", 1, 4.5, 10.375},
                   {u"Envelope #12", 1, 4.75, 11},
                   {u"Envelope #14", 1, 5, 11.5},
                   {u"C size sheet", 1, 17, 22},
                   {u"D size sheet", 1, 22, 34},
                   {u"E size sheet", 1, 34, 44},
                   {u"Envelope DL", 2, 110, 220},
                   {u"Envelope C5", 2, 162, 229},
                   {u"Envelope C3", 2, 324, 458},
                   {u"Envelope C4", 2, 229, 324},
                   {u"Envelope C6", 2, 114, 162},
                   {u"Envelope C65", 2, 114, 229},
                   {u"Envelope B4", 2, 250, 353},
                   {u"Envelope B5", 2, 176, 250},
                   {u"Envelope B6", 2, 125, 176},
                   {u"Envelope Italy", 2, 110, 230},
                   {u"Envelope Monarch", 1, 3.875, 7.5},
                   {u"6 3/4 Envelope", 1, 3.625, 6.5},
                   {u"US Std Fanfold", 1, 11, 14.875},
                   {u"German Std Fanfold", 1, 8.5, 12},
                   {u"German Legal Fanfold", 1, 8.5, 13},
                   {u"B4 (ISO)", 2, 250, 353},
                   {u"Japanese Postcard", 2, 100, 148},
                   {u"9x11", 1, 9, 11},
                   {u"10x11", 1, 10, 11},
                   {u"11x15", 1, 11, 15},
                   {u"Envelope Invite", 2, 220, 220},
                   {u"Letter Extra", 1, 9.5, 12},
                   {u"Legal Extra", 1, 9.5, 15},
                   {u"Tabloid Extra", 1, 11.69, 18},
                   {u"A4 Extra", 2, 235.458, 322.326},
                   {u"Letter Transverse", 1, 8.5, 11},
                   {u"A4 Transverse", 2, 210, 297},
                   {u"Letter Extra Transverse", 1, 9.5, 12},
                   {u"SuperA/SuperA/A4", 2, 227, 356},
                   {u"SuperB/SuperB/A3", 2, 305, 487},
                   {u"Letter Plus", 1, 8.5, 12.69},
                   {u"A4 Plus", 2, 210, 330},
                   {u"A5 Transverse", 2, 148, 210},
                   {u"B5 (JIS) Transverse", 2, 182, 257},
                   {u"A3 Extra", 2, 322, 445},
                   {u"A5 Extra", 2, 174, 235},
                   {u"B5 (ISO) Extra", 2, 201, 276},
                   {u"A2", 2, 420, 594},
                   {u"A3 Transverse", 2, 297, 420},
                   {u"A3 Extra Transverse", 2, 322, 445}};
    WORD id = 0;
    for (const auto& expected : kPapers) {
        id = id == 47 ? WORD{50} : static_cast<WORD>(id + 1);
        const PaperRecord* paper = find_standard_paper(id);
        if (!paper) FAIL() << id;
        const double micrometres = expected.units == 1 ? 25400 : 1000;
        EXPECT_TRUE(paper->id == id && paper->units == expected.units && Text(paper->name) == expected.name) << id;
        EXPECT_NEAR(paper->width, expected.width * micrometres, 0.5) << id;
        EXPECT_NEAR(paper->height, expected.height * micrometres, 0.5) << id;
    }
    for (WORD other : std::initializer_list<WORD>{0, 48, 49, 69}) EXPECT_FALSE(find_standard_paper(other));
}

TEST_F(SettingsTest, GivesCustomPapersIdsAndWritesThemBack) {
    custom_paper(u"a", 300, 100000, 200000, 7);
    custom_paper(u"b", 301, 100000, 200000, 0);
    custom_paper(u"c", 0, 100000, 200000, 1);
    custom_paper(u"d", 303, 100000, 200000, 2);
    custom_paper(u"flat", 0, 100000, 0, 2);
    CCustomPaperList papers;
    papers.Load();
    ASSERT_EQ(papers.count(), 4);
    WORD index = 0;
    ASSERT_TRUE(papers.FindByName(u"C", &index));
    EXPECT_EQ(papers[index].id, 302);
    EXPECT_EQ(papers[0].units, 1);
    EXPECT_EQ(papers[1].units, 2);
    EXPECT_EQ(NewCustomPaperId(papers), 304);
    CCustomPaperList again;
    again.Load();
    EXPECT_EQ(again[index].id, 302);
    EXPECT_FALSE(host::registry_value_exists(HKEY_CURRENT_USER, kProduct + u"\\CustomPapers\\flat", u"ID"));
}

TEST_F(SettingsTest, SizesPagesInPixels) {
    DriverDevMode mode = defaults();
    PageSize a4 = GetPaperSizePixels(mode, 600);
    EXPECT_TRUE(a4.width_px == 4961 && a4.height_px == 7016 && a4.width_mm == 210 && a4.height_mm == 297);
    RECTL printable = GetPrintableRect(mode);
    EXPECT_TRUE(printable.left == 150 && printable.top == 150 && printable.right == 4811 && printable.bottom == 6866);
    mode.dmOrientation = DMORIENT_LANDSCAPE;
    EXPECT_EQ(GetPaperSizePixels(mode, 600).width_px, 7016);
    mode.dmOrientation = 3;  // left as it is
    mode.dmPaperSize = 256;
    mode.dmPaperWidth = 2540;
    mode.dmPaperLength = 1270;
    const PageSize custom = GetPaperSizePixels(mode, 600);
    EXPECT_TRUE(custom.width_px == 6000 && custom.width_mm == 254 && custom.height_mm == 127);
    for (SHORT unusable : std::initializer_list<SHORT>{0, -1, -32768}) {
        mode.dmPaperLength = unusable;
        EXPECT_EQ(GetPaperSizePixels(mode, 600).width_px, 4961) << unusable;
    }
}

TEST_F(SettingsTest, StartsFromTheDefaults) {
    DriverDevMode mode;
    InitDefaultDevMode(u"\\\\server\\a printer with a very long name indeed", mode);
    EXPECT_EQ(Text(mode.dmDeviceName), u"a printer with a very long name");
    InitDefaultDevMode(u"\\\\server", mode);
    EXPECT_EQ(mode.dmDeviceName[0], 0);
    EXPECT_EQ(mode.dmSpecVersion, 0x0401);
    EXPECT_EQ(mode.dmDriverVersion, 0x0C04);
    EXPECT_EQ(mode.dmFields, 0x00076E03u);
    EXPECT_EQ(Text(mode.dmFormName), u"A4");
    EXPECT_STREQ(mode.kv.application, "host");
    EXPECT_EQ(mode.kv.mask, 0x33EFFu);
    EXPECT_EQ(mode.kv.units, 2);
    host::machine().executable = u"C:\\Windows\\SPOOLSV.EXE";
    InitDefaultDevMode(u"P", mode);
    EXPECT_STREQ(mode.kv.application, "");
    for (const WCHAR* name : {u"kvdisp4a", u"KVDISP12", u"Explorer", u""}) {
        EXPECT_FALSE(IsApplicationName(name));
    }
    EXPECT_TRUE(IsApplicationName(u"kvdisp6a") && IsApplicationName("kvdisp13"));
}

// A private part of each version, with every flag set and a number of its own in every field.
struct VersionCase {
    int version;
    WORD size, driver_version;
    bool wide;
    int application, flags, numbers, compression, font, escapes, units, carried, down_samp, quality, mono, action;
};
constexpr VersionCase kVersions[] = {
    {0, 158, 0x0429, true, 2, 66, 70, 0, 92, 0, 0, 0, 0, 0, 0, 0},
    {1, 156, 0x0C04, true, 4, 68, 72, 86, 88, 152, 0, 0, 0, 0, 0, 0},
    {2, 680, 0x0C04, true, 4, 68, 72, 86, 88, 152, 156, 158, 0, 0, 0, 0},
    {3, 680, 0x0C04, true, 4, 68, 72, 86, 88, 152, 156, 158, 678, 0, 0, 0},
    {3, 356, 0x0C04, false, 4, 36, 40, 54, 56, 88, 92, 94, 354, 0, 0, 0},
    {4, 356, 0x0C04, false, 4, 36, 40, 54, 56, 88, 92, 94, 354, 0, 0, 0},
    {5, 360, 0x0C04, false, 4, 36, 40, 54, 56, 88, 92, 94, 354, 356, 0, 0},
    {6, 360, 0x0C04, false, 4, 36, 40, 54, 56, 88, 92, 94, 354, 356, 358, 0},
    {7, 364, 0x0C04, false, 4, 36, 40, 54, 56, 88, 92, 94, 354, 356, 358, 360},
    {8, 364, 0x0C04, false, 4, 36, 40, 54, 56, 88, 92, 94, 354, 356, 358, 360},
    {0, 158, 0x0411, true, 2, 66, 70, 0, 92, 0, 0, 0, 0, 0, 0, 0},  // the first driver with a private part
};

std::vector<BYTE> private_mode(const VersionCase& test) {
    std::vector<BYTE> data(220u + test.size);
    auto* mode = reinterpret_cast<DEVMODEW*>(data.data());
    mode->dmSize = 220;
    mode->dmDriverExtra = test.size;
    mode->dmDriverVersion = test.driver_version;
    mode->dmFields = DM_ORIENTATION;
    mode->dmOrientation = DMORIENT_LANDSCAPE;
    BYTE* part = data.data() + 220;
    auto text = [&](int at, const char* value) {
        for (size_t i = 0; at && value[i]; ++i)
            part[static_cast<size_t>(at) + (test.wide ? 2 * i : i)] = static_cast<BYTE>(value[i]);
    };
    part[0] = 'K';
    part[1] = 'V';
    const DWORD flags = 0x33EFF;
    std::memcpy(part + test.flags, &flags, 4);
    auto put = [&](int at, int value) {
        if (at) std::memcpy(part + at, &value, 2);
    };
    for (int i = 0; i < 6; ++i) put(test.numbers + 2 * i, 301 + i);
    put(test.version ? 2 : 0, test.version), put(test.version ? test.escapes + 2 : 84, 8);
    put(test.compression, 0x99), put(test.escapes, 7), put(test.units, 9), put(test.down_samp, 111);
    put(test.quality, 50), put(test.mono, 222), put(test.action, 0x1234);
    text(test.application, "app");
    text(test.font, "Arial");
    text(test.carried, "carried");
    return data;
}

TEST_F(SettingsTest, ReadsEveryPrivateVersion) {
    for (const VersionCase& test : kVersions) {
        SCOPED_TRACE(testing::Message() << "version " << test.version << " of " << test.size << " bytes");
        std::vector<BYTE> data = private_mode(test);
        auto* source = reinterpret_cast<const DEVMODEW*>(data.data());
        DWORD size = 0;
        int version = -1;
        EXPECT_TRUE(CheckPrivateDevMode(source, &size, &version));
        EXPECT_TRUE(version == test.version && size == test.size);
        DriverDevMode mode = defaults();
        mode.kv.mask = 0;
        MergeDevMode(source, mode);
        EXPECT_EQ(mode.dmOrientation, DMORIENT_LANDSCAPE);
        EXPECT_STREQ(mode.kv.application, "app");
        EXPECT_STREQ(mode.kv.DefaultFont, "Arial");
        EXPECT_TRUE(mode.kv.Resolution == 301 && mode.kv.MarginLeft == 302 && mode.kv.MarginTop == 303);
        EXPECT_TRUE(mode.kv.MarginRight == 304 && mode.kv.MarginBottom == 305 && mode.kv.ShowDlg == 306);
        EXPECT_EQ(mode.kv.AutoEm, 8);
        EXPECT_STREQ(mode.kv.carried_text, test.carried ? "carried" : "");
        DWORD expected = kPrivateAll;
        auto expect = [&](int at, DWORD bit, WORD read, WORD written, WORD otherwise) {
            EXPECT_EQ(read, at ? written : otherwise) << std::hex << bit;
            expected &= ~(at ? 0 : bit);
        };
        expect(test.compression, kPrivateCompression, mode.kv.Compression, 0x99, 0x31);
        expect(test.escapes, kPrivatePathEscapes, mode.kv.PathEscapes, 7, 1);
        expect(test.units, kPrivateUnits, mode.kv.units, 9, 2);
        expect(test.down_samp, kPrivateResDownSamp, mode.kv.ResDownSamp, 111, 150);
        expect(test.quality, kPrivateJpegQuality, mode.kv.JpegQuality, 50, 75);
        expect(test.mono, kPrivateResDownSampMono, mode.kv.ResDownSampMono, 222, 300);
        expect(test.action, kPrivateKvAction, mode.kv.KvAction, 0x1234, 0x8000);
        EXPECT_EQ(mode.kv.mask, expected);
    }
}

TEST_F(SettingsTest, RefusesWhatItDoesNotKnow) {
    std::vector<BYTE> data = private_mode(kVersions[9]);
    auto* source = reinterpret_cast<DEVMODEW*>(data.data());
    DriverDevMode mode = defaults();
    source->dmSize = 156;
    MergeDevMode(source, mode);
    EXPECT_EQ(mode.dmOrientation, DMORIENT_PORTRAIT);
    source->dmSize = 220;
    data[222] = 9;  // an unknown private version: public fields only
    MergeDevMode(source, mode);
    EXPECT_EQ(mode.dmOrientation, DMORIENT_LANDSCAPE);
    EXPECT_EQ(mode.kv.Resolution, 600);
    source->dmOrientation = 3;
    MergeDevMode(source, mode);
    EXPECT_EQ(mode.dmOrientation, DMORIENT_LANDSCAPE);
    data[222] = 8;
    std::memcpy(data.data() + 224, "explorer", 9);
    MergeDevMode(source, mode);
    EXPECT_STREQ(mode.kv.application, "host");
    MergeDevMode(nullptr, mode);
    data = private_mode(kVersions[10]);
    source = reinterpret_cast<DEVMODEW*>(data.data());
    source->dmDriverVersion = 0x0410;
    MergeDevMode(source, mode);
    EXPECT_EQ(mode.kv.Resolution, 301) << "of the version before";
}

TEST_F(SettingsTest, ResolvesPapersByTableThenNameThenIdThenSize) {
    custom_paper(u"Roll", 310, 123456, 654321, 2);
    DriverDevMode source = defaults(), mode = defaults();
    source.dmFields = DM_PAPERSIZE | DM_FORMNAME | DM_PAPERWIDTH | DM_PAPERLENGTH;
    source.dmPaperSize = 400;
    source.dmPaperWidth = 1000;
    source.dmPaperLength = 2000;
    copy_text(source.dmFormName, 32, u"rOLL");
    MergePublicDevModeFields(source, mode);
    EXPECT_TRUE(mode.dmPaperSize == 310 && mode.dmPaperWidth == 1234 && mode.dmPaperLength == 6543);
    EXPECT_EQ(Text(mode.dmFormName), u"Roll");
    copy_text(source.dmFormName, 32, u"A4");
    mode = defaults();
    MergePublicDevModeFields(source, mode);
    EXPECT_TRUE(mode.dmPaperSize == 400 && mode.dmPaperWidth == 1000 && !(mode.dmFields & DM_FORMNAME));
    EXPECT_EQ(mode.dmFormName[0], 0);
    source.dmPaperSize = 310;
    source.dmFields = DM_PAPERSIZE;
    MergePublicDevModeFields(source, mode);
    EXPECT_EQ(Text(mode.dmFormName), u"Roll");
    source.dmPaperSize = DMPAPER_LETTER;
    MergePublicDevModeFields(source, mode);
    EXPECT_EQ(Text(mode.dmFormName), u"Letter");
    source.dmPaperSize = 999;
    MergePublicDevModeFields(source, mode);
    EXPECT_EQ(mode.dmPaperSize, DMPAPER_LETTER);
}

TEST_F(SettingsTest, KeepsCustomPapersWithinADeviceMode) {
    const std::tuple<uint32_t, SHORT, LONG> papers[] = {// micrometres, tenths of a millimetre, pixels
                                                        {3276800, 32767, 77402},
                                                        {2147483647, 32767, 77402},
                                                        {2147483648u, 0, 4961},
                                                        {99, 0, 4961}};
    for (const auto& [width, tenths, pixels] : papers) {
        custom_paper(u"Roll", 310, width, 3276700, 2);
        DriverDevMode source = defaults(), mode = defaults();
        source.dmFields = DM_PAPERSIZE;
        source.dmPaperSize = 310;
        MergePublicDevModeFields(source, mode);
        EXPECT_TRUE(mode.dmPaperWidth == tenths && GetPaperSizePixels(mode, 600).width_px == pixels) << width;
    }
}

// Each layer says one resolution more; the last one present wins.
TEST_F(SettingsTest, LaysTheLayersInTheirOrder) {
    host::Printer printer;
    printer.name = u"P";
    auto with_resolution = [&](WORD resolution) {
        DriverDevMode mode = defaults();
        mode.dmFields = DM_YRESOLUTION;
        mode.dmYResolution = static_cast<SHORT>(resolution);
        mode.kv.mask = kPrivateResolution;
        mode.kv.Resolution = resolution;
        return mode;
    };
    DriverDevMode application = with_resolution(104), settings;
    for (int layers = 0; layers <= 5; ++layers) {
        if (layers == 1) printer.devmode8 = bytes(with_resolution(101));
        if (layers == 2) printer.devmode9 = bytes(with_resolution(102));
        if (layers == 3) {
            host::set_registry_dword(HKEY_CURRENT_USER, kPrinter + u"\\PrinterDriverData", u"Resolution", 103);
        }
        if (layers == 5) host::set_registry_dword(HKEY_CURRENT_USER, kPrinter, u"Resolution", 105);
        HANDLE handle = host::open_printer(printer);
        LoadDeviceSettings(handle, nullptr, u"P", layers >= 4 ? &application : nullptr, settings);
        host::close_printer(handle);
        EXPECT_EQ(settings.kv.Resolution, layers ? 100 + layers : 600) << layers;
        EXPECT_EQ(settings.dmYResolution, layers ? 100 + layers : 600) << layers;
    }
    host::set_registry_string(HKEY_CURRENT_USER, kPrinter, u"DefaultFont", u"Georgia");
    host::set_registry_string(HKEY_CURRENT_USER, kPrinter, u"Compression", u"too long to be a number");
    LoadDeviceSettings(nullptr, u"S-1-5-21", u"P", nullptr, settings);
    EXPECT_STREQ(settings.kv.DefaultFont, "Georgia");
    EXPECT_EQ(settings.kv.Compression, 0x31);
    ASSERT_EQ(host::messages().size(), 2u) << "no such user key";
    // A value without its end.
    HKEY key = nullptr;
    const Text font = u"Arial";
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, kPrinter.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key,
                              nullptr),
              ERROR_SUCCESS);
    RegSetValueExW(key, u"DefaultFont", 0, REG_SZ, reinterpret_cast<const BYTE*>(font.data()), 10);
    RegCloseKey(key);
    LoadDeviceSettings(nullptr, u"S-1-5-21", u"P", nullptr, settings);
    EXPECT_STREQ(settings.kv.DefaultFont, "Arial");
}

TEST_F(SettingsTest, MergesPaperTraysByOwner) {
    const std::tuple<HKEY, Text, Text, Text> trays_of_owners[] = {
        {HKEY_LOCAL_MACHINE, kProduct, u"302", u"m302"},
        {HKEY_LOCAL_MACHINE, kProduct, u"300", u"m300"},
        {HKEY_LOCAL_MACHINE, kProduct, u"0301", u"zero"},
        {HKEY_LOCAL_MACHINE, kProduct, u"299", u"below"},
        {HKEY_LOCAL_MACHINE, kProduct, u"32767", u"over"},
        {HKEY_LOCAL_MACHINE, kPrinter32, u"302", u"p302"},
        {HKEY_LOCAL_MACHINE, kPrinter, u"302", u"of the other view"},
        {HKEY_CURRENT_USER, kProduct, u"300", u"u300"},
        {HKEY_CURRENT_USER, kProduct, u"32766", u"u"},
        {HKEY_CURRENT_USER, kPrinter, u"302", u"q302"},
        {HKEY_CURRENT_USER, kPrinter, u"32766", u"q"}};
    for (const auto& [root, key, bin, name] : trays_of_owners) {
        host::set_registry_string(root, key + u"\\PaperTrays", bin, name);
    }
    const std::tuple<bool, const WCHAR*, const WCHAR*> cases[] = {{false, u"m300", u"p302"}, {true, u"u300", u"q302"}};
    for (const auto& [administrator, bin300, bin302] : cases) {
        host::machine().administrator = administrator;
        PaperTrays trays;
        GetPaperTrays(u"P", trays);
        ASSERT_EQ(trays.count, 3u);
        EXPECT_EQ(Text(trays.find(300)->name.c_str()), bin300);
        EXPECT_EQ(Text(trays.find(302)->name.c_str()), bin302);
        EXPECT_EQ(Text(trays.find(32766)->name.c_str()), u"q");
        EXPECT_EQ(trays.find(301), nullptr);
    }
    // A machine of 32 bits has one view.
    process_state().processor = host::machine().architecture = PROCESSOR_ARCHITECTURE_INTEL;
    host::machine().administrator = false;
    PaperTrays trays;
    GetPaperTrays(u"P", trays);
    EXPECT_EQ(Text(trays.find(302)->name.c_str()), u"of the other view");
}

TEST_F(SettingsTest, ReportsPrinterFailuresOnlyWhenAsked) {
    host::Printer printer;
    printer.name = u"P";
    HANDLE handle = host::open_printer(printer);
    HeapArray<BYTE> info;
    using enum host::CallKind;
    for (bool quiet : {true, false}) {
        for (const auto& [kind, call] : {std::pair{Spooler, 1}, {Spooler, 2}, {Allocation, 1}}) {
            host::fail_call(kind, call);
            EXPECT_FALSE(CPrinter::GetPrinterInfo(handle, 5, info, quiet));
        }
        EXPECT_FALSE(info);
        EXPECT_EQ(shown().size(), quiet ? 0u : 3u);
    }
    EXPECT_TRUE(shown()[0].starts_with(u"GetPrinter: "));
    EXPECT_EQ(shown()[2], u"Out of memory (CPrinter::GetPrinterInfo).");
    EXPECT_TRUE(CPrinter::GetPrinterInfo(handle, 5, info, false));
    host::close_printer(handle);
}

// What lies outside the spooler's answer is never read.
TEST_F(SettingsTest, TakesWholeDeviceModesOnly) {
    const std::tuple<size_t, WORD, WORD, size_t> cases[] = {// bytes there, dmSize, dmDriverExtra, bytes taken
                                                            {592, 220, 364, 584},
                                                            {583, 220, 364, 0},
                                                            {584, 220, 65535, 0},
                                                            {72, 72, 0, 72},
                                                            {71, 72, 0, 0}};
    for (const auto& [there, size, extra, taken] : cases) {
        DriverDevMode says = defaults();
        says.dmSize = size;
        says.dmDriverExtra = extra;
        host::Printer printer;
        std::vector<uint8_t> mode = bytes(says);
        mode.resize(there);
        printer.devmode2 = printer.devmode8 = printer.devmode9 = mode;
        HANDLE handle = host::open_printer(printer);
        for (DWORD level : {2u, 8u, 9u}) {
            HeapArray<BYTE> copy;
            EXPECT_EQ(GetPrinterDevMode(handle, level, copy, true), taken ? TRUE : FALSE) << there;
            EXPECT_TRUE(!taken || std::memcmp(copy.get(), mode.data(), taken) == 0) << there;
        }
        host::close_printer(handle);
    }
}

// Whatever call fails, settings are loaded from what remains, and nothing is held afterwards.
TEST_F(SettingsTest, LoadsThroughEachFailingCall) {
    custom_paper(u"Roll", 0, 123456, 654321, 2);
    host::set_registry_dword(HKEY_CURRENT_USER, kPrinter, u"Resolution", 105);
    host::set_registry_string(HKEY_LOCAL_MACHINE, kProduct + u"\\PaperTrays", u"300", u"tray");
    host::Printer printer;
    printer.name = u"P";
    printer.devmode8 = printer.devmode9 = bytes(defaults());
    HANDLE handle = host::open_printer(printer);
    DriverDevMode application = defaults();
    application.dmPaperSize = 999;
    before = host::live_objects();
    using enum host::CallKind;
    fail_each_call({Allocation, Registry, Spooler, Process}, [&](const Failed& failed) {
        DriverDevMode settings;
        LoadDeviceSettings(handle, nullptr, u"P", &application, settings);
        PaperTrays trays;
        GetPaperTrays(u"P", trays);
        const bool sound = failed().empty();
        EXPECT_TRUE(settings.kv.Resolution == 105 || (settings.kv.Resolution == 600 && !sound));
        EXPECT_TRUE(trays.count == 1 || (trays.count == 0 && !sound));
    });
    EXPECT_TRUE(shown().empty()) << "none of it must be had";
    host::close_printer(handle);
    before = host::live_objects();
}

}  // namespace
}  // namespace kv::test
