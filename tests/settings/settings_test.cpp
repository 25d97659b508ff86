#include <cstring>

#include "settings/device_settings.h"
#include "settings/page_size.h"
#include "settings/paper_table.h"
#include "settings/paper_trays.h"
#include "settings/printer_info.h"
#include "tests/settings/settings_fixture.h"

namespace kv::test {
namespace {

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
