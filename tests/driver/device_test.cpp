// Devices: what they report to the engine, their surfaces, and the hand-over of a document from one to another.

#include <cstring>

#include "engine/surfaces.h"
#include "settings/device_mode.h"
#include "tests/common/print_test.h"

namespace kv::test {
namespace {

struct DeviceTest : PrintTest {
    static DEVMODEW mode_named(const char16_t* name) {
        DEVMODEW mode = mode_of(0);
        std::copy_n(name, std::char_traits<char16_t>::length(name), mode.dmDeviceName);
        return mode;
    }
    void set_margins(uint32_t left, uint32_t top, uint32_t right, uint32_t bottom) {
        set(u"MarginLeft", left);
        set(u"MarginTop", top);
        set(u"MarginRight", right);
        set(u"MarginBottom", bottom);
    }
};

TEST_F(DeviceTest, TakesItsNameFromTheSpoolerTheModeOrTheEngine) {
    const DEVMODEW mode = mode_named(u"Mode"), nameless = mode_named(u"");
    const std::tuple<std::u16string, const DEVMODEW*, std::u16string> cases[] = {
        {u"Spooler", &mode, u"Spooler"}, {u"", &mode, u"Mode"}, {u"", &nameless, u"P"}, {u"", nullptr, u"P"}};
    for (const auto& [spooler, own_mode, expected] : cases) {
        host::printer(printer).name = spooler;
        open_device(own_mode);
        EXPECT_EQ(pdevice().printer_name.c_str(), expected);
        EXPECT_EQ(pdevice().port_name.c_str(), std::u16string(u"FILE:"));
        close_device();
    }
    DEVMODEW full = mode_named(u"12345678901234567890123456789012");  // not terminated
    open_device(&full);
    EXPECT_EQ(pdevice().printer_name.length(), 32u);
}

TEST_F(DeviceTest, ReportsThePageToTheEngine) {
    set(u"Resolution", 600);
    set_margins(250, 500, 125, 1000);
    open_device();
    const GDIINFO& info = device->info();
    // Letter: 215.9 x 279.4 mm, 5100 x 6600 pixels; a quarter of an inch is 6 mm and 150 pixels.
    const std::vector<int64_t> sizes = {
        info.ulHorzSize,      info.ulVertSize,     info.ulHorzRes,      info.ulVertRes,    info.ptlPhysOffset.x,
        info.ptlPhysOffset.y, info.szlPhysSize.cx, info.szlPhysSize.cy, info.ulLogPixelsX, info.ulLogPixelsY,
        info.ulAspectX,       info.ulAspectY,      info.ulAspectXY};
    EXPECT_EQ(sizes, (std::vector<int64_t>{215 - 6 - 3, 279 - 13 - 25, 5100 - 150 - 75, 6600 - 300 - 600, 150, 300,
                                           5100, 6600, 600, 600, 600, 600, 849}));
    const std::vector<int64_t> rest = {
        info.ulVersion,       info.ulTechnology,     info.cBitsPixel,   info.cPlanes,      info.ulNumColors,
        info.flTextCaps,      info.xStyleStep,       info.yStyleStep,   info.denStyleStep, info.ulPrimaryOrder,
        info.ulHTPatternSize, info.ulHTOutputFormat, info.flShadeBlend, info.flRaster,     info.ulNumPalReg,
        info.ulDevicePelsDPI, info.flHTFlags};
    EXPECT_EQ(rest, (std::vector<int64_t>{0x5004, 2, 24, 1, 0x4000, 0x1DFF, 4, 4, 8, 4, 6, 6, 5, 0, 0, 0, 0}));

    const DEVINFO& devinfo = device->devinfo();
    EXPECT_EQ(devinfo.flGraphicsCaps, 0x1020A53Fu);
    EXPECT_TRUE(devinfo.cFonts == 3 && devinfo.cxDither == 0 && devinfo.cyDither == 0 && devinfo.flGraphicsCaps2 == 0);
    EXPECT_EQ(devinfo.hpalDefault, pdevice().palette);
    const LOGFONTW& font = devinfo.lfDefaultFont;
    EXPECT_TRUE(font.lfHeight == -100 && font.lfWidth == 0 && font.lfWeight == 400 && font.lfCharSet == 1);
    EXPECT_EQ(font.lfFaceName, std::u16string(u"Courier New"));
    EXPECT_EQ(std::memcmp(&font, &devinfo.lfAnsiVarFont, sizeof font), 0);
    EXPECT_EQ(std::memcmp(&font, &devinfo.lfAnsiFixFont, sizeof font), 0);
}

TEST_F(DeviceTest, HasPixelsWhateverItIsSet) {
    struct {
        uint32_t resolution, left, top, right, bottom;
        LONG dpi, width, height;
        uint32_t paper = 0;  // width and height, tenths of a millimetre; 0: Letter
    } cases[] = {{0, 0, 0, 0, 0, 600, 5100, 6600},
                 {100, 4250, 0, 4250, 500, 100, 850, 1050},   // nothing between left and right
                 {100, 0, 9000, 500, 2100, 100, 800, 1100},   // less than nothing
                 {100, 4240, 5490, 4240, 5490, 100, 850, 2},  // less than a millimetre, and a millimetre
                 {100, 4200, 5400, 4200, 5400, 100, 10, 20},
                 {1, 4250, 5000, 4000, 5000, 1, 1, 1},    // 4 and 5 pixels on each side of 9 x 11
                 {1, 0, 0, 0, 0, 1, 9, 11, 100},          // a paper of less than half a pixel is the default
                 {600, 0, 0, 0, 0, 600, 5100, 6600, 9},   // and so is one of less than a millimetre
                 {3, 250, 250, 250, 250, 3, 1, 1, 100}};  // margins of a pixel each, of 1 pixel
    for (const auto& test : cases) {
        set(u"Resolution", test.resolution);
        set_margins(test.left, test.top, test.right, test.bottom);
        set(u"PaperSize", test.paper ? 256 : 1);
        set(u"PaperWidth", test.paper);
        set(u"PaperHeight", test.paper);
        open_device();
        const GDIINFO& info = device->info();
        const SIZEL size = device->surface()->sizlBitmap;
        EXPECT_EQ(static_cast<LONG>(info.ulLogPixelsX), test.dpi);
        EXPECT_TRUE(size.cx == test.width && size.cy == test.height) << size.cx << " x " << size.cy;
        EXPECT_TRUE(static_cast<LONG>(info.ulHorzSize) > 0 && static_cast<LONG>(info.ulVertSize) > 0);
        start_page();
        end_page_and_document();
        close_device();
    }
}

TEST_F(DeviceTest, ReportsTheDepthsItKnows) {
    const std::tuple<uint32_t, ULONG, ULONG> cases[] = {
        {8, 24, BMF_24BPP}, {16, 16, BMF_16BPP}, {24, 24, BMF_24BPP}, {32, 32, BMF_32BPP}, {0, 24, BMF_24BPP}};
    for (const auto& [depth, bits, dither] : cases) {
        set(u"BitDepth", depth);
        open_device();
        EXPECT_EQ(device->info().cBitsPixel, bits);
        EXPECT_EQ(device->devinfo().iDitherFormat, dither);
        EXPECT_EQ(device->surface()->iBitmapFormat, ULONG{BMF_24BPP});
        close_device();
    }
}

TEST_F(DeviceTest, FillsTheEnginesBuffersAsFarAsTheyGo) {
    HSURF patterns[2] = {reinterpret_cast<HSURF>(1), reinterpret_cast<HSURF>(1)};
    std::vector<BYTE> info(sizeof(GDIINFO) + 96, 0xEE), devinfo(200, 0xEE);
    auto open = [&](ULONG info_size, ULONG devinfo_size) {
        return DrvEnablePDEV(nullptr, nullptr, 2, patterns, info_size, reinterpret_cast<ULONG*>(info.data()),
                             devinfo_size, reinterpret_cast<DEVINFO*>(devinfo.data()), nullptr, nullptr, printer);
    };
    DHPDEV handle = open(static_cast<ULONG>(info.size()), 199);
    ASSERT_TRUE(handle);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(info[0] == 0x04 && info[1] == 0x50);
    EXPECT_EQ(info[sizeof(GDIINFO) - 1], 0);
    EXPECT_EQ(std::vector<BYTE>(info.end() - 96, info.end()), std::vector<BYTE>(96));
    EXPECT_TRUE(devinfo[0] == 0x3F && devinfo[199] == 0xEE && !patterns[0] && !patterns[1]);
    DrvDisablePDEV(handle);
    info.assign(info.size(), 0xEE);
    handle = open(0, 0);
    EXPECT_EQ(info[0], 0xEE);
    DrvDisablePDEV(handle);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    handle = DrvEnablePDEV(nullptr, nullptr, 2, nullptr, 9, nullptr, 9, nullptr, nullptr, nullptr, printer);
    ASSERT_TRUE(handle);
    DrvDisablePDEV(handle);
}

TEST_F(DeviceTest, MakesASurfaceOfThePrintableArea) {
    set_margins(1000, 500, 500, 2000);  // 100, 50, 50 and 200 pixels
    open_device();
    const SURFOBJ* surface = device->surface();
    EXPECT_TRUE(surface->sizlBitmap.cx == 700 && surface->sizlBitmap.cy == 850);
    EXPECT_EQ(reinterpret_cast<void*>(surface->dhsurf), reinterpret_cast<void*>(device->handle()));
    EXPECT_EQ(engine::hooks_of(surface), 0x1A4EBu);
    for (const bool away : {true, false}) {
        SetLastError(5);
        away ? DrvDisableSurface(device->handle()) : static_cast<void>(DrvEnableSurface(device->handle()));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    }
    close_device();
    host::fail_call(host::CallKind::Engine, 2);  // the palette, the surface
    open_device();
    EXPECT_EQ(host::failed_function(), "EngCreateDeviceSurface");
    EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
    EXPECT_FALSE(device->is_open());
    EXPECT_EQ(pdevice().surface, nullptr);
}

TEST_F(DeviceTest, NamesTheReasonWhenItCannotBeMade) {
    for (uint64_t call = 1;; ++call) {
        host::fail_call(host::CallKind::Allocation, call);
        open_device();
        const DWORD error = GetLastError();
        if (device->handle()) {
            EXPECT_EQ(error, DWORD{ERROR_SUCCESS});
        } else {
            EXPECT_EQ(error, call == 1 ? DWORD{ERROR_NOT_ENOUGH_MEMORY} : DWORD{ERROR_GEN_FAILURE}) << call;
        }
        const bool reached = !host::failed_function().empty();
        close_device();
        if (!reached) break;
    }
}

TEST_F(DeviceTest, AnswersForNoDevice) {
    auto expect_error = [] {
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
        SetLastError(0);
    };
    open_device();
    DrvCompletePDEV(nullptr, nullptr), expect_error();
    EXPECT_FALSE(DrvResetPDEV(nullptr, device->handle())), expect_error();
    EXPECT_FALSE(DrvResetPDEV(device->handle(), nullptr)), expect_error();
    EXPECT_FALSE(DrvEnableSurface(nullptr)), expect_error();
    DrvDisableSurface(nullptr), expect_error();
    DrvDisablePDEV(nullptr), expect_error();
}

TEST_F(DeviceTest, KeepsItsDocumentWhenItIsResetToItself) {
    start_page();
    SetLastError(5);
    EXPECT_TRUE(DrvResetPDEV(device->handle(), device->handle()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    end_page_and_document();
    EXPECT_FALSE(job().empty());
}

TEST_F(DeviceTest, WithdrawsTheDocumentThatItIsClosedIn) {
    start_page();
    ASSERT_TRUE(device->send_page());
    close_device();
    EXPECT_TRUE(job().empty());
    EXPECT_TRUE(temporary_files().empty());
}

TEST_F(DeviceTest, LeavesAnEmptyDeviceBehindAReset) {
    start_page();
    ASSERT_TRUE(device->send_page());
    // The engine's hands are tied here: the old device stays, and is called once more.
    DHPDEV fresh = DrvEnablePDEV(nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, printer);
    ASSERT_TRUE(fresh);
    ASSERT_TRUE(DrvResetPDEV(device->handle(), fresh));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(pdevice().signature, 0x564B);
    EXPECT_FALSE(pdevice().document_open);
    DrvSendPage(device->surface());
    WCHAR title[] = u"T";
    EXPECT_TRUE(DrvEndDoc(device->surface(), 0));
    DrvStartDoc(device->surface(), title, 9);
    DrvStartPage(device->surface());
    DrvEscape(device->surface(), CLIP_TO_PATH, 4, title, 0, nullptr);
    EXPECT_TRUE(DrvEndDoc(device->surface(), 0));
    EXPECT_EQ(temporary_files().size(), 1u) << "the document that moved";
    close_device();
    SURFOBJ surface = {};
    surface.iType = STYPE_DEVICE;
    surface.dhpdev = fresh;
    EXPECT_TRUE(DrvStartPage(&surface) && DrvSendPage(&surface) && DrvEndDoc(&surface, 0));
    EXPECT_FALSE(job().empty());
    DrvDisablePDEV(fresh);
}

}  // namespace
}  // namespace kv::test
