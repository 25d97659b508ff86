// The built DLL in a process of its own: what it answers before any document, and that nothing which goes wrong inside
// a hook reaches the process.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
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
        expect_over();
    }
    // Nothing is left of the document; the next one is printed.
    void expect_over() {
        EXPECT_FALSE(pdevice().failed || pdevice().document_open);
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

// The same of the memory where the job's last bytes gather. The array is its pointer, and the DLL's to free.
class BrokenTail {
public:
    explicit BrokenTail(PDEVICE& device) : tail_(*reinterpret_cast<BYTE**>(&device.tail)) {
        static_assert(sizeof device.tail == sizeof(BYTE*));
        tail_ = nowhere<BYTE>();
    }
    ~BrokenTail() { tail_ = bytes_; }

private:
    BYTE*& tail_;
    BYTE* const bytes_ = tail_;
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
            BrokenTail broken(pdevice());
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
    expect_over();
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

BOOL CALLBACK count_name(HMODULE, LPCWSTR, LPWSTR, LONG_PTR count) { return ++*reinterpret_cast<int*>(count) > 0; }

// The registry names a library beside the driver. It has another version, and leaves a file when it is run.
TEST(ResourceLibraryTest, HasItsTextsTakenAndNoCodeRun) {
    constexpr const WCHAR *kKey = TEXT("Software\\Velmora Software\\Karvo12"), *kLibrary = TEXT("entry_library.dll");
    WCHAR value[32] = TEXT("ResourceLibrary"), temporary[MAX_PATH];
    GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IDEFAULTLANGUAGE, value + wcslen(value), 8);
    GetTempPathW(MAX_PATH, temporary);
    const auto mark = std::filesystem::path(temporary) / "karvo-entry-point";
    const auto private_copies = [&] {
        return std::ranges::count_if(std::filesystem::directory_iterator(temporary), [](const auto& file) {
            return file.path().filename().wstring().starts_with(L"~KV") && file.path().extension() == L".tmp";
        });
    };
    HMODULE library = LoadLibraryW(kLibrary);
    ASSERT_TRUE(library && FreeLibrary(library) && std::filesystem::remove(mark)) << "it leaves no file at all";
    RegSetKeyValueW(HKEY_CURRENT_USER, kKey, value, REG_SZ, kLibrary, static_cast<DWORD>(wcslen(kLibrary) + 1) * 2);
    {
        engine::Driver driver;
        DriverDevMode mode = scenes::device_mode(0);
        engine::Device device(driver, nullptr, &mode, TEXT("P"));
        ASSERT_TRUE(device.is_open() && device.start_document(TEXT("Texts"), 3));
        const PDEVICE& recorded = *reinterpret_cast<PDEVICE*>(device.handle());
        const std::string content(reinterpret_cast<const char*>(recorded.tail.get()), recorded.tail_used);
        // The last byte of the document's header is the library's text 10060.
        EXPECT_NE(content.find(std::string("\x0E\0\0\xC0\x04\x0C\0\x4D", 8)), std::string::npos);
        EXPECT_EQ(private_copies(), 1);
        EXPECT_TRUE(device.end_document(ED_ABORTDOC));
    }
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, value);
    EXPECT_EQ(private_copies(), 0);

    library = LoadLibraryExW(kLibrary, nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    int tables = 0;
    EnumResourceNamesW(library, RT_STRING, count_name, reinterpret_cast<LONG_PTR>(&tables));
    EXPECT_EQ(tables, 2);
    HRSRC table = FindResourceW(library, MAKEINTRESOURCEW(1211), RT_RCDATA);
    ASSERT_EQ(SizeofResource(library, table), 5u);
    EXPECT_EQ(std::memcmp(LockResource(LoadResource(library, table)), "table", 5), 0);
    EXPECT_TRUE(FreeLibrary(library));
    EXPECT_FALSE(std::filesystem::exists(mark));
}

}  // namespace
}  // namespace kv
