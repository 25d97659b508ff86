// The built DLL in a process of its own: what it answers before any document, and that nothing which goes wrong inside
// a hook reaches the process.

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "driver/pdevice.h"
#include "tests/scenes/scene.h"

namespace kv {
namespace {

// Nothing is mapped there.
template <class T>
T* nowhere() {
    return reinterpret_cast<T*>(uintptr_t{16});
}

struct DllTest : testing::Test {
    void open() {
        DriverDevMode mode = scenes::device_mode(0);
        device = std::make_unique<engine::Device>(driver, nullptr, &mode, TEXT("P"));
        ASSERT_TRUE(device->is_open());
    }
    void start_page() {
        open();
        ASSERT_TRUE(device->start_document(TEXT("Faults"), 1));
        ASSERT_TRUE(device->start_page());
    }
    PDEVICE& pdevice() { return *reinterpret_cast<PDEVICE*>(device->handle()); }
    template <class Hook>
    Hook* hook(ULONG index) {
        return driver.hook<Hook>(index);
    }
    // The document has failed, and ends all the same; the next one is printed.
    void expect_cancelled() {
        EXPECT_TRUE(pdevice().failed);
        EXPECT_TRUE(device->end_document());
        EXPECT_FALSE(pdevice().document_open);
        ASSERT_TRUE(device->start_document(TEXT("Next"), 2));
        EXPECT_TRUE(device->start_page());
        EXPECT_TRUE(device->send_page());
        EXPECT_TRUE(device->end_document());
    }

    engine::Driver driver;
    std::unique_ptr<engine::Device> device;
};

// Where the job file should be, an address that cannot be touched.
class BrokenJob {
public:
    explicit BrokenJob(PDEVICE& device) : device_(device), job_(device.job.release()) {
        device_.job.reset(nowhere<File>());
    }
    ~BrokenJob() {
        static_cast<void>(device_.job.release());
        device_.job.reset(job_);
    }

private:
    PDEVICE& device_;
    File* job_;
};

TEST_F(DllTest, HasTheSizesOfTheInterface) {
    DRVENABLEDATA data = {};
    HMODULE module = GetModuleHandleW(TEXT("kvgraph12.dll"));
    ASSERT_NE(module, nullptr);
    auto enable = reinterpret_cast<decltype(&DrvEnableDriver)>(
        reinterpret_cast<void*>(GetProcAddress(module, "DrvEnableDriver")));
    ASSERT_NE(enable, nullptr);
    EXPECT_FALSE(enable(0x1FFFF, sizeof data, &data));
    EXPECT_EQ(GetLastError(), 119u);
    EXPECT_FALSE(enable(0x20000, 11, &data));
    EXPECT_EQ(GetLastError(), 122u);
    ASSERT_TRUE(enable(0x20000, sizeof data, &data));
    EXPECT_EQ(data.iDriverVersion, 0x30000u);
    ASSERT_EQ(data.c, 31u);
    std::set<ULONG> indices;
    for (ULONG i = 0; i < data.c; ++i) indices.insert(data.pdrvfn[i].iFunc);
    EXPECT_EQ(indices.size(), 31u);
}

TEST_F(DllTest, CatchesAccessViolationsInDrawing) {
    LINEATTRS line = {};
    engine::Brush brush = engine::Brush::solid(0);
    auto stroke = hook<decltype(DrvStrokePath)>(INDEX_DrvStrokePath);
    auto fill = hook<decltype(DrvFillPath)>(INDEX_DrvFillPath);
    auto both = hook<decltype(DrvStrokeAndFillPath)>(INDEX_DrvStrokeAndFillPath);
    for (int which = 0; which < 3; ++which) {
        start_page();
        SURFOBJ* surface = device->surface();
        auto* path = nowhere<PATHOBJ>();
        SetLastError(0);
        const BOOL drawn = which == 0 ? stroke(surface, path, nullptr, nullptr, &brush, nullptr, &line, R2_COPYPEN)
                           : which == 1
                               ? fill(surface, path, nullptr, &brush, nullptr, R2_COPYPEN, FP_WINDINGMODE)
                               : both(surface, path, nullptr, nullptr, &brush, &line, &brush, nullptr, R2_COPYPEN, 0);
        EXPECT_FALSE(drawn) << which;
        EXPECT_EQ(GetLastError(), 31u) << which;
        expect_cancelled();
    }
}

TEST_F(DllTest, CatchesAccessViolationsInDocumentsAndPages) {
    open();
    EXPECT_FALSE(hook<decltype(DrvStartDoc)>(INDEX_DrvStartDoc)(device->surface(), nowhere<WCHAR>(), 1));
    EXPECT_EQ(GetLastError(), 31u);
    EXPECT_TRUE(device->end_document());

    for (bool start : {true, false}) {
        start_page();
        if (start) {
            ASSERT_TRUE(device->send_page());
        }
        {
            BrokenJob broken(pdevice());
            EXPECT_FALSE(start ? device->start_page() : device->send_page());
            EXPECT_EQ(GetLastError(), 31u);
        }
        expect_cancelled();
    }

    start_page();
    ASSERT_TRUE(device->send_page());
    {
        BrokenJob broken(pdevice());
        EXPECT_TRUE(device->end_document());
        EXPECT_EQ(GetLastError(), 31u);
    }
    expect_cancelled();
}

TEST_F(DllTest, CatchesAccessViolationsInEscapesAndFonts) {
    start_page();
    EXPECT_EQ(hook<decltype(DrvEscape)>(INDEX_DrvEscape)(device->surface(), 8, 4, nowhere<void>(), 0, nullptr), 0u);
    EXPECT_EQ(GetLastError(), 31u);
    expect_cancelled();

    FONTOBJ font = {};
    font.pvConsumer = nowhere<void>();
    hook<decltype(DrvDestroyFont)>(INDEX_DrvDestroyFont)(&font);
    EXPECT_EQ(font.pvConsumer, nullptr);
    EXPECT_EQ(GetLastError(), 31u);
}

}  // namespace
}  // namespace kv
