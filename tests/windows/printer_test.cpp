// The installed printer through the system's own spooler, which loads kvui12.dll: what applications ask of it, and the
// property sheet, driven by keys.

#include <gtest/gtest.h>

#include <thread>

#include "platform/printer_ui.h"
#include "platform/windows/property_sheets.h"
#include "settings/device_mode.h"

namespace kv {
namespace {

constexpr WCHAR kPrinter[] = L"Karvo";

struct PrinterTest : testing::Test {
    PrinterTest() { OpenPrinterW(const_cast<WCHAR*>(kPrinter), &printer, nullptr); }
    ~PrinterTest() override { ClosePrinter(printer); }
    LONG properties(DWORD what, DWORD fields = 0) {
        in.dmFields = fields;
        out = {};  // wine takes what a device mode in it says for the size of the buffer
        return DocumentPropertiesW(nullptr, printer, const_cast<WCHAR*>(kPrinter), &out, &in, what);
    }
    static int capability(WORD what, void* output = nullptr) {
        return DeviceCapabilitiesW(kPrinter, nullptr, what, static_cast<WCHAR*>(output), nullptr);
    }
    HANDLE printer = nullptr;
    DriverDevMode in = {}, out = {};
};

TEST_F(PrinterTest, IsThereWithItsDriver) {
    ASSERT_NE(printer, nullptr);
    std::vector<BYTE> block;
    DWORD needed = 0;
    while (!GetPrinterDriverW(printer, nullptr, 3, block.data(), static_cast<DWORD>(block.size()), &needed)) {
        ASSERT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
        block.resize(needed);
    }
    const auto& driver = *reinterpret_cast<const DRIVER_INFO_3W*>(block.data());
    EXPECT_EQ(driver.cVersion, 3u);
    for (const auto& [path, name] :
         {std::pair(driver.pDriverPath, L"\\kvgraph12.dll"), std::pair(driver.pConfigFile, L"\\kvui12.dll"),
          std::pair(driver.pDataFile, L"\\kvres1232.dll")}) {
        EXPECT_TRUE(std::wstring(path).ends_with(name)) << std::wstring(path).size();
        EXPECT_NE(GetFileAttributesW(path), INVALID_FILE_ATTRIBUTES);
    }
}

TEST_F(PrinterTest, AnswersWhatItCan) {
    EXPECT_EQ(capability(DC_PAPERS), 66);
    std::vector<WORD> ids(66);
    std::vector<WCHAR> names(66 * 64);
    EXPECT_EQ(capability(DC_PAPERS, ids.data()), 66);
    EXPECT_EQ(capability(DC_PAPERNAMES, names.data()), 66);
    EXPECT_EQ(ids[8], 9);
    EXPECT_EQ(std::wstring(&names[8 * 64]), L"A4");
    EXPECT_EQ(capability(DC_EXTRA), 364);
    EXPECT_EQ(capability(DC_COLORDEVICE), 1);
    EXPECT_EQ(capability(DC_NUP), -1);
}

TEST_F(PrinterTest, MergesDeviceModes) {
    ASSERT_EQ(properties(0), static_cast<LONG>(sizeof(DriverDevMode)));
    ASSERT_EQ(properties(DM_OUT_BUFFER), IDOK);
    EXPECT_TRUE(out.dmDriverVersion == 0x0C04 && out.kv.version == 8 && out.kv.Resolution == 600);
    in = out;
    in.dmPaperSize = DMPAPER_A3;
    in.dmOrientation = DMORIENT_LANDSCAPE;
    ASSERT_EQ(properties(DM_IN_BUFFER | DM_OUT_BUFFER, DM_PAPERSIZE), IDOK);
    EXPECT_TRUE(out.dmPaperSize == DMPAPER_A3 && out.dmOrientation == DMORIENT_PORTRAIT);
    EXPECT_EQ(std::wstring(out.dmFormName), L"A3");
}

struct LibraryTest : testing::Test {
    template <class Function>
    Function* function(const char* name) {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    }
    HMODULE library = LoadLibraryW(L"kvui12.dll");
};

TEST_F(LibraryTest, ConvertsAndCatchesAccessViolations) {
    ASSERT_NE(library, nullptr);
    auto* convert = function<BOOL WINAPI(const WCHAR*, DEVMODEW*, DEVMODEW*, LONG*, DWORD)>("DrvConvertDevMode");
    DriverDevMode mode = {};
    LONG size = sizeof mode;
    EXPECT_TRUE(convert(kPrinter, nullptr, &mode, &size, CDM_DRIVER_DEFAULT));
    EXPECT_EQ(mode.kv.Compression, 0x31);
    auto* sheets = function<LONG WINAPI(void*, LPARAM)>("DrvDocumentPropertySheets");
    EXPECT_EQ(sheets(nullptr, 16), -1);
    EXPECT_EQ(GetLastError(), 31u);
    EXPECT_EQ(sheets(nullptr, 0), -1);
}

// The graphics system asks once which events it is to tell.
TEST_F(LibraryTest, AsksForTheStartOfDocumentsAlone) {
    auto* event = function<int WINAPI(HANDLE, HDC, int, ULONG, void*, ULONG, void*)>("DrvDocumentEvent");
    struct {
        UINT size, allocated, needed, returned;
        DWORD events[2];
    } filter = {sizeof filter, 2, 0, 0, {99, 99}};
    EXPECT_EQ(event(nullptr, nullptr, 14, 0, nullptr, sizeof filter, &filter), 1);  // DOCUMENTEVENT_QUERYFILTER
    EXPECT_TRUE(filter.needed == 1 && filter.returned == 1 && filter.events[0] == 5 && filter.events[1] == 99);
    EXPECT_EQ(event(nullptr, nullptr, 1, 0, nullptr, 0, nullptr), 0);
}

BOOL CALLBACK take_dialog(HWND window, LPARAM found) {
    WCHAR name[32] = {};
    GetClassNameW(window, name, 32);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process != GetCurrentProcessId() || !IsWindowVisible(window) || wcscmp(name, L"#32770") != 0) return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
}

void press(std::initializer_list<WORD> keys) {
    std::vector<INPUT> inputs;
    for (WORD key : keys) {
        inputs.push_back({});
        inputs.back().type = INPUT_KEYBOARD;
        inputs.back().ki.wVk = key;
    }
    for (auto key = std::rbegin(keys); key != std::rend(keys); ++key) {
        inputs.push_back({});
        inputs.back().type = INPUT_KEYBOARD;
        inputs.back().ki.wVk = *key;
        inputs.back().ki.dwFlags = KEYEVENTF_KEYUP;
    }
    SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT));
    Sleep(100);
}

void type(const WCHAR* text) {
    for (const WCHAR* unit = text; *unit; ++unit) {
        INPUT inputs[2] = {};
        for (INPUT& input : inputs) {
            input.type = INPUT_KEYBOARD;
            input.ki.wScan = *unit;
            input.ki.dwFlags = KEYEVENTF_UNICODE | (&input == inputs ? 0 : KEYEVENTF_KEYUP);
        }
        SendInput(2, inputs, sizeof(INPUT));
    }
    Sleep(100);
}

std::wstring named_outbox() {
    WCHAR folder[MAX_PATH] = {};
    DWORD size = sizeof folder;
    RegGetValueW(HKEY_CURRENT_USER, L"Software\\Velmora Software\\Karvo12", L"Outbox", RRF_RT_REG_SZ, nullptr, folder,
                 &size);
    return folder;
}

struct SheetTest : PrinterTest {
    HWND open() {
        properties(DM_OUT_BUFFER);
        in = out;
        out = {};
        shower = std::thread([this] {
            answer = DocumentPropertiesW(nullptr, printer, const_cast<WCHAR*>(kPrinter), &out, &in,
                                         DM_IN_BUFFER | DM_IN_PROMPT | DM_OUT_BUFFER);
        });
        return wait_for_dialog();
    }
    static HWND wait_for_dialog() {
        HWND dialog = nullptr;
        for (int i = 0; i < 300 && !dialog; ++i) {
            EnumWindows(take_dialog, reinterpret_cast<LPARAM>(&dialog));
            Sleep(20);
        }
        Sleep(500);
        SetForegroundWindow(dialog);
        return dialog;
    }
    // The window that has come before the sheet; null where none comes.
    static HWND wait_for_another(HWND sheet) {
        HWND window = nullptr;
        for (int i = 0; i < 150 && (!window || window == sheet); ++i) {
            Sleep(20);
            window = GetForegroundWindow();
        }
        return window == sheet ? nullptr : window;
    }
    // A test that has failed leaves no thread behind.
    void TearDown() override {
        if (shower.joinable()) close(VK_ESCAPE);
    }
    LONG close(WORD key) {
        press({key});
        shower.join();
        return answer;
    }
    std::thread shower;
    LONG answer = 0;
};

TEST_F(SheetTest, IsDrivenByKeys) {
    HWND sheet = open();
    ASSERT_NE(sheet, nullptr);
    press({VK_MENU, 'O'});  // orientation
    press({VK_DOWN});
    SendMessageW(sheet, PSM_SETCURSEL, 1, 0);
    press({VK_MENU, 'Q'});  // the quality of JPEG, selected as a whole
    for (WORD key : {'4', '2'}) press({key});
    EXPECT_EQ(close(VK_RETURN), IDOK);
    EXPECT_EQ(out.dmOrientation, DMORIENT_LANDSCAPE);
    EXPECT_EQ(out.kv.JpegQuality, 42);
}

// What is answered then is the host's; wine's says IDOK.
TEST_F(SheetTest, GivesNothingWhenItIsCancelled) {
    ASSERT_NE(open(), nullptr);
    press({VK_MENU, 'O'});
    press({VK_DOWN});
    close(VK_ESCAPE);
    EXPECT_EQ(out.dmSize, 0);
}

// The page of defaults, in the system's host of sheets: landscape is enforced and the outbox named, and then no more.
TEST_F(SheetTest, EnforcesAValueAndNamesTheOutbox) {
    constexpr WCHAR kOutbox[] = L"C:\\Jobs\\%u";
    using ShowSheet = LONG WINAPI(HWND, PFNPROPSHEETUI, LPARAM, DWORD*);
    auto* show = reinterpret_cast<ShowSheet*>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"compstui.dll"), "CommonPropertySheetUIW")));
    auto* pages = reinterpret_cast<PFNPROPSHEETUI>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"kvui12.dll"), "DrvDevicePropertySheets")));
    ASSERT_TRUE(show && pages);
    DEVICEPROPERTYHEADER request = {sizeof request, 0, printer, const_cast<WCHAR*>(kPrinter)};
    for (const auto& [choose, orientation] : {std::pair(VK_END, DMORIENT_LANDSCAPE), {VK_HOME, DMORIENT_PORTRAIT}}) {
        shower = std::thread([&] { show(nullptr, pages, reinterpret_cast<LPARAM>(&request), nullptr); });
        HWND sheet = wait_for_dialog();
        ASSERT_NE(sheet, nullptr);
        press({VK_MENU, 'S'});  // the list of settings
        press({VK_HOME});
        press({VK_DOWN});  // orientation
        press({VK_MENU, 'V'});
        press({static_cast<WORD>(choose)});  // landscape is the last value, and none the first
        if (choose == VK_END) press({VK_MENU, 'E'});
        press({VK_MENU, 'O'});
        type(L"jobs");
        press({VK_RETURN});
        const HWND message = wait_for_another(sheet);
        EXPECT_TRUE(message) << "the name alone is taken";
        if (message) press({VK_RETURN});
        press({VK_DELETE});  // the entry is selected again
        if (choose == VK_END) type(kOutbox);
        close(VK_RETURN);
        EXPECT_EQ(named_outbox(), choose == VK_END ? kOutbox : L"");
        in = {};
        ASSERT_EQ(properties(DM_OUT_BUFFER), IDOK);
        EXPECT_EQ(out.dmOrientation, orientation);
    }
}

// For pictures: each page stays for as many milliseconds as KV_SHEET_HOLD says.
TEST_F(SheetTest, ShowsItsPages) {
    const char* hold = std::getenv("KV_SHEET_HOLD");
    if (!hold) GTEST_SKIP();
    HWND sheet = open();
    ASSERT_NE(sheet, nullptr);
    for (WPARAM page = 0; page < 3; ++page) {
        SendMessageW(sheet, PSM_SETCURSEL, page, 0);
        std::printf("page\n");
        std::fflush(stdout);
        Sleep(static_cast<DWORD>(std::atoi(hold)));
    }
    close(VK_ESCAPE);
}

}  // namespace
}  // namespace kv
