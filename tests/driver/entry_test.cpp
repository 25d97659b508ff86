// The driver's front door: the exported functions, the hook table, the guard and what hooks answer when it refuses.

#include <cfenv>
#include <csignal>
#include <cstring>

#include "platform/guarded_call.h"
#include "tests/common/print_test.h"

namespace kv::test {
namespace {

using engine::Brush;
using engine::Path;

struct EntryTest : PrintTest {
    // A surface of this device's, for hooks that are called with anything.
    SURFOBJ* surface() { return device->surface(); }
};

// What a call left as the last error.
DWORD last_error() {
    const DWORD error = GetLastError();
    SetLastError(0);
    return error;
}

TEST_F(EntryTest, HandsOutItsHooksInTheOrderOfTheirNames) {
    struct {
        DRVENABLEDATA data;
        BYTE more[8];
    } out;
    std::memset(&out, 0xEE, sizeof out);
    EXPECT_FALSE(DrvEnableDriver(0x1FFFF, sizeof out, &out.data));
    EXPECT_EQ(last_error(), DWORD{ERROR_BAD_DRIVER_LEVEL});
    EXPECT_FALSE(DrvEnableDriver(0x20000, sizeof out.data - 1, &out.data));
    EXPECT_EQ(last_error(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_FALSE(DrvEnableDriver(0x20000, sizeof out, nullptr));
    EXPECT_EQ(last_error(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_TRUE(DrvEnableDriver(0x20000, sizeof out.data, &out.data));
    EXPECT_EQ(out.more[0], 0xEE);
    SetLastError(5);
    EXPECT_TRUE(DrvEnableDriver(0x20000, sizeof out.data + 7, &out.data));
    EXPECT_EQ(last_error(), DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(out.more[6] == 0 && out.more[7] == 0xEE);
    EXPECT_EQ(out.data.iDriverVersion, 0x30000u);
    const ULONG order[] = {71, 18, 1,  19, 43, 8, 2,  4,  25, 0,  3,  34, 24, 15, 47, 37,
                           53, 26, 28, 27, 12, 7, 32, 35, 33, 20, 69, 16, 14, 23, 74};
    ASSERT_EQ(out.data.c, std::size(order));
    for (size_t i = 0; i < std::size(order); ++i) EXPECT_EQ(out.data.pdrvfn[i].iFunc, order[i]) << i;
}

TEST_F(EntryTest, SaysThatItRunsInUserMode) {
    DWORD buffer[2] = {7, 7}, needed = 99;
    EXPECT_FALSE(DrvQueryDriverInfo(1, buffer, 3, &needed));
    EXPECT_EQ(last_error(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(needed, 4u);
    EXPECT_FALSE(DrvQueryDriverInfo(1, nullptr, 4, nullptr));
    EXPECT_EQ(last_error(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    SetLastError(5);
    EXPECT_TRUE(DrvQueryDriverInfo(1, buffer, 8, nullptr));
    EXPECT_EQ(last_error(), DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(buffer[0] == 1 && buffer[1] == 7);
    needed = 99;
    EXPECT_FALSE(DrvQueryDriverInfo(2, buffer, 8, &needed));
    EXPECT_EQ(last_error(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_TRUE(buffer[0] == 0 && buffer[1] == 0 && needed == 99);
    EXPECT_FALSE(DrvQueryDriverInfo(0, nullptr, 8, nullptr));
    SetLastError(5);
    DrvDisableDriver();
    EXPECT_EQ(last_error(), DWORD{ERROR_SUCCESS});
}

TEST_F(EntryTest, AnswersConstants) {
    SetLastError(77);
    EXPECT_EQ(DrvQueryFont(nullptr, 0, 0, nullptr), nullptr);
    EXPECT_EQ(DrvQueryFontTree(nullptr, 0, 0, 0, nullptr), nullptr);
    EXPECT_EQ(static_cast<ULONG>(DrvQueryFontData(nullptr, nullptr, 0, 0, nullptr, nullptr, 0)), FD_ERROR);
    EXPECT_FALSE(DrvQueryAdvanceWidths(nullptr, nullptr, 0, nullptr, nullptr, 0));
    EXPECT_EQ(DrvDrawEscape(nullptr, 0, nullptr, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(DrvGetGlyphMode(nullptr, nullptr), ULONG{FO_GLYPHBITS});
    EXPECT_EQ(DrvFontManagement(nullptr, nullptr, 0, 0, nullptr, 0, nullptr), 0u);
    FONTOBJ unseen = {};
    DrvDestroyFont(nullptr);
    DrvDestroyFont(&unseen);
    EXPECT_EQ(GetLastError(), 77u);
}

// Every hook that passes the guard, on a surface that it refuses.
void expect_refusals(SURFOBJ* surface) {
    Path path;
    path.add_rect({0, 0, 9, 9});
    Brush brush = Brush::solid(0);
    LINEATTRS line = hairline();
    POINTL origin = {};
    RECTL rect = {0, 0, 9, 9};
    SURFOBJ source = {};
    BLENDOBJ blend = {};
    const auto error = static_cast<BOOL>(DDI_ERROR);
    EXPECT_EQ(DrvStrokePath(surface, &path, nullptr, nullptr, &brush, &origin, &line, R2_COPYPEN), error);
    EXPECT_EQ(DrvFillPath(surface, &path, nullptr, &brush, &origin, R2_COPYPEN, 0), error);
    EXPECT_EQ(DrvStrokeAndFillPath(surface, &path, nullptr, nullptr, &brush, &line, &brush, &origin, R2_COPYPEN, 0),
              error);
    EXPECT_FALSE(
        DrvBitBlt(surface, nullptr, nullptr, nullptr, nullptr, &rect, nullptr, nullptr, &brush, nullptr, 0xF0F0));
    EXPECT_FALSE(
        DrvStretchBlt(surface, &source, nullptr, nullptr, nullptr, nullptr, nullptr, &rect, &rect, nullptr, 0));
    EXPECT_FALSE(DrvStretchBltROP(surface, &source, nullptr, nullptr, nullptr, nullptr, nullptr, &rect, &rect, nullptr,
                                  0, nullptr, 0xCCCC));
    EXPECT_FALSE(DrvCopyBits(surface, &source, nullptr, nullptr, &rect, &origin));
    EXPECT_FALSE(DrvAlphaBlend(surface, &source, nullptr, nullptr, &rect, &rect, &blend));
    EXPECT_FALSE(DrvTransparentBlt(surface, &source, nullptr, nullptr, &rect, &rect, 0, 0));
    EXPECT_FALSE(DrvTextOut(surface, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0));
}

TEST_F(EntryTest, RefusesWhatIsNoDeviceOfItsOwn) {
    start_page();
    BYTE other[sizeof(PDEVICE)] = {'K', 'W'};
    SURFOBJ strange = *surface(), bitmap = *surface(), without = *surface();
    strange.dhpdev = reinterpret_cast<DHPDEV>(other);
    bitmap.iType = STYPE_BITMAP;
    without.dhpdev = nullptr;
    WCHAR title[] = u"T";
    for (SURFOBJ* refused : {static_cast<SURFOBJ*>(nullptr), &strange, &bitmap, &without}) {
        expect_refusals(refused);
        Brush brush = Brush::solid(0);
        EXPECT_FALSE(DrvStartDoc(refused, title, 1));
        EXPECT_FALSE(DrvStartPage(refused));
        EXPECT_FALSE(DrvSendPage(refused));
        EXPECT_TRUE(DrvEndDoc(refused, ED_ABORTDOC));
        EXPECT_EQ(DrvEscape(refused, GETTECHNOLOGY, 0, nullptr, 0, nullptr), 0u);
        EXPECT_FALSE(DrvRealizeBrush(&brush, refused, nullptr, nullptr, nullptr, 0));
    }
    EXPECT_FALSE(pdevice().failed);
    EXPECT_EQ(DrvFillPath(surface(), nullptr, nullptr, nullptr, nullptr, R2_COPYPEN, 0), static_cast<BOOL>(DDI_ERROR));
    EXPECT_FALSE(pdevice().failed);
    end_page_and_document();
}

TEST_F(EntryTest, DrawsOnlyOnPagesOfDocumentsThatHaveNotFailed) {
    open_device();
    ASSERT_TRUE(device->start_document(u"", 1));
    expect_refusals(surface());
    EXPECT_FALSE(pdevice().failed);
    ASSERT_TRUE(device->start_page());
    pdevice().SetFailed();
    expect_refusals(surface());
    EXPECT_FALSE(device->send_page());
    EXPECT_FALSE(device->start_page());
    Brush hatch = Brush::hatched(1, 0, 0xFFFFFF);
    hatch.bind(device.get());
    EXPECT_TRUE(hatch.realized());
    EXPECT_EQ(device->escape(GETTECHNOLOGY, {}), 9u);
    EXPECT_TRUE(device->end_document());
    EXPECT_TRUE(job().empty());

    start_page();
    Path path;
    path.add_rect({0, 0, 9, 9});
    Brush black = Brush::solid(0);
    EXPECT_TRUE(device->fill(path, nullptr, black, 0));
    end_page_and_document();
    EXPECT_FALSE(job().empty());
}

TEST_F(EntryTest, RoundsToNearestWheneverTheGuardRuns) {
    open_device();
    for (SURFOBJ* any : {static_cast<SURFOBJ*>(nullptr), surface()}) {
        std::fesetround(FE_UPWARD);
        DrvStartPage(any);
        EXPECT_EQ(std::fegetround(), FE_TONEAREST);
    }
    std::fesetround(FE_TONEAREST);
    device->end_document();
}

TEST_F(EntryTest, CatchesWhateverIsRaised) {
    EXPECT_TRUE(guarded_call([] {}));
    EXPECT_FALSE(guarded_call([] { throw 1; }));
    bool went_on = false;
    EXPECT_TRUE(guarded_call([&] {
        for (int signal : {SIGSEGV, SIGFPE, SIGBUS, SIGILL}) EXPECT_FALSE(guarded_call([&] { std::raise(signal); }));
        went_on = true;
    }));
    EXPECT_TRUE(went_on);
    EXPECT_FALSE(guarded_call([] {
        guarded_call([] {});
        throw 2;
    }));
}

struct {
    template <class T>
    operator T*() const {
        return reinterpret_cast<T*>(16);
    }
} constexpr nowhere;

// What the engine hands over may lie in memory that is gone.
TEST_F(EntryTest, AnswersFaultsInsideHooks) {
    constexpr std::nullptr_t no = nullptr;
    Brush black = Brush::solid(0), pattern = Brush::hatched(1, 0, 0);
    RECTL rect = {0, 0, 9, 9};
    POINTL point = {};
    BLENDOBJ blend = {};
    SURFOBJ bitmap = {};
    bitmap.iType = STYPE_BITMAP;
    bitmap.sizlBitmap = {9, 9};
    open_device();
    SURFOBJ* out = surface();
    const std::function<ULONG()> cases[] = {
        [&] { return DrvRealizeBrush(&pattern, out, nowhere, no, no, HS_DDI_MAX); },
        [&] { return DrvBitBlt(out, nowhere, no, no, no, &rect, &point, no, no, no, 0xCCCC); },
        [&] { return DrvBitBlt(out, no, no, no, no, &rect, no, no, nowhere, no, 0xF0F0); },
        [&] { return DrvStretchBlt(out, nowhere, no, no, no, no, no, &rect, &rect, no, 0); },
        [&] { return DrvCopyBits(out, &bitmap, nowhere, no, &rect, &point); },
        [&] { return DrvAlphaBlend(out, nowhere, no, no, &rect, &rect, &blend); },
        [&] { return DrvTransparentBlt(out, nowhere, no, no, &rect, &rect, 0, 0); },
        [&] { return DrvTextOut(out, nowhere, no, no, no, no, no, no, no, 0); },
        [&] { return DrvFillPath(out, nowhere, no, &black, no, R2_COPYPEN, 0); },
        [&] { return DrvEscape(out, PASSTHROUGH, 100, nowhere, 0, no); },
        [&] { return DrvEscape(out, END_PATH, 0, no, 0, no) + DrvEscape(out, GETTECHNOLOGY, 0, no, 9, nowhere); },
    };
    for (const auto& draw : cases) {
        SCOPED_TRACE(&draw - cases);
        start_page();
        SetLastError(0);
        EXPECT_EQ(draw(), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
        EXPECT_TRUE(pdevice().failed);
        EXPECT_TRUE(device->end_document());
        EXPECT_TRUE(job().empty());
    }
    EXPECT_FALSE(DrvStartDoc(out, nowhere, 1));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
    EXPECT_TRUE(pdevice().failed);
    EXPECT_TRUE(device->end_document());
}

TEST_F(EntryTest, AFaultWhileHeldDrawingIsWrittenEndsWithItsDocument) {
    Brush black = Brush::solid(0);
    const RECTL rect = {1, 2, 3, 4};
    for (bool faulty : {true, false}) {
        start_page();
        EXPECT_TRUE(device->bit_blt(nullptr, nullptr, nullptr, nullptr, rect, nullptr, &black, 0x0000));
        BYTE* tail = pdevice().tail.release();
        pdevice().tail.adopt(faulty ? reinterpret_cast<BYTE*>(16) : tail);
        EXPECT_EQ(device->send_page(), !faulty);
        static_cast<void>(pdevice().tail.release());
        pdevice().tail.adopt(tail);
        EXPECT_TRUE(device->end_document());
    }
    EXPECT_EQ(to_hex(page_records()), "0E 09 00 01 00 02 00 03 00 04 00 ");
}

}  // namespace
}  // namespace kv::test
